#include "settings/PickerModel.h"

#include "settings/RowMirror.h"

#include <QAbstractItemModelTester>
#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QRandomGenerator>
#include <QTest>

using namespace vantorel;

class TestPickerModel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void threeEntries_giveFiveLines();
    void noEntries_leavePlaceholderAndSeparator();
    void placeholder_isDimmedAndHasAnEmptyID();
    void separator_cannotBeChosen();
    void sharedAndEmptyIDs_areLeftOut();
    void rowOf_findsTheLine();
    void icons_areMadeWhenPainted_onceForEachName();
    void changedNames_changeTheirRowsAlone();
    void anyList_isTakenWithoutReset();

private:
    QStringList askedIcons;
    std::unique_ptr<PickerModel> model;
    std::unique_ptr<QAbstractItemModelTester> tester;
    std::unique_ptr<RowMirror> mirror;
};

void TestPickerModel::init() {
    askedIcons.clear();
    model = std::make_unique<PickerModel>("Choose", [this](const QString& name) {
        askedIcons.append(name);
        QPixmap pixmap(1, 1);
        pixmap.fill(Qt::red);
        return QIcon(pixmap);
    });
    tester =
        std::make_unique<QAbstractItemModelTester>(model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    mirror = std::make_unique<RowMirror>(*model, [this](int row) {
        const QModelIndex index = model->index(row);
        return QVariant(QStringList{index.data(Qt::UserRole).toString(), index.data().toString()});
    });
}

void TestPickerModel::cleanup() {
    QCOMPARE(mirror->resets, 0);
    mirror.reset();
    tester.reset();
    model.reset();
}

void TestPickerModel::threeEntries_giveFiveLines() {
    model->setEntries({{"a", "Alpha"}, {"b", ""}, {"c", "Alpha"}});
    QStringList names;
    QStringList ids;
    for (int row = 0; row < model->rowCount(); ++row) {
        names.append(model->index(row).data().toString());
        ids.append(model->index(row).data(Qt::UserRole).toString());
    }
    QCOMPARE(names, (QStringList{"Choose", "", "Alpha", "", "Alpha"}));
    QCOMPARE(ids, (QStringList{"", "", "a", "b", "c"}));
    QCOMPARE(mirror->steps, 1);
}

void TestPickerModel::noEntries_leavePlaceholderAndSeparator() {
    QCOMPARE(model->rowCount(), 2);
    model->setEntries({{"a", "Alpha"}});
    model->setEntries({});
    QCOMPARE(model->rowCount(), 2);
    QVERIFY(!model->data({}).isValid());
}

void TestPickerModel::placeholder_isDimmedAndHasAnEmptyID() {
    const QModelIndex line = model->index(PickerModel::kPlaceholderRow);
    QVERIFY(!line.data(Qt::UserRole).toString().isNull());
    QCOMPARE(line.data(Qt::UserRole).toString(), QString(""));
    QCOMPARE(line.data(Qt::ForegroundRole).value<QBrush>().color(),
             QGuiApplication::palette().color(QPalette::PlaceholderText));
    QVERIFY(!line.data(Qt::DecorationRole).isValid());
    model->setEntries({{"a", "Alpha"}});
    QVERIFY(!model->index(PickerModel::kFirstEntryRow).data(Qt::ForegroundRole).isValid());
}

void TestPickerModel::separator_cannotBeChosen() {
    const QModelIndex line = model->index(PickerModel::kSeparatorRow);
    QCOMPARE(line.data(Qt::AccessibleDescriptionRole).toString(), QString("separator"));
    QVERIFY(!(line.flags() & (Qt::ItemIsEnabled | Qt::ItemIsSelectable)));
    QVERIFY(!line.data(Qt::UserRole).isValid());
    QVERIFY(model->index(PickerModel::kPlaceholderRow).flags().testFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable));
    QVERIFY(!model->index(PickerModel::kPlaceholderRow).data(Qt::AccessibleDescriptionRole).isValid());
}

