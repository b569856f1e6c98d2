#include "platform/PrivateBus.h"
#include "platform/freedesktop/DesktopStatusItem.h"
#include "platform/freedesktop/StatusPlace.h"
#include "platform/freedesktop/StatusSymbol.h"
#include "platform/freedesktop/StatusTray.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QTest>

#include <algorithm>
#include <climits>
#include <memory>
#include <optional>
#include <utility>

using namespace vantorel;

namespace {

const QString kWatcher = "org.kde.StatusNotifierWatcher";
const QString kItem = "org.kde.StatusNotifierItem";
const QString kMenu = "com.canonical.dbusmenu";
const QString kProperties = "org.freedesktop.DBus.Properties";
const QString kInvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";

const StatusItem::Image kNormal{"com.qorbex.Vantorel-symbolic", "Vantorel"};
const StatusItem::Image kWarning{"com.qorbex.Vantorel-warning-symbolic", "No browser configured"};

// Far more than a call takes, far less than for good.
constexpr int kPatienceMs = 20000;

/// A watcher that does what a test has it do.
class Watcher : public QDBusVirtualObject {
public:
    enum class Answers { rightly, never, withErrors, withNonsense, withRefusals };

    explicit Watcher(const PrivateBus& bus) : m_bus(bus.connect()) {
        m_bus.registerVirtualObject("/StatusNotifierWatcher", this);
    }
    ~Watcher() override { disconnect(); }

    void appear() { QVERIFY(m_bus.registerService(kWatcher)); }
    void vanish() { m_bus.unregisterService(kWatcher); }
    void disconnect() {
        QDBusConnection::disconnectFromBus(m_bus.name());
        m_bus = QDBusConnection(QString()); // the last one to hold it
    }
    void setHost(bool is) {
        hasHost = is;
        m_bus.send(QDBusMessage::createSignal("/StatusNotifierWatcher", kWatcher,
                                              is ? "StatusNotifierHostRegistered" : "StatusNotifierHostUnregistered"));
    }
    void answerAll() {
        answers = Answers::rightly;
        for (const QDBusMessage& message : std::exchange(m_unanswered, {}))
            handleMessage(message, m_bus);
    }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override {
        if (message.member() == "RegisterStatusNotifierItem" && message.signature() == "s") {
            items.append(message.service() + message.arguments().at(0).toString());
            if (answers == Answers::rightly)
                m_bus.send(message.createReply());
            else if (answers == Answers::withRefusals)
                m_bus.send(message.createErrorReply("org.example.Error", "no room"));
        } else if (message.member() == "Get" && (answers == Answers::rightly || answers == Answers::withRefusals)) {
            questions += 1;
            m_bus.send(message.createReply(QVariant::fromValue(QDBusVariant(hasHost))));
        }
        if (answers == Answers::never)
            m_unanswered.append(message);
        else if (answers == Answers::withErrors)
            m_bus.send(message.createErrorReply("org.example.Error", QString(1000000, 'x')));
        else if (answers == Answers::withNonsense)
            m_bus.send(message.createReply(QVariant::fromValue(QDBusVariant(QString(1000000, 'x')))));
        return true;
    }

    Answers answers = Answers::rightly;
    bool hasHost = true;
    QStringList items;
    int questions = 0;

private:
    QDBusConnection m_bus;
    QList<QDBusMessage> m_unanswered;
};

struct TrayLog {
    bool isShown = false;
    int shows = 0;
    StatusItem::Image image;
    StatusTray::Handlers handlers;
};

class FakeTray : public StatusTray {
public:
    explicit FakeTray(TrayLog& log) : m_log(log) { }
    void start(Handlers handlers) override { m_log.handlers = std::move(handlers); }
    void setImage(const StatusItem::Image& image) override { m_log.image = image; }
    void show() override {
        m_log.shows += !m_log.isShown;
        m_log.isShown = true;
    }
    void hide() override { m_log.isShown = false; }

private:
    TrayLog& m_log;
};

/// The item under test, and a host that reads it from another connection.
class Desktop {
public:
    Desktop() : m_program(bus.connect()), m_host(bus.connect()) { item.emplace(m_program, "/icons", makeTray()); }
    ~Desktop() {
        item.reset();
        QDBusConnection::disconnectFromBus(m_program.name());
        QDBusConnection::disconnectFromBus(m_host.name());
    }

