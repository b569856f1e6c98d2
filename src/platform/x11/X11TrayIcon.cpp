#include "platform/x11/X11TrayIcon.h"

#include "platform/freedesktop/StatusPlace.h"
#include "platform/freedesktop/StatusSymbol.h"
#include "platform/x11/Xcb.h"

#include <QGuiApplication>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <xcb/render.h>

namespace vantorel {

namespace {

constexpr uint32_t kRequestDock = 0; // an operation of the tray protocol
constexpr uint32_t kMapped = 1; // a flag of XEmbed
constexpr uint16_t kFirstSize = 22; // in logical pixels; until the tray gives another one
constexpr uint32_t kHasMinimum = 1 << 4; // of size hints, as the two below
constexpr std::size_t kMinimumWidth = 5;
constexpr std::size_t kSizeHints = 18;

using Xcb::Owned;

// In the order of their names in Server::find().
enum Atom { manager, opcode, visual, colors, embedInfo, name, utf8, selection, atomCount };

xcb_render_color_t renderColor(const QColor& color) {
    const auto part = [](int byte) { return static_cast<uint16_t>(byte * 0x101); };
    return {part(color.red()), part(color.green()), part(color.blue()), 0xffff};
}

} // namespace

// What is asked of the server once. The connection is Qt's own: its events reach us through Qt's loop, and no second
// one has to be kept.
struct X11TrayIcon::Server {
    static std::unique_ptr<Server> find();

    template <typename T> std::vector<T> property(xcb_window_t window, xcb_atom_t atom) const;
    xcb_render_pictformat_t formatOf(xcb_visualid_t visualID) const;
    uint8_t depthOf(xcb_visualid_t visualID) const;
    // A tray may be gone before the server hears what we want of it. That is no error.
    void send(xcb_void_cookie_t checked) const { xcb_discard_reply(connection, checked.sequence); }

    xcb_connection_t* connection = nullptr;
    xcb_screen_t* screen = nullptr;
    std::array<xcb_atom_t, Atom::atomCount> atoms{};
    Owned<xcb_render_query_pict_formats_reply_t> formats;
    xcb_render_pictformat_t maskFormat = XCB_NONE; // eight bits of alpha
};

struct X11TrayIcon::Icon {
    explicit Icon(const Server& theServer) : server(theServer) { }
    ~Icon() {
        if (window != XCB_NONE)
            server.send(xcb_destroy_window_checked(server.connection, window));
        if (colormap != XCB_NONE)
            xcb_free_colormap(server.connection, colormap);
    }
    Icon(const Icon&) = delete;
    Icon& operator=(const Icon&) = delete;

    const Server& server;
    xcb_window_t tray = XCB_NONE;
    xcb_window_t window = XCB_NONE; // goes with its picture
    xcb_colormap_t colormap = XCB_NONE;
    xcb_render_picture_t picture = XCB_NONE;
    QSize size{kFirstSize, kFirstSize};
    std::optional<QColor> color; // where the tray tells it
};

std::unique_ptr<X11TrayIcon::Server> X11TrayIcon::Server::find() {
    const auto* const application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    const auto* const x11 = application ? application->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection())
        return nullptr;
    auto server = std::make_unique<Server>();
    auto* const connection = server->connection = x11->connection();
    char* host = nullptr;
    int display = 0;
    int number = 0;
    if (xcb_parse_display(nullptr, &host, &display, &number) != 0)
        std::free(host);
    server->screen = Xcb::screenAt(connection, number);

    const auto formatsCookie = xcb_render_query_pict_formats(connection);
    const std::string selectionName = "_NET_SYSTEM_TRAY_S" + std::to_string(number);
    const auto atoms = Xcb::atoms<Atom::atomCount>(connection,
                                                   {"MANAGER", "_NET_SYSTEM_TRAY_OPCODE", "_NET_SYSTEM_TRAY_VISUAL",
                                                    "_NET_SYSTEM_TRAY_COLORS", "_XEMBED_INFO", "_NET_WM_NAME",
                                                    "UTF8_STRING", selectionName});
    server->formats.reset(xcb_render_query_pict_formats_reply(connection, formatsCookie, nullptr));
    if (!atoms || !server->formats)
        return nullptr;
    server->atoms = *atoms;
    for (auto format = xcb_render_query_pict_formats_formats_iterator(server->formats.get()); format.rem > 0;
         xcb_render_pictforminfo_next(&format)) {
        if (format.data->depth == 8 && format.data->type == XCB_RENDER_PICT_TYPE_DIRECT
            && format.data->direct.alpha_mask == 0xff)
            server->maskFormat = format.data->id;
    }
    return server->maskFormat == XCB_NONE ? nullptr : std::move(server);
}

