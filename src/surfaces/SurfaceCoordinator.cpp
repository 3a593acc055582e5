#include "surfaces/SurfaceCoordinator.h"

#include "core/localization/Localization.h"
#include "platform/panels/PanelWindowTraits.h"
#include "spatial/slots/DropTranslator.h"
#include "spatial/slots/SlotGeometry.h"
#include "spatial/workspace/SurfaceShapeResolver.h"
#include "surfaces/FloatingPanel.h"
#include "surfaces/SurfacePanel.h"
#include "surfaces/detail/DetailPanel.h"

#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>
#include <QTimer>
#include <QVariantAnimation>

#include <chrono>
#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

bool approximatelyEqual(const QRectF& a, const QRectF& b, double tolerance) {
    return std::abs(a.left() - b.left()) <= tolerance && std::abs(a.top() - b.top()) <= tolerance &&
           std::abs(a.width() - b.width()) <= tolerance && std::abs(a.height() - b.height()) <= tolerance;
}

// A form in the panel's own coordinates: its top left at 0, 0.
SurfaceHitTest localized(SurfaceHitTest test) {
    const QPointF origin = test.panel.topLeft();
    test.panel.translate(-origin);
    if (auto* notch = std::get_if<grouping::Notch>(&test.grouping)) {
        notch->area.translate(-origin);
    }
    return test;
}

void stopAnimation(QPointer<QVariantAnimation>& animation) {
    if (animation) {
        animation->stop(); // deletes it; a stopped animation never reports finished
    }
    animation.clear();
}

} // namespace

SurfaceCoordinator::SurfaceCoordinator(QString key, SurfaceCallbacks callbacks,
                                       SurfaceEnvironment environment)
    : m_key(std::move(key))
    , m_callbacks(std::move(callbacks))
    , m_environment(std::move(environment))
    , m_panel(std::make_unique<SurfacePanel>(m_environment.windowTraits)) {
    m_panel->setCallbacks({
        [this](const QPointF& pointer) { beginUserDrag(pointer); },
        [this](const QPointF& pointer) { panelDidMove(pointer); },
        [this](const QPointF& pointer) { endUserDrag(pointer); },
        [this](const QPoint& pointer) { rightMouseDown(pointer); },
        [this](const std::optional<QPointF>& pointer) { pointerMoved(pointer); },
    });
}

SurfaceCoordinator::~SurfaceCoordinator() {
    releaseDetailPanel();
    stopAnimation(m_pulseAnimation);
    stopAnimation(m_expansionAnimation);
    stopAnimation(m_frameAnimation);
    stopAnimation(m_fadeAnimation);
}

void SurfaceCoordinator::show(const SurfaceViewState& state) {
    cancelDismissal();
    m_currentState = state;
    if (!m_isUserDragging && !m_isGliding) {
        if (!m_panel->isVisible()) {
            stopAnimation(m_frameAnimation);
            m_panel->setFrame(state.placement.frame);
        } else {
            moveTo(state.placement.frame, !reducesMotion());
        }
    }
    m_displayedPlacement = state.placement;
    if (!wantsExpansion() && m_expansion > 0 && !m_expansionAnimation) {
        springExpansion(false);
    }
    updatePulse();
    render();
    m_panel->present();
    if (m_opacity < 1) {
        fadeTo(1, fadeInMs, {});
    }
    updateDetailPanel();
}

void SurfaceCoordinator::hide() {
    cancelHoverExit();
    releaseDetailPanel();
    stopAnimation(m_pulseAnimation);
    m_pulse = -1;
    if (m_isHovering) {
        m_isHovering = false;
        m_isOpenedByClick = false;
        m_hoveredModule.reset();
        stopAnimation(m_expansionAnimation);
        m_expansion = 0;
        // Told after the loop's refresh that hid us has finished.
        QTimer::singleShot(0, this, [this] {
            if (m_callbacks.onHoverChanged) {
                m_callbacks.onHoverChanged(false);
            }
        });
    }
    m_isUserDragging = false;
    m_dragStartFrame.reset();
    if (!m_panel->isVisible() || m_isDismissing) {
        return;
    }
    m_isDismissing = true;
    const int generation = ++m_dismissal;
    fadeTo(0, fadeOutMs, [this, generation] {
        if (generation != m_dismissal) {
            return;
        }
        m_isDismissing = false;
        m_panel->hide();
    });
}

