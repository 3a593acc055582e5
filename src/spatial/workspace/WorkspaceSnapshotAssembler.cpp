#include "spatial/workspace/WorkspaceSnapshotAssembler.h"

#include "spatial/workspace/ActiveDisplaySelector.h"

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

QString WorkspaceSnapshotAssembler::fallbackApplicationName() {
    return u"Aplicativo ativo"_s;
}

std::optional<WorkspaceSnapshot> WorkspaceSnapshotAssembler::assemble(const WorkspaceReading& reading) const {
    if (reading.displays.empty()) {
        return std::nullopt;
    }
    WorkspaceSnapshot snapshot;
    snapshot.displays = reading.displays;
    snapshot.windows.reserve(reading.windows.size());
    for (const auto& observed : reading.windows) {
        if (observed.window.ownerPID == reading.ownPID && reading.ownPID != 0) {
            continue;
        }
        WindowSnapshot window = observed.window;
        window.isFullScreen =
            fullscreenDetector.isFullScreen(window.frame, reading.displays, observed.fullScreenState);
        snapshot.windows.push_back(std::move(window));
    }

    // The focused window when the window system names it; otherwise the front window of the
    // frontmost process, which is never this program.
    auto active = snapshot.windows.end();
    if (reading.focusedWindowID) {
        active = std::find_if(snapshot.windows.begin(), snapshot.windows.end(),
                              [&](const auto& w) { return w.id == *reading.focusedWindowID; });
        if (active != snapshot.windows.end()) {
            active->isFocused = true;
        }
    }
    if (active == snapshot.windows.end() && reading.frontmostPID && *reading.frontmostPID != reading.ownPID) {
        active = std::find_if(snapshot.windows.begin(), snapshot.windows.end(), [&](const auto& w) {
            return w.ownerPID == *reading.frontmostPID && w.isOnScreen && !w.isMinimized;
        });
    }
    if (active != snapshot.windows.end()) {
        snapshot.activeWindow = *active;
    }

    snapshot.activeApplicationName = reading.frontmostApplicationName.isEmpty()
                                         ? fallbackApplicationName()
                                         : reading.frontmostApplicationName;
    snapshot.hasAccessibilityAccess = reading.hasAccessibilityAccess;
    snapshot.cursorLocation = reading.cursorLocation;
    // Never absent here: there is at least one display.
    snapshot.activeDisplay =
        ActiveDisplaySelector::select(reading.displays, snapshot.activeWindow, reading.cursorLocation)
            .value_or(reading.displays.front());
    snapshot.capturedAt = reading.capturedAt;
    return snapshot;
}

} // namespace tessary
