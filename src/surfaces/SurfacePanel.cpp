#include "surfaces/SurfacePanel.h"

#include "platform/panels/PanelWindowTraits.h"
#include "surfaces/FloatingPanel.h"
#include "surfaces/SurfaceAccessible.h"

#include <QAccessible>
#include <QApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPathStroker>
#include <QRegion>
#include <QWindow>

namespace tessary {

SurfacePanel::SurfacePanel(PanelWindowTraits& traits, QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint)
    , m_traits(traits) {
    SurfaceAccessible::install();
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_X11DoNotAcceptFocus);
    setFocusPolicy(Qt::NoFocus);
    setMouseTracking(true);
    setWindowTitle(QStringLiteral("Tessary"));
}

// Qt drops the panel's accessible interface, and with it the children, as the panel goes.
SurfacePanel::~SurfacePanel() = default;

void SurfacePanel::setScene(SurfaceScene scene, double opacity) {
    scene.drawsShadow = scene.drawsShadow && m_compositing;
    opacity = std::clamp(opacity, 0.0, 1.0);
    if (m_hasScene && opacity == m_opacity && scene.drawsAs(m_scene)) {
        return; // the same picture: an idle refresh costs no repaint of a translucent window
    }
    m_hasScene = true;
    m_scene = std::move(scene);
    m_opacity = opacity;
    updateDescriptions();
    updateInputRegion(false);
    update();
}

QRectF SurfacePanel::frame() const {
    return QRectF(geometry());
}

void SurfacePanel::setFrame(const QRectF& frame) {
    const QRect rect = frame.toRect();
    if (rect == geometry()) {
        return;
    }
    const bool resized = rect.size() != size();
    setGeometry(rect);
    if (resized) {
        updateInputRegion(true);
    }
}

void SurfacePanel::present() {
    // Asked of the window server as the panel maps, and then at most every few seconds: the loop
    // presents every surface on each refresh, and a compositor seldom comes or goes.
    if (!isVisible() || !m_compositingAskedAt.isValid() ||
        m_compositingAskedAt.hasExpired(compositingRecheckMs)) {
        const bool compositing = m_traits.isCompositing();
        m_compositingAskedAt.start();
        if (compositing != m_compositing && isVisible()) {
            m_compositing = compositing;
            updateInputRegion(true); // the window's own clip follows
        }
        m_compositing = compositing;
    }
    if (presentFloatingPanel(*this, m_traits, m_prepared)) {
        updateInputRegion(true);
    }
}

QRectF SurfacePanel::moduleFrame(int index) const {
    const SurfaceForm form = m_scene.geometry.form();
    QRectF local;
    if (form.kind == SurfaceForm::Kind::rings) {
        if (index >= 0 && static_cast<std::size_t>(index) < form.bands.size()) {
            QuarterBand band = form.bands[static_cast<std::size_t>(index)];
            SurfaceForm one;
            one.kind = SurfaceForm::Kind::rings;
            one.bands = {band};
            local = one.bounds();
        }
    } else if (index >= 0 && static_cast<std::size_t>(index) < form.moduleAreas.size()) {
        local = form.moduleAreas[static_cast<std::size_t>(index)];
    }
    return local.isEmpty() ? QRectF() : local.translated(frame().topLeft());
}

std::vector<QRect> SurfacePanel::inputRegion() const {
    return m_inputRegion;
}

bool SurfacePanel::isOnForm(const QPointF& local) const {
    return m_scene.geometry.contains(local);
}

void SurfacePanel::updateDescriptions() {
    const ModuleDescription description = SurfaceDescription::surface(m_scene.modules, m_scene.localization);
    std::vector<ModuleDescription> modules;
    modules.reserve(m_scene.modules.size());
    for (const ModuleSnapshot& module : m_scene.modules) {
        modules.push_back(SurfaceDescription::module(module, m_scene.localization));
    }
    const bool countChanged = modules.size() != m_moduleDescriptions.size();
    const bool changed = description != m_description || modules != m_moduleDescriptions;
    m_description = description;
    m_moduleDescriptions = std::move(modules);
    if (changed) {
        setAccessibleName(m_description.name);
        setAccessibleDescription(m_description.description);
        SurfaceAccessible::contentChanged(this, countChanged);
    }
}

