// The least that any program with windows pays: one plain widget with one label, shown on the same call on the bus as
// the settings window, at the same size and place.

#include <QApplication>
#include <QDBusConnection>
#include <QLabel>
#include <QScreen>
#include <QVBoxLayout>

#include <memory>

namespace {

class Floor : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public Q_SLOTS:
    // The names are those on the bus.
    void Activate(const QVariantMap&) {
        if (!m_window)
            make();
        m_window->show();
    }

private:
    void make() {
        m_window = std::make_unique<QWidget>();
        auto* const layout = new QVBoxLayout(m_window.get());
        layout->addWidget(new QLabel(QStringLiteral("A label that is long enough to be seen wherever one looks for it, "
                                                    "and no longer than that it fits into the window."),
                                     m_window.get()));
        QRect place(0, 0, 620, 500);
        place.moveCenter(QGuiApplication::primaryScreen()->availableGeometry().center());
        m_window->setGeometry(place);
    }

    std::unique_ptr<QWidget> m_window;
};

} // namespace

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    Floor floor;
    auto bus = QDBusConnection::sessionBus();
    const bool isThere =
        bus.registerObject(QStringLiteral("/com/qorbex/Vantorel"), &floor, QDBusConnection::ExportAllSlots)
        && bus.registerService(QStringLiteral("org.example.Floor"));
    return isThere ? QApplication::exec() : 1;
}

#include "window_floor.moc"
