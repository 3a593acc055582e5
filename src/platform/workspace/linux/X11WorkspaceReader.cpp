#include "platform/workspace/linux/X11WorkspaceReader.h"

#include "platform/workspace/linux/X11PropertyDecoder.h"
#include "platform/x11/X11Support.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

namespace tessary {

namespace {

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};
template <typename T>
using XcbReply = std::unique_ptr<T, FreeDeleter>;
using PropertyReply = XcbReply<xcb_get_property_reply_t>;

// Bounds, in 32-bit units, of what is read of each property: a window can't make a read costly.
constexpr std::uint32_t maximumWindows = 4096;
constexpr std::uint32_t maximumAtoms = 64;
constexpr std::uint32_t maximumTextUnits = 256;
constexpr std::uint32_t allDesktops = 0xFFFFFFFF;

xcb_get_property_cookie_t requestProperty(xcb_connection_t* connection, xcb_window_t window,
                                          xcb_atom_t property, std::uint32_t units) {
    return xcb_get_property(connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, units);
}

// The reply, or none when the window is gone or the property isn't set.
PropertyReply takeProperty(xcb_connection_t* connection, xcb_get_property_cookie_t cookie) {
    xcb_generic_error_t* error = nullptr;
    PropertyReply reply(xcb_get_property_reply(connection, cookie, &error));
    std::free(error);
    if (reply && reply->type == XCB_ATOM_NONE) {
        reply.reset();
    }
    return reply;
}

template <typename T>
XcbReply<T> take(T* reply, xcb_generic_error_t* error) {
    std::free(error);
    return XcbReply<T>(reply);
}

// A view of the reply's value; it lives as long as the reply.
X11Property view(const PropertyReply& reply) {
    if (!reply) {
        return {};
    }
    return {reply->type, reply->format,
            QByteArrayView(static_cast<const char*>(xcb_get_property_value(reply.get())),
                           xcb_get_property_value_length(reply.get())),
            reply->bytes_after > 0};
}

struct WindowRequests {
    xcb_window_t window = 0;
    xcb_get_geometry_cookie_t geometry{};
    xcb_translate_coordinates_cookie_t position{};
    xcb_get_property_cookie_t frameExtents{};
    xcb_get_property_cookie_t pid{};
    xcb_get_property_cookie_t applicationClass{};
    xcb_get_property_cookie_t netName{};
    xcb_get_property_cookie_t name{};
    xcb_get_property_cookie_t state{};
    xcb_get_property_cookie_t type{};
    xcb_get_property_cookie_t desktop{};
    xcb_get_property_cookie_t opacity{};
};

struct WindowReplies {
    XcbReply<xcb_get_geometry_reply_t> geometry;
    XcbReply<xcb_translate_coordinates_reply_t> position;
    PropertyReply frameExtents;
    PropertyReply pid;
    PropertyReply applicationClass;
    PropertyReply netName;
    PropertyReply name;
    PropertyReply state;
    PropertyReply type;
    PropertyReply desktop;
    PropertyReply opacity;
};

} // namespace

struct X11WorkspaceReader::Connection {
    xcb_connection_t* connection = nullptr;
    xcb_ewmh_connection_t ewmh{};
    bool ewmhReady = false;
    int screenNumber = 0;
    xcb_window_t root = 0;
    xcb_atom_t windowOpacity = XCB_ATOM_NONE;

    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    Connection(Connection&&) = delete;
    Connection& operator=(Connection&&) = delete;
    ~Connection() {
        if (ewmhReady) {
            xcb_ewmh_connection_wipe(&ewmh);
        }
        if (connection != nullptr) {
            xcb_disconnect(connection);
        }
    }
};

std::unique_ptr<X11WorkspaceReader> X11WorkspaceReader::connect(const Clock& clock,
                                                                const QByteArray& displayName) {
    auto x = std::make_unique<Connection>();
    x->connection = xcb_connect(displayName.isEmpty() ? nullptr : displayName.constData(), &x->screenNumber);
    if (xcb_connection_has_error(x->connection) != 0) {
        return nullptr;
    }
    x->root = x11::rootWindow(x->connection, x->screenNumber);
    if (x->root == XCB_WINDOW_NONE) {
        return nullptr;
    }

    // Every atom is interned once, here, in one batch.
    xcb_intern_atom_cookie_t* ewmhCookies = xcb_ewmh_init_atoms(x->connection, &x->ewmh);
    const char opacityName[] = "_NET_WM_WINDOW_OPACITY";
    const xcb_intern_atom_cookie_t opacityCookie =
        xcb_intern_atom(x->connection, 0, static_cast<std::uint16_t>(std::strlen(opacityName)), opacityName);
    x->ewmhReady = xcb_ewmh_init_atoms_replies(&x->ewmh, ewmhCookies, nullptr) != 0;
    xcb_generic_error_t* error = nullptr;
    if (auto reply = take(xcb_intern_atom_reply(x->connection, opacityCookie, &error), error)) {
        x->windowOpacity = reply->atom;
    }
    if (!x->ewmhReady) {
        return nullptr;
    }
    return std::unique_ptr<X11WorkspaceReader>(new X11WorkspaceReader(clock, std::move(x)));
}

