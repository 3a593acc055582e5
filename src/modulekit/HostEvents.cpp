#include "modulekit/HostEvents.h"

namespace tessary::HostEvents {

std::vector<HostEvent> between(const std::optional<WorkspaceSnapshot>& previous,
                               const WorkspaceSnapshot& workspace, bool userInitiated) {
    std::vector<HostEvent> events;
    if (userInitiated) {
        events.push_back(HostEvent::refreshRequested);
    }
    if (!previous) {
        events.push_back(HostEvent::hostStarted);
        return events;
    }
    if (previous->activeApplicationName != workspace.activeApplicationName) {
        events.push_back(HostEvent::frontmostApplicationChanged);
    }
    if (previous->activeWindow != workspace.activeWindow) {
        events.push_back(HostEvent::activeWindowChanged);
    }
    if (previous->activeDisplay.id != workspace.activeDisplay.id) {
        events.push_back(HostEvent::displayChanged);
    }
    return events;
}

} // namespace tessary::HostEvents
