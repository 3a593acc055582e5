#pragma once

#include "core/localization/Localization.h"
#include "services/workspace/Surface.h"

#include <QMenu>
#include <QRectF>
#include <QString>

#include <functional>
#include <optional>

namespace tessary {

class DetailPanel;
class PanelWindowTraits;

// What every surface needs from the program around it.
struct SurfaceEnvironment {
    PanelWindowTraits& windowTraits;
    // The language of the readouts; English when not given.
    std::function<Localization()> localization;
    // The room a display leaves for windows, by display id, for throws and snapping; the platform's
    // screen reader in the program. Without it, or for a display it doesn't know, the screen the
    // panel is on.
    std::function<std::optional<QRectF>(const QString& displayID)> visibleFrame;
    // The detail panel all surfaces share; without it surfaces open no detail.
    DetailPanel* detailPanel = nullptr;
    // Adds the program's own actions (settings, quit...) to a surface's context menu, so that a
    // desktop without a tray still has a way in.
    std::function<void(QMenu& menu)> addMenuActions;
};

// The factory the workspace loop makes its surfaces with.
[[nodiscard]] SurfaceFactory makeSurfaceFactory(const SurfaceEnvironment& environment);

} // namespace tessary
