#include "surfaces/SurfacePainter.h"

#include "spatial/slots/SurfaceShapes.h"
#include "surfaces/SurfacePalette.h"

#include <QFontMetricsF>
#include <QLinearGradient>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace tessary {

namespace {

// Glass colours only the surfaces use; the shared ones come from the palette.
const QColor glassTop(38, 40, 48, 226);
const QColor glassBottom(20, 21, 27, 236);
const QColor notchBlack(7, 7, 9, 252);
const QColor rimLight(255, 255, 255, 30);
const QColor rimDark(0, 0, 0, 110);
using SurfacePalette::criticalRed;
using SurfacePalette::divider;
using SurfacePalette::gaugeColor;
using SurfacePalette::hoverWash;
using SurfacePalette::progressBlue;
using SurfacePalette::successGreen;
using SurfacePalette::textPrimary;
using SurfacePalette::textSecondary;
using SurfacePalette::textTertiary;
using SurfacePalette::track;
using SurfacePalette::warningAmber;
// How far a shadow spreads around its form.
constexpr double shadowReach = 8;

double clamp01(double value) {
    return std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0;
}

QColor withAlpha(QColor color, double factor) {
    color.setAlphaF(static_cast<float>(clamp01(color.alphaF() * factor)));
    return color;
}

// The notch's caption: a size that follows the notch's height, never under the smallest.
constexpr double notchCaptionSmallest = 10;
constexpr double notchCaptionSpacing = 8;
double notchCaptionSize(double notchHeight) {
    return std::clamp(notchHeight * 0.36, notchCaptionSmallest, 13.0);
}

QFont font(double pixelSize, QFont::Weight weight) {
    QFont f;
    f.setPixelSize(std::max(1, static_cast<int>(std::lround(pixelSize))));
    f.setWeight(weight);
    f.setHintingPreference(QFont::PreferNoHinting);
    return f;
}

// The module's accent: its primary gauge's colour, turned by an urgent state.
QColor accentOf(const ModuleSnapshot& module) {
    if (module.state == ModuleState::critical) {
        return criticalRed;
    }
    if (module.state == ModuleState::attention) {
        return warningAmber;
    }
    if (const auto gauge = module.variants.primaryGauge()) {
        return gaugeColor(*gauge);
    }
    return module.state == ModuleState::success ? successGreen : progressBlue;
}

std::optional<QColor> signalColor(const ModuleSnapshot& module) {
    if (!module.variants.signal || module.variants.signal->facts().empty()) {
        return std::nullopt;
    }
    auto tone = ChangeSignal::Fact::Tone::info;
    bool first = true;
    for (const auto& fact : module.variants.signal->facts()) {
        if (first || fact.tone < tone) {
            tone = fact.tone;
            first = false;
        }
    }
    return SurfacePalette::toneColor(tone);
}

// Unavailable modules step back.
double contentOpacity(const ModuleSnapshot& module) {
    return module.state == ModuleState::unavailable ? 0.5 : 1.0;
}

void drawText(QPainter& painter, const QRectF& box, const QString& text, const QFont& f, const QColor& color,
              Qt::Alignment alignment = Qt::AlignCenter) {
    if (box.width() <= 1 || box.height() <= 1 || text.isEmpty()) {
        return;
    }
    painter.setFont(f);
    painter.setPen(color);
    const QString shown = QFontMetricsF(f).elidedText(text, Qt::ElideRight, box.width());
    painter.drawText(box, static_cast<int>(alignment | Qt::TextSingleLine), shown);
}

// The size at which a headline fits one line, shrinking to 60% of `pixelSize` at most; none when
// it doesn't fit even then.
std::optional<double> oneLineSize(const QString& text, double width, double pixelSize, QFont::Weight weight) {
    // Half a pixel at a time, down to 60%.
    const int steps = static_cast<int>(pixelSize * 0.4 / 0.5);
    for (int step = 0; step <= steps; ++step) {
        const double size = pixelSize - step * 0.5;
        if (QFontMetricsF(font(size, weight)).horizontalAdvance(text) <= width) {
            return size;
        }
    }
    return std::nullopt;
}

// A headline of several words on two lines, split at the space nearest its middle, as large as fits
// `box` (cut only if a single word is wider than the box at the smallest size).
void drawTwoLines(QPainter& painter, const QRectF& box, const QString& text, double pixelSize,
                  QFont::Weight weight, const QColor& color) {
    const qsizetype middle = text.size() / 2;
    qsizetype split = -1;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == u' ' && (split < 0 || std::abs(i - middle) < std::abs(split - middle))) {
            split = i;
        }
    }
    if (split <= 0) {
        drawText(painter, box, text, font(pixelSize * 0.6, weight), color);
        return;
    }
    const QString first = text.left(split);
    const QString second = text.mid(split + 1);
    double size = std::min(pixelSize, box.height() / 2.3);
    while (size > pixelSize * 0.45 &&
           std::max(QFontMetricsF(font(size, weight)).horizontalAdvance(first),
                    QFontMetricsF(font(size, weight)).horizontalAdvance(second)) > box.width()) {
        size -= 0.5;
    }
    const QFont f = font(size, weight);
    const double line = QFontMetricsF(f).height();
    const double top = box.center().y() - line;
    drawText(painter, QRectF(box.left(), top, box.width(), line), first, f, color);
    drawText(painter, QRectF(box.left(), top + line, box.width(), line), second, f, color);
}

