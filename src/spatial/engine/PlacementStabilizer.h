#pragma once

// Decides whether a surface moves to the engine's best place or stays where it is: the part
// that keeps a surface from twitching while the free space changes under it.

#include "core/records/SurfaceRecords.h"
#include "spatial/engine/SpatialConfiguration.h"
#include "spatial/engine/SpatialPlan.h"

#include <QDateTime>

#include <optional>

namespace tessary {

class PlacementStabilizer {
public:
    PlacementStabilizer() = default;
    // Only the minimum residence and the hysteresis threshold are used.
    explicit PlacementStabilizer(const SpatialConfiguration& configuration)
        : m_configuration(configuration) {}

    [[nodiscard]] const SpatialConfiguration& configuration() const { return m_configuration; }
    void setConfiguration(const SpatialConfiguration& configuration) { m_configuration = configuration; }

    // `previousPlacementSince` is when the previous placement began, unknown when absent.
    [[nodiscard]] LayoutDecision decide(const SpatialPlan& plan, PlacementMode mode,
                                        const std::optional<SurfacePlacement>& previousPlacement,
                                        const std::optional<QDateTime>& previousPlacementSince,
                                        const QDateTime& now, bool isPointerOver) const;

private:
    SpatialConfiguration m_configuration;
};

} // namespace tessary
