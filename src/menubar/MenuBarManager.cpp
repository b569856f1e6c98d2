#include "menubar/MenuBarManager.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QMainWindow>
#include <QScreen>
#include <QWindow>

#include <utility>

namespace vantorel {

namespace {

constexpr QSize kSettingsSize(620, 500);
constexpr QSize kSmallestSettingsSize(520, 400);

} // namespace

MenuBarManager::MenuBarManager(MakeContent makeContent, BringToFront bringToFront)
    : m_makeContent(std::move(makeContent))
    , m_bringToFront(std::move(bringToFront)) { }

MenuBarManager::~MenuBarManager() = default;

void MenuBarManager::openSettings() {
    if (!m_settings)
        makeSettings();
    m_settings->setWindowState(m_settings->windowState() & ~Qt::WindowMinimized);
    m_settings->show();
    m_bringToFront(*m_settings->windowHandle());
}

void MenuBarManager::makeSettings() {
    // Whoever makes the content first sees to the language of all texts.
    QWidget* const content = m_makeContent();
    auto window = std::make_unique<QMainWindow>(); // a window to assistive technology as well
    window->setCentralWidget(content);
    m_settings = std::move(window);
    m_settings->setWindowTitle(
        QCoreApplication::translate("MenuBarManager", "Vantorel \u2014 Settings", "title of the settings window"));
    m_settings->setMinimumSize(kSmallestSettingsSize);
    QRect place({}, kSettingsSize);
    place.moveCenter(QGuiApplication::primaryScreen()->availableGeometry().center());
    m_settings->setGeometry(place);
}

} // namespace vantorel