void drawBar(QPainter& painter, const QRectF& box, double fraction, const QColor& color) {
    if (box.width() <= 0 || box.height() <= 0) {
        return;
    }
    const double radius = box.height() / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(track);
    painter.drawRoundedRect(box, radius, radius);
    const double filled = box.width() * clamp01(fraction);
    if (filled > 0.5) {
        painter.setBrush(color);
        painter.drawRoundedRect(QRectF(box.left(), box.top(), std::max(filled, box.height()), box.height()),
                                radius, radius);
    }
}

void drawRingGauge(QPainter& painter, const QRectF& circle, double width, double fraction,
                   const QColor& color) {
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(track, width, Qt::SolidLine, Qt::FlatCap));
    painter.drawEllipse(circle);
    const int span = static_cast<int>(std::lround(-clamp01(fraction) * 360 * 16));
    if (span != 0) {
        painter.setPen(QPen(color, width, Qt::SolidLine, Qt::RoundCap));
        painter.drawArc(circle, 90 * 16, span);
    }
}

// The beat of a module's mark: the scene's, for a signal with a critical or attention fact.
double pulseOf(const ModuleSnapshot& module, const SurfaceScene& scene) {
    return module.variants.signal && module.variants.signal->pulseSince() ? scene.pulse : -1;
}

void drawSignalDot(QPainter& painter, const QPointF& center, double radius, const QColor& color,
                   double pulse) {
    if (pulse >= 0) {
        // A ring that swells out of the mark and fades, once a beat; a still halo at 0.
        const double beat = clamp01(pulse);
        QColor halo = color;
        halo.setAlphaF(static_cast<float>(0.55 * (1 - beat)));
        const double reach = radius * (1.3 + 1.7 * beat);
        painter.setPen(Qt::NoPen);
        painter.setBrush(halo);
        painter.drawEllipse(center, reach, reach);
    }
    painter.setPen(QPen(QColor(0, 0, 0, 140), 1.5));
    painter.setBrush(color);
    painter.drawEllipse(center, radius, radius);
}

QPainterPath boxPath(const RoundedBox& input) {
    const RoundedBox b = input.clamped();
    const QRectF& r = b.rect;
    QPainterPath path;
    path.moveTo(r.left() + b.topLeft, r.top());
    path.lineTo(r.right() - b.topRight, r.top());
    if (b.topRight > 0) {
        path.arcTo(QRectF(r.right() - 2 * b.topRight, r.top(), 2 * b.topRight, 2 * b.topRight), 90, -90);
    }
    path.lineTo(r.right(), r.bottom() - b.bottomRight);
    if (b.bottomRight > 0) {
        path.arcTo(QRectF(r.right() - 2 * b.bottomRight, r.bottom() - 2 * b.bottomRight, 2 * b.bottomRight,
                          2 * b.bottomRight),
                   0, -90);
    }
    path.lineTo(r.left() + b.bottomLeft, r.bottom());
    if (b.bottomLeft > 0) {
        path.arcTo(QRectF(r.left(), r.bottom() - 2 * b.bottomLeft, 2 * b.bottomLeft, 2 * b.bottomLeft), 270,
                   -90);
    }
    path.lineTo(r.left(), r.top() + b.topLeft);
    if (b.topLeft > 0) {
        path.arcTo(QRectF(r.left(), r.top(), 2 * b.topLeft, 2 * b.topLeft), 180, -90);
    }
    path.closeSubpath();
    return path;
}

QPainterPath bandPath(const QuarterBand& band) {
    const QPointF c = band.center;
    const QRectF outer(c.x() - band.outer, c.y() - band.outer, 2 * band.outer, 2 * band.outer);
    QPainterPath path;
    path.arcMoveTo(outer, band.startAngle());
    path.arcTo(outer, band.startAngle(), QuarterBand::sweep);
    if (band.inner > 0) {
        const QRectF inner(c.x() - band.inner, c.y() - band.inner, 2 * band.inner, 2 * band.inner);
        path.arcTo(inner, band.startAngle() + QuarterBand::sweep, -QuarterBand::sweep);
    } else {
        path.lineTo(c);
    }
    path.closeSubpath();
    return path;
}

