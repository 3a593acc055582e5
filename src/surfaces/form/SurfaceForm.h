#pragma once

// The drawn form of a surface as plain geometry: what the painter fills and what the hit test
// asks, so that a point counts as on the surface exactly when it falls on what is drawn.

#include "core/records/SurfaceRecords.h"

#include <QPointF>
#include <QRectF>

#include <optional>
#include <vector>

namespace tessary {

// A rectangle with its own radius at each corner (clamped so that neighbours never overlap).
struct RoundedBox {
    QRectF rect;
    double topLeft = 0;
    double topRight = 0;
    double bottomRight = 0;
    double bottomLeft = 0;
    bool operator==(const RoundedBox&) const = default;

    [[nodiscard]] static RoundedBox uniform(const QRectF& rect, double radius);
    [[nodiscard]] bool contains(const QPointF& point) const;
    // The radii after clamping: no radius beyond half of either side.
    [[nodiscard]] RoundedBox clamped() const;
};

// One quarter band around a screen corner: the points whose distance from `center` lies in
// inner...outer and that are on the screen's side of the corner.
struct QuarterBand {
    QPointF center;
    Corner corner = Corner::topRight;
    double inner = 0;
    double outer = 0;
    bool operator==(const QuarterBand&) const = default;

    [[nodiscard]] bool contains(const QPointF& point) const;
    // Angles in degrees, counter-clockwise from the positive x axis with y pointing up (Qt's arc
    // convention): where the quarter starts, and its sweep.
    [[nodiscard]] double startAngle() const;
    static constexpr double sweep = 90;
};

struct SurfaceForm {
    enum class Kind { none, box, rings };

    Kind kind = Kind::none;
    // Box kinds (bubble, capsule, notch): the outline, and where each module's content stands.
    RoundedBox body;
    std::vector<QRectF> moduleAreas;
    // Which screen edges the body is flush with; nothing is drawn beyond them (the shadow neither).
    std::vector<Edge> flushEdges;
    // A lone bubble's disc, where its content centres, even when the body reaches out to an edge.
    QRectF bubbleDisc;
    // Rings: the disc at the corner, then one band per module, innermost first.
    std::optional<QuarterBand> core;
    std::vector<QuarterBand> bands;
    bool operator==(const SurfaceForm&) const = default;

    [[nodiscard]] bool contains(const QPointF& point) const;
    // The module whose area or band holds the point; none off the form or on its bare parts.
    [[nodiscard]] std::optional<int> moduleAt(const QPointF& point) const;
    // The smallest rectangle that holds the whole form.
    [[nodiscard]] QRectF bounds() const;
};

} // namespace tessary
