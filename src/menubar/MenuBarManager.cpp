#include "menubar/MenuBarManager.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>
#include <QVBoxLayout>
#include <QWidget>
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
    m_settings = std::make_unique<QWidget>();
    m_settings->setWindowTitle(
        QCoreApplication::translate("MenuBarManager", "Vantorel \u2014 Settings", "title of the settings window"));
    m_settings->setMinimumSize(kSmallestSettingsSize);
    auto* const layout = new QVBoxLayout(m_settings.get());
    layout->setContentsMargins({});
    layout->addWidget(content);
    QRect place({}, kSettingsSize);
    place.moveCenter(QGuiApplication::primaryScreen()->availableGeometry().center());
    m_settings->setGeometry(place);
}

} // namespace vantorel