// The shadow of an outline: strokes widest and faintest first, a little below the form.
QImage renderShadow(const QPainterPath& path, qreal ratio) {
    const QRectF area =
        path.boundingRect().adjusted(-shadowReach, -shadowReach, shadowReach, shadowReach + 2);
    QImage image((area.size() * ratio).toSize() + QSize(1, 1), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(-area.topLeft() + QPointF(0, 1.5));
    painter.setBrush(Qt::NoBrush);
    for (int ring = 6; ring >= 1; --ring) {
        painter.setPen(QPen(QColor(0, 0, 0, 9 + (6 - ring) * 3), ring * 2.0, Qt::SolidLine, Qt::RoundCap,
                            Qt::RoundJoin));
        painter.drawPath(path);
    }
    return image;
}

void fillGlass(QPainter& painter, const QPainterPath& path, const QRectF& bounds) {
    QLinearGradient gradient(bounds.topLeft(), bounds.bottomLeft());
    gradient.setColorAt(0, glassTop);
    gradient.setColorAt(1, glassBottom);
    painter.save();
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    painter.drawPath(path);
    painter.restore();
}

void strokeRim(QPainter& painter, const QPainterPath& path) {
    painter.save();
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(rimDark, 1.0));
    painter.drawPath(path);
    painter.setClipPath(path);
    painter.setPen(QPen(rimLight, 2.0));
    painter.drawPath(path);
    painter.restore();
}

const ModuleSnapshot* moduleAt(const SurfaceScene& scene, int index) {
    if (index < 0) {
        return nullptr;
    }
    const auto i = static_cast<std::size_t>(index);
    if (i < scene.modules.size()) {
        return &scene.modules[i];
    }
    if (i - scene.modules.size() < scene.signalOnly.size()) {
        return &scene.signalOnly[i - scene.modules.size()];
    }
    return nullptr;
}

QString gaugeLabel(const GaugeMetric& gauge) {
    return gauge.compactLabel && !gauge.compactLabel->isEmpty() ? *gauge.compactLabel : gauge.label;
}

// Title, value and up to `maximumGauges` gauge rows in a box, from the top: the open form of a
// module wherever it has room. The first gauge brings its caption; a card's subtitle shows when
// there is no gauge to show.
void paintOpenModule(QPainter& painter, SymbolIconCache& icons, const ModuleSnapshot& module,
                     const QRectF& box, const Localization& localization, double scale, int maximumGauges) {
    const CompactVariant& compact = module.variants.compact;
    const double iconSide = std::round(15 * scale);
    const QColor accent = accentOf(module);
    double y = box.top();
    const QImage& icon = icons.icon(compact.symbolName, static_cast<int>(iconSide),
                                    painter.device()->devicePixelRatioF(), withAlpha(textPrimary, 0.92));
    painter.drawImage(QRectF(box.left(), y, iconSide, iconSide), icon);
    // Title and value shrink to fit the box, to a size still read at a glance, before they are cut.
    const auto fitted = [](const QString& text, double size, double smallest, QFont::Weight weight,
                           double width) {
        while (size > smallest && QFontMetricsF(font(size, weight)).horizontalAdvance(text) > width) {
            size -= 0.5;
        }
        return size;
    };
    const double titleWidth = box.width() - iconSide - 6 * scale;
    drawText(painter, QRectF(box.left() + iconSide + 6 * scale, y - 2, titleWidth, iconSide + 4),
             compact.title,
             font(fitted(compact.title, 11 * scale, std::min(11 * scale, 10.0), QFont::DemiBold, titleWidth),
                  QFont::DemiBold),
             textSecondary, Qt::AlignLeft | Qt::AlignVCenter);
    y += iconSide + 5 * scale;
    double valueSize =
        fitted(compact.value, 21 * scale, std::min(13 * scale, 13.0), QFont::Bold, box.width());
    drawText(painter, QRectF(box.left(), y, box.width(), 21 * scale * 1.25), compact.value,
             font(valueSize, QFont::Bold), textPrimary, Qt::AlignLeft | Qt::AlignVCenter);
    valueSize = 21 * scale;
    y += valueSize * 1.25 + 3 * scale;

    const QFont small = font(9.5 * scale, QFont::Medium);
    const double row = 12 * scale;
    std::vector<const GaugeMetric*> gauges;
    for (const GaugeMetric& gauge : module.variants.gauges) {
        if (static_cast<int>(gauges.size()) < maximumGauges) {
            gauges.push_back(&gauge);
        }
    }
    if (gauges.empty()) {
        const auto& card = module.variants.card;
        for (const auto& line : {card ? card->subtitle : std::nullopt, card ? card->detail : std::nullopt}) {
            if (line && y + row <= box.bottom() + 0.5) {
                drawText(painter, QRectF(box.left(), y, box.width(), row), *line, small, textTertiary,
                         Qt::AlignLeft | Qt::AlignVCenter);
                y += row + 2 * scale;
            }
        }
        return;
    }
    for (std::size_t index = 0; index < gauges.size(); ++index) {
        const GaugeMetric& gauge = *gauges[index];
        const double needed = row + (gauge.isTextual ? 0 : 4 * scale);
        if (y + needed > box.bottom() + 0.5) {
            break;
        }
        const QString readout = gauge.readout(localization);
        const double readoutWidth = QFontMetricsF(small).horizontalAdvance(readout) + 2;
        drawText(painter, QRectF(box.left(), y, box.width() - readoutWidth - 4, row), gaugeLabel(gauge),
                 small, textTertiary, Qt::AlignLeft | Qt::AlignVCenter);
        drawText(painter, QRectF(box.right() - readoutWidth, y, readoutWidth, row), readout, small,
                 textSecondary, Qt::AlignRight | Qt::AlignVCenter);
        y += row + 1 * scale;
        if (!gauge.isTextual) {
            drawBar(painter, QRectF(box.left(), y, box.width(), 4 * scale), gauge.fraction,
                    index == 0 ? accent : gaugeColor(gauge));
            y += 4 * scale + 4 * scale;
        }
        if (index == 0 && gauge.caption && y + row <= box.bottom() + 0.5) {
            drawText(painter, QRectF(box.left(), y - 1 * scale, box.width(), row), *gauge.caption,
                     font(9 * scale, QFont::Normal), textTertiary, Qt::AlignLeft | Qt::AlignVCenter);
            y += row + 2 * scale;
        }
    }
}

} // namespace

