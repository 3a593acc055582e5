#include "app/onboarding/OnboardingSwitch.h"

#include <QPainter>
#include <QPainterPath>
#include <QStyleOption>

namespace tessary {

namespace {
constexpr int trackWidth = 40;
constexpr int trackHeight = 22;
constexpr int focusMargin = 3;
constexpr int slideMilliseconds = 120;
} // namespace

OnboardingSwitch::OnboardingSwitch(QWidget* parent)
    : QAbstractButton(parent) {
    setCheckable(true);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    m_slide.setDuration(slideMilliseconds);
    m_slide.setEasingCurve(QEasingCurve::OutCubic);
    connect(&m_slide, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        m_position = value.toDouble();
        update();
    });
}

QSize OnboardingSwitch::sizeHint() const {
    return {trackWidth + 2 * focusMargin, trackHeight + 2 * focusMargin};
}

bool OnboardingSwitch::hitButton(const QPoint& position) const {
    return rect().contains(position);
}

void OnboardingSwitch::checkStateSet() {
    // Set from code: no slide, the knob is where the state says.
    m_slide.stop();
    m_position = isChecked() ? 1 : 0;
    update();
}

void OnboardingSwitch::nextCheckState() {
    QAbstractButton::nextCheckState();
    slideTo(isChecked());
}

void OnboardingSwitch::slideTo(bool checked) {
    m_slide.stop();
    m_slide.setStartValue(m_position);
    m_slide.setEndValue(checked ? 1.0 : 0.0);
    m_slide.start();
}

void OnboardingSwitch::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette& colors = palette();
    const QRectF track(focusMargin, (height() - trackHeight) / 2.0, trackWidth, trackHeight);
    const double radius = trackHeight / 2.0;

    QColor on = colors.color(QPalette::Highlight);
    QColor off = colors.color(QPalette::Mid);
    if (!isEnabled()) {
        on.setAlphaF(0.4);
        off.setAlphaF(0.4);
    }
    // The track's colour slides from off to on with the knob.
    const auto mix = [this](float from, float to) {
        return from + (to - from) * static_cast<float>(m_position);
    };
    QColor fill;
    fill.setRgbF(mix(off.redF(), on.redF()), mix(off.greenF(), on.greenF()), mix(off.blueF(), on.blueF()),
                 mix(off.alphaF(), on.alphaF()));
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(track, radius, radius);

    const double knobDiameter = trackHeight - 4;
    const double knobX = track.left() + 2 + (track.width() - knobDiameter - 4) * m_position;
    QColor knob = colors.color(QPalette::Base);
    if (!isEnabled()) {
        knob.setAlphaF(0.7);
    }
    painter.setBrush(knob);
    painter.setPen(QPen(colors.color(QPalette::Shadow), 0.5));
    painter.drawEllipse(QRectF(knobX, track.top() + 2, knobDiameter, knobDiameter));

    if (hasFocus()) {
        QPen ring(colors.color(QPalette::Highlight), 2);
        painter.setPen(ring);
        painter.setBrush(Qt::NoBrush);
        const QRectF outline = track.adjusted(-2, -2, 2, 2);
        painter.drawRoundedRect(outline, radius + 2, radius + 2);
    }
}

} // namespace tessary
