#include "spatial/workspace/ActiveDisplaySelector.h"

#include <algorithm>

namespace tessary {

std::optional<DisplaySnapshot>
ActiveDisplaySelector::select(const std::vector<DisplaySnapshot>& displays,
                              const std::optional<WindowSnapshot>& activeWindow, QPointF cursorLocation) {
    if (displays.empty()) {
        return std::nullopt;
    }
    if (activeWindow) {
        if (auto display = displayWithLargestIntersection(activeWindow->frame, displays)) {
            return display;
        }
    }
    if (auto display = displayContaining(cursorLocation, displays)) {
        return display;
    }
    const auto main = std::find_if(displays.begin(), displays.end(), [](const auto& d) { return d.isMain; });
    return main != displays.end() ? *main : displays.front();
}

std::optional<DisplaySnapshot>
ActiveDisplaySelector::displayWithLargestIntersection(const QRectF& frame,
                                                      const std::vector<DisplaySnapshot>& displays) {
    const QRectF window = frame.normalized();
    const DisplaySnapshot* best = nullptr;
    double bestArea = 0;
    for (const auto& display : displays) {
        const QRectF shared = window.intersected(display.frame.normalized());
        const double area = shared.width() * shared.height();
        if (area > bestArea) {
            bestArea = area;
            best = &display;
        }
    }
    if (best == nullptr) {
        return std::nullopt;
    }
    return *best;
}

std::optional<DisplaySnapshot>
ActiveDisplaySelector::displayContaining(QPointF point, const std::vector<DisplaySnapshot>& displays) {
    for (const auto& display : displays) {
        const QRectF frame = display.frame.normalized();
        if (point.x() >= frame.left() && point.x() < frame.right() && point.y() >= frame.top() &&
            point.y() < frame.bottom()) {
            return display;
        }
    }
    return std::nullopt;
}

} // namespace tessary
