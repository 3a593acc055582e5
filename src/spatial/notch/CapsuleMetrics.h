#pragma once

// Sizes of the capsule that fused widgets form against one screen edge: one segment per widget,
// laid along the edge. "Across" is the thickness off the edge, "along" the length beside it.

#include "core/records/SurfaceRecords.h"

#include <QSizeF>

namespace tessary {

struct CapsuleMetrics {
    Edge edge = Edge::right;
    int segmentCount = 1;
    double base = 0; // the side of one bubble

    bool operator==(const CapsuleMetrics&) const = default;

    [[nodiscard]] double across(bool isExpanded) const;
    [[nodiscard]] double along(bool isExpanded) const;
    // Between closed and open, by an expansion of 0...1 (clamped).
    [[nodiscard]] double across(double expansion) const;
    [[nodiscard]] double along(double expansion) const;

    // Width and height: against the left or right edge the thickness is the width, against the
    // top or bottom it is the height.
    [[nodiscard]] QSizeF size(bool isExpanded) const;
    [[nodiscard]] QSizeF size(double expansion) const;

    [[nodiscard]] double cornerRadius(bool isExpanded) const;
    [[nodiscard]] double cornerRadius(double expansion) const;

private:
    [[nodiscard]] QSizeF oriented(double acrossLength, double alongLength) const;
};

} // namespace tessary