QPainterPath SurfacePainter::outline(const SurfaceForm& form) {
    QPainterPath path;
    if (form.kind == SurfaceForm::Kind::box) {
        path = boxPath(form.body);
    } else if (form.kind == SurfaceForm::Kind::rings && !form.bands.empty()) {
        QuarterBand whole = form.bands.back();
        whole.inner = 0;
        path = bandPath(whole);
    } else if (form.kind == SurfaceForm::Kind::rings && form.core) {
        path = bandPath(*form.core);
    }
    return path;
}

void SurfacePainter::drawShadow(QPainter& painter, const QPainterPath& path, bool enabled) {
    if (!enabled || path.isEmpty()) {
        return;
    }
    // The outline changes only while the form springs open or shut: keep the last few shadows.
    const qreal ratio = painter.device()->devicePixelRatioF();
    QByteArray key;
    key.reserve(path.elementCount() * 2 * static_cast<int>(sizeof(float)) + 8);
    key.append(reinterpret_cast<const char*>(&ratio), sizeof(ratio));
    for (int index = 0; index < path.elementCount(); ++index) {
        const QPainterPath::Element element = path.elementAt(index);
        const std::array<float, 2> point{static_cast<float>(element.x), static_cast<float>(element.y)};
        key.append(reinterpret_cast<const char*>(point.data()), sizeof(point));
    }
    auto found = std::find_if(m_shadows.begin(), m_shadows.end(),
                              [&](const auto& entry) { return entry.first == key; });
    if (found == m_shadows.end()) {
        if (m_shadows.size() >= shadowCacheSize) {
            m_shadows.erase(m_shadows.begin());
        }
        m_shadows.emplace_back(key, renderShadow(path, ratio));
        found = std::prev(m_shadows.end());
    }
    const QPointF origin = path.boundingRect().topLeft() - QPointF(shadowReach, shadowReach);
    painter.drawImage(origin, found->second);
}

void SurfacePainter::drawIcon(QPainter& painter, const QString& symbolName, const QRectF& box,
                              const QColor& color) {
    const int side = static_cast<int>(std::lround(std::min(box.width(), box.height())));
    if (side <= 0) {
        return;
    }
    const QImage& image = m_icons.icon(symbolName, side, painter.device()->devicePixelRatioF(), color);
    painter.drawImage(QRectF(box.center().x() - side / 2.0, box.center().y() - side / 2.0, side, side),
                      image);
}

