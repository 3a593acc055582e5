#pragma once

#include "modulekit/ModuleSnapshot.h"

#include <QDateTime>

#include <vector>

namespace tessary {

// Ranks snapshots across modules: state first, then priority, then freshness, then id.
namespace SnapshotPrioritizer {

int weight(ModuleState state);
int score(const ModuleSnapshot& snapshot);
// Drops the expired ones; a total order for distinct ids, independent of input order.
std::vector<ModuleSnapshot> rank(std::vector<ModuleSnapshot> snapshots, const QDateTime& now);

} // namespace SnapshotPrioritizer

} // namespace tessary