X11WorkspaceReader::X11WorkspaceReader(const Clock& clock, std::unique_ptr<Connection> connection)
    : m_clock(clock)
    , m_x(std::move(connection)) {}

X11WorkspaceReader::~X11WorkspaceReader() = default;

std::optional<WorkspaceSnapshot> X11WorkspaceReader::read() {
    return m_assembler.assemble(readWorkspace());
}

WorkspaceReading X11WorkspaceReader::readWorkspace() {
    WorkspaceReading reading;
    reading.displays = m_screens.readDisplays();
    reading.ownPID = static_cast<std::int32_t>(QCoreApplication::applicationPid());
    // X11 needs no permission to list windows or name the focused one.
    reading.hasAccessibilityAccess = true;
    reading.cursorLocation = m_screens.cursorLocation();
    reading.capturedAt = m_clock.now();
    if (!reading.displays.empty()) {
        readWindows(reading);
    }
    return reading;
}

void X11WorkspaceReader::readWindows(WorkspaceReading& reading) {
    xcb_connection_t* c = m_x->connection;
    const xcb_ewmh_connection_t& atoms = m_x->ewmh;
    if (xcb_connection_has_error(c) != 0) {
        return; // the X server went away: no window facts, which is not a failure
    }
    // Nothing selects events on this connection, but never let anything pile up in its queue.
    while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
        std::free(event);
    }

    const xcb_window_t root = m_x->root;
    const auto stackingCookie = requestProperty(c, root, atoms._NET_CLIENT_LIST_STACKING, maximumWindows);
    const auto clientsCookie = requestProperty(c, root, atoms._NET_CLIENT_LIST, maximumWindows);
    const auto activeCookie = requestProperty(c, root, atoms._NET_ACTIVE_WINDOW, 1);
    const auto desktopCookie = requestProperty(c, root, atoms._NET_CURRENT_DESKTOP, 1);
    const auto supportedCookie = requestProperty(c, root, atoms._NET_SUPPORTED, 1024);
    const PropertyReply stacking = takeProperty(c, stackingCookie);
    const PropertyReply clients = takeProperty(c, clientsCookie);
    const std::optional<std::uint32_t> activeWindow =
        X11PropertyDecoder::firstLong(view(takeProperty(c, activeCookie)));
    const std::optional<std::uint32_t> currentDesktop =
        X11PropertyDecoder::firstLong(view(takeProperty(c, desktopCookie)));
    // Where the window manager keeps the full-screen state, it decides; elsewhere the frame does.
    const bool fullScreenStateKept = X11PropertyDecoder::containsAtom(view(takeProperty(c, supportedCookie)),
                                                                      atoms._NET_WM_STATE_FULLSCREEN);

    // Bottom to top as listed; without a stacking list, the mapping order is the best guess.
    X11Property listed = view(stacking);
    if (X11PropertyDecoder::longCount(listed) == 0) {
        listed = view(clients);
    }
    const int listedCount = X11PropertyDecoder::longCount(listed);
    std::vector<WindowRequests> requests;
    requests.reserve(static_cast<std::size_t>(listedCount));
    for (int index = listedCount - 1; index >= 0; --index) {
        const xcb_window_t window = X11PropertyDecoder::longAt(listed, index);
        WindowRequests r;
        r.window = window;
        r.geometry = xcb_get_geometry(c, window);
        r.position = xcb_translate_coordinates(c, window, root, 0, 0);
        r.frameExtents = requestProperty(c, window, atoms._NET_FRAME_EXTENTS, 4);
        r.pid = requestProperty(c, window, atoms._NET_WM_PID, 1);
        r.applicationClass = requestProperty(c, window, XCB_ATOM_WM_CLASS, maximumAtoms);
        r.netName = requestProperty(c, window, atoms._NET_WM_NAME, maximumTextUnits);
        r.name = requestProperty(c, window, XCB_ATOM_WM_NAME, maximumTextUnits);
        r.state = requestProperty(c, window, atoms._NET_WM_STATE, maximumAtoms);
        r.type = requestProperty(c, window, atoms._NET_WM_WINDOW_TYPE, maximumAtoms);
        r.desktop = requestProperty(c, window, atoms._NET_WM_DESKTOP, 1);
        r.opacity = requestProperty(c, window, m_x->windowOpacity, 1);
        requests.push_back(r);
    }
    xcb_flush(c);

    reading.windows.reserve(requests.size());
    for (const WindowRequests& r : requests) {
        // Every reply is collected, even of a window found gone, so that none is left behind.
        WindowReplies replies;
        xcb_generic_error_t* error = nullptr;
        replies.geometry = take(xcb_get_geometry_reply(c, r.geometry, &error), error);
        error = nullptr;
        replies.position = take(xcb_translate_coordinates_reply(c, r.position, &error), error);
        replies.frameExtents = takeProperty(c, r.frameExtents);
        replies.pid = takeProperty(c, r.pid);
        replies.applicationClass = takeProperty(c, r.applicationClass);
        replies.netName = takeProperty(c, r.netName);
        replies.name = takeProperty(c, r.name);
        replies.state = takeProperty(c, r.state);
        replies.type = takeProperty(c, r.type);
        replies.desktop = takeProperty(c, r.desktop);
        replies.opacity = takeProperty(c, r.opacity);
        if (!replies.geometry || !replies.position) {
            continue; // closed between the list and this read
        }

        WindowSnapshot window;
        window.id = r.window;
        window.ownerPID =
            static_cast<std::int32_t>(X11PropertyDecoder::firstLong(view(replies.pid)).value_or(0));
        window.ownerName = X11PropertyDecoder::applicationClass(view(replies.applicationClass));
        window.title = X11PropertyDecoder::text(view(replies.netName), atoms.UTF8_STRING);
        if (!window.title) {
            window.title = X11PropertyDecoder::text(view(replies.name), atoms.UTF8_STRING);
        }
        if (activeWindow && *activeWindow == r.window) {
            reading.focusedWindowID = r.window;
            if (window.ownerPID > 0) {
                reading.frontmostPID = window.ownerPID;
            }
            reading.frontmostApplicationName = window.ownerName;
        }

        const X11Property types = view(replies.type);
        if (X11PropertyDecoder::containsAtom(types, atoms._NET_WM_WINDOW_TYPE_DOCK) ||
            X11PropertyDecoder::containsAtom(types, atoms._NET_WM_WINDOW_TYPE_DESKTOP)) {
            continue;
        }
        const X11Property state = view(replies.state);
        const bool hidden = X11PropertyDecoder::containsAtom(state, atoms._NET_WM_STATE_HIDDEN);
        const bool shaded = X11PropertyDecoder::containsAtom(state, atoms._NET_WM_STATE_SHADED);
        const auto desktop = X11PropertyDecoder::firstLong(view(replies.desktop));
        const bool onCurrentDesktop =
            !desktop || !currentDesktop || *desktop == *currentDesktop || *desktop == allDesktops;

        // The client's area in root coordinates, grown by its border and the decoration around it.
        // A shaded window shows its decoration alone.
        const auto [extentLeft, extentRight, extentTop, extentBottom] =
            X11PropertyDecoder::frameExtents(view(replies.frameExtents));
        const double border = replies.geometry->border_width;
        const double left = extentLeft + border;
        const double right = extentRight + border;
        const double top = extentTop + border;
        const double bottom = extentBottom + border;
        const double clientHeight = shaded ? 0.0 : double(replies.geometry->height);
        const QRectF native(replies.position->dst_x - left, replies.position->dst_y - top,
                            replies.geometry->width + left + right, clientHeight + top + bottom);
        window.frame = logicalFrame(native, reading.displays);

        // Kept-below windows sit under everything the user works in, like desktop widgets.
        window.layer = X11PropertyDecoder::containsAtom(state, atoms._NET_WM_STATE_BELOW) ? -1 : 0;
        if (const auto opacity = X11PropertyDecoder::firstLong(view(replies.opacity))) {
            window.alpha = double(*opacity) / double(0xFFFFFFFFU);
        }
        window.isMinimized = hidden;
        window.isOnScreen = !hidden && onCurrentDesktop;

        ObservedWindow observed;
        observed.window = std::move(window);
        if (fullScreenStateKept) {
            observed.fullScreenState =
                X11PropertyDecoder::containsAtom(state, atoms._NET_WM_STATE_FULLSCREEN);
        }
        reading.windows.push_back(std::move(observed));
    }
}

