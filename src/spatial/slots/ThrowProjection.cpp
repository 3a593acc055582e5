#include "spatial/slots/ThrowProjection.h"

#include "spatial/engine/SpatialGeometry.h"
#include "spatial/slots/SlotGeometry.h"

#include <cmath>

namespace tessary {

namespace {

constexpr double durationFactor = 2.1;
constexpr double shortestDuration = 0.22;
constexpr double longestDuration = 1.0;

} // namespace

double ThrowProjection::distance(double speed) const {
    const double r = decelerationRate;
    if (!(r >= 0 && r < 1)) {
        return 0;
    }
    return speed * r / (1 - r) / 1000;
}

std::optional<QRectF> ThrowProjection::landing(const QRectF& frame, const QPointF& velocity,
                                               const QRectF& visibleFrame) const {
    const double speed = std::hypot(velocity.x(), velocity.y());
    if (!(speed >= threshold)) {
        return std::nullopt;
    }
    const QRectF moved = frame.normalized().translated(distance(velocity.x()), distance(velocity.y()));
    return slotgeometry::keptInside(moved, visibleFrame.normalized());
}

double ThrowProjection::duration(const QRectF& from, const QRectF& to, double speed) {
    const double safeSpeed = speed > 1 ? speed : 1;
    const double seconds = spatial::midpointDistance(from, to) / safeSpeed * durationFactor;
    if (!(seconds > shortestDuration)) {
        return shortestDuration;
    }
    return seconds < longestDuration ? seconds : longestDuration;
}

} // namespace tessary
