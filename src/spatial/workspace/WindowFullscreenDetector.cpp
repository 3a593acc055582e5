#include "spatial/workspace/WindowFullscreenDetector.h"

#include <cmath>

namespace tessary {

bool WindowFullscreenDetector::isFullScreen(const QRectF& frame, const std::vector<DisplaySnapshot>& displays,
                                            std::optional<bool> knownValue) const {
    if (knownValue) {
        return *knownValue;
    }
    const QRectF window = frame.normalized();
    if (window.isEmpty()) {
        return false;
    }
    for (const auto& display : displays) {
        const QRectF screen = display.frame.normalized();
        if (screen.isEmpty()) {
            continue;
        }
        if (window == screen) {
            return true;
        }
        const bool edgesFit = std::abs(window.left() - screen.left()) <= edgeTolerance &&
                              std::abs(window.top() - screen.top()) <= edgeTolerance &&
                              std::abs(window.right() - screen.right()) <= edgeTolerance &&
                              std::abs(window.bottom() - screen.bottom()) <= edgeTolerance;
        const QRectF covered = window.intersected(screen);
        const double coverage = covered.width() * covered.height() / (screen.width() * screen.height());
        if (edgesFit && coverage >= minimumCoverage) {
            return true;
        }
    }
    return false;
}

} // namespace tessary
