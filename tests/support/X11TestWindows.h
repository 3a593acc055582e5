#pragma once

// Real top-level X11 windows for tests and benchmarks, made on a connection of their own and
// steered the way a pager or a user would: through the window manager's EWMH messages; and what the
// X server and the window manager say about any window.

#include <QByteArray>
#include <QRect>
#include <QString>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>
#include <xcb/xcb.h>

namespace tessary::testing {

class X11TestWindows {
public:
    X11TestWindows() {
        m_connection = xcb_connect(nullptr, &m_screenNumber);
        if (xcb_connection_has_error(m_connection) != 0) {
            return;
        }
        xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
        for (int i = 0; i < m_screenNumber && screens.rem > 0; ++i) {
            xcb_screen_next(&screens);
        }
        m_screen = screens.data;
    }
    ~X11TestWindows() {
        for (const xcb_window_t window : m_windows) {
            xcb_destroy_window(m_connection, window);
        }
        xcb_flush(m_connection);
        xcb_disconnect(m_connection);
    }
    X11TestWindows(const X11TestWindows&) = delete;
    X11TestWindows& operator=(const X11TestWindows&) = delete;
    X11TestWindows(X11TestWindows&&) = delete;
    X11TestWindows& operator=(X11TestWindows&&) = delete;

    [[nodiscard]] bool isConnected() const { return m_screen != nullptr; }
    [[nodiscard]] xcb_window_t root() const { return m_screen->root; }
    [[nodiscard]] int screenNumber() const { return m_screenNumber; }
    [[nodiscard]] xcb_connection_t* connection() const { return m_connection; }