QRectF X11WorkspaceReader::logicalFrame(const QRectF& native, const std::vector<DisplaySnapshot>& displays) {
    const bool unscaled = std::all_of(displays.begin(), displays.end(),
                                      [](const auto& d) { return d.scale == 1.0 || d.scale <= 0; });
    if (unscaled) {
        return native;
    }
    const auto nativeFrame = [](const DisplaySnapshot& d) {
        return QRectF(d.frame.topLeft(), d.frame.size() * (d.scale > 0 ? d.scale : 1.0));
    };
    const DisplaySnapshot* holder = nullptr;
    for (const auto& display : displays) {
        if (nativeFrame(display).contains(native.center())) {
            holder = &display;
            break;
        }
    }
    if (holder == nullptr) {
        double largest = 0;
        for (const auto& display : displays) {
            const QRectF shared = nativeFrame(display).intersected(native);
            if (shared.width() * shared.height() > largest) {
                largest = shared.width() * shared.height();
                holder = &display;
            }
        }
    }
    if (holder == nullptr) {
        holder = &displays.front();
    }
    const double scale = holder->scale > 0 ? holder->scale : 1.0;
    const QPointF origin = holder->frame.topLeft();
    return {origin + (native.topLeft() - origin) / scale, native.size() / scale};
}

} // namespace tessary
