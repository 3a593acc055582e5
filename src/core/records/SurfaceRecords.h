#pragma once

// The small shared records that name where and how a surface stands.

#include "core/records/EnumText.h"

#include <QRectF>
#include <QString>

#include <optional>
#include <variant>

namespace tessary {

enum class SurfaceKind { topIsland, leftRail, rightRail, floatingChip };
template <>
struct EnumTable<SurfaceKind> {
    static constexpr std::array<std::pair<SurfaceKind, const char*>, 4> cases{{
        {SurfaceKind::topIsland, "topIsland"},
        {SurfaceKind::leftRail, "leftRail"},
        {SurfaceKind::rightRail, "rightRail"},
        {SurfaceKind::floatingChip, "floatingChip"},
    }};
};
// Diagnostic texts, kept in the language they were written in.
QString displayText(SurfaceKind kind);

enum class PlacementMode { automatic, leftRail, rightRail, topIsland, floatingChip, hidden };
template <>
struct EnumTable<PlacementMode> {
    static constexpr std::array<std::pair<PlacementMode, const char*>, 6> cases{{
        {PlacementMode::automatic, "automatic"},
        {PlacementMode::leftRail, "leftRail"},
        {PlacementMode::rightRail, "rightRail"},
        {PlacementMode::topIsland, "topIsland"},
        {PlacementMode::floatingChip, "floatingChip"},
        {PlacementMode::hidden, "hidden"},
    }};
};
// English key of the text the settings show; translate with Localization.
QString displayText(PlacementMode mode);

enum class Edge { left, right, top, bottom };
template <>
struct EnumTable<Edge> {
    static constexpr std::array<std::pair<Edge, const char*>, 4> cases{{
        {Edge::left, "left"},
        {Edge::right, "right"},
        {Edge::top, "top"},
        {Edge::bottom, "bottom"},
    }};
};

enum class Corner { topLeft, topRight, bottomLeft, bottomRight };
template <>
struct EnumTable<Corner> {
    static constexpr std::array<std::pair<Corner, const char*>, 4> cases{{
        {Corner::topLeft, "topLeft"},
        {Corner::topRight, "topRight"},
        {Corner::bottomLeft, "bottomLeft"},
        {Corner::bottomRight, "bottomRight"},
    }};
};

namespace shape {
struct HalfMoon {
    Edge edge = Edge::right;
    bool operator==(const HalfMoon&) const = default;
};
struct InCorner {
    Corner corner = Corner::topRight;
    bool operator==(const InCorner&) const = default;
};
struct Circle {
    bool operator==(const Circle&) const = default;
};
} // namespace shape
using SurfaceShape = std::variant<shape::Circle, shape::HalfMoon, shape::InCorner>;

namespace grouping {
struct Bubble {
    bool operator==(const Bubble&) const = default;
};
struct Capsule {
    Edge edge = Edge::right;
    bool operator==(const Capsule&) const = default;
};
struct Rings {
    Corner corner = Corner::topRight;
    bool operator==(const Rings&) const = default;
};
struct Notch {
    QRectF area;
    bool operator==(const Notch&) const = default;
};
} // namespace grouping
using SurfaceGrouping = std::variant<grouping::Bubble, grouping::Capsule, grouping::Rings, grouping::Notch>;

struct SurfacePlacement {
    QString displayID;
    SurfaceKind kind = SurfaceKind::floatingChip;
    QRectF frame;
    double confidence = 0;
    bool isOcclusionFree = false;
    bool operator==(const SurfacePlacement&) const = default;
};

enum class LayoutDecisionReason {
    initialPlacement,
    betterCandidate,
    keptForMinimumResidence,
    keptByHysteresis,
    keptWhilePointerOver,
    currentPlacementUnsafe,
    manuallySelected,
    collapsedFallback,
    noSafeSpace,
    hiddenByUser,
};
template <>
struct EnumTable<LayoutDecisionReason> {
    static constexpr std::array<std::pair<LayoutDecisionReason, const char*>, 10> cases{{
        {LayoutDecisionReason::initialPlacement, "initialPlacement"},
        {LayoutDecisionReason::betterCandidate, "betterCandidate"},
        {LayoutDecisionReason::keptForMinimumResidence, "keptForMinimumResidence"},
        {LayoutDecisionReason::keptByHysteresis, "keptByHysteresis"},
        {LayoutDecisionReason::keptWhilePointerOver, "keptWhilePointerOver"},
        {LayoutDecisionReason::currentPlacementUnsafe, "currentPlacementUnsafe"},
        {LayoutDecisionReason::manuallySelected, "manuallySelected"},
        {LayoutDecisionReason::collapsedFallback, "collapsedFallback"},
        {LayoutDecisionReason::noSafeSpace, "noSafeSpace"},
        {LayoutDecisionReason::hiddenByUser, "hiddenByUser"},
    }};
};
QString displayText(LayoutDecisionReason reason);

struct LayoutDecision {
    std::optional<SurfacePlacement> placement;
    LayoutDecisionReason reason = LayoutDecisionReason::noSafeSpace;
    int candidateCount = 0;
    int freeRegionCount = 0;
    bool operator==(const LayoutDecision&) const = default;
};

// Where a frame stands in the room its container leaves it, each axis 0...1,
// so that a saved position survives a change of resolution.
struct NormalizedSurfacePosition {
    double x = 0;
    double y = 0;
    bool operator==(const NormalizedSurfacePosition&) const = default;
};

} // namespace tessary
