#pragma once

#include "core/records/WorkspaceSnapshot.h"

#include <optional>
#include <vector>

namespace tessary {

// Decides which display the user is working on.
struct ActiveDisplaySelector {
    // The display with the largest share of the active window; without one, the display under
    // the cursor; then the main display; then the first. Absent only when there is no display.
    static std::optional<DisplaySnapshot> select(const std::vector<DisplaySnapshot>& displays,
                                                 const std::optional<WindowSnapshot>& activeWindow,
                                                 QPointF cursorLocation);

    // The display whose frame shares the most area with `frame`; ties go to the earlier display.
    static std::optional<DisplaySnapshot>
    displayWithLargestIntersection(const QRectF& frame, const std::vector<DisplaySnapshot>& displays);

    // The display whose frame holds `point`, taking each frame's right and bottom edges as outside
    // so that a point on the seam of two displays belongs to one of them.
    static std::optional<DisplaySnapshot> displayContaining(QPointF point,
                                                            const std::vector<DisplaySnapshot>& displays);
};

} // namespace tessary
