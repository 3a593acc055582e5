#include "modulekit/SnapshotPrioritizer.h"

#include <algorithm>

namespace tessary::SnapshotPrioritizer {

int weight(ModuleState state) {
    switch (state) {
    case ModuleState::critical:
        return 5000;
    case ModuleState::attention:
        return 4000;
    case ModuleState::active:
        return 3000;
    case ModuleState::success:
        return 2000;
    case ModuleState::quiet:
        return 1000;
    case ModuleState::unavailable:
        return 0;
    }
    return 0;
}

int score(const ModuleSnapshot& snapshot) {
    return weight(snapshot.state) + std::clamp(snapshot.priority, 0, 100);
}

std::vector<ModuleSnapshot> rank(std::vector<ModuleSnapshot> snapshots, const QDateTime& now) {
    std::erase_if(snapshots, [&](const ModuleSnapshot& snapshot) { return snapshot.isExpired(now); });
    std::sort(snapshots.begin(), snapshots.end(), [](const ModuleSnapshot& a, const ModuleSnapshot& b) {
        const int scoreA = score(a);
        const int scoreB = score(b);
        if (scoreA != scoreB) {
            return scoreA > scoreB;
        }
        if (a.generatedAt != b.generatedAt) {
            return a.generatedAt > b.generatedAt;
        }
        return a.id < b.id;
    });
    return snapshots;
}

} // namespace tessary::SnapshotPrioritizer
