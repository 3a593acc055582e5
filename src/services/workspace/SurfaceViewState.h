#pragma once

#include "core/records/SurfaceRecords.h"
#include "core/settings/TessarySettings.h"
#include "modulekit/ModuleSnapshot.h"

#include <QRectF>

#include <optional>
#include <vector>

namespace tessary {

// Everything one surface shows on a refresh; the surface decides how it gets there.
struct SurfaceViewState {
    std::vector<ModuleSnapshot> modules;
    std::vector<ModuleSnapshot> signalOnly; // shown only by their change signal
    SurfacePlacement placement;
    SurfaceShape chipShape = shape::Circle{};
    SurfaceGrouping grouping = grouping::Bubble{};
    bool isHovered = false;
    bool isDragging = false;
    std::optional<QRectF> snapPreview;
    std::optional<int> hoveredModule;
    bool reducesMotion = false;
    RestingTabs notchRestingTabs = RestingTabs::two;
    NotchRestingForm notchRestingForm = NotchRestingForm::strip;
    bool isNotchHidden = false;
    bool operator==(const SurfaceViewState&) const = default;
};

// How a surface's presentation follows the settings.
struct SurfacePresentation {
    bool allowsHoverExpansion = true;
    bool forcesReducedMotion = false;
    NotchOpening notchOpening = NotchOpening::hover;
    bool operator==(const SurfacePresentation&) const = default;
};

} // namespace tessary
