#include "platform/workspace/linux/QtScreenReader.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

namespace tessary {

namespace {

bool hasGuiApplication() {
    return qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr;
}

DisplaySnapshot snapshotOf(const QScreen& screen, bool isMain) {
    DisplaySnapshot display;
    display.id = screen.name();
    QStringList parts;
    for (const QString& part : {screen.manufacturer().trimmed(), screen.model().trimmed()}) {
        if (!part.isEmpty()) {
            parts.append(part);
        }
    }
    const QString model = parts.join(u' ');
    display.name = model.isEmpty() ? screen.name() : model;
    display.frame = QRectF(screen.geometry());
    display.visibleFrame = QRectF(screen.availableGeometry());
    display.scale = screen.devicePixelRatio();
    display.isMain = isMain;
    return display;
}

} // namespace

std::vector<DisplaySnapshot> QtScreenReader::readDisplays() const {
    std::vector<DisplaySnapshot> displays;
    if (!hasGuiApplication()) {
        return displays;
    }
    const QScreen* primary = QGuiApplication::primaryScreen();
    if (primary != nullptr) {
        displays.push_back(snapshotOf(*primary, true));
    }
    const auto screens = QGuiApplication::screens();
    for (const QScreen* screen : screens) {
        if (screen != primary) {
            displays.push_back(snapshotOf(*screen, false));
        }
    }
    return displays;
}

std::optional<QRectF> QtScreenReader::visibleFrame(const QString& displayID) const {
    if (!hasGuiApplication()) {
        return std::nullopt;
    }
    const auto screens = QGuiApplication::screens();
    for (const QScreen* screen : screens) {
        if (screen->name() == displayID) {
            return QRectF(screen->availableGeometry());
        }
    }
    return std::nullopt;
}

QPointF QtScreenReader::cursorLocation() const {
    return hasGuiApplication() ? QPointF(QCursor::pos()) : QPointF();
}

} // namespace tessary
