#include "modules/agents/card/PermissionCardLayout.h"

#include <algorithm>
#include <cmath>

namespace tessary::PermissionCardLayout {

Decision decide(double natural, std::optional<double> maxHeight, bool hasPlan) {
    const double measured = std::isfinite(natural) ? std::ceil(std::max(0.0, natural)) : 0.0;
    if (!maxHeight || !std::isfinite(*maxHeight)) {
        return {measured, false};
    }
    const double limit = (hasPlan && *maxHeight > planCap) ? planCap : std::max(0.0, std::floor(*maxHeight));
    const bool scrolls = limit < measured;
    return {scrolls ? limit : measured, scrolls};
}

} // namespace tessary::PermissionCardLayout
