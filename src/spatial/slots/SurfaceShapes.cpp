#include "spatial/slots/SurfaceShapes.h"

namespace tessary {

std::vector<Edge> anchoredEdges(const SurfaceShape& shape) {
    if (const auto* moon = std::get_if<shape::HalfMoon>(&shape)) {
        return {moon->edge};
    }
    if (const auto* inCorner = std::get_if<shape::InCorner>(&shape)) {
        switch (inCorner->corner) {
        case Corner::topLeft:
            return {Edge::top, Edge::left};
        case Corner::topRight:
            return {Edge::top, Edge::right};
        case Corner::bottomLeft:
            return {Edge::bottom, Edge::left};
        case Corner::bottomRight:
            return {Edge::bottom, Edge::right};
        }
    }
    return {};
}

Corner cornerOf(Edge horizontal, Edge vertical) {
    if (horizontal == Edge::bottom) {
        return vertical == Edge::left ? Corner::bottomLeft : Corner::bottomRight;
    }
    return vertical == Edge::left ? Corner::topLeft : Corner::topRight;
}

std::optional<SurfaceShape> shapeOf(const SurfaceGrouping& grouping) {
    if (const auto* capsule = std::get_if<grouping::Capsule>(&grouping)) {
        return shape::HalfMoon{capsule->edge};
    }
    if (const auto* rings = std::get_if<grouping::Rings>(&grouping)) {
        return shape::InCorner{rings->corner};
    }
    if (std::holds_alternative<grouping::Bubble>(grouping)) {
        return shape::Circle{};
    }
    return std::nullopt;
}

} // namespace tessary
