#pragma once

#include "core/records/WorkspaceSnapshot.h"
#include "modulekit/CorvaneModule.h"

#include <optional>
#include <vector>

namespace tessary::HostEvents {

// What the modules hear of one tick: a refresh the user asked for first, then the start (no
// earlier reading), or what changed between the two readings of the screen.
[[nodiscard]] std::vector<HostEvent> between(const std::optional<WorkspaceSnapshot>& previous,
                                             const WorkspaceSnapshot& workspace, bool userInitiated);

} // namespace tessary::HostEvents
