#pragma once

// Total rectangle arithmetic shared by the engine and the stabilizer: negative lengths count as 0,
// and nothing here converts to int, so absurd coordinates cannot overflow.

#include <QPointF>
#include <QRectF>

#include <algorithm>
#include <cmath>

namespace tessary::spatial {

inline double nonNegative(double length) {
    return std::max(0.0, length);
}

inline double area(const QRectF& rectangle) {
    return nonNegative(rectangle.width()) * nonNegative(rectangle.height());
}

inline double distance(const QPointF& a, const QPointF& b) {
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

inline double midpointDistance(const QRectF& a, const QRectF& b) {
    return distance(a.center(), b.center());
}

inline bool isFinite(const QRectF& rectangle) {
    return std::isfinite(rectangle.x()) && std::isfinite(rectangle.y()) && std::isfinite(rectangle.width()) &&
           std::isfinite(rectangle.height());
}

// The smallest rectangle on whole coordinates that contains `rectangle`.
inline QRectF integral(const QRectF& rectangle) {
    const QRectF r = rectangle.normalized();
    const double left = std::floor(r.left());
    const double top = std::floor(r.top());
    return {left, top, std::ceil(r.right()) - left, std::ceil(r.bottom()) - top};
}

// Intersection of two standardized rectangles; empty when they only touch or miss.
inline QRectF intersection(const QRectF& a, const QRectF& b) {
    const double left = std::max(a.left(), b.left());
    const double right = std::min(a.right(), b.right());
    const double top = std::max(a.top(), b.top());
    const double bottom = std::min(a.bottom(), b.bottom());
    if (!(left < right) || !(top < bottom)) {
        return {};
    }
    return {left, top, right - left, bottom - top};
}

// Whether `inner` lies wholly inside `outer`, edges included.
inline bool contains(const QRectF& outer, const QRectF& inner) {
    return inner.left() >= outer.left() && inner.right() <= outer.right() && inner.top() >= outer.top() &&
           inner.bottom() <= outer.bottom();
}

} // namespace tessary::spatial
