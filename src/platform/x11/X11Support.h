#pragma once

// The few xcb pieces every X11 backend needs: owned replies, the connection Qt opened, atoms by name
// and the root window.

#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

namespace tessary::x11 {

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};
// An xcb reply, freed when it goes.
template <typename T>
using Reply = std::unique_ptr<T, FreeDeleter>;

// Qt's own connection to the X server, or null when the program does not run on X11.
[[nodiscard]] xcb_connection_t* qtConnection();

// The atom of `name`, interned if the server does not know it yet; XCB_ATOM_NONE on failure.
[[nodiscard]] xcb_atom_t internAtom(xcb_connection_t* connection, const char* name);

// The number of the screen that DISPLAY names (0 when it names none).
[[nodiscard]] int displayScreenNumber();

// The root window of screen `screenNumber`; XCB_WINDOW_NONE when the display has no such screen.
[[nodiscard]] xcb_window_t rootWindow(xcb_connection_t* connection, int screenNumber);
// The root window of the screen that DISPLAY names.
[[nodiscard]] xcb_window_t rootWindow(xcb_connection_t* connection);

} // namespace tessary::x11