void SurfacePainter::paint(QPainter& painter, const SurfaceScene& scene) {
    const SurfaceForm form = scene.geometry.form();
    if (form.kind == SurfaceForm::Kind::none) {
        return;
    }
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const double e = scene.geometry.expansion.value_or(scene.geometry.isExpanded ? 1.0 : 0.0);
    const SurfaceGrouping& grouping = scene.geometry.grouping;
    if (const auto* capsule = std::get_if<grouping::Capsule>(&grouping)) {
        paintCapsule(painter, scene, form, capsule->edge, e);
    } else if (std::holds_alternative<grouping::Rings>(grouping)) {
        paintRings(painter, scene, form, e);
    } else if (std::holds_alternative<grouping::Notch>(grouping)) {
        paintNotch(painter, scene, form, e);
    } else {
        paintBubble(painter, scene, form, e);
    }
    painter.restore();
}

void SurfacePainter::paintBubble(QPainter& painter, const SurfaceScene& scene, const SurfaceForm& form,
                                 double e) {
    const QPainterPath path = outline(form);
    drawShadow(painter, path, scene.drawsShadow);
    fillGlass(painter, path, form.body.rect);
    strokeRim(painter, path);
    const ModuleSnapshot* module = moduleAt(scene, 0);
    if (module == nullptr) {
        return;
    }
    const QRectF disc = form.bubbleDisc;
    const double side = disc.width();
    const QPointF middle = disc.center();
    const CompactVariant& compact = module->variants.compact;
    const QColor accent = accentOf(*module);
    const double restAlpha = clamp01(1 - e * 2.2) * contentOpacity(*module);
    const double openAlpha = clamp01((e - 0.45) * 2.2) * contentOpacity(*module);

    if (restAlpha > 0) {
        painter.save();
        painter.setOpacity(restAlpha);
        const double ringWidth = std::max(3.0, side * 0.045);
        const double inset = ringWidth / 2 + side * 0.05;
        const QRectF ring = disc.adjusted(inset, inset, -inset, -inset);
        const auto gauge = module->variants.primaryGauge();
        if (gauge && !gauge->isTextual) {
            drawRingGauge(painter, ring, ringWidth, gauge->fraction, accent);
        }
        const double iconSide = std::round(side * 0.19);
        drawIcon(painter, compact.symbolName,
                 QRectF(middle.x() - iconSide / 2, middle.y() - side * 0.255, iconSide, iconSide),
                 withAlpha(textPrimary, 0.9));
        const double inner = ring.width() - 2 * ringWidth - side * 0.06;
        // A value too long for one line takes two, in the room of the value and the title together:
        // the icon says which widget it is.
        const QRectF valueBox(middle.x() - inner / 2, middle.y() - side * 0.075, inner, side * 0.22);
        if (const auto size = oneLineSize(compact.value, inner, side * 0.175, QFont::Bold)) {
            drawText(painter, valueBox, compact.value, font(*size, QFont::Bold), textPrimary);
            drawText(painter,
                     QRectF(middle.x() - inner / 2 + side * 0.04, middle.y() + side * 0.13,
                            inner - side * 0.08, side * 0.14),
                     compact.title, font(side * 0.108, QFont::DemiBold), textSecondary);
        } else {
            drawTwoLines(painter, QRectF(valueBox.left(), valueBox.top(), inner, side * 0.34), compact.value,
                         side * 0.15, QFont::Bold, textPrimary);
        }
        painter.restore();
    }
    if (openAlpha > 0) {
        painter.save();
        painter.setOpacity(openAlpha);
        const double scale = side / 124.0;
        const double pad = 12 * scale;
        paintOpenModule(painter, m_icons, *module, disc.adjusted(pad, pad, -pad, -pad), scene.localization,
                        scale, 2);
        painter.restore();
    }
    if (const auto dot = signalColor(*module)) {
        const double r = std::max(3.5, side * 0.045);
        // On the rim at the top right: where the circle passes 45 degrees, or inside the open corner.
        const double offset = side * ((0.5 - 0.5 / std::sqrt(2.0)) * (1 - clamp01(e)) + 0.08 * clamp01(e));
        drawSignalDot(painter, QPointF(disc.right() - offset, disc.top() + offset), r, *dot,
                      pulseOf(*module, scene));
    }
}

