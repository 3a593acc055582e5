#include "platform/panels/linux/X11PanelWindowTraits.h"

#include "platform/x11/X11Support.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <xcb/shape.h>
#include <xcb/xcb.h>

namespace tessary {

namespace {

constexpr std::uint32_t allDesktops = 0xFFFFFFFF;
constexpr std::uint32_t netWmStateAdd = 1;
constexpr std::uint32_t sourceApplication = 1;

void sendToRoot(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t type,
                const std::array<std::uint32_t, 5>& data) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    for (std::size_t i = 0; i < data.size(); ++i) {
        event.data.data32[i] = data[i];
    }
    xcb_send_event(connection, 0, x11::rootWindow(connection),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
}

} // namespace

const X11PanelWindowTraits::Atoms& X11PanelWindowTraits::atomsOf(xcb_connection_t* connection) {
    if (!m_atoms) {
        // Asked for together and once: a panel that maps waits for no reply of the server.
        constexpr std::array<const char*, 5> names{"_NET_WM_STATE", "_NET_WM_DESKTOP", "_NET_WM_STATE_STICKY",
                                                   "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"};
        std::array<xcb_intern_atom_cookie_t, names.size()> cookies{};
        for (std::size_t i = 0; i < names.size(); ++i) {
            cookies[i] =
                xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(names[i])), names[i]);
        }
        std::array<xcb_atom_t, names.size()> values{};
        for (std::size_t i = 0; i < names.size(); ++i) {
            const x11::Reply<xcb_intern_atom_reply_t> reply(
                xcb_intern_atom_reply(connection, cookies[i], nullptr));
            values[i] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
        }
        m_atoms = Atoms{values[0], values[1], {values[2], values[3], values[4]}};
    }
    return *m_atoms;
}

void X11PanelWindowTraits::prepare(quintptr nativeWindow) {
    xcb_connection_t* connection = x11::qtConnection();
    if (connection == nullptr || nativeWindow == 0) {
        return;
    }
    const auto window = static_cast<xcb_window_t>(nativeWindow);
    const Atoms& atoms = atomsOf(connection);

    // Keep whatever states Qt has written already (above, for stays-on-top) and add ours.
    std::vector<xcb_atom_t> states;
    const x11::Reply<xcb_get_property_reply_t> current(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, atoms.netWmState, XCB_ATOM_ATOM, 0, 64),
        nullptr));
    if (current && current->format == 32) {
        const auto* values = static_cast<const xcb_atom_t*>(xcb_get_property_value(current.get()));
        states.assign(values, values + xcb_get_property_value_length(current.get()) / 4);
    }
    for (const xcb_atom_t state : atoms.panelStates) {
        if (state != XCB_ATOM_NONE && std::find(states.begin(), states.end(), state) == states.end()) {
            states.push_back(state);
        }
    }
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atoms.netWmState, XCB_ATOM_ATOM, 32,
                        static_cast<std::uint32_t>(states.size()), states.data());
    const std::uint32_t desktop = allDesktops;
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atoms.netWmDesktop, XCB_ATOM_CARDINAL, 32,
                        1, &desktop);
    xcb_flush(connection);
}

void X11PanelWindowTraits::reassert(quintptr nativeWindow) {
    xcb_connection_t* connection = x11::qtConnection();
    if (connection == nullptr || nativeWindow == 0) {
        return;
    }
    const auto window = static_cast<xcb_window_t>(nativeWindow);
    const Atoms& atoms = atomsOf(connection);
    const auto& states = atoms.panelStates;
    sendToRoot(connection, window, atoms.netWmState,
               {netWmStateAdd, states[0], states[1], sourceApplication, 0});
    sendToRoot(connection, window, atoms.netWmState, {netWmStateAdd, states[2], 0, sourceApplication, 0});
    sendToRoot(connection, window, atoms.netWmDesktop, {allDesktops, sourceApplication, 0, 0, 0});
    xcb_flush(connection);
}

void X11PanelWindowTraits::setInputRegion(quintptr nativeWindow, const std::vector<QRect>& rects) {
    xcb_connection_t* connection = x11::qtConnection();
    if (connection == nullptr || nativeWindow == 0) {
        return;
    }
    constexpr int coordinateLimit = std::numeric_limits<std::int16_t>::max();
    std::vector<xcb_rectangle_t> shape;
    shape.reserve(rects.size());
    for (const QRect& rect : rects) {
        if (rect.isEmpty() || rect.width() > coordinateLimit || rect.height() > coordinateLimit) {
            continue;
        }
        shape.push_back({static_cast<std::int16_t>(std::clamp(rect.x(), -coordinateLimit, coordinateLimit)),
                         static_cast<std::int16_t>(std::clamp(rect.y(), -coordinateLimit, coordinateLimit)),
                         static_cast<std::uint16_t>(rect.width()),
                         static_cast<std::uint16_t>(rect.height())});
    }
    xcb_shape_rectangles(connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
                         static_cast<xcb_window_t>(nativeWindow), 0, 0,
                         static_cast<std::uint32_t>(shape.size()), shape.data());
    xcb_flush(connection);
}

void X11PanelWindowTraits::clearInputRegion(quintptr nativeWindow) {
    xcb_connection_t* connection = x11::qtConnection();
    if (connection == nullptr || nativeWindow == 0) {
        return;
    }
    xcb_shape_mask(connection, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, static_cast<xcb_window_t>(nativeWindow),
                   0, 0, XCB_PIXMAP_NONE);
    xcb_flush(connection);
}

bool X11PanelWindowTraits::isCompositing() const {
    xcb_connection_t* connection = x11::qtConnection();
    if (connection == nullptr) {
        return true; // not X11: the platform composites, or doesn't care
    }
    if (m_compositorSelection == XCB_ATOM_NONE) {
        const QByteArray selection = "_NET_WM_CM_S" + QByteArray::number(x11::displayScreenNumber());
        m_compositorSelection = x11::internAtom(connection, selection.constData());
    }
    const x11::Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, m_compositorSelection), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

} // namespace tessary
