#pragma once

// Finds where on a display a surface can stand without covering the user's windows.
//
// A pure function of its arguments: the engine may change its mind on every tick, and
// PlacementStabilizer is what keeps a surface from following every change.

#include "core/records/SurfaceRecords.h"
#include "core/records/WorkspaceSnapshot.h"
#include "spatial/engine/SpatialConfiguration.h"
#include "spatial/engine/SpatialPlan.h"

#include <optional>

namespace tessary {

class SpatialEngine {
public:
    SpatialEngine() = default;
    explicit SpatialEngine(const SpatialConfiguration& configuration)
        : m_configuration(configuration) {}

    [[nodiscard]] const SpatialConfiguration& configuration() const { return m_configuration; }
    void setConfiguration(const SpatialConfiguration& configuration) { m_configuration = configuration; }

    // The free space of `display` and the candidates for `mode`, best first. In automatic and
    // bubble mode a display without room still gets one overlapping chip at the top right, so
    // that the widgets stay reachable over a full-screen window.
    [[nodiscard]] SpatialPlan makePlan(const WorkspaceSnapshot& workspace, const DisplaySnapshot& display,
                                       PlacementMode mode,
                                       const std::optional<SurfacePlacement>& previousPlacement) const;

private:
    SpatialConfiguration m_configuration;
};

} // namespace tessary
