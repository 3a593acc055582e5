#pragma once

// Where a flicked surface comes to rest: it travels on as if slowing down at the platform's
// scroll deceleration, and stops inside the visible frame.

#include <QPointF>
#include <QRectF>

#include <optional>

namespace tessary {

struct ThrowProjection {
    double decelerationRate = 0.9975; // share of the speed kept per millisecond
    double threshold = 180;           // points per second; slower releases are plain drops

    bool operator==(const ThrowProjection&) const = default;

    // How far a release at `speed` points per second travels before it stops: at the default rate,
    // 0.399 seconds of travel at the speed of release. No travel for a rate outside 0...1.
    [[nodiscard]] double distance(double speed) const;

    // The frame where a throw lands, its size kept and its origin moved by the travel of each
    // component, then kept inside the visible frame; none for a release slower than the threshold.
    [[nodiscard]] std::optional<QRectF> landing(const QRectF& frame, const QPointF& velocity,
                                                const QRectF& visibleFrame) const;

    // Seconds for the animation from one frame to the other: longer for farther and slower throws,
    // between 0.22 and 1.
    [[nodiscard]] static double duration(const QRectF& from, const QRectF& to, double speed);
};

} // namespace tessary
