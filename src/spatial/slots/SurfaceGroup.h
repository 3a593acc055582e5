#pragma once

#include "core/records/SurfaceRecords.h"

#include <QRectF>

#include <vector>

namespace tessary {

// Widgets that stand as one surface: their indices into the frames that were grouped, ascending,
// the surface's frame and the form it takes.
struct SurfaceGroup {
    std::vector<int> members;
    QRectF frame;
    SurfaceGrouping grouping = grouping::Bubble{};
    bool operator==(const SurfaceGroup&) const = default;
};

} // namespace tessary