    void show() {
        item->setImage(kNormal);
        item->setMenu([this] {
            ++menus;
            QList<StatusItem::Entry> list;
            for (const QString& title : titles)
                list.append({title, [this, title] { chosen.append(title); }});
            return list;
        });
        QObject::connect(&*item, &StatusItem::clicked, &*item,
                         [this](const StatusItem::Place& place) { clicks.append(place); });
        item->show();
    }

    QString address() const { return m_program.baseService(); }
    QDBusConnection host() const { return m_host; }

    QDBusMessage call(const QString& path, const QString& interface, const QString& method,
                      const QVariantList& arguments = {}) {
        QDBusMessage message = QDBusMessage::createMethodCall(address(), path, interface, method);
        message.setArguments(arguments);
        const QDBusPendingCall pending = m_host.asyncCall(message, kPatienceMs);
        while (!pending.isFinished())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        return pending.reply();
    }
    QDBusMessage callItem(const QString& method, const QVariantList& arguments = {}) {
        return call("/StatusNotifierItem", kItem, method, arguments);
    }
    QDBusMessage callMenu(const QString& method, const QVariantList& arguments = {}) {
        return call("/StatusNotifierItem/Menu", kMenu, method, arguments);
    }
    QVariant property(const QString& name) {
        return call("/StatusNotifierItem", kProperties, "Get", {kItem, name})
            .arguments()
            .value(0)
            .value<QDBusVariant>()
            .variant();
    }

    PrivateBus bus;
    TrayLog tray;
    std::optional<DesktopStatusItem> item;
    QStringList titles{"Settings", "Quit Vantorel"};
    QStringList chosen;
    QList<StatusItem::Place> clicks;
    int menus = 0;

private:
    std::unique_ptr<StatusTray> makeTray() { return std::make_unique<FakeTray>(tray); }

    QDBusConnection m_program;
    QDBusConnection m_host;
};

QString signatureOf(const QVariant& value) {
    if (value.userType() == qMetaTypeId<QDBusArgument>())
        return value.value<QDBusArgument>().currentSignature();
    return QDBusMetaType::typeToSignature(value.metaType());
}

/// Counts signals of the item as a host hears them.
class Listener : public QObject {
    Q_OBJECT

public:
    Listener(Desktop& desktop, const QString& path, const QString& interface, const QString& signal) {
        desktop.host().connect(desktop.address(), path, interface, signal, this, SLOT(hear()));
    }
    int count = 0;

public Q_SLOTS:
    void hear() { ++count; }
};

} // namespace

class TestStatusNotifierItem : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void item_isRegistered_withAWatcherThatIsThere();
    void item_isRegistered_withEachWatcherThatComes();
    void item_isThere_beforeItIsRegistered();
    void noBar_isNoError();
    void tray_standsIn_whileNoBarIsOnTheBus();
    void tray_standsIn_forAWatcherThatAnswersErrors();
    void tray_standsIn_forAWatcherThatAnswersNonsense();
    void tray_standsIn_forAWatcherThatRefusesTheItem();
    void tray_standsIn_forAWatcherThatIsSilent_untilItSpeaks();
    void tray_waits_forTheFirstAnswer();
    void properties_haveTheirTypes_data();
    void properties_haveTheirTypes();
    void properties_haveTheirValues();
    void properties_areDescribed();
    void properties_cannotBeSet();
    void pixmaps_areTheSymbol_inAlphaRedGreenBlue();
    void image_isAnnounced_onlyWhenItChanges();
    void click_tellsItsPlace_data();
    void click_tellsItsPlace();
    void clicksOnTheTray_arrive();
    void callsWithOddArguments_areErrors();
    void clickedPoint_findsTheScaleOfTheBar_data();
    void clickedPoint_findsTheScaleOfTheBar();
    void logicalRect_isOnTheScreenOfItsMiddle();
    void menu_isAskedFor_onlyWhenABarAsks();
    void menu_hasItsLayout();
    void menu_tellsSingleLines();
    void menu_doesWhatIsClicked();
    void menu_refusesLinesThatAreNotThere();
    void menu_tellsWhenItHasChanged();
    void symbols_areThere_inAllSizes();
};

void TestStatusNotifierItem::item_isRegistered_withAWatcherThatIsThere() {
    Desktop desktop;
    Watcher watcher(desktop.bus);
    watcher.appear();
    desktop.show();
    QTRY_COMPARE(watcher.items, QStringList(desktop.address() + "/StatusNotifierItem"));
    QTRY_COMPARE(watcher.questions, 1);
    QVERIFY(!desktop.tray.isShown);
    QCOMPARE(desktop.tray.shows, 0);
}

