#include "surfaces/SymbolIconCache.h"

#include "surfaces/form/SymbolCatalog.h"

#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

// Caches stay small: a surface draws a handful of icons at two or three sizes.
constexpr qsizetype cacheLimit = 512;

} // namespace

const QImage& SymbolIconCache::icon(const QString& symbolName, int side, qreal devicePixelRatio,
                                    const QColor& color) {
    const QString iconName = SymbolCatalog::iconName(symbolName);
    const QString key = iconName + u'|' + QString::number(side) + u'|' + QString::number(devicePixelRatio) +
                        u'|' + QString::number(color.rgba(), 16);
    if (const auto found = m_images.constFind(key); found != m_images.constEnd()) {
        return *found;
    }
    if (m_images.size() >= cacheLimit) {
        m_images.clear();
    }
    return *m_images.insert(key, render(iconName, side, devicePixelRatio, color));
}

QImage SymbolIconCache::render(const QString& iconName, int side, qreal devicePixelRatio,
                               const QColor& color) {
    const int pixels = std::max(1, static_cast<int>(std::ceil(side * devicePixelRatio)));
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(devicePixelRatio);

    QFile file(SymbolCatalog::resourcePath(iconName));
    if (!file.open(QIODevice::ReadOnly)) {
        file.setFileName(SymbolCatalog::resourcePath(SymbolCatalog::fallbackIconName()));
        file.open(QIODevice::ReadOnly);
    }
    // The icons stroke in "currentColor"; give them the colour to draw in.
    QByteArray svg = file.readAll();
    svg.replace("currentColor", color.name(QColor::HexRgb).toLatin1());
    QSvgRenderer renderer(svg);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(color.alphaF());
    renderer.render(&painter, QRectF(0, 0, side, side));
    return image;
}

} // namespace tessary
