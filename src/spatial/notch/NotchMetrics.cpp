#include "spatial/notch/NotchMetrics.h"

#include <algorithm>
#include <cmath>

namespace tessary {

namespace {

constexpr double expandedSideFactor = 3.7;
constexpr double restingSideFactor = 1.75;
constexpr double panelDepthFactor = 3.3; // depth of the panel under the notch, in notch heights
constexpr double restingCornerRadius = 10;
constexpr double expandedCornerRadius = 20;

// Up to the next whole point. Products such as 3.7 * 10 come out a hair above the whole number in
// floating point; that hair must not cost a whole point.
double ceilToPoint(double value) {
    return std::ceil(value - 1e-9);
}

} // namespace

int NotchMetrics::restingTabCount() const {
    const int limit = restingTabs == RestingTabs::two ? 2 : 1;
    return std::clamp(widgetCount, 0, limit);
}

double NotchMetrics::sideWidth(bool isExpanded) const {
    const double h = notch.normalized().height();
    return ceilToPoint((isExpanded ? expandedSideFactor : restingSideFactor) * h);
}

double NotchMetrics::height(bool isExpanded) const {
    const double h = notch.normalized().height();
    return ceilToPoint(isExpanded ? h + panelDepthFactor * h : h);
}

QRectF NotchMetrics::panelFrame() const {
    const QRectF n = notch.normalized();
    const double side = sideWidth(true);
    return {n.left() - side, n.top(), n.width() + 2 * side, height(true)};
}

double NotchMetrics::cornerRadius(bool isExpanded) {
    return isExpanded ? expandedCornerRadius : restingCornerRadius;
}

double NotchMetrics::cornerRadius(double expansion) {
    const double e = expansion > 0 ? std::min(expansion, 1.0) : 0.0;
    return restingCornerRadius + (expandedCornerRadius - restingCornerRadius) * e;
}

QRectF NotchMetrics::tabBox(int tab, bool isExpanded) const {
    if (tab < 0 || tab >= restingTabCount()) {
        return {};
    }
    const QRectF n = notch.normalized();
    const double side = sideWidth(isExpanded);
    const double x = tab == 0 ? n.left() - side : n.right();
    return {x, n.top(), side, height(false)};
}

QRectF NotchMetrics::detailBox() const {
    const QRectF panel = panelFrame();
    const double top = panel.top() + height(false);
    const double width = std::max(0.0, panel.width() - 2 * contentInset);
    const double depth = std::max(0.0, panel.bottom() - bellyReserve - top);
    return {panel.left() + contentInset, top, width, depth};
}

QRectF NotchMetrics::memberBox(int index, int memberCount) const {
    if (memberCount <= 0 || index < 0 || index >= memberCount) {
        return {};
    }
    const QRectF detail = detailBox();
    const double columnWidth =
        std::max(0.0, (detail.width() - memberSpacing * (memberCount - 1)) / memberCount);
    return {detail.left() + index * (columnWidth + memberSpacing), detail.top(), columnWidth,
            detail.height()};
}

QSizeF NotchMetrics::silhouetteSize(bool isExpanded) const {
    const QRectF n = notch.normalized();
    if (isExpanded) {
        return panelFrame().size();
    }
    if (restingTabCount() == 0) {
        return {n.width(), height(false)};
    }
    return {n.width() + 2 * sideWidth(false), height(false)};
}

} // namespace tessary
