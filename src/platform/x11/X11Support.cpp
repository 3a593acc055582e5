#include "platform/x11/X11Support.h"

#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

#include <cstring>

namespace tessary::x11 {

xcb_connection_t* qtConnection() {
    const auto* x11 =
        qGuiApp != nullptr ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 != nullptr ? x11->connection() : nullptr;
}

xcb_atom_t internAtom(xcb_connection_t* connection, const char* name) {
    const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
        nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

int displayScreenNumber() {
    int number = 0;
    char* host = nullptr;
    int display = 0;
    if (xcb_parse_display(nullptr, &host, &display, &number) != 0) {
        std::free(host);
    }
    return number;
}

xcb_window_t rootWindow(xcb_connection_t* connection, int screenNumber) {
    // `rem` counts the screens from the current one on: past the last it is 0.
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i) {
        xcb_screen_next(&screens);
    }
    return screens.rem > 0 && screens.data != nullptr ? screens.data->root : xcb_window_t{XCB_WINDOW_NONE};
}

xcb_window_t rootWindow(xcb_connection_t* connection) {
    return rootWindow(connection, displayScreenNumber());
}

} // namespace tessary::x11