void TestStatusNotifierItem::item_isRegistered_withEachWatcherThatComes() {
    Desktop desktop;
    desktop.show();
    for (int i = 0; i < 50; ++i) {
        Watcher watcher(desktop.bus);
        watcher.appear();
        QTRY_COMPARE(watcher.items.size(), 1);
        QTRY_COMPARE(watcher.questions, 1);
        QTRY_VERIFY(!desktop.tray.isShown);
        if (i % 2 == 0)
            watcher.vanish();
        else
            watcher.disconnect(); // as a crash
        QTRY_VERIFY(desktop.tray.isShown);
        QCOMPARE(watcher.items, QStringList(desktop.address() + "/StatusNotifierItem"));
    }
}

void TestStatusNotifierItem::item_isThere_beforeItIsRegistered() {
    Desktop desktop;
    Watcher watcher(desktop.bus);
    watcher.answers = Watcher::Answers::never;
    watcher.appear();
    desktop.show();
    QTRY_COMPARE(watcher.items.size(), 1);
    QCOMPARE(desktop.property("Id").toString(), "com.qorbex.Vantorel");
}

void TestStatusNotifierItem::noBar_isNoError() {
    PrivateBus bus;
    auto connection = bus.connect();
    {
        DesktopStatusItem item(connection, "/icons", nullptr);
        item.setImage(kNormal);
        item.show();
        QCoreApplication::processEvents();
        bus.end();
        QTRY_VERIFY(!connection.isConnected());
        item.setImage(kWarning);
        QCOMPARE(item.image(), kWarning);
    }
    QDBusConnection::disconnectFromBus(connection.name());
}

void TestStatusNotifierItem::tray_standsIn_whileNoBarIsOnTheBus() {
    Desktop desktop;
    desktop.show();
    QTRY_VERIFY(desktop.tray.isShown);
    QCOMPARE(desktop.tray.image, kNormal);
    desktop.item->setImage(kWarning);
    QCOMPARE(desktop.tray.image, kWarning);

    Watcher watcher(desktop.bus);
    watcher.hasHost = false;
    watcher.appear();
    QTRY_COMPARE(watcher.questions, 1);
    QTest::qWait(50);
    QVERIFY(desktop.tray.isShown);
    for (int i = 0; i < 3; ++i) {
        watcher.setHost(true);
        QTRY_VERIFY(!desktop.tray.isShown);
        watcher.setHost(false);
        QTRY_VERIFY(desktop.tray.isShown);
    }
    QCOMPARE(watcher.items.size(), 1);
    QCOMPARE(desktop.tray.shows, 4);
}

void TestStatusNotifierItem::tray_standsIn_forAWatcherThatAnswersErrors() {
    Desktop desktop;
    Watcher watcher(desktop.bus);
    watcher.answers = Watcher::Answers::withErrors;
    watcher.appear();
    desktop.show();
    QTRY_VERIFY(desktop.tray.isShown);
}

void TestStatusNotifierItem::tray_standsIn_forAWatcherThatAnswersNonsense() {
    Desktop desktop;
    Watcher watcher(desktop.bus);
    watcher.answers = Watcher::Answers::withNonsense;
    watcher.appear();
    desktop.show();
    QTRY_VERIFY(desktop.tray.isShown);
}

void TestStatusNotifierItem::tray_standsIn_forAWatcherThatRefusesTheItem() {
    Desktop desktop;
    Watcher watcher(desktop.bus);
    watcher.answers = Watcher::Answers::withRefusals;
    watcher.appear();
    desktop.show();
    QTRY_VERIFY(desktop.tray.isShown);
    watcher.setHost(true);
    QTRY_COMPARE(watcher.questions, 2);
    QTest::qWait(50);
    QVERIFY(desktop.tray.isShown);
}

void TestStatusNotifierItem::tray_standsIn_forAWatcherThatIsSilent_untilItSpeaks() {
    Desktop desktop;
    Watcher watcher(desktop.bus);
    watcher.answers = Watcher::Answers::never;
    watcher.appear();
    desktop.show();
    QTRY_COMPARE(watcher.items.size(), 1);
    // Nothing waits for it meanwhile.
    QElapsedTimer time;
    time.start();
    QCOMPARE(desktop.callItem("Activate", {5, 6}).type(), QDBusMessage::ReplyMessage);
    QVERIFY(time.elapsed() < 2000);
    QTRY_COMPARE(desktop.clicks.size(), 1);

    QTRY_VERIFY_WITH_TIMEOUT(desktop.tray.isShown, kPatienceMs);
    QTest::qWait(50); // it asks once more
    watcher.answerAll();
    QTRY_VERIFY(!desktop.tray.isShown);
}

