#include "core/records/SurfaceRecords.h"

namespace tessary {

QString displayText(SurfaceKind kind) {
    switch (kind) {
    case SurfaceKind::topIsland:
        return QStringLiteral("Top island");
    case SurfaceKind::leftRail:
        return QStringLiteral("Rail esquerdo");
    case SurfaceKind::rightRail:
        return QStringLiteral("Rail direito");
    case SurfaceKind::floatingChip:
        return QStringLiteral("Chip");
    }
    return {};
}

QString displayText(PlacementMode mode) {
    switch (mode) {
    case PlacementMode::automatic:
        return QStringLiteral("Automatic");
    case PlacementMode::leftRail:
        return QStringLiteral("Left rail");
    case PlacementMode::rightRail:
        return QStringLiteral("Right rail");
    case PlacementMode::topIsland:
        return QStringLiteral("Top island");
    case PlacementMode::floatingChip:
        return QStringLiteral("Bubble");
    case PlacementMode::hidden:
        return QStringLiteral("Hidden");
    }
    return {};
}

QString displayText(LayoutDecisionReason reason) {
    switch (reason) {
    case LayoutDecisionReason::initialPlacement:
        return QStringLiteral("initial position");
    case LayoutDecisionReason::betterCandidate:
        return QStringLiteral("alternativa claramente melhor");
    case LayoutDecisionReason::keptForMinimumResidence:
        return QStringLiteral("minimum dwell time");
    case LayoutDecisionReason::keptByHysteresis:
        return QStringLiteral("hysteresis evitou uma troca marginal");
    case LayoutDecisionReason::keptWhilePointerOver:
        return QStringLiteral("cursor over the surface");
    case LayoutDecisionReason::currentPlacementUnsafe:
        return QStringLiteral("the previous position stopped being safe");
    case LayoutDecisionReason::manuallySelected:
        return QStringLiteral("manual position");
    case LayoutDecisionReason::collapsedFallback:
        return QStringLiteral("minimal bubble overlapping for lack of free space");
    case LayoutDecisionReason::noSafeSpace:
        return QStringLiteral("no safe free space");
    case LayoutDecisionReason::hiddenByUser:
        return QStringLiteral("hidden by the user");
    }
    return {};
}

} // namespace tessary
