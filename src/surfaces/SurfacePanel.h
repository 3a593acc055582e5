#pragma once

#include "surfaces/SurfacePainter.h"
#include "surfaces/form/SurfaceDescription.h"

#include <QElapsedTimer>
#include <QPointF>
#include <QRectF>
#include <QWidget>

#include <functional>
#include <optional>

namespace tessary {

class PanelWindowTraits;

// The floating window of one surface: frameless, always above, never focused, on every desktop,
// out of the taskbar and of window cycling; clear everywhere but on its drawn form, and letting the
// pointer through there too. It reports the pointer and the drag in global coordinates and leaves
// every decision to its coordinator.
class SurfacePanel final : public QWidget {
    Q_OBJECT
public:
    struct Callbacks {
        std::function<void(const QPointF& pointer)> onDragBegan;
        std::function<void(const QPointF& pointer)> onDragMoved; // after the panel followed the pointer
        std::function<void(const QPointF& pointer)> onDragEnded;
        std::function<void(const QPoint& pointer)> onRightMouseDown;
        // The pointer moved over the panel; none when it left the panel's window.
        std::function<void(const std::optional<QPointF>& pointer)> onPointerMoved;
    };

    explicit SurfacePanel(PanelWindowTraits& traits, QWidget* parent = nullptr);
    ~SurfacePanel() override;
    SurfacePanel(const SurfacePanel&) = delete;
    SurfacePanel& operator=(const SurfacePanel&) = delete;
    SurfacePanel(SurfacePanel&&) = delete;
    SurfacePanel& operator=(SurfacePanel&&) = delete;

    void setCallbacks(Callbacks callbacks) { m_callbacks = std::move(callbacks); }

    // What to draw, in the panel's own coordinates; `opacity` fades the whole drawing.
    void setScene(SurfaceScene scene, double opacity);
    [[nodiscard]] const SurfaceScene& scene() const { return m_scene; }
    [[nodiscard]] double opacity() const { return m_opacity; }

    // The panel's rectangle in the global space (Qt's own, y growing downward).
    [[nodiscard]] QRectF frame() const;
    void setFrame(const QRectF& frame);

    // Shows the panel without activating anything, first telling the window system what it is.
    void present();
    // Whether the window system blends translucent windows (asked as the panel maps, then every few
    // seconds while it stands).
    [[nodiscard]] bool isCompositing() const { return m_compositing; }

    // The texts assistive technologies read, the whole panel's and each module's.
    [[nodiscard]] const ModuleDescription& description() const { return m_description; }
    [[nodiscard]] const std::vector<ModuleDescription>& moduleDescriptions() const {
        return m_moduleDescriptions;
    }
    // Where a module's content stands, in global coordinates; empty when it isn't drawn.
    [[nodiscard]] QRectF moduleFrame(int index) const;

    // The pixel rectangles of the current input region, in the window's native pixels.
    [[nodiscard]] std::vector<QRect> inputRegion() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    bool event(QEvent* event) override;

private:
    void updateInputRegion(bool force);
    void updateDescriptions();
    [[nodiscard]] bool isOnForm(const QPointF& local) const;

    PanelWindowTraits& m_traits;
    Callbacks m_callbacks;
    SurfacePainter m_painter;
    SurfaceScene m_scene;
    double m_opacity = 1;
    bool m_hasScene = false;
    bool m_compositing = true;
    static constexpr qint64 compositingRecheckMs = 5000;
    QElapsedTimer m_compositingAskedAt;
    bool m_prepared = false;
    ModuleDescription m_description;
    std::vector<ModuleDescription> m_moduleDescriptions;
    std::vector<QRect> m_inputRegion;
    bool m_hasInputRegion = false;
    std::optional<QPointF> m_pressPointer;
    QPoint m_pressTopLeft;
    bool m_dragging = false;
};

} // namespace tessary