void TestStatusNotifierItem::tray_waits_forTheFirstAnswer() {
    Desktop desktop;
    Watcher watcher(desktop.bus);
    watcher.answers = Watcher::Answers::never;
    watcher.appear();
    desktop.show();
    QTRY_COMPARE(watcher.items.size(), 1);
    QTest::qWait(100);
    QVERIFY(!desktop.tray.isShown);
    watcher.answerAll();
    QTRY_COMPARE(watcher.questions, 1);
    QTest::qWait(50);
    QCOMPARE(desktop.tray.shows, 0);
}

void TestStatusNotifierItem::properties_haveTheirTypes_data() {
    QTest::addColumn<QString>("signature");
    for (const char* name : {"Category", "Id", "Title", "Status", "IconThemePath", "IconName", "IconAccessibleDesc",
                             "OverlayIconName", "AttentionIconName", "AttentionMovieName"})
        QTest::newRow(name) << "s";
    for (const char* name : {"IconPixmap", "OverlayIconPixmap", "AttentionIconPixmap"})
        QTest::newRow(name) << "a(iiay)";
    QTest::newRow("WindowId") << "i";
    QTest::newRow("ItemIsMenu") << "b";
    QTest::newRow("Menu") << "o";
    QTest::newRow("ToolTip") << "(sa(iiay)ss)";
}

void TestStatusNotifierItem::properties_haveTheirTypes() {
    QFETCH(QString, signature);
    Desktop desktop;
    desktop.show();
    const QString name = QTest::currentDataTag();
    QCOMPARE(signatureOf(desktop.property(name)), signature);
    const auto all = desktop.call("/StatusNotifierItem", kProperties, "GetAll", {kItem});
    QCOMPARE(all.signature(), "a{sv}");
    const auto values = qdbus_cast<QVariantMap>(all.arguments().at(0));
    QCOMPARE(values.size(), 17);
    QCOMPARE(signatureOf(values.value(name)), signature);
}

void TestStatusNotifierItem::properties_haveTheirValues() {
    Desktop desktop;
    desktop.show();
    QCOMPARE(desktop.property("Category").toString(), "ApplicationStatus");
    QCOMPARE(desktop.property("Id").toString(), "com.qorbex.Vantorel");
    QCOMPARE(desktop.property("Title").toString(), "Vantorel");
    QCOMPARE(desktop.property("Status").toString(), "Active");
    QCOMPARE(desktop.property("IconThemePath").toString(), "/icons");
    QCOMPARE(desktop.property("ItemIsMenu"), QVariant(false));
    QCOMPARE(desktop.property("Menu").value<QDBusObjectPath>().path(), "/StatusNotifierItem/Menu");
    const auto toolTip = [&] { return qdbus_cast<StatusToolTip>(desktop.property("ToolTip")); };
    QCOMPARE(desktop.property("IconName").toString(), kNormal.symbol);
    QCOMPARE(desktop.property("IconAccessibleDesc").toString(), "Vantorel");
    QCOMPARE(toolTip().title, "Vantorel");
    QCOMPARE(toolTip().text, "");
    desktop.item->setImage(kWarning);
    QCOMPARE(desktop.property("IconName").toString(), kWarning.symbol);
    QCOMPARE(desktop.property("IconAccessibleDesc").toString(), "No browser configured");
    QCOMPARE(toolTip().title, "Vantorel");
    QCOMPARE(toolTip().text, "No browser configured");
}

void TestStatusNotifierItem::properties_areDescribed() {
    Desktop desktop;
    desktop.show();
    const auto description = [&](const QString& path) {
        return desktop.call(path, "org.freedesktop.DBus.Introspectable", "Introspect").arguments().at(0).toString();
    };
    const QString item = description("/StatusNotifierItem");
    for (const char* part :
         {"<interface name=\"org.kde.StatusNotifierItem\">", "name=\"IconPixmap\" type=\"a(iiay)\" access=\"read\"",
          "name=\"ToolTip\" type=\"(sa(iiay)ss)\" access=\"read\"", "name=\"Menu\" type=\"o\" access=\"read\"",
          "<method name=\"Activate\">", "<method name=\"SecondaryActivate\">", "<method name=\"ContextMenu\">",
          "<method name=\"Scroll\">", "<signal name=\"NewIcon\">", "<signal name=\"NewStatus\">"})
        QVERIFY2(item.contains(part), part);
    QVERIFY(!item.contains("clicked")); // what is ours alone
    const QString menu = description("/StatusNotifierItem/Menu");
    for (const char* part : {"<interface name=\"com.canonical.dbusmenu\">", "<method name=\"GetLayout\">",
                             "type=\"(ia{sv}av)\"", "<signal name=\"LayoutUpdated\">", "type=\"a(isvu)\""})
        QVERIFY2(menu.contains(part), part);
}