void TestPickerModel::sharedAndEmptyIDs_areLeftOut() {
    model->setEntries({{"a", "First"}, {"", "Nothing"}, {"b", "B"}, {"a", "Second"}});
    QCOMPARE(model->rowCount(), 4);
    QCOMPARE(model->index(2).data().toString(), QString("First"));
    QCOMPARE(model->index(3).data().toString(), QString("B"));
}

void TestPickerModel::rowOf_findsTheLine() {
    model->setEntries({{"a", "Alpha"}, {"b", "Beta"}});
    QCOMPARE(model->rowOf(""), 0);
    QCOMPARE(model->rowOf("a"), 2);
    QCOMPARE(model->rowOf("b"), 3);
    QCOMPARE(model->rowOf("B"), -1);
    QCOMPARE(model->rowOf("Alpha"), -1);
}

void TestPickerModel::icons_areMadeWhenPainted_onceForEachName() {
    model->setEntries({{"a", "Alpha", "one"}, {"b", "Beta", "two"}, {"c", "Gamma", "one"}});
    const auto icon = [this](int row) { return model->index(row).data(Qt::DecorationRole).value<QIcon>(); };
    for (int row = 2; row < 5; ++row)
        QVERIFY(!icon(row).isNull());
    QVERIFY(askedIcons.isEmpty());
    QCOMPARE(icon(2).pixmap(1).toImage().pixelColor(0, 0), QColor(Qt::red));
    QPixmap canvas(10, 10);
    QPainter painter(&canvas);
    icon(2).paint(&painter, canvas.rect());
    icon(4).paint(&painter, canvas.rect());
    painter.end();
    QCOMPARE(askedIcons, QStringList{"one"});
    QCOMPARE(canvas.toImage().pixelColor(5, 5), QColor(Qt::red));
    model->setEntries({{"b", "Beta", "two"}, {"c", "Gamma", "one"}});
    icon(3).pixmap(1);
    icon(2).pixmap(1);
    QCOMPARE(askedIcons, (QStringList{"one", "two"}));
}

void TestPickerModel::changedNames_changeTheirRowsAlone() {
    model->setEntries({{"a", "Alpha", "i"}, {"b", "Beta", "i"}, {"c", "Gamma", "i"}});
    mirror->steps = 0;
    model->setEntries({{"a", "Alpha", "i"}, {"b", "Beta", "i"}, {"c", "Gamma", "i"}});
    QCOMPARE(mirror->changes, 0);
    model->setEntries({{"a", "Alpha", "i"}, {"b", "Other", "i"}, {"c", "Gamma", "other"}});
    QCOMPARE(mirror->changes, 1);
    QCOMPARE(mirror->steps, 0);
    QCOMPARE(mirror->rows[3].toStringList(), (QStringList{"b", "Other"}));
    QCOMPARE(mirror->rows[2].toStringList(), (QStringList{"a", "Alpha"}));
}

void TestPickerModel::anyList_isTakenWithoutReset() {
    QRandomGenerator random(8);
    QStringList ids;
    for (int i = 0; i < 12; ++i)
        ids.append(QString::number(i));
    for (int round = 0; round < 10'000; ++round) {
        std::shuffle(ids.begin(), ids.end(), random);
        QList<PickerModel::Entry> entries;
        for (int i = random.bounded(13); i > 0; --i)
            entries.append({ids[i - 1], QString::number(random.bounded(3)), {}});
        model->setEntries(entries);
        QCOMPARE(mirror->rows.size(), entries.size() + 2);
        for (int i = 0; i < entries.size(); ++i) {
            const QStringList expected{entries[i].id, entries[i].name};
            QCOMPARE(mirror->rows[i + 2].toStringList(), expected);
            QCOMPARE(model->index(i + 2).data(Qt::UserRole).toString(), entries[i].id);
        }
    }
}

QTEST_MAIN(TestPickerModel)
#include "TestPickerModel.moc"
