#pragma once

// What the engine found on one display: the free space and the places a surface may take there.

#include "core/records/SurfaceRecords.h"
#include "core/records/WorkspaceSnapshot.h"

#include <QRectF>

#include <vector>

namespace tessary {

struct PlacementCandidate {
    SurfacePlacement placement;
    double score = 0;
    bool operator==(const PlacementCandidate&) const = default;
};

struct SpatialPlan {
    DisplaySnapshot activeDisplay; // the display this plan is for
    std::vector<WindowSnapshot> occupiedWindows;
    std::vector<QRectF> freeRegions;
    std::vector<PlacementCandidate> candidates; // best first

    [[nodiscard]] std::vector<SurfacePlacement> candidatePlacements() const;

    bool operator==(const SpatialPlan&) const = default;
};

} // namespace tessary