void TestStatusNotifierItem::properties_cannotBeSet() {
    Desktop desktop;
    desktop.show();
    const auto answer = desktop.call("/StatusNotifierItem", kProperties, "Set",
                                     {kItem, "Title", QVariant::fromValue(QDBusVariant("another"))});
    QCOMPARE(answer.type(), QDBusMessage::ErrorMessage);
    QCOMPARE(desktop.property("Title").toString(), "Vantorel");
}

void TestStatusNotifierItem::pixmaps_areTheSymbol_inAlphaRedGreenBlue() {
    Desktop desktop;
    desktop.show();
    QPalette palette;
    palette.setColor(QPalette::WindowText, QColor(1, 2, 3));
    QApplication::setPalette(palette);
    const auto pixmaps = qdbus_cast<QList<StatusPixmap>>(desktop.property("IconPixmap"));
    QApplication::setPalette(QPalette());
    QList<int> sizes;
    for (const StatusPixmap& pixmap : pixmaps) {
        sizes.append(pixmap.width);
        QCOMPARE(pixmap.height, pixmap.width);
        QCOMPARE(pixmap.data.size(), pixmap.width * pixmap.width * 4);
    }
    for (const int wanted : {16, 22, 24, 32, 48})
        QVERIFY(sizes.contains(wanted));
    // The stem of the branch, and the corner beside it.
    const QByteArray& data = pixmaps.at(sizes.indexOf(48)).data;
    const qsizetype stem = (36 * 48 + 24) * 4;
    QCOMPARE(data.mid(stem, 4), QByteArray("\xff\x01\x02\x03", 4));
    QCOMPARE(data.at(0), '\0');
}

void TestStatusNotifierItem::image_isAnnounced_onlyWhenItChanges() {
    Desktop desktop;
    desktop.show();
    const Listener icon(desktop, "/StatusNotifierItem", kItem, "NewIcon");
    const Listener toolTip(desktop, "/StatusNotifierItem", kItem, "NewToolTip");
    desktop.property("Id"); // they are listening from here on
    desktop.item->setImage(kWarning);
    desktop.item->setImage(kWarning);
    QTRY_COMPARE(icon.count, 1);
    QTRY_COMPARE(toolTip.count, 1);
    desktop.item->setImage(kNormal);
    QTRY_COMPARE(icon.count, 2);
    QTRY_COMPARE(toolTip.count, 2);
}

void TestStatusNotifierItem::click_tellsItsPlace_data() {
    QTest::addColumn<QString>("method");
    QTest::addColumn<QPoint>("told");
    QTest::addColumn<bool>("isKnown");
    QTest::newRow("left") << "Activate" << QPoint(700, 12) << true;
    QTest::newRow("middle") << "SecondaryActivate" << QPoint(3, 0) << true;
    QTest::newRow("unknown") << "Activate" << QPoint(0, 0) << false;
    QTest::newRow("on no screen") << "Activate" << QPoint(-5, 100000) << false;
    QTest::newRow("largest") << "Activate" << QPoint(INT_MAX, INT_MIN) << false;
}

void TestStatusNotifierItem::click_tellsItsPlace() {
    QFETCH(QString, method);
    QFETCH(QPoint, told);
    QFETCH(bool, isKnown);
    Desktop desktop;
    desktop.show();
    QCOMPARE(desktop.callItem(method, {told.x(), told.y()}).type(), QDBusMessage::ReplyMessage);
    QTRY_COMPARE(desktop.clicks.size(), 1);
    QCOMPARE(desktop.clicks.constFirst().click, isKnown ? std::optional(told) : std::nullopt);
    QCOMPARE(desktop.clicks.constFirst().icon, std::nullopt);
}

void TestStatusNotifierItem::clicksOnTheTray_arrive() {
    Desktop desktop;
    desktop.show();
    desktop.tray.handlers.clicked({.icon = QRect(1, 2, 3, 4), .click = QPoint(2, 3)});
    QCOMPARE(desktop.clicks.size(), 1);
    QCOMPARE(desktop.clicks.constFirst().icon, QRect(1, 2, 3, 4));
    QCOMPARE(desktop.clicks.constFirst().click, QPoint(2, 3));
}