template <typename T> std::vector<T> X11TrayIcon::Server::property(xcb_window_t window, xcb_atom_t atom) const {
    constexpr uint32_t kMost = 12;
    const auto cookie = xcb_get_property(connection, false, window, atom, XCB_GET_PROPERTY_TYPE_ANY, 0, kMost);
    const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, cookie, nullptr));
    if (!reply || reply->format != sizeof(T) * 8)
        return {};
    const auto* const first = static_cast<const T*>(xcb_get_property_value(reply.get()));
    return std::vector<T>(first, first + reply->value_len);
}

xcb_render_pictformat_t X11TrayIcon::Server::formatOf(xcb_visualid_t visualID) const {
    for (auto each = xcb_render_query_pict_formats_screens_iterator(formats.get()); each.rem > 0;
         xcb_render_pictscreen_next(&each)) {
        for (auto depth = xcb_render_pictscreen_depths_iterator(each.data); depth.rem > 0;
             xcb_render_pictdepth_next(&depth)) {
            const auto* const visuals = xcb_render_pictdepth_visuals(depth.data);
            const auto* const end = visuals + xcb_render_pictdepth_visuals_length(depth.data);
            const auto* const found = std::find_if(
                visuals, end, [visualID](const xcb_render_pictvisual_t& one) { return one.visual == visualID; });
            if (found != end)
                return found->format;
        }
    }
    return XCB_NONE;
}

// 0 where the screen has no such visual.
uint8_t X11TrayIcon::Server::depthOf(xcb_visualid_t visualID) const {
    for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem > 0; xcb_depth_next(&depth)) {
        for (auto one = xcb_depth_visuals_iterator(depth.data); one.rem > 0; xcb_visualtype_next(&one)) {
            if (one.data->visual_id == visualID)
                return depth.data->depth;
        }
    }
    return 0;
}

X11TrayIcon::X11TrayIcon() = default;

X11TrayIcon::~X11TrayIcon() = default;

void X11TrayIcon::start(Handlers handlers) {
    m_handlers = std::move(handlers);
}

// A tray that comes announces itself on the root window, where Qt listens already.
void X11TrayIcon::show() {
    if (std::exchange(m_isWanted, true))
        return;
    if (!m_server) {
        m_server = Server::find();
        if (!m_server)
            return;
    }
    qApp->installNativeEventFilter(this);
    qApp->installEventFilter(this);
    dock();
}

void X11TrayIcon::hide() {
    if (!std::exchange(m_isWanted, false) || !m_server)
        return;
    qApp->removeNativeEventFilter(this);
    qApp->removeEventFilter(this);
    undock();
}

void X11TrayIcon::setImage(const StatusItem::Image& image) {
    m_image = image;
    if (m_icon)
        paint();
}

void X11TrayIcon::undock() {
    m_icon.reset();
    if (m_server)
        xcb_flush(m_server->connection);
}