    // Maps a window where the user asked for it, owned by `pid`, with WM_CLASS
    // "<instance>\0<applicationClass>\0" and a UTF-8 title. `windowType` names an
    // _NET_WM_WINDOW_TYPE_* atom such as "_NET_WM_WINDOW_TYPE_DOCK".
    xcb_window_t create(QRect geometry, const QByteArray& applicationClass, const QString& title,
                        std::uint32_t pid, const char* windowType = nullptr) {
        const xcb_window_t window = xcb_generate_id(m_connection);
        const std::uint32_t background = m_screen->white_pixel;
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, m_screen->root,
                          static_cast<std::int16_t>(geometry.x()), static_cast<std::int16_t>(geometry.y()),
                          static_cast<std::uint16_t>(geometry.width()),
                          static_cast<std::uint16_t>(geometry.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          m_screen->root_visual, XCB_CW_BACK_PIXEL, &background);
        // WM_SIZE_HINTS with USPosition and USSize, so the window manager keeps the position.
        std::uint32_t hints[18] = {};
        hints[0] = 1U | 2U;
        hints[1] = static_cast<std::uint32_t>(geometry.x());
        hints[2] = static_cast<std::uint32_t>(geometry.y());
        hints[3] = static_cast<std::uint32_t>(geometry.width());
        hints[4] = static_cast<std::uint32_t>(geometry.height());
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NORMAL_HINTS,
                            XCB_ATOM_WM_SIZE_HINTS, 32, 18, hints);
        const QByteArray wmClass = applicationClass.toLower() + '\0' + applicationClass + '\0';
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING,
                            8, static_cast<std::uint32_t>(wmClass.size()), wmClass.constData());
        const QByteArray utf8Title = title.toUtf8();
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_NAME"),
                            atom("UTF8_STRING"), 8, static_cast<std::uint32_t>(utf8Title.size()),
                            utf8Title.constData());
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_PID"),
                            XCB_ATOM_CARDINAL, 32, 1, &pid);
        if (windowType != nullptr) {
            const xcb_atom_t type = atom(windowType);
            xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_WINDOW_TYPE"),
                                XCB_ATOM_ATOM, 32, 1, &type);
        }
        xcb_map_window(m_connection, window);
        xcb_flush(m_connection);
        m_windows.push_back(window);
        return window;
    }

    // Sets any property to any bytes, as a careless or hostile client may.
    void setProperty(xcb_window_t window, const char* name, const char* type, std::uint8_t format,
                     const QByteArray& value) {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, atom(name), atom(type), format,
                            static_cast<std::uint32_t>(value.size() * 8 / format), value.constData());
        xcb_flush(m_connection);
    }

    // Asks the window manager to put the window's outer frame at `topLeft`.
    void move(xcb_window_t window, QPoint topLeft) {
        // Flags: x and y given, north-west gravity, from a pager (source 2).
        const std::uint32_t flags = (1U << 8) | (1U << 9) | (2U << 12) | 1U;
        sendToRoot(
            window, "_NET_MOVERESIZE_WINDOW",
            {flags, static_cast<std::uint32_t>(topLeft.x()), static_cast<std::uint32_t>(topLeft.y()), 0, 0});
    }
    void activate(xcb_window_t window) { sendToRoot(window, "_NET_ACTIVE_WINDOW", {2, 0, 0, 0, 0}); }
    // Puts the window on top of all others without focusing it.
    void raise(xcb_window_t window) {
        sendToRoot(window, "_NET_RESTACK_WINDOW", {2, 0, XCB_STACK_MODE_ABOVE, 0, 0});
    }
    void iconify(xcb_window_t window) { sendToRoot(window, "WM_CHANGE_STATE", {3, 0, 0, 0, 0}); }
    // Adds (or removes) one or two _NET_WM_STATE_* states.
    void setState(xcb_window_t window, bool add, const char* state, const char* secondState = nullptr) {
        sendToRoot(window, "_NET_WM_STATE",
                   {add ? 1U : 0U, atom(state), secondState != nullptr ? atom(secondState) : 0U, 2, 0});
    }
    void moveToDesktop(xcb_window_t window, std::uint32_t desktop) {
        sendToRoot(window, "_NET_WM_DESKTOP", {desktop, 2, 0, 0, 0});
    }
    void destroy(xcb_window_t window) {
        xcb_destroy_window(m_connection, window);
        xcb_flush(m_connection);
        std::erase(m_windows, window);
    }

    // The outer rectangle of the top-level window that holds `window` (its frame, once managed),
    // asked of the X server directly.
    [[nodiscard]] std::optional<QRect> outerFrame(xcb_window_t window) {
        xcb_window_t current = window;
        for (int depth = 0; depth < 16; ++depth) {
            auto* tree = xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, current), nullptr);
            if (tree == nullptr) {
                return std::nullopt;
            }
            const xcb_window_t parent = tree->parent;
            std::free(tree);
            if (parent == m_screen->root) {
                break;
            }
            current = parent;
        }
        auto* geometry =
            xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, current), nullptr);
        if (geometry == nullptr) {
            return std::nullopt;
        }
        const int border = geometry->border_width;
        const QRect frame(geometry->x, geometry->y, geometry->width + 2 * border,
                          geometry->height + 2 * border);
        std::free(geometry);
        return frame;
    }

    // True once the window manager has put the window into a frame of its own.
    [[nodiscard]] bool isFramed(xcb_window_t window) {
        auto* tree = xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr);
        const bool framed = tree != nullptr && tree->parent != m_screen->root;
        std::free(tree);
        return framed;
    }

    // The windows the window manager lists, bottom to top.
    [[nodiscard]] std::vector<xcb_window_t> stacking() {
        return values(m_screen->root, "_NET_CLIENT_LIST_STACKING", XCB_ATOM_WINDOW);
    }
    [[nodiscard]] std::optional<std::uint32_t> activeWindow() {
        return cardinal(m_screen->root, "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW);
    }
    [[nodiscard]] std::optional<std::uint32_t> currentDesktop() {
        return cardinal(m_screen->root, "_NET_CURRENT_DESKTOP", XCB_ATOM_CARDINAL);
    }
    [[nodiscard]] std::optional<std::uint32_t> desktopOf(xcb_window_t window) {
        return cardinal(window, "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL);
    }
    [[nodiscard]] bool hasState(xcb_window_t window, const char* state) {
        const std::vector<std::uint32_t> states = values(window, "_NET_WM_STATE", XCB_ATOM_ATOM);
        return std::find(states.begin(), states.end(), atom(state)) != states.end();
    }
    // Whether the window manager lists the atom among what it supports.
    [[nodiscard]] bool supports(const char* name) {
        const std::vector<std::uint32_t> supported = values(m_screen->root, "_NET_SUPPORTED", XCB_ATOM_ATOM);
        return std::find(supported.begin(), supported.end(), atom(name)) != supported.end();
    }
    // Whether the window and all its ancestors are mapped: what a person can see.
    [[nodiscard]] bool isViewable(xcb_window_t window) {
        auto* reply = xcb_get_window_attributes_reply(
            m_connection, xcb_get_window_attributes(m_connection, window), nullptr);
        const bool viewable = reply != nullptr && reply->map_state == XCB_MAP_STATE_VIEWABLE;
        std::free(reply);
        return viewable;
    }

    xcb_atom_t atom(const char* name) {
        auto* reply = xcb_intern_atom_reply(
            m_connection,
            xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr);
        const xcb_atom_t result = reply != nullptr ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
        std::free(reply);
        return result;
    }

private:
    void sendToRoot(xcb_window_t window, const char* type, std::vector<std::uint32_t> data) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = window;
        event.type = atom(type);
        for (std::size_t i = 0; i < data.size() && i < 5; ++i) {
            event.data.data32[i] = data[i];
        }
        xcb_send_event(m_connection, 0, m_screen->root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
        xcb_flush(m_connection);
    }

    std::vector<std::uint32_t> values(xcb_window_t window, const char* property, xcb_atom_t type) {
        auto* reply = xcb_get_property_reply(
            m_connection, xcb_get_property(m_connection, 0, window, atom(property), type, 0, 4096), nullptr);
        std::vector<std::uint32_t> result;
        if (reply != nullptr && reply->format == 32) {
            const auto* data = static_cast<const std::uint32_t*>(xcb_get_property_value(reply));
            result.assign(data, data + xcb_get_property_value_length(reply) / 4);
        }
        std::free(reply);
        return result;
    }
    std::optional<std::uint32_t> cardinal(xcb_window_t window, const char* property, xcb_atom_t type) {
        const std::vector<std::uint32_t> all = values(window, property, type);
        return all.empty() ? std::nullopt : std::optional(all.front());
    }

    xcb_connection_t* m_connection = nullptr;
    int m_screenNumber = 0;
    xcb_screen_t* m_screen = nullptr;
    std::vector<xcb_window_t> m_windows;
};

} // namespace tessary::testing