void TestStatusNotifierItem::callsWithOddArguments_areErrors() {
    Desktop desktop;
    desktop.show();
    const QString huge(1000000, 'x');
    QCOMPARE(desktop.callItem("Activate").type(), QDBusMessage::ErrorMessage);
    QCOMPARE(desktop.callItem("Activate", {huge, 1}).type(), QDBusMessage::ErrorMessage);
    QCOMPARE(desktop.callItem("Activate", {1u, 1u}).type(), QDBusMessage::ErrorMessage);
    QCOMPARE(desktop.callItem("ContextMenu", {1.5, 2.5}).type(), QDBusMessage::ErrorMessage);
    QCOMPARE(desktop.callItem("NoSuchMethod", {huge}).type(), QDBusMessage::ErrorMessage);
    QCOMPARE(desktop.callItem("clicked", {1, 1}).type(), QDBusMessage::ErrorMessage);
    QCOMPARE(desktop.callItem("Scroll", {INT_MIN, huge}).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(desktop.callItem("ContextMenu", {0, 0}).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(desktop.callMenu("GetLayout", {"0", 1, QStringList()}).type(), QDBusMessage::ErrorMessage);
    QCOMPARE(desktop.callMenu("EventGroup", {huge}).type(), QDBusMessage::ErrorMessage);
    QCOMPARE(desktop.call("/StatusNotifierItem", kProperties, "Get", {kItem, huge}).type(), QDBusMessage::ErrorMessage);
    QCOMPARE(desktop.property("Status").toString(), "Active");
    QVERIFY(desktop.clicks.isEmpty());
}

void TestStatusNotifierItem::clickedPoint_findsTheScaleOfTheBar_data() {
    QTest::addColumn<QPoint>("told");
    QTest::addColumn<QPoint>("pointer"); // logical, as it is on the screen
    QTest::addColumn<qreal>("ratio");
    QTest::addColumn<QPoint>("expected");
    QTest::newRow("1:1") << QPoint(900, 14) << QPoint(901, 13) << 1.0 << QPoint(900, 14);
    QTest::newRow("native pixels, scaled program") << QPoint(900, 14) << QPoint(450, 7) << 2.0 << QPoint(450, 7);
    QTest::newRow("both scaled by 2") << QPoint(450, 7) << QPoint(450, 7) << 2.0 << QPoint(450, 7);
    QTest::newRow("bar by 2, program by 1.5") << QPoint(300, 9) << QPoint(400, 12) << 1.5 << QPoint(400, 12);
    QTest::newRow("bar by 3, program unscaled") << QPoint(300, 5) << QPoint(905, 20) << 1.0 << QPoint(900, 15);
    QTest::newRow("by keys, pointer elsewhere") << QPoint(100, 8) << QPoint(280, 200) << 2.0 << QPoint(50, 4);
    QTest::newRow("corner of the icon, scaled program") << QPoint(800, 0) << QPoint(406, 9) << 2.0 << QPoint(400, 0);
}

void TestStatusNotifierItem::clickedPoint_findsTheScaleOfTheBar() {
    QFETCH(QPoint, told);
    QFETCH(QPoint, pointer);
    QFETCH(qreal, ratio);
    QFETCH(QPoint, expected);
    const QRect screen(QPoint(), (QSizeF(1000, 600) / ratio).toSize());
    QCOMPARE(clickedPoint(told, pointer, {{screen, ratio}}), expected);
}

// Corners of screens are the same in both kinds of pixels.
void TestStatusNotifierItem::logicalRect_isOnTheScreenOfItsMiddle() {
    const QList<StatusScreen> screens = {{QRect(0, 0, 1000, 500), 1}, {QRect(1000, 0, 960, 540), 2}};
    QCOMPARE(logicalPoint(QPoint(999, 499), screens), QPoint(999, 499));
    QCOMPARE(logicalPoint(QPoint(1100, 40), screens), QPoint(1050, 20));
    QCOMPARE(logicalPoint(QPoint(2919, 1079), screens), QPoint(1959, 539));
    QCOMPARE(logicalPoint(QPoint(2920, 1079), screens), std::nullopt);
    QCOMPARE(logicalPoint(QPoint(500, 500), screens), std::nullopt);
    QCOMPARE(logicalRect(QRect(1200, 10, 44, 56), screens), QRect(1100, 5, 22, 28));
    QCOMPARE(logicalRect(QRect(900, 10, 22, 28), screens), QRect(900, 10, 22, 28));
    QCOMPARE(logicalRect(QRect(-100, 10, 22, 28), screens), std::nullopt);
    QCOMPARE(logicalPoint(QPoint(1, 1), {}), std::nullopt);
}

void TestStatusNotifierItem::menu_isAskedFor_onlyWhenABarAsks() {
    Desktop desktop;
    Watcher watcher(desktop.bus);
    watcher.appear();
    desktop.show();
    QTRY_COMPARE(watcher.items.size(), 1);
    desktop.call("/StatusNotifierItem", kProperties, "GetAll", {kItem});
    const auto all = desktop.call("/StatusNotifierItem/Menu", kProperties, "GetAll", {kMenu});
    const auto values = qdbus_cast<QVariantMap>(all.arguments().at(0));
    QCOMPARE(values.value("Version"), QVariant(3u));
    QCOMPARE(values.value("Status"), QVariant("normal"));
    QCOMPARE(values.value("TextDirection"), QVariant("ltr"));
    QCOMPARE(signatureOf(values.value("IconThemePath")), "as");
    QCOMPARE(desktop.menus, 0);
    desktop.callMenu("AboutToShow", {0});
    QCOMPARE(desktop.menus, 1);
    desktop.callMenu("GetLayout", {0, -1, QStringList()});
    QCOMPARE(desktop.menus, 2);
}

void TestStatusNotifierItem::menu_hasItsLayout() {
    Desktop desktop;
    desktop.titles = {"Snake_case", "Quit Vantorel"};
    desktop.show();
    const auto answer = desktop.callMenu("GetLayout", {0, -1, QStringList()});
    QCOMPARE(answer.signature(), "u(ia{sv}av)");
    QVERIFY(answer.arguments().at(0).toUInt() > 0);
    const auto layout = qdbus_cast<StatusMenuLayout>(answer.arguments().at(1));
    QCOMPARE(layout.id, 0);
    QCOMPARE(layout.properties.value("children-display"), QVariant("submenu"));
    QCOMPARE(layout.children.size(), 2);
    QCOMPARE(layout.children.at(0).id, 1);
    QCOMPARE(layout.children.at(0).properties.value("label"), QVariant("Snake__case"));
    QCOMPARE(layout.children.at(0).properties.value("enabled"), QVariant(true));
    QCOMPARE(layout.children.at(1).id, 2);
    QCOMPARE(layout.children.at(1).properties.value("label"), QVariant("Quit Vantorel"));

    const auto shallow = desktop.callMenu("GetLayout", {0, 0, QStringList()});
    QVERIFY(qdbus_cast<StatusMenuLayout>(shallow.arguments().at(1)).children.isEmpty());
    const auto line =
        qdbus_cast<StatusMenuLayout>(desktop.callMenu("GetLayout", {2, -1, QStringList("label")}).arguments().at(1));
    QCOMPARE(line.id, 2);
    QCOMPARE(line.properties, QVariantMap({{"label", "Quit Vantorel"}}));
    QVERIFY(line.children.isEmpty());
}

void TestStatusNotifierItem::menu_tellsSingleLines() {
    Desktop desktop;
    desktop.show();
    const auto group = [&](const QList<int>& ids) {
        const auto answer = desktop.callMenu("GetGroupProperties", {QVariant::fromValue(ids), QStringList("label")});
        return qdbus_cast<QList<StatusMenuItem>>(answer.arguments().at(0));
    };
    QCOMPARE(group({}).size(), 3);
    const auto lines = group({2, 77, 1, 2, -1});
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines.at(0).id, 1);
    QCOMPARE(lines.at(1).properties, QVariantMap({{"label", "Quit Vantorel"}}));
    const auto label = desktop.callMenu("GetProperty", {1, "label"});
    QCOMPARE(label.arguments().at(0).value<QDBusVariant>().variant(), QVariant("Settings"));
    QCOMPARE(desktop.callMenu("GetProperty", {1, "no-such"}).type(), QDBusMessage::ErrorMessage);
}

void TestStatusNotifierItem::menu_doesWhatIsClicked() {
    Desktop desktop;
    desktop.show();
    const auto event = [](int id, const QString& name) {
        return QVariantList{id, name, QVariant::fromValue(QDBusVariant(0)), 5u};
    };
    QCOMPARE(desktop.callMenu("Event", event(1, "clicked")).type(), QDBusMessage::ReplyMessage);
    QTRY_COMPARE(desktop.chosen, QStringList("Settings"));
    for (const char* name : {"opened", "closed", "hovered", "x-vendor"})
        QCOMPARE(desktop.callMenu("Event", event(2, name)).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(desktop.callMenu("Event", event(0, "clicked")).type(), QDBusMessage::ReplyMessage);
    const QList<StatusMenuEvent> events = {{9, "clicked", QDBusVariant(0), 5}, {2, "clicked", QDBusVariant(0), 5}};
    const auto answer = desktop.callMenu("EventGroup", {QVariant::fromValue(events)});
    QCOMPARE(qdbus_cast<QList<int>>(answer.arguments().at(0)), QList<int>{9});
    QTRY_COMPARE(desktop.chosen, QStringList({"Settings", "Quit Vantorel"}));
}

void TestStatusNotifierItem::menu_refusesLinesThatAreNotThere() {
    Desktop desktop;
    desktop.show();
    const QVariant data = QVariant::fromValue(QDBusVariant(0));
    for (const int id : {3, -1, INT_MAX, INT_MIN}) {
        QCOMPARE(desktop.callMenu("GetLayout", {id, -1, QStringList()}).errorName(), kInvalidArgs);
        QCOMPARE(desktop.callMenu("GetProperty", {id, "label"}).errorName(), kInvalidArgs);
        QCOMPARE(desktop.callMenu("Event", {id, "clicked", data, 5u}).errorName(), kInvalidArgs);
        QCOMPARE(desktop.callMenu("AboutToShow", {id}).errorName(), kInvalidArgs);
        const QVariant ids = QVariant::fromValue(QList<int>{id});
        QCOMPARE(desktop.callMenu("GetGroupProperties", {ids, QStringList()}).errorName(), kInvalidArgs);
        QCOMPARE(desktop.callMenu("AboutToShowGroup", {ids}).errorName(), kInvalidArgs);
        const QList<StatusMenuEvent> events = {{id, "clicked", QDBusVariant(0), 5}};
        QCOMPARE(desktop.callMenu("EventGroup", {QVariant::fromValue(events)}).errorName(), kInvalidArgs);
    }
    QVERIFY(desktop.chosen.isEmpty());
}

void TestStatusNotifierItem::menu_tellsWhenItHasChanged() {
    Desktop desktop;
    desktop.show();
    const Listener updates(desktop, "/StatusNotifierItem/Menu", kMenu, "LayoutUpdated");
    const auto revision = [&] {
        return desktop.callMenu("GetLayout", {0, -1, QStringList()}).arguments().at(0).toUInt();
    };
    const uint first = revision();
    QCOMPARE(desktop.callMenu("AboutToShow", {0}).arguments().at(0), QVariant(false));
    QCOMPARE(revision(), first);
    QCOMPARE(updates.count, 0);
    desktop.titles = {"Einstellungen", "Vantorel beenden"};
    QCOMPARE(desktop.callMenu("AboutToShow", {0}).arguments().at(0), QVariant(true));
    QTRY_COMPARE(updates.count, 1);
    QVERIFY(revision() > first);
    desktop.titles = {"Settings", "Quit Vantorel"};
    const auto answer = desktop.callMenu("AboutToShowGroup", {QVariant::fromValue(QList<int>{0, 5})});
    QCOMPARE(qdbus_cast<QList<int>>(answer.arguments().at(0)), QList<int>{0});
    QCOMPARE(qdbus_cast<QList<int>>(answer.arguments().at(1)), QList<int>{5});
}

void TestStatusNotifierItem::symbols_areThere_inAllSizes() {
    for (const QString& name : {kNormal.symbol, kWarning.symbol}) {
        const auto symbols = statusSymbols(name);
        QVERIFY(symbols.size() >= 5);
        for (const StatusSymbol& symbol : symbols) {
            const auto* const end = symbol.coverage + symbol.size * symbol.size;
            QVERIFY(std::any_of(symbol.coverage, end, [](unsigned char byte) { return byte == 255; }));
            QVERIFY(std::count(symbol.coverage, end, 0) > symbol.size * symbol.size / 4);
        }
        QCOMPARE(fittingSymbol(symbols, 1).size, 16);
        QCOMPARE(fittingSymbol(symbols, 16).size, 16);
        QCOMPARE(fittingSymbol(symbols, 23).size, 22);
        QCOMPARE(fittingSymbol(symbols, 1000).size, 96);
    }
    QVERIFY(statusSymbols(u"no-such-symbol").empty());
}

QTEST_MAIN(TestStatusNotifierItem)
#include "TestStatusNotifierItem.moc"