void SurfacePainter::paintCapsule(QPainter& painter, const SurfaceScene& scene, const SurfaceForm& form,
                                  Edge edge, double e) {
    const QPainterPath path = outline(form);
    drawShadow(painter, path, scene.drawsShadow);
    fillGlass(painter, path, form.body.rect);
    const bool vertical = isVertical(edge);
    painter.save();
    painter.setClipPath(path);
    for (std::size_t index = 0; index < form.moduleAreas.size(); ++index) {
        const QRectF area = form.moduleAreas[index];
        if (scene.hoveredModule && static_cast<std::size_t>(*scene.hoveredModule) == index && e > 0.05) {
            painter.fillRect(area, withAlpha(hoverWash, clamp01(e)));
        }
        if (index > 0) {
            // A hairline between segments, short of the capsule's sides.
            painter.setPen(QPen(divider, 1));
            if (vertical) {
                const double inset = area.width() * 0.22;
                painter.drawLine(QPointF(area.left() + inset, area.top()),
                                 QPointF(area.right() - inset, area.top()));
            } else {
                const double inset = area.height() * 0.22;
                painter.drawLine(QPointF(area.left(), area.top() + inset),
                                 QPointF(area.left(), area.bottom() - inset));
            }
        }
    }
    painter.restore();
    strokeRim(painter, path);

    for (std::size_t index = 0; index < form.moduleAreas.size(); ++index) {
        const ModuleSnapshot* module = moduleAt(scene, static_cast<int>(index));
        if (module == nullptr) {
            continue;
        }
        const QRectF area = form.moduleAreas[index];
        const double across = vertical ? area.width() : area.height();
        const double restAlpha = clamp01(1 - e * 2.2) * contentOpacity(*module);
        const double openAlpha = clamp01((e - 0.45) * 2.2) * contentOpacity(*module);
        const auto gauge = module->variants.primaryGauge();
        if (restAlpha > 0) {
            painter.save();
            painter.setOpacity(restAlpha);
            const double iconSide = std::round(across * 0.4);
            const double valueSize = std::clamp(across * 0.24, 9.0, 13.0);
            const QPointF middle = area.center();
            const double top = middle.y() - (iconSide + valueSize * 1.2 + 3) / 2;
            drawIcon(painter, module->variants.compact.symbolName,
                     QRectF(middle.x() - iconSide / 2, top, iconSide, iconSide), withAlpha(textPrimary, 0.9));
            const bool hasGauge = gauge && !gauge->isTextual;
            const QString shortValue = hasGauge ? gauge->readout(scene.localization) : QString();
            drawText(painter, QRectF(area.left() + 2, top + iconSide + 3, area.width() - 4, valueSize * 1.2),
                     shortValue, font(valueSize, QFont::Bold), hasGauge ? accentOf(*module) : textPrimary);
            painter.restore();
        }
        if (openAlpha > 0) {
            painter.save();
            painter.setOpacity(openAlpha);
            const double scale = across / 103.0;
            const double pad = 11 * scale;
            paintOpenModule(painter, m_icons, *module, area.adjusted(pad, pad, -pad, -pad),
                            scene.localization, scale, 1);
            painter.restore();
        }
        if (const auto dot = signalColor(*module)) {
            const double r = std::max(3.0, across * 0.06);
            drawSignalDot(painter, QPointF(area.right() - r * 2.2, area.top() + r * 2.2), r, *dot,
                          pulseOf(*module, scene));
        }
    }
}

