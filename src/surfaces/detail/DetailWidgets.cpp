#include "surfaces/detail/DetailWidgets.h"

#include "surfaces/SymbolIconCache.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QMouseEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QVariantAnimation>

#include <algorithm>
#include <cmath>
#include <mutex>

namespace tessary {

using namespace Qt::StringLiterals;

ElidedLinkButton::ElidedLinkButton(QString text, QWidget* parent)
    : QPushButton(text, parent)
    , m_fullText(std::move(text)) {
    setAccessibleName(m_fullText);
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
}

int ElidedLinkButton::padding() const {
    return QPushButton::sizeHint().width() - fontMetrics().horizontalAdvance(text());
}

QSize ElidedLinkButton::sizeHint() const {
    return {padding() + fontMetrics().horizontalAdvance(m_fullText), QPushButton::sizeHint().height()};
}

QSize ElidedLinkButton::minimumSizeHint() const {
    return {
        std::min(sizeHint().width(), padding() + fontMetrics().horizontalAdvance(QStringLiteral("/home/…"))),
        QPushButton::minimumSizeHint().height()};
}

void ElidedLinkButton::resizeEvent(QResizeEvent* event) {
    QPushButton::resizeEvent(event);
    const QString shown =
        fontMetrics().elidedText(m_fullText, Qt::ElideMiddle, std::max(0, event->size().width() - padding()));
    if (shown != text()) {
        setText(shown);
    }
}

DetailRow::DetailRow(QWidget* parent)
    : QWidget(parent) {
    setAttribute(Qt::WA_Hover);
    setFocusPolicy(Qt::NoFocus);
}

void DetailRow::setActivation(std::function<void()> activate) {
    m_activate = std::move(activate);
    setCursor(m_activate ? Qt::PointingHandCursor : Qt::ArrowCursor);
}

void DetailRow::activate() {
    if (m_activate) {
        m_activate();
    }
}

void DetailRow::paintEvent(QPaintEvent* event) {
    Q_UNUSED(event);
    if (!m_hovered || !m_activate) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(SurfacePalette::hoverWash);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
}

void DetailRow::enterEvent(QEnterEvent* event) {
    m_hovered = true;
    update();
    QWidget::enterEvent(event);
}

void DetailRow::leaveEvent(QEvent* event) {
    m_hovered = false;
    update();
    QWidget::leaveEvent(event);
}

void DetailRow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint())) {
        activate();
        return;
    }
    QWidget::mouseReleaseEvent(event);
}

MiniGauge::MiniGauge(const GaugeMetric& gauge, int width, QWidget* parent)
    : QWidget(parent)
    , m_gauge(gauge)
    , m_width(width) {
    setFixedSize(sizeHint());
    setAccessibleName(gauge.label);
}

QSize MiniGauge::sizeHint() const {
    return {m_width, 6};
}

void MiniGauge::paintEvent(QPaintEvent* event) {
    Q_UNUSED(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = QRectF(rect()).adjusted(0, 0.5, 0, -0.5);
    const double radius = box.height() / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(SurfacePalette::track);
    painter.drawRoundedRect(box, radius, radius);
    const double fraction = std::isfinite(m_gauge.fraction) ? std::clamp(m_gauge.fraction, 0.0, 1.0) : 0.0;
    const double filled = std::max(box.height(), box.width() * fraction);
    if (fraction > 0) {
        painter.setBrush(SurfacePalette::gaugeColor(m_gauge));
        painter.drawRoundedRect(QRectF(box.left(), box.top(), filled, box.height()), radius, radius);
    }
}

ActivityMark::ActivityMark(DetailSection::Activity activity, QWidget* parent)
    : QWidget(parent)
    , m_activity(activity) {
    setFixedSize(sizeHint());
    if (activity == DetailSection::Activity::working) {
        m_breath = new QVariantAnimation(this);
        m_breath->setStartValue(0.0);
        m_breath->setEndValue(1.0);
        m_breath->setDuration(1400);
        m_breath->setLoopCount(-1);
        connect(m_breath, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
            m_phase = value.toDouble();
            update();
        });
        m_breath->start();
    }
}

void ActivityMark::paintEvent(QPaintEvent* event) {
    Q_UNUSED(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor color = SurfacePalette::progressBlue;
    if (m_activity == DetailSection::Activity::waiting) {
        color = SurfacePalette::warningAmber;
    } else if (m_activity == DetailSection::Activity::failed) {
        color = SurfacePalette::criticalRed;
    }
    const QPointF middle = QRectF(rect()).center();
    if (m_activity == DetailSection::Activity::working) {
        QColor halo = color;
        halo.setAlphaF(static_cast<float>(0.45 * (1 - m_phase)));
        painter.setPen(Qt::NoPen);
        painter.setBrush(halo);
        const double r = 3 + 3 * m_phase;
        painter.drawEllipse(middle, r, r);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(middle, 3, 3);
}

DetailGlyph::DetailGlyph(SymbolIconCache& icons, QString symbol, const QColor& color, int side,
                         QWidget* parent)
    : QWidget(parent)
    , m_icons(icons)
    , m_symbol(std::move(symbol))
    , m_color(color)
    , m_side(side) {
    setFixedSize(sizeHint());
}

DetailGlyph* DetailGlyph::swatch(SymbolIconCache& icons, const QColor& color, QWidget* parent) {
    return new DetailGlyph(icons, QString(), color, 10, parent);
}

void DetailGlyph::paintEvent(QPaintEvent* event) {
    Q_UNUSED(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_symbol.isEmpty()) {
        painter.setPen(QPen(QColor(0, 0, 0, 90), 1));
        painter.setBrush(m_color);
        painter.drawEllipse(QRectF(rect()).adjusted(1, 1, -1, -1));
        return;
    }
    const QImage& image = m_icons.icon(m_symbol, m_side, devicePixelRatioF(), m_color);
    painter.drawImage(QRectF(0, 0, m_side, m_side), image);
}

namespace {

// A row read as a list item, with its name and description, pressed where it has an action.
class DetailRowAccessible final : public QAccessibleWidget {
public:
    explicit DetailRowAccessible(DetailRow* row)
        : QAccessibleWidget(row, QAccessible::ListItem) {}

    [[nodiscard]] DetailRow* row() const { return static_cast<DetailRow*>(widget()); }

    [[nodiscard]] QStringList actionNames() const override {
        return row()->isActivatable() ? QStringList{pressAction()} : QStringList{};
    }
    void doAction(const QString& actionName) override {
        if (actionName == pressAction()) {
            row()->activate();
        }
    }
};

QAccessibleInterface* makeInterface(const QString& className, QObject* object) {
    if (className == QLatin1StringView(DetailRow::staticMetaObject.className())) {
        if (auto* row = qobject_cast<DetailRow*>(object)) {
            return new DetailRowAccessible(row);
        }
    }
    return nullptr;
}

} // namespace

void installDetailAccessibility() {
    static std::once_flag installed;
    std::call_once(installed, [] { QAccessible::installFactory(&makeInterface); });
}

} // namespace tessary