void X11TrayIcon::dock() {
    undock();
    const Server& server = *m_server;
    auto* const connection = server.connection;
    const Owned<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, server.atoms[Atom::selection]), nullptr));
    if (!owner || owner->owner == XCB_NONE)
        return;
    auto icon = std::make_unique<Icon>(server);
    icon->tray = owner->owner;
    const uint32_t trayEvents = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    const Owned<xcb_generic_error_t> isGone(xcb_request_check(
        connection, xcb_change_window_attributes_checked(connection, icon->tray, XCB_CW_EVENT_MASK, &trayEvents)));
    if (isGone) // whoever comes next announces itself
        return;

    // Transparent where the tray can show that, else with the tray's own picture behind it.
    const auto visuals = server.property<uint32_t>(icon->tray, server.atoms[Atom::visual]);
    const uint8_t depth = visuals.size() == 1 ? server.depthOf(visuals.front()) : 0;
    const bool isTransparent = depth == 32;
    const xcb_visualid_t visualID = isTransparent ? visuals.front() : server.screen->root_visual;
    const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_BUTTON_PRESS
        | XCB_EVENT_MASK_BUTTON_RELEASE;
    icon->window = xcb_generate_id(connection);
    if (isTransparent) {
        icon->colormap = xcb_generate_id(connection);
        xcb_create_colormap(connection, XCB_COLORMAP_ALLOC_NONE, icon->colormap, server.screen->root, visualID);
        const std::array<uint32_t, 4> values = {0, 0, events, icon->colormap};
        xcb_create_window(connection, depth, icon->window, server.screen->root, 0, 0, kFirstSize, kFirstSize, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, visualID,
                          XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP, values.data());
    } else {
        const std::array<uint32_t, 2> values = {XCB_BACK_PIXMAP_PARENT_RELATIVE, events};
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, icon->window, server.screen->root, 0, 0, kFirstSize,
                          kFirstSize, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visualID,
                          XCB_CW_BACK_PIXMAP | XCB_CW_EVENT_MASK, values.data());
    }
    icon->picture = xcb_generate_id(connection);
    xcb_render_create_picture(connection, icon->picture, icon->window, server.formatOf(visualID), 0, nullptr);

    const std::array<uint32_t, 2> embedding = {0, kMapped};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, icon->window, server.atoms[Atom::embedInfo],
                        server.atoms[Atom::embedInfo], 32, 2, embedding.data());
    // Trays make an icon as wide as it needs.
    const auto least = static_cast<uint32_t>(kFirstSize * qGuiApp->devicePixelRatio());
    std::array<uint32_t, kSizeHints> hints{kHasMinimum};
    hints[kMinimumWidth] = hints[kMinimumWidth + 1] = least;
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, icon->window, XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS, 32, hints.size(), hints.data());
    constexpr std::string_view kClass("vantorel\0Vantorel\0", 18);
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, icon->window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        kClass.size(), kClass.data());

    xcb_client_message_event_t request{};
    request.response_type = XCB_CLIENT_MESSAGE;
    request.format = 32;
    request.window = icon->tray;
    request.type = server.atoms[Atom::opcode];
    request.data.data32[0] = XCB_CURRENT_TIME;
    request.data.data32[1] = kRequestDock;
    request.data.data32[2] = icon->window;
    server.send(xcb_send_event_checked(connection, false, icon->tray, XCB_EVENT_MASK_NO_EVENT,
                                       reinterpret_cast<const char*>(&request)));
    m_icon = std::move(icon);
    readColor();
    paint();
}

// Four colours of three parts each, of which the first is that of writing.
void X11TrayIcon::readColor() {
    const auto parts = m_server->property<uint32_t>(m_icon->tray, m_server->atoms[Atom::colors]);
    m_icon->color.reset();
    if (parts.size() >= 3)
        m_icon->color = QColor(static_cast<int>(parts[0] >> 8 & 0xff), static_cast<int>(parts[1] >> 8 & 0xff),
                               static_cast<int>(parts[2] >> 8 & 0xff));
}

// The server does the blending: our symbol, filled with one colour, onto what the window shows without it.
void X11TrayIcon::paint() {
    auto* const connection = m_server->connection;
    const xcb_window_t window = m_icon->window;
    const QByteArray title = m_image.description.toUtf8();
    m_server->send(xcb_change_property_checked(connection, XCB_PROP_MODE_REPLACE, window, m_server->atoms[Atom::name],
                                               m_server->atoms[Atom::utf8], 8, static_cast<uint32_t>(title.size()),
                                               title.constData()));
    m_server->send(xcb_clear_area_checked(connection, false, window, 0, 0, 0, 0));
    const auto symbols = statusSymbols(m_image.symbol);
    if (!symbols.empty()) {
        const QSize place = m_icon->size;
        const StatusSymbol& symbol = fittingSymbol(symbols, std::min(place.width(), place.height()));
        const auto size = static_cast<uint16_t>(symbol.size);

        const qsizetype line = (qsizetype(symbol.size) + 3) / 4 * 4; // the server wants whole words
        QByteArray coverage(line * symbol.size, 0);
        for (qsizetype y = 0; y < symbol.size; ++y)
            std::memcpy(coverage.data() + y * line, symbol.coverage + y * symbol.size, size);
        const xcb_pixmap_t pixmap = xcb_generate_id(connection);
        xcb_create_pixmap(connection, 8, pixmap, m_server->screen->root, size, size);
        const xcb_gcontext_t context = xcb_generate_id(connection);
        xcb_create_gc(connection, context, pixmap, 0, nullptr);
        xcb_put_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context, size, size, 0, 0, 0, 8,
                      static_cast<uint32_t>(coverage.size()), reinterpret_cast<const uint8_t*>(coverage.constData()));
        xcb_free_gc(connection, context);
        const xcb_render_picture_t mask = xcb_generate_id(connection);
        xcb_render_create_picture(connection, mask, pixmap, m_server->maskFormat, 0, nullptr);
        xcb_free_pixmap(connection, pixmap);
        const xcb_render_picture_t fill = xcb_generate_id(connection);
        xcb_render_create_solid_fill(connection, fill, renderColor(m_icon->color.value_or(statusSymbolColor())));
        m_server->send(xcb_render_composite_checked(connection, XCB_RENDER_PICT_OP_OVER, fill, mask, m_icon->picture, 0,
                                                    0, 0, 0, static_cast<int16_t>((place.width() - symbol.size) / 2),
                                                    static_cast<int16_t>((place.height() - symbol.size) / 2), size,
                                                    size));
        xcb_render_free_picture(connection, fill);
        xcb_render_free_picture(connection, mask);
    }
    xcb_flush(connection);
}

