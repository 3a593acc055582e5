#include "spatial/workspace/SurfaceShapeResolver.h"

#include <optional>

namespace tessary {

namespace {

// The nearer of two opposite edges that lies within `tolerance`, the first one on a tie.
std::optional<Edge> nearerEdge(double firstDistance, Edge first, double secondDistance, Edge second,
                               double tolerance) {
    const bool nearFirst = firstDistance <= tolerance;
    const bool nearSecond = secondDistance <= tolerance;
    if (nearFirst && (!nearSecond || firstDistance <= secondDistance)) {
        return first;
    }
    if (nearSecond) {
        return second;
    }
    return std::nullopt;
}

} // namespace

SurfaceShape SurfaceShapeResolver::shape(const QRectF& frame, const QRectF& visibleFrame) const {
    const QRectF f = frame.normalized();
    const QRectF v = visibleFrame.normalized();
    const auto side =
        nearerEdge(f.left() - v.left(), Edge::left, v.right() - f.right(), Edge::right, anchorTolerance);
    const auto end =
        nearerEdge(f.top() - v.top(), Edge::top, v.bottom() - f.bottom(), Edge::bottom, anchorTolerance);
    if (side && end) {
        if (*end == Edge::top) {
            return shape::InCorner{*side == Edge::left ? Corner::topLeft : Corner::topRight};
        }
        return shape::InCorner{*side == Edge::left ? Corner::bottomLeft : Corner::bottomRight};
    }
    if (side) {
        return shape::HalfMoon{*side};
    }
    if (end) {
        return shape::HalfMoon{*end};
    }
    return shape::Circle{};
}

} // namespace tessary