void SurfacePainter::paintRings(QPainter& painter, const SurfaceScene& scene, const SurfaceForm& form,
                                double e) {
    const QPainterPath path = outline(form);
    drawShadow(painter, path, scene.drawsShadow);
    fillGlass(painter, path, form.bounds());
    painter.save();
    painter.setClipPath(path);
    for (std::size_t index = 0; index < form.bands.size(); ++index) {
        const QuarterBand& band = form.bands[index];
        if (scene.hoveredModule && static_cast<std::size_t>(*scene.hoveredModule) == index && e > 0.05) {
            painter.fillPath(bandPath(band), withAlpha(hoverWash, clamp01(e)));
        }
        // The seam between two bands: a dark line with a light one beside it.
        const QRectF seam(band.center.x() - band.inner, band.center.y() - band.inner, 2 * band.inner,
                          2 * band.inner);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(QColor(0, 0, 0, 90), 1.2));
        painter.drawArc(seam, static_cast<int>(band.startAngle() * 16), 90 * 16);
        painter.setPen(QPen(divider, 1));
        painter.drawArc(seam.adjusted(-1.2, -1.2, 1.2, 1.2), static_cast<int>(band.startAngle() * 16),
                        90 * 16);
    }
    painter.restore();
    strokeRim(painter, path);

    for (std::size_t index = 0; index < form.bands.size(); ++index) {
        const ModuleSnapshot* module = moduleAt(scene, static_cast<int>(index));
        if (module == nullptr) {
            continue;
        }
        const QuarterBand& band = form.bands[index];
        const double width = band.outer - band.inner;
        const double opacity = contentOpacity(*module);
        painter.save();
        painter.setOpacity(opacity);
        // The gauge runs along the band, near its outer rim, from one screen edge to the other.
        const double arcWidth = std::clamp(width * 0.1, 3.5, 7.0);
        const double arcRadius = band.outer - arcWidth / 2 - width * 0.12;
        const QRectF arc(band.center.x() - arcRadius, band.center.y() - arcRadius, 2 * arcRadius,
                         2 * arcRadius);
        const int start = static_cast<int>(band.startAngle() * 16 + 5 * 16);
        const int sweep = 80 * 16;
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(track, arcWidth, Qt::SolidLine, Qt::RoundCap));
        painter.drawArc(arc, start, sweep);
        const auto gauge = module->variants.primaryGauge();
        if (gauge && !gauge->isTextual && gauge->fraction > 0) {
            painter.setPen(QPen(accentOf(*module), arcWidth, Qt::SolidLine, Qt::RoundCap));
            painter.drawArc(arc, start, static_cast<int>(std::lround(sweep * clamp01(gauge->fraction))));
        }
        // Icon and value at the middle of the band, on its diagonal.
        const double middleAngle = (band.startAngle() + 45) * std::numbers::pi / 180;
        const double contentRadius = band.inner + (arcRadius - arcWidth / 2 - band.inner) * 0.5;
        const QPointF at(band.center.x() + contentRadius * std::cos(middleAngle),
                         band.center.y() - contentRadius * std::sin(middleAngle));
        const double iconSide = std::round(std::clamp(width * 0.34, 14.0, 20.0));
        const double valueSize = std::clamp(width * 0.2, 10.0, 15.0);
        const double lift = (iconSide + valueSize) / 2 - iconSide / 2;
        drawIcon(painter, module->variants.compact.symbolName,
                 QRectF(at.x() - iconSide / 2, at.y() - iconSide / 2 - lift, iconSide, iconSide),
                 withAlpha(textPrimary, 0.92));
        // A gauge's readout is short; another value shows only when it fits the band.
        const QFont valueFont = font(valueSize, QFont::Bold);
        QString value =
            gauge && !gauge->isTextual ? gauge->readout(scene.localization) : module->variants.compact.value;
        if (QFontMetricsF(valueFont).horizontalAdvance(value) > width * 0.95) {
            value.clear();
        }
        drawText(painter,
                 QRectF(at.x() - width * 0.6, at.y() + iconSide / 2 - lift + 1, width * 1.2, valueSize * 1.3),
                 value, valueFont, textPrimary);
        painter.restore();
        if (const auto dot = signalColor(*module)) {
            drawSignalDot(painter, QPointF(at.x() + iconSide * 0.6, at.y() - iconSide * 0.6 - lift), 3.5,
                          *dot, pulseOf(*module, scene));
        }
    }
}

