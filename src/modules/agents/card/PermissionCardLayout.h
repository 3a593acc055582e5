#pragma once

#include <optional>

namespace tessary {

// The card's size: a fixed width, and the measured height unless the room is shorter, in which
// case the content scrolls. A plan is never taller than `planCap` even on a tall display.
namespace PermissionCardLayout {

inline constexpr double width = 420;
inline constexpr double planCap = 560;

struct Decision {
    double cardHeight = 0;
    bool scrolls = false;
    bool operator==(const Decision&) const = default;
};

// `natural` is the measured height of the content; `maxHeight` the room available, if known.
[[nodiscard]] Decision decide(double natural, std::optional<double> maxHeight, bool hasPlan);

} // namespace PermissionCardLayout

} // namespace tessary
