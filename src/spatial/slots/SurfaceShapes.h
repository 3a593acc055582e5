#pragma once

// What a surface's shape or grouping says about the screen edges it leans on.

#include "core/records/SurfaceRecords.h"

#include <optional>
#include <vector>

namespace tessary {

// The edges a shape stands against: the one edge of a half moon, the two of a corner (the
// horizontal one first), none for a circle.
[[nodiscard]] std::vector<Edge> anchoredEdges(const SurfaceShape& shape);

// Left and right are vertical edges, top and bottom horizontal ones.
[[nodiscard]] constexpr bool isVertical(Edge edge) {
    return edge == Edge::left || edge == Edge::right;
}

// The corner where a horizontal edge (top or bottom) meets a vertical one (left or right).
[[nodiscard]] Corner cornerOf(Edge horizontal, Edge vertical);

// The shape of a fused form: a capsule is a half moon on its edge, rings are a corner piece, a lone
// bubble is a circle. A notch surface has no shape on an edge of its own: none.
[[nodiscard]] std::optional<SurfaceShape> shapeOf(const SurfaceGrouping& grouping);

} // namespace tessary
