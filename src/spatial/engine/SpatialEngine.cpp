#include "spatial/engine/SpatialEngine.h"

#include "spatial/engine/RectangleSubtractor.h"
#include "spatial/engine/SpatialGeometry.h"

#include <algorithm>

namespace tessary {

namespace {

using spatial::area;
using spatial::integral;
using spatial::intersection;
using spatial::isFinite;
using spatial::midpointDistance;

constexpr double railBaseScore = 100;
constexpr double islandBaseScore = 78;
constexpr double chipBaseScore = 52;
constexpr double preferredSideBonus = 5;
constexpr double maximumSpaceTerm = 20;
constexpr double maximumProximity = 8;
constexpr double maximumContinuity = 12;
constexpr double continuityFalloff = 40; // points of distance per point of continuity lost
constexpr double minimumConfidence = 0.25;
constexpr double fallbackConfidence = 0.1;
constexpr double fallbackScore = 1;
constexpr double minimumVisibleAlpha = 0.05;

// The visible frame inset by the margin. A display smaller than twice the margin collapses to
// a line through its centre rather than to a rectangle of negative size.
QRectF workingAreaOf(const DisplaySnapshot& display, double margin) {
    if (!isFinite(display.visibleFrame)) {
        return {};
    }
    QRectF workingArea = display.visibleFrame.normalized().adjusted(margin, margin, -margin, -margin);
    if (workingArea.width() < 0) {
        workingArea = QRectF(workingArea.center().x(), workingArea.y(), 0, workingArea.height());
    }
    if (workingArea.height() < 0) {
        workingArea = QRectF(workingArea.x(), workingArea.center().y(), workingArea.width(), 0);
    }
    return workingArea;
}

bool takesSpace(const WindowSnapshot& window, const QRectF& workingArea) {
    return window.isOnScreen && window.layer == 0 && window.alpha > minimumVisibleAlpha &&
           isFinite(window.frame) && !intersection(window.frame.normalized(), workingArea).isEmpty();
}

bool isNearlySameFrame(const QRectF& a, const QRectF& b) {
    return std::abs(a.x() - b.x()) < 1 && std::abs(a.y() - b.y()) < 1 &&
           std::abs(a.width() - b.width()) < 1 && std::abs(a.height() - b.height()) < 1;
}

bool modeAllows(PlacementMode mode, PlacementMode specific) {
    return mode == PlacementMode::automatic || mode == specific;
}

// Scores candidates drawn from the free regions and keeps them in order of making, without
// near-duplicates of the same kind.
class CandidateList {
public:
    CandidateList(const QString& displayID, const QRectF& workingArea,
                  const std::optional<QRectF>& activeFrame,
                  const std::optional<SurfacePlacement>& previousPlacement)
        : m_displayID(displayID)
        , m_workingAreaArea(area(workingArea))
        , m_diagonal(std::hypot(spatial::nonNegative(workingArea.width()),
                                spatial::nonNegative(workingArea.height())))
        , m_activeFrame(activeFrame)
        , m_previousPlacement(previousPlacement) {}

    void add(SurfaceKind kind, const QRectF& frame, const QRectF& region, double baseScore) {
        const double regionArea = area(region);
        const double freeShare = m_workingAreaArea >= 1 ? regionArea / m_workingAreaArea : regionArea;
        double score = baseScore + std::min(freeShare, 1.0) * maximumSpaceTerm;
        if (m_activeFrame) {
            const double proximity =
                (1 - midpointDistance(frame, *m_activeFrame) / std::max(m_diagonal, 1.0)) * maximumProximity;
            score += std::max(0.0, proximity);
        }
        if (m_previousPlacement && m_previousPlacement->kind == kind) {
            const double continuity =
                maximumContinuity - midpointDistance(frame, m_previousPlacement->frame) / continuityFalloff;
            score += std::max(0.0, continuity);
        }
        const double frameArea3 = 3 * area(frame);
        const double ratio = frameArea3 < 1 ? regionArea : regionArea / frameArea3;

        PlacementCandidate candidate;
        candidate.placement.displayID = m_displayID;
        candidate.placement.kind = kind;
        candidate.placement.frame = integral(frame);
        candidate.placement.confidence = std::min(std::max(ratio, minimumConfidence), 1.0);
        candidate.placement.isOcclusionFree = true;
        candidate.score = score;

        const bool isDuplicate = std::any_of(m_candidates.begin(), m_candidates.end(), [&](const auto& kept) {
            return kept.placement.kind == kind &&
                   isNearlySameFrame(kept.placement.frame, candidate.placement.frame);
        });
        if (!isDuplicate) {
            m_candidates.push_back(std::move(candidate));
        }
    }