void SurfacePanel::updateInputRegion(bool force) {
    if (!testAttribute(Qt::WA_WState_Created)) {
        return;
    }
    const qreal ratio = devicePixelRatioF();
    const SurfaceForm form = m_scene.geometry.form();
    QPainterPath outline = SurfacePainter::outline(form);
    // A point on the antialiased rim counts as on the form: take it in by a pixel all round.
    QPainterPathStroker rim;
    rim.setWidth(2);
    outline = outline.united(rim.createStroke(outline));
    const QRegion logical(outline.toFillPolygon().toPolygon());
    const QRegion native(QTransform::fromScale(ratio, ratio).map(outline).toFillPolygon().toPolygon());
    std::vector<QRect> rects(native.begin(), native.end());
    if (!force && m_hasInputRegion && rects == m_inputRegion) {
        return;
    }
    m_inputRegion = rects;
    m_hasInputRegion = true;
    m_traits.setInputRegion(static_cast<quintptr>(winId()), rects);
    // Without a compositor the clear parts of the window would show black: clip the window itself.
    if (!m_compositing) {
        setMask(logical.isEmpty() ? QRegion(0, 0, 1, 1) : logical);
    } else if (!mask().isEmpty()) {
        clearMask();
    }
}

void SurfacePanel::paintEvent(QPaintEvent* event) {
    Q_UNUSED(event);
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(rect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    if (m_opacity <= 0) {
        return;
    }
    if (m_opacity < 1) {
        // Drawn into a layer first, so that the glass's own blending stays as it is while it fades.
        QImage layer(size() * devicePixelRatioF(), QImage::Format_ARGB32_Premultiplied);
        layer.setDevicePixelRatio(devicePixelRatioF());
        layer.fill(Qt::transparent);
        QPainter layerPainter(&layer);
        m_painter.paint(layerPainter, m_scene);
        layerPainter.end();
        painter.setOpacity(m_opacity);
        painter.drawImage(QPointF(0, 0), layer);
        return;
    }
    m_painter.paint(painter, m_scene);
}

void SurfacePanel::mousePressEvent(QMouseEvent* event) {
    if (!isOnForm(event->position())) {
        event->ignore();
        return;
    }
    if (event->button() == Qt::RightButton) {
        if (m_callbacks.onRightMouseDown) {
            m_callbacks.onRightMouseDown(event->globalPosition().toPoint());
        }
        return;
    }
    if (event->button() != Qt::LeftButton) {
        return;
    }
    m_pressPointer = event->globalPosition();
    m_pressTopLeft = pos();
    m_dragging = false;
    if (m_callbacks.onDragBegan) {
        m_callbacks.onDragBegan(event->globalPosition());
    }
}

void SurfacePanel::mouseMoveEvent(QMouseEvent* event) {
    if (m_pressPointer && (event->buttons() & Qt::LeftButton)) {
        const QPointF travel = event->globalPosition() - *m_pressPointer;
        if (!m_dragging && travel.manhattanLength() >= QApplication::startDragDistance()) {
            m_dragging = true;
        }
        if (m_dragging) {
            move(m_pressTopLeft + travel.toPoint());
        }
        if (m_callbacks.onDragMoved) {
            m_callbacks.onDragMoved(event->globalPosition());
        }
        return;
    }
    if (m_callbacks.onPointerMoved) {
        m_callbacks.onPointerMoved(event->globalPosition());
    }
}

void SurfacePanel::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !m_pressPointer) {
        return;
    }
    if (m_dragging) {
        move(m_pressTopLeft + (event->globalPosition() - *m_pressPointer).toPoint());
    }
    m_pressPointer.reset();
    m_dragging = false;
    if (m_callbacks.onDragEnded) {
        m_callbacks.onDragEnded(event->globalPosition());
    }
}

void SurfacePanel::leaveEvent(QEvent* event) {
    QWidget::leaveEvent(event);
    if (!m_pressPointer && m_callbacks.onPointerMoved) {
        m_callbacks.onPointerMoved(std::nullopt);
    }
}

bool SurfacePanel::event(QEvent* event) {
    if (event->type() == QEvent::Enter && !m_pressPointer && m_callbacks.onPointerMoved) {
        // A pointer that comes back to the very point it left from brings no move with it.
        m_callbacks.onPointerMoved(static_cast<QEnterEvent*>(event)->globalPosition());
    }
    if (event->type() == QEvent::WinIdChange && m_prepared) {
        // A new native window knows nothing of what the old one was told.
        m_traits.prepare(static_cast<quintptr>(winId()));
        updateInputRegion(true);
    }
    return QWidget::event(event);
}

} // namespace tessary
