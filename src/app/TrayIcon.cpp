#include "app/TrayIcon.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace tessary {

QIcon makeTrayIcon() {
    QIcon icon;
    for (const int side : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap(side, side);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        const double unit = side / 16.0;
        const double radius = 1.6 * unit;
        const QColor tile(236, 239, 244);
        const QColor accent(120, 180, 255);
        painter.setPen(Qt::NoPen);
        painter.setBrush(tile);
        painter.drawRoundedRect(QRectF(1 * unit, 1 * unit, 6.5 * unit, 6.5 * unit), radius, radius);
        painter.drawRoundedRect(QRectF(8.5 * unit, 1 * unit, 6.5 * unit, 6.5 * unit), radius, radius);
        painter.setBrush(accent);
        painter.drawRoundedRect(QRectF(1 * unit, 8.5 * unit, 14 * unit, 6.5 * unit), radius, radius);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace tessary
