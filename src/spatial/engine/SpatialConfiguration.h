#pragma once

// Every constant of the placement engine in one value, so that a change of settings is a change of value.

#include "core/records/EnumText.h"
#include "core/settings/TessarySettings.h"

namespace tessary {

enum class RailSide { left, right };
template <>
struct EnumTable<RailSide> {
    static constexpr std::array<std::pair<RailSide, const char*>, 2> cases{{
        {RailSide::left, "left"},
        {RailSide::right, "right"},
    }};
};

struct SpatialConfiguration {
    double outerMargin = 12;    // inset of the visible frame that gives the working area
    double windowClearance = 8; // how far around a window counts as occupied
    double railWidth = 220;
    double railPreferredHeight = 360;
    double railMinimumHeight = 220; // smallest free height in which a rail may stand
    double islandWidth = 340;
    double islandHeight = 76;
    double chipWidth = 140;
    double chipHeight = 140;
    double minimumResidenceDuration = 1.5; // seconds a placement is held before a better one may take over
    double hysteresisScoreThreshold = 10;  // score lead a new candidate needs
    RailSide preferredRailSide = RailSide::right;

    bool operator==(const SpatialConfiguration&) const = default;

    // The defaults with the chip sized as the bubbles of that setting.
    static SpatialConfiguration forBubbleSize(BubbleSize size);
};

} // namespace tessary