void SurfaceCoordinator::bringToFront() {
    if (m_panel->isVisible()) {
        raiseFloatingPanel(*m_panel);
    }
}

void SurfaceCoordinator::applyPresentation(const SurfacePresentation& presentation) {
    if (presentation == m_presentation) {
        return;
    }
    m_presentation = presentation;
    if (!m_currentState) {
        return;
    }
    const bool wanted = wantsExpansion();
    if (wanted != (m_expansion > 0.5)) {
        springExpansion(wanted);
    } else {
        render();
    }
}

void SurfaceCoordinator::setInteractionPaused(bool paused) {
    m_isInteractionPaused = paused;
    if (paused) {
        cancelHoverExit();
        releaseDetailPanel();
        if (m_isHovering) {
            // Held still at rest, so that the notch's editor stands clear of an open panel.
            m_isOpenedByClick = false;
            hoverChanged(false);
        }
    }
}

SurfaceShape SurfaceCoordinator::currentChipShape() const {
    if (m_isUserDragging || m_isGliding) {
        return m_prospectiveChipShape;
    }
    return m_currentState ? m_currentState->chipShape : SurfaceShape(shape::Circle{});
}

SurfaceHitTest SurfaceCoordinator::hitTest(bool isExpanded) const {
    SurfaceHitTest test;
    test.panel = m_panel->frame();
    test.isExpanded = isExpanded;
    test.chipShape = currentChipShape();
    if (!m_currentState) {
        return test;
    }
    const SurfaceViewState& state = *m_currentState;
    test.grouping = state.grouping;
    if (auto* notch = std::get_if<grouping::Notch>(&test.grouping)) {
        // The notch stands where it stood relative to the frame the loop gave, wherever the panel is now.
        notch->area.translate(test.panel.topLeft() - state.placement.frame.topLeft());
        test.notchTabs = NotchTabs::gather(state.modules);
    }
    test.moduleCount = static_cast<int>(state.modules.size());
    test.signalOnlyCount = static_cast<int>(state.signalOnly.size());
    test.notchRestingTabs = state.notchRestingTabs;
    test.isNotchHidden = state.isNotchHidden;
    return test;
}

SurfaceHitTest SurfaceCoordinator::currentHitTest() const {
    SurfaceHitTest test = hitTest(m_expansion > 0.5);
    test.expansion = m_expansion;
    return test;
}

bool SurfaceCoordinator::reducesMotion() const {
    return m_presentation.forcesReducedMotion || (m_currentState && m_currentState->reducesMotion);
}

bool SurfaceCoordinator::isNotch() const {
    return m_currentState && std::holds_alternative<grouping::Notch>(m_currentState->grouping);
}

bool SurfaceCoordinator::expandsOnHover() const {
    if (isNotch()) {
        return m_presentation.notchOpening == NotchOpening::hover;
    }
    return m_presentation.allowsHoverExpansion;
}

bool SurfaceCoordinator::wantsExpansion() const {
    return (m_isHovering && expandsOnHover()) || m_isOpenedByClick;
}

std::optional<QRectF> SurfaceCoordinator::visibleFrame() const {
    const QString displayID = m_displayedPlacement ? m_displayedPlacement->displayID : QString();
    if (m_environment.visibleFrame) {
        if (auto frame = m_environment.visibleFrame(displayID)) {
            return frame;
        }
    }
    // The display has gone or has no name: the screen the panel is on.
    if (const QScreen* screen = QGuiApplication::screenAt(m_panel->frame().center().toPoint())) {
        return QRectF(screen->availableGeometry());
    }
    return std::nullopt;
}

Localization SurfaceCoordinator::localization() const {
    return m_environment.localization ? m_environment.localization() : Localization();
}

