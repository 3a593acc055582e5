#pragma once

#include "services/workspace/SurfaceViewState.h"

#include <QString>

#include <functional>
#include <memory>

namespace tessary {

// What a surface tells the workspace loop about the user's gestures.
struct SurfaceCallbacks {
    std::function<void(const SurfacePlacement& placement, const QRectF& frame)> onUserMoved;
    std::function<void(bool hovering)> onHoverChanged;
    std::function<void()> onEditNotchRequested;
    std::function<bool()> canEditNotch;
};

// One surface on the screen, as the workspace loop drives it. The drawing lives above this layer;
// the loop only hands over states.
class Surface {
public:
    Surface() = default;
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;
    Surface(Surface&&) = delete;
    Surface& operator=(Surface&&) = delete;
    virtual ~Surface() = default;

    virtual void show(const SurfaceViewState& state) = 0;
    virtual void hide() = 0;
    virtual void bringToFront() = 0;
    virtual void applyPresentation(const SurfacePresentation& presentation) = 0;
    // While the notch is being edited, surfaces hold still: hover and drag do nothing.
    virtual void setInteractionPaused(bool paused) { Q_UNUSED(paused); }
};

using SurfaceFactory =
    std::function<std::unique_ptr<Surface>(const QString& key, SurfaceCallbacks callbacks)>;

} // namespace tessary
