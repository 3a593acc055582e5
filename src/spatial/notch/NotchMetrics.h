#pragma once

// Sizes of the surface docked in the camera notch. At rest one or two tabs flank the notch; open, a
// panel hangs from the top of the notch, as wide as the notch plus a wing on each side. The sizes
// are whole points, rounded up, so that the drawing never starts between two points.

#include "core/settings/TessarySettings.h"

#include <QRectF>
#include <QSizeF>

namespace tessary {

struct NotchMetrics {
    // Height kept free at the bottom of the open panel for its rounded belly: content stops above it.
    static constexpr double bellyReserve = 10;
    // Inset of the open panel's content from its sides, clear of the rounded lower corners.
    static constexpr double contentInset = 10;
    // Space between the members laid out side by side in the open panel.
    static constexpr double memberSpacing = 8;

    QRectF notch;
    int widgetCount = 0;
    RestingTabs restingTabs = RestingTabs::two;

    bool operator==(const NotchMetrics&) const = default;

    // How many tabs show beside the notch at rest: never more than there are widgets.
    [[nodiscard]] int restingTabCount() const;
    // Width of one wing beside the notch.
    [[nodiscard]] double sideWidth(bool isExpanded) const;
    // Height from the top of the notch: the notch itself at rest, the notch and the panel open.
    [[nodiscard]] double height(bool isExpanded) const;
    // The open panel: both wings and the notch across, hanging from the notch's top.
    [[nodiscard]] QRectF panelFrame() const;
    [[nodiscard]] static double cornerRadius(bool isExpanded);
    // Between the resting and the open radius, by an expansion of 0...1 (clamped).
    [[nodiscard]] static double cornerRadius(double expansion);

    // The wing that tab `tab` occupies: 0 is left of the notch, 1 right of it. Empty for a tab
    // that doesn't rest beside the notch.
    [[nodiscard]] QRectF tabBox(int tab, bool isExpanded) const;
    // The open panel's content: below the notch, inside the side insets and above the belly.
    [[nodiscard]] QRectF detailBox() const;
    // Member `index` of `memberCount` laid out in equal columns across the detail box; empty for
    // an index outside 0..memberCount-1.
    [[nodiscard]] QRectF memberBox(int index, int memberCount) const;
    // The drawn shape, centered on the notch so that it hugs the camera: the notch alone without a
    // resting tab, the notch and both wings at rest with one or two (an unused wing stays empty, which
    // keeps the shape symmetric), the whole panel open.
    [[nodiscard]] QSizeF silhouetteSize(bool isExpanded) const;
};

} // namespace tessary
