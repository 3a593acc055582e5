#pragma once

#include <QColor>
#include <QHash>
#include <QImage>
#include <QString>

namespace tessary {

// Renders the bundled line icons at the size, pixel ratio and colour asked for, once each.
class SymbolIconCache {
public:
    // The icon for a symbol name (SymbolCatalog picks the file), `side` logical pixels square.
    [[nodiscard]] const QImage& icon(const QString& symbolName, int side, qreal devicePixelRatio,
                                     const QColor& color);
    [[nodiscard]] qsizetype size() const { return m_images.size(); }

private:
    [[nodiscard]] static QImage render(const QString& iconName, int side, qreal devicePixelRatio,
                                       const QColor& color);

    QHash<QString, QImage> m_images;
};

} // namespace tessary