double SurfaceCoordinator::uptime() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void SurfaceCoordinator::render() {
    if (!m_currentState) {
        return;
    }
    SurfaceScene scene;
    scene.modules = m_currentState->modules;
    scene.signalOnly = m_currentState->signalOnly;
    scene.geometry = localized(currentHitTest());
    scene.hoveredModule = m_isHovering ? m_hoveredModule : std::nullopt;
    scene.localization = localization();
    scene.pulse = m_pulse;
    m_panel->setScene(std::move(scene), m_opacity);
}

void SurfaceCoordinator::moveTo(const QRectF& frame, bool animated) {
    if (m_animatingFrameTarget && approximatelyEqual(*m_animatingFrameTarget, frame, 0.5)) {
        return; // already on its way there
    }
    if (approximatelyEqual(m_panel->frame(), frame, 0.5)) {
        stopAnimation(m_frameAnimation);
        m_animatingFrameTarget.reset();
        return;
    }
    if (!animated) {
        stopAnimation(m_frameAnimation);
        m_animatingFrameTarget.reset();
        m_panel->setFrame(frame);
        return;
    }
    animateFrame(frame, relocationMs, false, {});
}

void SurfaceCoordinator::animateFrame(const QRectF& to, int durationMs, bool decelerating,
                                      std::function<void()> done) {
    stopAnimation(m_frameAnimation);
    m_animatingFrameTarget = to;
    auto* animation = new QVariantAnimation(this);
    animation->setStartValue(m_panel->frame());
    animation->setEndValue(to);
    animation->setDuration(std::max(1, durationMs));
    animation->setEasingCurve(decelerating ? QEasingCurve::OutCubic : QEasingCurve::InOutCubic);
    connect(animation, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& value) { m_panel->setFrame(value.toRectF()); });
    connect(animation, &QVariantAnimation::finished, this, [this, to, done = std::move(done)] {
        m_panel->setFrame(to);
        m_animatingFrameTarget.reset();
        render();
        if (done) {
            done();
        }
    });
    m_frameAnimation = animation;
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void SurfaceCoordinator::springExpansion(bool opening) {
    stopAnimation(m_expansionAnimation);
    const double target = opening ? 1.0 : 0.0;
    const double from = m_expansion;
    if (reducesMotion() || std::abs(target - from) < 1e-3) {
        m_expansion = target;
        render();
        return;
    }
    const SpringCurve curve(opening ? SpringTiming::hoverIn() : SpringTiming::hoverOut());
    const double seconds = curve.settlingDuration();
    auto* animation = new QVariantAnimation(this);
    animation->setStartValue(0.0);
    animation->setEndValue(1.0);
    animation->setDuration(std::max(1, static_cast<int>(std::lround(seconds * 1000))));
    connect(animation, &QVariantAnimation::valueChanged, this,
            [this, from, target, curve, seconds](const QVariant& progress) {
                m_expansion = from + (target - from) * curve.value(progress.toDouble() * seconds);
                render();
            });
    connect(animation, &QVariantAnimation::finished, this, [this, target] {
        m_expansion = target;
        render();
    });
    m_expansionAnimation = animation;
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void SurfaceCoordinator::fadeTo(double opacity, int durationMs, std::function<void()> done) {
    stopAnimation(m_fadeAnimation);
    if (std::abs(m_opacity - opacity) < 1e-3) {
        m_opacity = opacity;
        render();
        if (done) {
            done();
        }
        return;
    }
    auto* animation = new QVariantAnimation(this);
    animation->setStartValue(m_opacity);
    animation->setEndValue(opacity);
    // A fade that starts half way takes half the time.
    animation->setDuration(std::max(1, static_cast<int>(durationMs * std::abs(m_opacity - opacity))));
    animation->setEasingCurve(opacity > m_opacity ? QEasingCurve::OutCubic : QEasingCurve::InCubic);
    connect(animation, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        m_opacity = value.toDouble();
        render();
    });
    connect(animation, &QVariantAnimation::finished, this, [this, opacity, done = std::move(done)] {
        m_opacity = opacity;
        render();
        if (done) {
            done();
        }
    });
    m_fadeAnimation = animation;
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void SurfaceCoordinator::cancelDismissal() {
    if (!m_isDismissing) {
        return;
    }
    ++m_dismissal; // the fade's end, if it still comes, belongs to an old number
    m_isDismissing = false;
    stopAnimation(m_fadeAnimation);
}

void SurfaceCoordinator::pointerMoved(const std::optional<QPointF>& pointer) {
    if (m_isInteractionPaused || m_isUserDragging || !m_currentState) {
        return;
    }
    const SurfaceHitTest test = currentHitTest();
    const bool onForm = pointer && test.contains(*pointer);
    if (onForm) {
        cancelHoverExit();
        if (!m_isHovering) {
            hoverChanged(true);
            return;
        }
        const std::optional<int> module = test.moduleHit(*pointer);
        if (module && module != m_hoveredModule) {
            // Between two modules the last one stays looked at, so that its detail stays open.
            m_hoveredModule = module;
            render();
            updateDetailPanel();
        }
        return;
    }
    if (m_isHovering && !m_isHoverExitPending) {
        scheduleHoverExit();
    }
}

void SurfaceCoordinator::hoverChanged(bool hovering) {
    m_isHovering = hovering;
    if (hovering) {
        m_hoveredModule = currentHitTest().moduleHit(QCursor::pos());
    } else {
        m_hoveredModule.reset();
        m_isOpenedByClick = false;
    }
    springExpansion(wantsExpansion());
    updateDetailPanel();
    if (m_callbacks.onHoverChanged) {
        m_callbacks.onHoverChanged(hovering);
    }
}

void SurfaceCoordinator::scheduleHoverExit() {
    m_isHoverExitPending = true;
    const int generation = ++m_hoverExit;
    QTimer::singleShot(hoverExitDelayMs, this, [this, generation] {
        if (generation != m_hoverExit) {
            return;
        }
        m_isHoverExitPending = false;
        if (m_isHovering && !isPointerOnForm()) {
            hoverChanged(false);
        }
    });
}

void SurfaceCoordinator::cancelHoverExit() {
    if (m_isHoverExitPending) {
        ++m_hoverExit;
        m_isHoverExitPending = false;
    }
}

bool SurfaceCoordinator::isPointerOnForm() const {
    if (ownsDetailPanel() && (m_environment.detailPanel->isEngaged() ||
                              m_environment.detailPanel->containsPointer(QCursor::pos()))) {
        return true; // the detail that hangs from the surface counts as part of it
    }
    return m_panel->isVisible() && currentHitTest().contains(QCursor::pos());
}

void SurfaceCoordinator::beginUserDrag(const QPointF& pointer) {
    if (m_isInteractionPaused || !m_currentState) {
        return;
    }
    cancelHoverExit();
    releaseDetailPanel();
    stopAnimation(m_frameAnimation);
    m_animatingFrameTarget.reset();
    m_isGliding = false;
    m_dragStartFrame = m_panel->frame();
    m_isUserDragging = true;
    m_prospectiveChipShape = m_currentState->chipShape;
    m_dragSamples.clear();
    m_dragSamples.add(pointer, uptime());
}

void SurfaceCoordinator::panelDidMove(const QPointF& pointer) {
    if (!m_isUserDragging) {
        return;
    }
    m_dragSamples.add(pointer, uptime());
    if (const auto visible = visibleFrame()) {
        // Near an edge a bubble already takes the shape it will have there.
        const QRectF frame = m_panel->frame();
        const SurfaceShape shape = SurfaceShapeResolver{DropTranslator::edgeSnap}.shape(frame, *visible);
        if (std::holds_alternative<grouping::Bubble>(m_currentState->grouping)) {
            m_prospectiveChipShape = shape;
        }
        m_snapPreview = DropTranslator::snapped(frame, shape, *visible);
    }
    render();
}

void SurfaceCoordinator::endUserDrag(const QPointF& pointer) {
    if (!m_isUserDragging) {
        return;
    }
    m_dragSamples.add(pointer, uptime());
    m_isUserDragging = false;
    m_snapPreview.reset();
    const QRectF frame = m_panel->frame();
    const QRectF start = m_dragStartFrame.value_or(frame);
    m_dragStartFrame.reset();
    if (approximatelyEqual(frame, start, clickTolerance)) {
        m_panel->setFrame(start);
        render();
        if (currentHitTest().contains(pointer)) {
            click(pointer);
        }
        return;
    }
    const std::optional<QRectF> visible = visibleFrame();
    if (!visible) {
        finishDrop(frame);
        return;
    }
    const QPointF velocity = m_dragSamples.at(uptime());
    const std::optional<QRectF> landing =
        reducesMotion() ? std::nullopt : m_throwProjection.landing(frame, velocity, *visible);
    // The final frame stands flush against the edges its shape leans on.
    const QRectF target = slotgeometry::keptInside(landing.value_or(frame), *visible);
    const SurfaceShape shape = SurfaceShapeResolver{DropTranslator::edgeSnap}.shape(target, *visible);
    const QRectF snapped = DropTranslator::snapped(target, shape, *visible);
    if (std::holds_alternative<grouping::Bubble>(m_currentState->grouping)) {
        m_prospectiveChipShape = shape;
    }
    if (reducesMotion() || approximatelyEqual(snapped, frame, 0.5)) {
        m_panel->setFrame(snapped);
        finishDrop(snapped);
        return;
    }
    const double speed = std::hypot(velocity.x(), velocity.y());
    const double seconds = landing ? ThrowProjection::duration(frame, snapped, speed) : 0.18;
    m_isGliding = true;
    animateFrame(snapped, static_cast<int>(std::lround(seconds * 1000)), true, [this, snapped] {
        m_isGliding = false;
        finishDrop(snapped);
    });
}

void SurfaceCoordinator::finishDrop(const QRectF& frame) {
    if (!m_currentState) {
        return;
    }
    SurfacePlacement placement = m_displayedPlacement.value_or(m_currentState->placement);
    placement.frame = frame;
    placement.kind = SurfaceKind::floatingChip;
    m_currentState->chipShape = m_prospectiveChipShape;
    render();
    if (m_callbacks.onUserMoved) {
        m_callbacks.onUserMoved(placement, frame);
    }
}

void SurfaceCoordinator::click(const QPointF& pointer) {
    Q_UNUSED(pointer);
    if (expandsOnHover() && m_isHovering) {
        return; // hovering opened it already
    }
    m_isOpenedByClick = !m_isOpenedByClick;
    if (m_isOpenedByClick && !m_isHovering) {
        m_isHovering = true;
        if (m_callbacks.onHoverChanged) {
            m_callbacks.onHoverChanged(true);
        }
    }
    springExpansion(wantsExpansion());
    updateDetailPanel();
}

void SurfaceCoordinator::rightMouseDown(const QPoint& pointer) {
    if (m_isInteractionPaused) {
        return;
    }
    auto* menu = new QMenu(m_panel.get());
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setAccessibleName(u"Tessary"_s);
    const bool editsNotch = isNotch() && m_callbacks.onEditNotchRequested &&
                            (!m_callbacks.canEditNotch || m_callbacks.canEditNotch());
    if (editsNotch) {
        QAction* edit = menu->addAction(localization().text(u"Edit Notch…"_s));
        connect(edit, &QAction::triggered, this, [this] {
            if (m_callbacks.onEditNotchRequested) {
                m_callbacks.onEditNotchRequested();
            }
        });
    }
    if (m_environment.addMenuActions) {
        if (editsNotch) {
            menu->addSeparator();
        }
        m_environment.addMenuActions(*menu);
    }
    if (menu->isEmpty()) {
        delete menu;
        return;
    }
    menu->popup(pointer);
}

} // namespace tessary

