#include "surfaces/form/SurfaceForm.h"

#include <algorithm>
#include <cmath>

namespace tessary {

namespace {

bool insideCornerArc(const QPointF& point, const QPointF& center, double radius) {
    const double dx = point.x() - center.x();
    const double dy = point.y() - center.y();
    return dx * dx + dy * dy <= radius * radius;
}

} // namespace

RoundedBox RoundedBox::uniform(const QRectF& rect, double radius) {
    return {rect, radius, radius, radius, radius};
}

RoundedBox RoundedBox::clamped() const {
    RoundedBox result = *this;
    result.rect = rect.normalized();
    const double limit = std::min(result.rect.width(), result.rect.height()) / 2;
    for (double* radius : {&result.topLeft, &result.topRight, &result.bottomRight, &result.bottomLeft}) {
        *radius = std::clamp(std::isfinite(*radius) ? *radius : 0.0, 0.0, std::max(limit, 0.0));
    }
    return result;
}

bool RoundedBox::contains(const QPointF& point) const {
    const RoundedBox box = clamped();
    const QRectF& r = box.rect;
    if (r.isEmpty() || point.x() < r.left() || point.x() > r.right() || point.y() < r.top() ||
        point.y() > r.bottom()) {
        return false;
    }
    if (point.x() < r.left() + box.topLeft && point.y() < r.top() + box.topLeft) {
        return insideCornerArc(point, {r.left() + box.topLeft, r.top() + box.topLeft}, box.topLeft);
    }
    if (point.x() > r.right() - box.topRight && point.y() < r.top() + box.topRight) {
        return insideCornerArc(point, {r.right() - box.topRight, r.top() + box.topRight}, box.topRight);
    }
    if (point.x() > r.right() - box.bottomRight && point.y() > r.bottom() - box.bottomRight) {
        return insideCornerArc(point, {r.right() - box.bottomRight, r.bottom() - box.bottomRight},
                               box.bottomRight);
    }
    if (point.x() < r.left() + box.bottomLeft && point.y() > r.bottom() - box.bottomLeft) {
        return insideCornerArc(point, {r.left() + box.bottomLeft, r.bottom() - box.bottomLeft},
                               box.bottomLeft);
    }
    return true;
}

bool QuarterBand::contains(const QPointF& point) const {
    const double dx = point.x() - center.x();
    const double dy = point.y() - center.y();
    // The screen lies to the left of a right corner and below a top corner.
    const bool left = corner == Corner::topLeft || corner == Corner::bottomLeft;
    const bool top = corner == Corner::topLeft || corner == Corner::topRight;
    if ((left ? dx < 0 : dx > 0) || (top ? dy < 0 : dy > 0)) {
        return false;
    }
    const double distance = std::hypot(dx, dy);
    return distance >= inner && distance <= outer;
}

double QuarterBand::startAngle() const {
    switch (corner) {
    case Corner::topLeft:
        return 270; // towards the bottom right
    case Corner::topRight:
        return 180;
    case Corner::bottomLeft:
        return 0;
    case Corner::bottomRight:
        return 90;
    }
    return 0;
}

bool SurfaceForm::contains(const QPointF& point) const {
    switch (kind) {
    case Kind::none:
        return false;
    case Kind::box:
        return body.contains(point);
    case Kind::rings:
        return (core && core->contains(point)) ||
               std::any_of(bands.begin(), bands.end(),
                           [&](const QuarterBand& b) { return b.contains(point); });
    }
    return false;
}

std::optional<int> SurfaceForm::moduleAt(const QPointF& point) const {
    if (!contains(point)) {
        return std::nullopt;
    }
    if (kind == Kind::rings) {
        for (std::size_t index = 0; index < bands.size(); ++index) {
            if (bands[index].contains(point)) {
                return static_cast<int>(index);
            }
        }
        return std::nullopt;
    }
    for (std::size_t index = 0; index < moduleAreas.size(); ++index) {
        if (moduleAreas[index].contains(point)) {
            return static_cast<int>(index);
        }
    }
    return std::nullopt;
}

QRectF SurfaceForm::bounds() const {
    if (kind == Kind::box) {
        return body.rect.normalized();
    }
    if (kind == Kind::rings) {
        const double radius = !bands.empty() ? bands.back().outer : core ? core->outer : 0;
        const QPointF c = core ? core->center : !bands.empty() ? bands.front().center : QPointF();
        const Corner corner = core ? core->corner : !bands.empty() ? bands.front().corner : Corner::topLeft;
        const bool left = corner == Corner::topLeft || corner == Corner::bottomLeft;
        const bool top = corner == Corner::topLeft || corner == Corner::topRight;
        return {left ? c.x() : c.x() - radius, top ? c.y() : c.y() - radius, radius, radius};
    }
    return {};
}

} // namespace tessary