void SurfacePainter::paintNotch(QPainter& painter, const SurfaceScene& scene, const SurfaceForm& form,
                                double e) {
    const QPainterPath path = outline(form);
    drawShadow(painter, path, scene.drawsShadow);
    painter.save();
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.setPen(Qt::NoPen);
    painter.setBrush(notchBlack);
    painter.drawPath(path);
    painter.restore();
    painter.save();
    painter.setBrush(Qt::NoBrush);
    painter.setClipPath(path);
    painter.setPen(QPen(QColor(255, 255, 255, 20), 2));
    painter.drawPath(path);
    painter.restore();

    // The area of the notch itself says what leads: the first member's title and value.
    if (const auto* notch = std::get_if<grouping::Notch>(&scene.geometry.grouping);
        notch != nullptr && !scene.modules.empty() && !scene.geometry.isNotchHidden) {
        const CompactVariant& lead = scene.modules.front().variants.compact;
        const QRectF area = notch->area.normalized().adjusted(12, 0, -12, 0);
        const RestingCaption caption = notchCaption(lead, area.width(), area.height());
        const double size = notchCaptionSize(area.height());
        const QFont titleFont = font(size, QFont::Medium);
        const QFont valueFont = font(caption.pixelSize, QFont::Bold);
        // Measured with a pixel to spare, so that the drawing never elides what the rule kept.
        const double titleWidth =
            caption.title.isEmpty() ? 0 : QFontMetricsF(titleFont).horizontalAdvance(caption.title) + 1;
        const double valueWidth =
            caption.value.isEmpty() ? 0 : QFontMetricsF(valueFont).horizontalAdvance(caption.value) + 1;
        const double between = titleWidth > 0 && valueWidth > 0 ? notchCaptionSpacing : 0;
        const double left = area.center().x() - (titleWidth + between + valueWidth) / 2;
        drawText(painter, QRectF(left, area.top(), titleWidth, area.height()), caption.title, titleFont,
                 textSecondary, Qt::AlignLeft | Qt::AlignVCenter);
        drawText(painter, QRectF(left + titleWidth + between, area.top(), valueWidth, area.height()),
                 caption.value, valueFont, textPrimary, Qt::AlignLeft | Qt::AlignVCenter);
    }

    const double restAlpha = clamp01(1 - e * 2.2);
    const double openAlpha = clamp01((e - 0.45) * 2.2);
    for (std::size_t index = 0; index < form.moduleAreas.size(); ++index) {
        const ModuleSnapshot* module = moduleAt(scene, static_cast<int>(index));
        const QRectF area = form.moduleAreas[index];
        if (module == nullptr || area.isEmpty()) {
            continue;
        }
        const bool hovered = scene.hoveredModule && static_cast<std::size_t>(*scene.hoveredModule) == index;
        if (e < 0.5 && restAlpha > 0) {
            // A chip: the icon in a faint disc, its primary gauge as a thin ring around it.
            painter.save();
            painter.setOpacity(restAlpha * contentOpacity(*module));
            painter.setPen(Qt::NoPen);
            painter.setBrush(hovered ? QColor(255, 255, 255, 40) : QColor(255, 255, 255, 18));
            painter.drawEllipse(area);
            const auto gauge = module->variants.primaryGauge();
            if (gauge && !gauge->isTextual) {
                drawRingGauge(painter, area.adjusted(1, 1, -1, -1), 2, gauge->fraction, accentOf(*module));
            }
            const double iconSide = std::round(area.width() * 0.56);
            drawIcon(painter, module->variants.compact.symbolName,
                     QRectF(area.center().x() - iconSide / 2, area.center().y() - iconSide / 2, iconSide,
                            iconSide),
                     withAlpha(textPrimary, 0.92));
            painter.restore();
            if (const auto dot = signalColor(*module)) {
                drawSignalDot(painter, QPointF(area.right() - 2, area.top() + 2), 3, *dot,
                              pulseOf(*module, scene));
            }
        } else if (e >= 0.5 && openAlpha > 0) {
            painter.save();
            if (hovered) {
                painter.setPen(Qt::NoPen);
                painter.setBrush(QColor(255, 255, 255, 14));
                painter.drawRoundedRect(area.adjusted(-4, -2, 4, 2), 10, 10);
            }
            painter.setOpacity(openAlpha * contentOpacity(*module));
            const double scale = std::clamp(area.width() / 110.0, 0.78, 1.0);
            paintOpenModule(painter, m_icons, *module, area.adjusted(2, 4, -2, 0), scene.localization, scale,
                            1);
            painter.restore();
            if (const auto dot = signalColor(*module)) {
                drawSignalDot(painter, QPointF(area.right() - 4, area.top() + 8), 3.5, *dot,
                              pulseOf(*module, scene));
            }
        }
    }
}

bool SurfaceScene::drawsAs(const SurfaceScene& other) const {
    const auto sameModules = [](const std::vector<ModuleSnapshot>& a, const std::vector<ModuleSnapshot>& b) {
        return std::equal(
            a.cbegin(), a.cend(), b.cbegin(), b.cend(), [](const ModuleSnapshot& x, const ModuleSnapshot& y) {
                return x.id == y.id && x.state == y.state && x.group == y.group && x.variants == y.variants;
            });
    };
    return geometry == other.geometry && hoveredModule == other.hoveredModule &&
           localization == other.localization && drawsShadow == other.drawsShadow && pulse == other.pulse &&
           sameModules(modules, other.modules) && sameModules(signalOnly, other.signalOnly);
}

RestingCaption SurfacePainter::notchCaption(const CompactVariant& lead, double width, double height) {
    return RestingCaption::fit(
        lead.title, lead.value, width, notchCaptionSize(height), notchCaptionSmallest, notchCaptionSpacing,
        [](const QString& text, double pixelSize) {
            return QFontMetricsF(font(pixelSize, QFont::Medium)).horizontalAdvance(text);
        },
        [](const QString& text, double pixelSize) {
            return QFontMetricsF(font(pixelSize, QFont::Bold)).horizontalAdvance(text);
        });
}

void SurfacePainter::paintPanelGlass(QPainter& painter, const QRectF& bounds, double cornerRadius) {
    // Nearly opaque: text on it must stay readable over whatever bubble or window lies behind.
    static const QColor glassTop(38, 40, 48, 248);
    static const QColor glassBottom(22, 23, 29, 252);
    static const QColor rim(255, 255, 255, 34);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF box = bounds.adjusted(0.5, 0.5, -0.5, -0.5);
    QPainterPath path;
    path.addRoundedRect(box, cornerRadius, cornerRadius);
    QLinearGradient glass(box.topLeft(), box.bottomLeft());
    glass.setColorAt(0, glassTop);
    glass.setColorAt(1, glassBottom);
    painter.fillPath(path, glass);
    painter.setPen(QPen(rim, 1));
    painter.drawPath(path);
}

} // namespace tessary
