#include "spatial/notch/RingMetrics.h"

#include <algorithm>

namespace tessary {

namespace {

// The innermost radius and the width of each band, as shares of the bubble's side.
constexpr double closedCore = 0.12;
constexpr double closedBand = 0.34;
constexpr double openCore = 0.13;
constexpr double openBand = 0.55;

RingMetrics::Radii bandRadii(double base, int band, double core, double width) {
    return {base * (core + width * band), base * (core + width * (band + 1))};
}

double clampedExpansion(double expansion) {
    return expansion > 0 ? std::min(expansion, 1.0) : 0.0;
}

} // namespace

RingMetrics::Radii RingMetrics::radii(int band, bool isExpanded) const {
    return isExpanded ? bandRadii(base, band, openCore, openBand)
                      : bandRadii(base, band, closedCore, closedBand);
}

RingMetrics::Radii RingMetrics::radii(int band, double expansion) const {
    const double e = clampedExpansion(expansion);
    return bandRadii(base, band, closedCore + (openCore - closedCore) * e,
                     closedBand + (openBand - closedBand) * e);
}

double RingMetrics::side(bool isExpanded) const {
    return radii(std::max(bandCount, 0) - 1, isExpanded).outer;
}

double RingMetrics::side(double expansion) const {
    return radii(std::max(bandCount, 0) - 1, expansion).outer;
}

} // namespace tessary
