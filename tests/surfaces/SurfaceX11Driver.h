#pragma once

// What the X server and the window manager say about windows, read on a connection of the test's
// own, and the pointer driven for real through xdotool.

#include <QProcess>
#include <QStringList>
#include <QTest>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>
#include <xcb/xcb.h>

namespace tessary::testing {

class X11Driver {
public:
    X11Driver() {
        int screenNumber = 0;
        m_connection = xcb_connect(nullptr, &screenNumber);
        if (xcb_connection_has_error(m_connection) != 0) {
            return;
        }
        xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
        for (int i = 0; i < screenNumber && screens.rem > 1; ++i) {
            xcb_screen_next(&screens);
        }
        m_root = screens.data->root;
    }
    ~X11Driver() { xcb_disconnect(m_connection); }
    X11Driver(const X11Driver&) = delete;
    X11Driver& operator=(const X11Driver&) = delete;
    X11Driver(X11Driver&&) = delete;
    X11Driver& operator=(X11Driver&&) = delete;

    [[nodiscard]] bool isConnected() const { return m_root != 0; }

    [[nodiscard]] std::optional<std::uint32_t> activeWindow() {
        return cardinal(m_root, "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW);
    }
    [[nodiscard]] std::optional<std::uint32_t> currentDesktop() {
        return cardinal(m_root, "_NET_CURRENT_DESKTOP", XCB_ATOM_CARDINAL);
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
        const std::vector<std::uint32_t> supported = values(m_root, "_NET_SUPPORTED", XCB_ATOM_ATOM);
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

    // Runs xdotool with `arguments` and waits for it, keeping the event loop turning meanwhile so
    // that the program under test answers what the tool asks.
    static bool xdotool(const QStringList& arguments) {
        QProcess tool;
        tool.start(QStringLiteral("xdotool"), arguments);
        if (!tool.waitForStarted(5000)) {
            return false;
        }
        for (int waited = 0; tool.state() != QProcess::NotRunning && waited < 10'000; waited += 10) {
            QTest::qWait(10);
        }
        return tool.exitStatus() == QProcess::NormalExit && tool.exitCode() == 0;
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
    std::vector<std::uint32_t> values(xcb_window_t window, const char* property, xcb_atom_t type) {
        auto* reply = xcb_get_property_reply(
            m_connection, xcb_get_property(m_connection, 0, window, atom(property), type, 0, 256), nullptr);
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
    xcb_window_t m_root = 0;
};

} // namespace tessary::testing
