#pragma once

#include "core/records/WorkspaceSnapshot.h"

#include <optional>
#include <vector>

namespace tessary {

// Tells a full-screen window from its frame when the window system doesn't say.
struct WindowFullscreenDetector {
    // How far, in points, each edge of the window may stand from the display's edge.
    double edgeTolerance = 2;
    // The share of the display's area that the window must cover.
    double minimumCoverage = 0.98;

    // A known value (the window system's own full-screen state) decides. Otherwise the window is
    // full screen when it equals a display's frame, or covers nearly all of one, edge to edge.
    [[nodiscard]] bool isFullScreen(const QRectF& frame, const std::vector<DisplaySnapshot>& displays,
                                    std::optional<bool> knownValue) const;
};

} // namespace tessary