namespace tessary {

const ModuleSnapshot* SurfaceCoordinator::moduleAt(int index) const {
    if (!m_currentState || index < 0) {
        return nullptr;
    }
    const auto i = static_cast<std::size_t>(index);
    if (i < m_currentState->modules.size()) {
        return &m_currentState->modules[i];
    }
    if (i - m_currentState->modules.size() < m_currentState->signalOnly.size()) {
        return &m_currentState->signalOnly[i - m_currentState->modules.size()];
    }
    return nullptr;
}

bool SurfaceCoordinator::ownsDetailPanel() const {
    return m_environment.detailPanel != nullptr && m_environment.detailPanel->isOwnedBy(this);
}

QRectF SurfaceCoordinator::detailAnchor(int index) const {
    const SurfaceForm form = hitTest(true).form();
    if (isNotch() || form.kind == SurfaceForm::Kind::none) {
        return form.kind == SurfaceForm::Kind::none ? m_panel->frame() : form.bounds();
    }
    if (form.kind == SurfaceForm::Kind::rings) {
        if (index >= 0 && static_cast<std::size_t>(index) < form.bands.size()) {
            SurfaceForm band;
            band.kind = SurfaceForm::Kind::rings;
            band.bands = {form.bands[static_cast<std::size_t>(index)]};
            return band.bounds();
        }
        return form.bounds();
    }
    if (form.moduleAreas.size() > 1 && index >= 0 &&
        static_cast<std::size_t>(index) < form.moduleAreas.size()) {
        return form.moduleAreas[static_cast<std::size_t>(index)];
    }
    return form.body.rect;
}

void SurfaceCoordinator::updateDetailPanel() {
    DetailPanel* panel = m_environment.detailPanel;
    if (panel == nullptr) {
        return;
    }
    const bool looking = m_isHovering && !m_isUserDragging && !m_isGliding && !m_isInteractionPaused &&
                         m_panel->isVisible() && m_hoveredModule.has_value();
    const ModuleSnapshot* module = looking ? moduleAt(*m_hoveredModule) : nullptr;
    if (module == nullptr || !module->variants.detail) {
        if (ownsDetailPanel() && !panel->isEngaged()) {
            panel->release(this);
        }
        return;
    }
    const QRectF anchor = detailAnchor(*m_hoveredModule);
    if (ownsDetailPanel() && panel->moduleID() == module->id) {
        panel->refresh(this, *module, anchor);
        return;
    }
    DetailPanel::Opening opening;
    opening.owner = this;
    opening.module = *module;
    opening.anchor = anchor;
    opening.visibleFrame = visibleFrame().value_or(m_panel->frame());
    const auto* capsule =
        m_currentState ? std::get_if<grouping::Capsule>(&m_currentState->grouping) : nullptr;
    opening.side = isNotch() || (capsule != nullptr && capsule->edge == Edge::top)
                       ? DetailPlacement::Side::below
                       : DetailPlacement::Side::beside;
    if (module->variants.signal) {
        opening.notices = module->variants.signal->facts();
    }
    opening.localization = localization();
    opening.onPointerLeft = [this] {
        if (m_isHovering && !m_isHoverExitPending && !isPointerOnForm()) {
            scheduleHoverExit();
        }
    };
    panel->open(opening);
}

void SurfaceCoordinator::releaseDetailPanel() {
    if (ownsDetailPanel()) {
        m_environment.detailPanel->release(this);
    }
}

void SurfaceCoordinator::updatePulse() {
    std::optional<QDateTime> latest;
    if (m_currentState) {
        for (const auto* list : {&m_currentState->modules, &m_currentState->signalOnly}) {
            for (const ModuleSnapshot& module : *list) {
                const auto since =
                    module.variants.signal ? module.variants.signal->pulseSince() : std::nullopt;
                if (since && (!latest || *since > *latest)) {
                    latest = since;
                }
            }
        }
    }
    if (!latest) {
        stopAnimation(m_pulseAnimation);
        m_pulse = -1;
        m_pulsedFor.reset();
        return;
    }
    const bool hadItsBeats = m_pulsedFor && *latest <= *m_pulsedFor;
    if (hadItsBeats || reducesMotion()) {
        if (!m_pulseAnimation || reducesMotion()) {
            stopAnimation(m_pulseAnimation);
            m_pulse = 0; // the still mark
        }
        m_pulsedFor = latest;
        return;
    }
    m_pulsedFor = latest;
    stopAnimation(m_pulseAnimation);
    auto* animation = new QVariantAnimation(this);
    animation->setStartValue(0.0);
    animation->setEndValue(1.0);
    animation->setDuration(pulsePeriodMs);
    animation->setLoopCount(pulseBeats);
    connect(animation, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        m_pulse = value.toDouble();
        render();
    });
    connect(animation, &QVariantAnimation::finished, this, [this] {
        m_pulse = 0;
        render();
    });
    m_pulseAnimation = animation;
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

} // namespace tessary
