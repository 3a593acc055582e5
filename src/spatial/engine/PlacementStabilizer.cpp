#include "spatial/engine/PlacementStabilizer.h"

#include "core/time/Clock.h"
#include "spatial/engine/SpatialGeometry.h"

namespace tessary {

namespace {

// Among the candidates of the previous placement's display and kind, the one nearest to it; the
// first among equals.
const PlacementCandidate* closestCandidate(const SpatialPlan& plan, const SurfacePlacement& previous) {
    const PlacementCandidate* closest = nullptr;
    double closestDistance = 0;
    for (const PlacementCandidate& candidate : plan.candidates) {
        if (candidate.placement.displayID != previous.displayID ||
            candidate.placement.kind != previous.kind) {
            continue;
        }
        const double distance = spatial::midpointDistance(candidate.placement.frame, previous.frame);
        if (closest == nullptr || distance < closestDistance) {
            closest = &candidate;
            closestDistance = distance;
        }
    }
    return closest;
}

} // namespace

LayoutDecision PlacementStabilizer::decide(const SpatialPlan& plan, PlacementMode mode,
                                           const std::optional<SurfacePlacement>& previousPlacement,
                                           const std::optional<QDateTime>& previousPlacementSince,
                                           const QDateTime& now, bool isPointerOver) const {
    LayoutDecision decision;
    decision.candidateCount = static_cast<int>(plan.candidates.size());
    decision.freeRegionCount = static_cast<int>(plan.freeRegions.size());
    const auto decided = [&decision](std::optional<SurfacePlacement> placement, LayoutDecisionReason reason) {
        decision.placement = std::move(placement);
        decision.reason = reason;
        return decision;
    };

    if (mode == PlacementMode::hidden) {
        return decided(std::nullopt, LayoutDecisionReason::hiddenByUser);
    }
    // Moving a surface out from under the pointer would take it away just as the user reaches it.
    if (isPointerOver && previousPlacement) {
        return decided(previousPlacement, LayoutDecisionReason::keptWhilePointerOver);
    }
    if (plan.candidates.empty()) {
        return decided(std::nullopt, LayoutDecisionReason::noSafeSpace);
    }
    const PlacementCandidate& best = plan.candidates.front();
    if (!best.placement.isOcclusionFree) {
        return decided(best.placement, LayoutDecisionReason::collapsedFallback);
    }
    if (mode != PlacementMode::automatic) {
        return decided(best.placement, LayoutDecisionReason::manuallySelected);
    }
    if (!previousPlacement) {
        return decided(best.placement, LayoutDecisionReason::initialPlacement);
    }
    const PlacementCandidate* closest = closestCandidate(plan, *previousPlacement);
    if (closest == nullptr) {
        return decided(best.placement, LayoutDecisionReason::currentPlacementUnsafe);
    }
    if (closest->placement == best.placement && closest->score == best.score) {
        return decided(best.placement, LayoutDecisionReason::keptByHysteresis);
    }
    // The closest candidate is kept rather than the old frame, so a held surface still slides
    // with the free space; it only doesn't jump to another kind of place.
    if (previousPlacementSince && previousPlacementSince->isValid() && now.isValid() &&
        secondsBetween(*previousPlacementSince, now) < m_configuration.minimumResidenceDuration) {
        return decided(closest->placement, LayoutDecisionReason::keptForMinimumResidence);
    }
    if (best.score - closest->score < m_configuration.hysteresisScoreThreshold) {
        return decided(closest->placement, LayoutDecisionReason::keptByHysteresis);
    }
    return decided(best.placement, LayoutDecisionReason::betterCandidate);
}

} // namespace tessary
