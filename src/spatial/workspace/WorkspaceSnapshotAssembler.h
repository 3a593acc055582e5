#pragma once

#include "core/records/WorkspaceSnapshot.h"
#include "spatial/workspace/WindowFullscreenDetector.h"

#include <QDateTime>
#include <QPointF>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace tessary {

// One window as the window system lists it, before the shared rules are applied.
struct ObservedWindow {
    WindowSnapshot window;
    // The window system's own full-screen state, where it keeps one for the window.
    std::optional<bool> fullScreenState;
    bool operator==(const ObservedWindow&) const = default;
};

// What a platform reader gathers in one pass; the rules that make a snapshot of it are shared.
struct WorkspaceReading {
    std::vector<DisplaySnapshot> displays;
    // Front first. May include the program's own windows; they are left out of the snapshot.
    std::vector<ObservedWindow> windows;
    // The window that has the keyboard, when the window system says so exactly.
    std::optional<std::uint32_t> focusedWindowID;
    // The process of the frontmost application and its name, when known.
    std::optional<std::int32_t> frontmostPID;
    QString frontmostApplicationName;
    std::int32_t ownPID = 0;
    bool hasAccessibilityAccess = true;
    QPointF cursorLocation;
    QDateTime capturedAt;
};

// Turns a reading into the workspace snapshot: leaves out the program's own windows, works out
// full-screen windows, picks the active window, application and display.
struct WorkspaceSnapshotAssembler {
    WindowFullscreenDetector fullscreenDetector;

    // The name shown when the frontmost application has none; it stays in this language.
    static QString fallbackApplicationName();

    // Absent only when the reading has no display.
    [[nodiscard]] std::optional<WorkspaceSnapshot> assemble(const WorkspaceReading& reading) const;
};

} // namespace tessary
