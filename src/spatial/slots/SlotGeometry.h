#pragma once

// Rectangle helpers of the slot logic. Every function is total: a rectangle larger than its room
// starts at the room's start, and NaN never slips past a clamp.

#include <QRectF>

#include <algorithm>
#include <vector>

namespace tessary::slotgeometry {

// Where a span of `length` starts when it is moved to lie between `low` and `high`; a span longer
// than the room starts at `low`.
inline double clampedStart(double start, double length, double low, double high) {
    const double latest = high - length;
    const double kept = start < latest ? start : latest;
    return kept > low ? kept : low;
}

// `frame`, keeping its size, moved so that it lies inside `room`.
inline QRectF keptInside(const QRectF& frame, const QRectF& room) {
    return {clampedStart(frame.left(), frame.width(), room.left(), room.right()),
            clampedStart(frame.top(), frame.height(), room.top(), room.bottom()), frame.width(),
            frame.height()};
}

// The smallest rectangle that holds all of `frames` picked by `indices`. Unlike QRectF::united it
// keeps frames of zero size, which still stand somewhere.
inline QRectF unionOf(const std::vector<QRectF>& frames, const std::vector<int>& indices) {
    if (indices.empty()) {
        return {};
    }
    const QRectF first = frames[static_cast<std::size_t>(indices.front())].normalized();
    double left = first.left();
    double top = first.top();
    double right = first.right();
    double bottom = first.bottom();
    for (const int index : indices) {
        const QRectF f = frames[static_cast<std::size_t>(index)].normalized();
        left = std::min(left, f.left());
        top = std::min(top, f.top());
        right = std::max(right, f.right());
        bottom = std::max(bottom, f.bottom());
    }
    return {left, top, right - left, bottom - top};
}

} // namespace tessary::slotgeometry
