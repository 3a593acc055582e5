#pragma once

// Whether a point falls on what a surface draws, and on which module. A panel's rectangle is
// larger than its drawn form (the margin holds the shadow and the room to expand into), and a
// click outside the form passes through to the window below.

#include "core/records/SurfaceRecords.h"
#include "core/settings/TessarySettings.h"
#include "modulekit/ModuleSnapshot.h"
#include "spatial/notch/NotchArrangement.h"
#include "surfaces/form/SurfaceForm.h"

#include <QPointF>
#include <QRectF>

#include <optional>
#include <vector>

namespace tessary {

struct SurfaceHitTest {
    // Share of a bubble panel's shorter side that the bubble fills at rest and when open.
    static constexpr double restingBubbleShare = 0.66;
    static constexpr double openBubbleShare = 0.94;

    QRectF panel;
    SurfaceGrouping grouping = grouping::Bubble{};
    SurfaceShape chipShape = shape::Circle{};
    int moduleCount = 0;
    bool isExpanded = false;
    std::optional<NotchTabs> notchTabs;
    RestingTabs notchRestingTabs = RestingTabs::two;
    bool isNotchHidden = false;
    // Between rest (0) and open (1) while the form springs from one to the other; absent means
    // whatever isExpanded says.
    std::optional<double> expansion;
    // Modules after `moduleCount` that show only by their change signal, as chips beside the notch.
    int signalOnlyCount = 0;

    bool operator==(const SurfaceHitTest&) const = default;

    [[nodiscard]] SurfaceForm form() const;
    [[nodiscard]] bool contains(const QPointF& point) const;
    // Index of the module under the point (signal-only chips follow the modules).
    [[nodiscard]] std::optional<int> moduleHit(const QPointF& point) const;

private:
    [[nodiscard]] double openness() const;
    [[nodiscard]] SurfaceForm bubbleForm(double e) const;
    [[nodiscard]] SurfaceForm capsuleForm(Edge edge, double e) const;
    [[nodiscard]] SurfaceForm ringsForm(Corner corner, double e) const;
    [[nodiscard]] SurfaceForm notchForm(const QRectF& notch, double e) const;
};

} // namespace tessary
