#pragma once

#include "core/localization/Localization.h"
#include "modules/vitals/VitalsRecords.h"

#include <cstdint>
#include <vector>

namespace tessary {

// Folds raw processes into the rows a person recognises.
namespace ProcessGrouping {

// Sums the samples of each key, keeping only the current user's (a sample of unknown owner counts as
// the user's): CPU and footprint added up, process ids collected in ascending order. A row's CPU is
// known once one of its processes has a percentage. The name is that of the row's lowest process id.
// Rows come out in key order.
std::vector<ProcessUsage> groups(const std::vector<ProcessSample>& samples, std::uint32_t currentUID);

// Adds the detail line to each row: "pid %1 · session" for a row holding an agent, the name and port
// of a server among its processes, and "%1 processes" when it holds several.
std::vector<ProcessUsage> labeled(std::vector<ProcessUsage> usages, const ProcessLabels& labels,
                                  const Localization& localization);

// Whether the row holds an agent's process.
bool holdsAgent(const ProcessUsage& usage, const ProcessLabels& labels);

} // namespace ProcessGrouping

} // namespace tessary
