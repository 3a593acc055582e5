#pragma once

#include "services/workspace/Surface.h"
#include "spatial/slots/ThrowProjection.h"
#include "surfaces/SurfaceEnvironment.h"
#include "surfaces/form/ReleaseVelocity.h"
#include "surfaces/form/SpringCurve.h"
#include "surfaces/form/SurfaceHitTest.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QRectF>

#include <memory>
#include <optional>

class QVariantAnimation;

namespace tessary {

class SurfacePanel;

// The controller of one surface on the screen. The workspace loop hands it a state on every
// refresh; it decides how that state reaches the panel (at once, animated, or not at all while
// the user holds the surface), and turns hover, click and drag into callbacks. The next refresh
// always wins, except over the user's hand. Main thread only.
class SurfaceCoordinator final : public QObject, public Surface {
    Q_OBJECT
public:
    // How long a pointer may be off the form before the hover ends; coming back sooner keeps it.
    static constexpr int hoverExitDelayMs = 300;
    static constexpr int fadeInMs = 180;
    static constexpr int fadeOutMs = 200;
    // Moves of the loop's own (a surface handed a new place) take this long.
    static constexpr int relocationMs = 320;
    // A drop this close to where the drag began is a click.
    static constexpr double clickTolerance = 2;
    // One beat of the mark of a fact that wants attention, and how many beats a new fact gets
    // before its mark stands still: a pulse catches the eye, an endless one only costs redraws.
    static constexpr int pulsePeriodMs = 1600;
    static constexpr int pulseBeats = 3;

    SurfaceCoordinator(QString key, SurfaceCallbacks callbacks, SurfaceEnvironment environment);
    ~SurfaceCoordinator() override;
    SurfaceCoordinator(const SurfaceCoordinator&) = delete;
    SurfaceCoordinator& operator=(const SurfaceCoordinator&) = delete;
    SurfaceCoordinator(SurfaceCoordinator&&) = delete;
    SurfaceCoordinator& operator=(SurfaceCoordinator&&) = delete;

    void show(const SurfaceViewState& state) override;
    void hide() override;
    void bringToFront() override;
    void applyPresentation(const SurfacePresentation& presentation) override;

    // The drawn form for the panel's present frame, in global coordinates.
    [[nodiscard]] SurfaceHitTest hitTest(bool isExpanded) const;
    [[nodiscard]] SurfaceHitTest currentHitTest() const;
    // While notch editing holds surfaces still, hover and drag do nothing.
    void setInteractionPaused(bool paused) override;

    [[nodiscard]] const QString& key() const { return m_key; }
    [[nodiscard]] SurfacePanel& panel() const { return *m_panel; }
    [[nodiscard]] bool isHovering() const { return m_isHovering; }
    [[nodiscard]] bool isUserDragging() const { return m_isUserDragging; }
    [[nodiscard]] bool isGliding() const { return m_isGliding; }
    [[nodiscard]] bool isDismissing() const { return m_isDismissing; }
    [[nodiscard]] double expansion() const { return m_expansion; }
    [[nodiscard]] std::optional<int> hoveredModule() const { return m_hoveredModule; }
    [[nodiscard]] const std::optional<SurfaceViewState>& currentState() const { return m_currentState; }
    [[nodiscard]] bool isPulsing() const { return !m_pulseAnimation.isNull(); }
    [[nodiscard]] SurfaceShape currentChipShape() const;

private:
    [[nodiscard]] bool reducesMotion() const;
    [[nodiscard]] bool isNotch() const;
    [[nodiscard]] bool expandsOnHover() const;
    [[nodiscard]] bool wantsExpansion() const;
    [[nodiscard]] std::optional<QRectF> visibleFrame() const;
    [[nodiscard]] Localization localization() const;
    [[nodiscard]] static double uptime();

    void render();
    void moveTo(const QRectF& frame, bool animated);
    void animateFrame(const QRectF& to, int durationMs, bool decelerating, std::function<void()> done);
    void springExpansion(bool opening);
    void fadeTo(double opacity, int durationMs, std::function<void()> done);
    void cancelDismissal();

    void pointerMoved(const std::optional<QPointF>& pointer);
    void hoverChanged(bool hovering);
    void scheduleHoverExit();
    void cancelHoverExit();
    [[nodiscard]] bool isPointerOnForm() const;

    void beginUserDrag(const QPointF& pointer);
    void panelDidMove(const QPointF& pointer);
    void endUserDrag(const QPointF& pointer);
    void finishDrop(const QRectF& frame);
    void click(const QPointF& pointer);
    void rightMouseDown(const QPoint& pointer);

    // Claims the shared detail panel for the module under the pointer while hovering, and lets it
    // go otherwise (unless the user is answering something in it).
    void updateDetailPanel();
    void releaseDetailPanel();
    [[nodiscard]] const ModuleSnapshot* moduleAt(int index) const;
    // Where the detail hangs from: the module's part of the open form, in the global space.
    [[nodiscard]] QRectF detailAnchor(int index) const;
    [[nodiscard]] bool ownsDetailPanel() const;
    void updatePulse();

    QString m_key;
    SurfaceCallbacks m_callbacks;
    SurfaceEnvironment m_environment;
    std::unique_ptr<SurfacePanel> m_panel;

    std::optional<SurfaceViewState> m_currentState;
    std::optional<SurfacePlacement> m_displayedPlacement;
    SurfacePresentation m_presentation;
    SurfaceShape m_prospectiveChipShape = shape::Circle{};
    std::optional<QRectF> m_snapPreview;
    ThrowProjection m_throwProjection;
    ReleaseVelocity m_dragSamples;

    std::optional<QRectF> m_dragStartFrame;
    std::optional<QRectF> m_animatingFrameTarget;
    bool m_isUserDragging = false;
    bool m_isGliding = false;
    bool m_isDismissing = false;
    bool m_isHovering = false;
    bool m_isHoverExitPending = false;
    bool m_isOpenedByClick = false;
    bool m_isInteractionPaused = false;
    int m_dismissal = 0;
    int m_hoverExit = 0;
    std::optional<int> m_hoveredModule;

    double m_expansion = 0;
    double m_opacity = 0;
    QPointer<QVariantAnimation> m_expansionAnimation;
    QPointer<QVariantAnimation> m_frameAnimation;
    QPointer<QVariantAnimation> m_fadeAnimation;
    // A new critical or attention fact pulses its mark for a few beats; then the mark stands still
    // until the user looks.
    QPointer<QVariantAnimation> m_pulseAnimation;
    double m_pulse = -1;
    std::optional<QDateTime> m_pulsedFor; // the latest fact that has had its beats
};

} // namespace tessary