// Where the icon is, the event itself tells: trays move their icons without a word to them.
void X11TrayIcon::press(const void* event) {
    const auto& button = *static_cast<const xcb_button_press_event_t*>(event);
    const QPoint place(button.root_x, button.root_y);
    const QRect icon(place - QPoint(button.event_x, button.event_y), m_icon->size);
    const auto screens = statusScreens();
    const auto click = logicalPoint(place, screens);
    if (!click)
        return;
    // From the loop: a handler may take this very icon away.
    if (button.detail == XCB_BUTTON_INDEX_1 || button.detail == XCB_BUTTON_INDEX_2)
        QMetaObject::invokeMethod(
            this, [this, at = StatusItem::Place{logicalRect(icon, screens), click}] { m_handlers.clicked(at); },
            Qt::QueuedConnection);
    else if (button.detail == XCB_BUTTON_INDEX_3)
        QMetaObject::invokeMethod(
            this, [this, at = *click] { m_handlers.menuWanted(at); }, Qt::QueuedConnection);
}

// Everything goes on to Qt, which takes the time of the last event from it.
bool X11TrayIcon::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto* const event = static_cast<const xcb_generic_event_t*>(message);
    const auto isOurs = [this](xcb_window_t window) { return m_icon && m_icon->window == window; };
    const auto isTrays = [this](xcb_window_t window) { return m_icon && m_icon->tray == window; };
    switch (event->response_type & 0x7f) {
    case XCB_CLIENT_MESSAGE: {
        const auto& news = *reinterpret_cast<const xcb_client_message_event_t*>(event);
        if (news.type == m_server->atoms[Atom::manager] && news.data.data32[1] == m_server->atoms[Atom::selection])
            dock();
        break;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto& gone = *reinterpret_cast<const xcb_destroy_notify_event_t*>(event);
        if (isTrays(gone.window)) {
            dock(); // another one may have taken its place
        } else if (isOurs(gone.window)) { // with the tray's window around it
            m_icon->window = XCB_NONE;
            m_icon.reset();
        }
        break;
    }
    case XCB_PROPERTY_NOTIFY: {
        const auto& change = *reinterpret_cast<const xcb_property_notify_event_t*>(event);
        if (isTrays(change.window) && change.atom == m_server->atoms[Atom::colors]) {
            readColor();
            paint();
        }
        break;
    }
    case XCB_CONFIGURE_NOTIFY: {
        const auto& change = *reinterpret_cast<const xcb_configure_notify_event_t*>(event);
        if (isOurs(change.window))
            m_icon->size = QSize(change.width, change.height);
        break;
    }
    case XCB_EXPOSE: {
        const auto& exposed = *reinterpret_cast<const xcb_expose_event_t*>(event);
        if (isOurs(exposed.window) && exposed.count == 0)
            paint();
        break;
    }
    case XCB_BUTTON_PRESS: {
        const auto& button = *reinterpret_cast<const xcb_button_press_event_t*>(event);
        if (isOurs(button.event))
            press(&button);
        break;
    }
    default: break;
    }
    return false;
}

bool X11TrayIcon::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ApplicationPaletteChange && watched == qApp && m_icon && !m_icon->color)
        paint();
    return false;
}

} // namespace vantorel
