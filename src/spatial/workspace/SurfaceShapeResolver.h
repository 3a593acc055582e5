#pragma once

#include "core/records/SurfaceRecords.h"

#include <QRectF>

namespace tessary {

// The shape a widget takes from where it stands: a corner piece in a corner, a half moon against
// one edge, a circle in the open.
struct SurfaceShapeResolver {
    // How close, in points, a frame must come to an edge of the visible frame to lean on it.
    double anchorTolerance = 4;

    // Against both a side and the top or bottom: that corner. Against one edge: a half moon on
    // it. A frame near both opposite edges leans on the nearer one (left and top on a tie).
    [[nodiscard]] SurfaceShape shape(const QRectF& frame, const QRectF& visibleFrame) const;
};

} // namespace tessary
