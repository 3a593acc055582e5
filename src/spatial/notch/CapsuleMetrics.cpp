#include "spatial/notch/CapsuleMetrics.h"

#include <algorithm>

namespace tessary {

namespace {

constexpr double closedAcross = 0.3;
constexpr double openAcross = 0.736;
constexpr double closedAlong = 0.45;
constexpr double openAlong = 0.9;
constexpr double cornerShare = 0.7;

double clampedExpansion(double expansion) {
    return expansion > 0 ? std::min(expansion, 1.0) : 0.0;
}

} // namespace

double CapsuleMetrics::across(bool isExpanded) const {
    return base * (isExpanded ? openAcross : closedAcross);
}

double CapsuleMetrics::along(bool isExpanded) const {
    return base * (isExpanded ? openAlong : closedAlong) * std::max(segmentCount, 0);
}

double CapsuleMetrics::across(double expansion) const {
    return base * (closedAcross + (openAcross - closedAcross) * clampedExpansion(expansion));
}

double CapsuleMetrics::along(double expansion) const {
    return base * (closedAlong + (openAlong - closedAlong) * clampedExpansion(expansion)) *
           std::max(segmentCount, 0);
}

QSizeF CapsuleMetrics::size(bool isExpanded) const {
    return oriented(across(isExpanded), along(isExpanded));
}

QSizeF CapsuleMetrics::size(double expansion) const {
    return oriented(across(expansion), along(expansion));
}

double CapsuleMetrics::cornerRadius(bool isExpanded) const {
    return cornerShare * across(isExpanded);
}

double CapsuleMetrics::cornerRadius(double expansion) const {
    return cornerShare * across(expansion);
}

QSizeF CapsuleMetrics::oriented(double acrossLength, double alongLength) const {
    if (edge == Edge::left || edge == Edge::right) {
        return {acrossLength, alongLength};
    }
    return {alongLength, acrossLength};
}

} // namespace tessary
