#include "platform/sessionjump/linux/X11WindowActivator.h"

#include "platform/x11/X11Support.h"

#include <cstring>
#include <memory>
#include <utility>
#include <vector>
#include <xcb/xcb.h>

namespace tessary {

namespace {

constexpr std::uint32_t sourcePager = 2;

// 32-bit values of a property; a damaged or missing one gives none.
std::vector<std::uint32_t> cardinals(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property,
                                     xcb_atom_t type) {
    constexpr std::uint32_t maximumWords = 4096;
    const x11::Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, property, type, 0, maximumWords), nullptr));
    if (!reply || reply->format != 32 || reply->type != type) {
        return {};
    }
    const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    const int length = xcb_get_property_value_length(reply.get()) / 4;
    return {values, values + std::max(0, length)};
}

std::vector<std::pair<xcb_window_t, qint32>> clientWindows(xcb_connection_t* connection) {
    const xcb_window_t root = x11::rootWindow(connection);
    const xcb_atom_t clientList = x11::internAtom(connection, "_NET_CLIENT_LIST");
    const xcb_atom_t wmPid = x11::internAtom(connection, "_NET_WM_PID");
    std::vector<std::pair<xcb_window_t, qint32>> windows;
    for (const std::uint32_t window : cardinals(connection, root, clientList, XCB_ATOM_WINDOW)) {
        const auto pid = cardinals(connection, window, wmPid, XCB_ATOM_CARDINAL);
        if (!pid.empty() && pid.front() > 1 && pid.front() < 0x7fffffff) {
            windows.emplace_back(window, static_cast<qint32>(pid.front()));
        }
    }
    return windows;
}

} // namespace

QList<qint32> X11WindowActivator::windowOwners() const {
    xcb_connection_t* connection = x11::qtConnection();
    if (connection == nullptr) {
        return {};
    }
    QList<qint32> owners;
    for (const auto& [window, pid] : clientWindows(connection)) {
        if (!owners.contains(pid)) {
            owners.append(pid);
        }
    }
    return owners;
}

bool X11WindowActivator::activate(qint32 pid) {
    xcb_connection_t* connection = x11::qtConnection();
    if (connection == nullptr) {
        return false;
    }
    const auto windows = clientWindows(connection);
    // The last in the list is the most recently mapped window of that process.
    for (auto it = windows.rbegin(); it != windows.rend(); ++it) {
        if (it->second != pid) {
            continue;
        }
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = it->first;
        event.type = x11::internAtom(connection, "_NET_ACTIVE_WINDOW");
        event.data.data32[0] = sourcePager;
        event.data.data32[1] = XCB_CURRENT_TIME;
        xcb_send_event(connection, 0, x11::rootWindow(connection),
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
        xcb_flush(connection);
        return true;
    }
    return false;
}

} // namespace tessary
