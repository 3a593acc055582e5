#pragma once

// Whether a point falls on what a surface draws, and on which module. A panel's rectangle is
// larger than its drawn form (the margin holds the shadow and the room to expand into), and a
// click outside the form passes through to the window below.

#include "core/records/SurfaceRecords.h"
#include "core/settings/TessarySettings.h"
#include "modulekit/ModuleSnapshot.h"
#include "surfaces/form/SurfaceForm.h"

#include <QPointF>
#include <QRectF>

#include <optional>
#include <vector>

namespace tessary {

// The tabs of a docked notch: the members of each tab (indices into the surface's modules) and
// the system strip. Modules share a tab by their group; an ungrouped module has one of its own.
struct NotchTabs {
    std::vector<std::vector<int>> members;
    std::vector<int> strip;
    bool operator==(const NotchTabs&) const = default;

    // Tabs in the order their first member appears, members in the order given.
    [[nodiscard]] static NotchTabs gather(const std::vector<ModuleSnapshot>& modules);
    // The members that rest in wing `tab` beside the notch: that tab's, or the strip's for the first
    // wing when there is no tab at all.
    [[nodiscard]] std::vector<int> restingMembers(int tab) const;
    // How many wings carry members at rest: at least one, at most two, and one when asked for one.
    [[nodiscard]] int restingTabCount(RestingTabs restingTabs) const;
};

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