    std::vector<PlacementCandidate> take() { return std::move(m_candidates); }

private:
    const QString& m_displayID;
    double m_workingAreaArea;
    double m_diagonal;
    std::optional<QRectF> m_activeFrame;
    const std::optional<SurfacePlacement>& m_previousPlacement;
    std::vector<PlacementCandidate> m_candidates;
};

} // namespace

SpatialPlan SpatialEngine::makePlan(const WorkspaceSnapshot& workspace, const DisplaySnapshot& display,
                                    PlacementMode mode,
                                    const std::optional<SurfacePlacement>& previousPlacement) const {
    const SpatialConfiguration& config = m_configuration;
    const QRectF workingArea = workingAreaOf(display, config.outerMargin);

    std::optional<QRectF> activeFrame;
    if (workspace.activeWindow && workspace.activeDisplay.id == display.id &&
        isFinite(workspace.activeWindow->frame)) {
        activeFrame = workspace.activeWindow->frame.normalized();
    }

    SpatialPlan plan;
    plan.activeDisplay = display;

    std::vector<QRectF> occupied;
    occupied.reserve(workspace.windows.size());
    for (const WindowSnapshot& window : workspace.windows) {
        if (!takesSpace(window, workingArea)) {
            continue;
        }
        plan.occupiedWindows.push_back(window);
        const double clearance = config.windowClearance;
        const QRectF grown = window.frame.normalized().adjusted(-clearance, -clearance, clearance, clearance);
        const QRectF blocked = intersection(grown, workingArea);
        if (!blocked.isEmpty()) {
            occupied.push_back(blocked);
        }
    }

    plan.freeRegions = RectangleSubtractor::subtract(occupied, workingArea);

    if (mode != PlacementMode::hidden) {
        CandidateList candidates(display.id, workingArea, activeFrame, previousPlacement);
        const double leftBonus = config.preferredRailSide == RailSide::left ? preferredSideBonus : 0;
        const double rightBonus = config.preferredRailSide == RailSide::right ? preferredSideBonus : 0;
        const auto fitsRail = [&](const QRectF& region) {
            return region.width() >= config.railWidth && region.height() >= config.railMinimumHeight;
        };
        const auto railFrame = [&](const QRectF& region, double x) {
            const double height = std::min(region.height(), config.railPreferredHeight);
            return QRectF(x, region.center().y() - height / 2, config.railWidth, height);
        };

        if (modeAllows(mode, PlacementMode::leftRail)) {
            for (const QRectF& region : plan.freeRegions) {
                if (std::abs(region.left() - workingArea.left()) < 1 && fitsRail(region)) {
                    candidates.add(SurfaceKind::leftRail, railFrame(region, region.left()), region,
                                   railBaseScore + leftBonus);
                }
            }
        }
        if (modeAllows(mode, PlacementMode::rightRail)) {
            for (const QRectF& region : plan.freeRegions) {
                if (std::abs(region.right() - workingArea.right()) < 1 && fitsRail(region)) {
                    candidates.add(SurfaceKind::rightRail,
                                   railFrame(region, region.right() - config.railWidth), region,
                                   railBaseScore + rightBonus);
                }
            }
        }
        if (modeAllows(mode, PlacementMode::topIsland)) {
            const double width = std::min(workingArea.width(), config.islandWidth);
            const QRectF island(workingArea.center().x() - width / 2, workingArea.top(), width,
                                config.islandHeight);
            const auto region =
                std::find_if(plan.freeRegions.begin(), plan.freeRegions.end(),
                             [&](const QRectF& free) { return spatial::contains(free, island); });
            if (region != plan.freeRegions.end()) {
                candidates.add(SurfaceKind::topIsland, island, *region, islandBaseScore);
            }
        }
        if (modeAllows(mode, PlacementMode::floatingChip)) {
            for (const QRectF& region : plan.freeRegions) {
                if (region.width() >= config.chipWidth && region.height() >= config.chipHeight) {
                    const QRectF chip(region.right() - config.chipWidth, region.top(), config.chipWidth,
                                      config.chipHeight);
                    candidates.add(SurfaceKind::floatingChip, chip, region, chipBaseScore);
                }
            }
        }
        plan.candidates = candidates.take();
    }

    if (plan.candidates.empty() &&
        (mode == PlacementMode::automatic || mode == PlacementMode::floatingChip)) {
        const double width = std::min(workingArea.width(), config.chipWidth);
        const double height = std::min(workingArea.height(), config.chipHeight);
        PlacementCandidate fallback;
        fallback.placement.displayID = display.id;
        fallback.placement.kind = SurfaceKind::floatingChip;
        fallback.placement.frame =
            integral(QRectF(workingArea.right() - width, workingArea.top(), width, height));
        fallback.placement.confidence = fallbackConfidence;
        fallback.placement.isOcclusionFree = false;
        fallback.score = fallbackScore;
        plan.candidates.push_back(std::move(fallback));
    }

    std::stable_sort(
        plan.candidates.begin(), plan.candidates.end(),
        [](const PlacementCandidate& a, const PlacementCandidate& b) { return a.score > b.score; });
    return plan;
}

} // namespace tessary
