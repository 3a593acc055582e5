#pragma once

#include "core/time/Clock.h"
#include "platform/workspace/WorkspaceReader.h"
#include "platform/workspace/linux/QtScreenReader.h"
#include "spatial/workspace/WorkspaceSnapshotAssembler.h"

#include <QByteArray>

#include <memory>

namespace tessary {

// The workspace on X11: displays and cursor from Qt, windows from the window manager's EWMH
// properties, read on a connection of its own so that it never disturbs Qt's event handling.
//
// Windows come from _NET_CLIENT_LIST_STACKING, front first. A frame is the client's area in root
// coordinates grown by _NET_FRAME_EXTENTS (the decoration), so it is what covers the screen.
// The owner is _NET_WM_PID with WM_CLASS's class as its name; the title is _NET_WM_NAME (else
// WM_NAME). _NET_WM_STATE gives minimized (_HIDDEN), full screen and kept-below windows; a window
// on another desktop is not on screen. Docks and desktops are not windows the user works in and
// are left out. The active window is _NET_ACTIVE_WINDOW. No permission is needed for any of it.
//
// Each read is two round trips to the X server: the root's properties, then every request for
// every window sent at once and the replies collected after.
class X11WorkspaceReader final : public WorkspaceSnapshotReader {
public:
    // Connects to `displayName` (DISPLAY when empty); none when no X server answers.
    static std::unique_ptr<X11WorkspaceReader> connect(const Clock& clock,
                                                       const QByteArray& displayName = {});
    ~X11WorkspaceReader() override;
    X11WorkspaceReader(const X11WorkspaceReader&) = delete;
    X11WorkspaceReader& operator=(const X11WorkspaceReader&) = delete;
    X11WorkspaceReader(X11WorkspaceReader&&) = delete;
    X11WorkspaceReader& operator=(X11WorkspaceReader&&) = delete;

    [[nodiscard]] std::optional<WorkspaceSnapshot> read() override;

    // What one pass gathers, before the shared rules make a snapshot of it.
    [[nodiscard]] WorkspaceReading readWorkspace();

    // X11 speaks in device pixels; Qt, with a scale factor, in device-independent ones. Qt keeps
    // each screen's top-left where it is and scales around it, and so does this, with the screen
    // that holds the middle of the rectangle.
    static QRectF logicalFrame(const QRectF& native, const std::vector<DisplaySnapshot>& displays);

private:
    struct Connection;
    X11WorkspaceReader(const Clock& clock, std::unique_ptr<Connection> connection);
    void readWindows(WorkspaceReading& reading);

    const Clock& m_clock;
    std::unique_ptr<Connection> m_x;
    QtScreenReader m_screens;
    WorkspaceSnapshotAssembler m_assembler;
};

} // namespace tessary
