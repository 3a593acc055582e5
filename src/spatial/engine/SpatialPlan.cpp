#include "spatial/engine/SpatialPlan.h"

namespace tessary {

std::vector<SurfacePlacement> SpatialPlan::candidatePlacements() const {
    std::vector<SurfacePlacement> placements;
    placements.reserve(candidates.size());
    for (const PlacementCandidate& candidate : candidates) {
        placements.push_back(candidate.placement);
    }
    return placements;
}

} // namespace tessary
