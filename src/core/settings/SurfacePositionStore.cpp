#include "core/settings/SurfacePositionStore.h"

#include "core/settings/SettingsStore.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tessary {

using namespace Qt::StringLiterals;

namespace SurfacePositionResolver {

namespace {
double axis(double origin, double containerOrigin, double room) {
    if (room <= 0) {
        return 0;
    }
    return std::clamp((origin - containerOrigin) / room, 0.0, 1.0);
}
} // namespace

NormalizedSurfacePosition normalizedPosition(const QRectF& frame, const QRectF& container) {
    const double roomX = std::max(container.width() - frame.width(), 0.0);
    const double roomY = std::max(container.height() - frame.height(), 0.0);
    return {axis(frame.left(), container.left(), roomX), axis(frame.top(), container.top(), roomY)};
}

QRectF frame(const NormalizedSurfacePosition& position, const QSizeF& size, const QRectF& container) {
    const double width = std::clamp(size.width(), 0.0, std::max(container.width(), 0.0));
    const double height = std::clamp(size.height(), 0.0, std::max(container.height(), 0.0));
    const double roomX = std::max(container.width() - width, 0.0);
    const double roomY = std::max(container.height() - height, 0.0);
    // A stored position comes from a file that may have been edited or damaged: keep it on the display.
    const auto unit = [](double value) { return std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0; };
    return {container.left() + unit(position.x) * roomX, container.top() + unit(position.y) * roomY, width,
            height};
}

} // namespace SurfacePositionResolver

SurfacePositionStore::SurfacePositionStore(QSettings& defaults)
    : m_defaults(defaults) {}

SurfacePositionStore::Positions SurfacePositionStore::decode(const QByteArray& json) {
    Positions result;
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isObject()) {
        return result;
    }
    const QJsonObject root = document.object();
    for (auto display = root.constBegin(); display != root.constEnd(); ++display) {
        if (!display.value().isObject()) {
            return {};
        }
        const QJsonObject modules = display.value().toObject();
        QMap<QString, NormalizedSurfacePosition> entries;
        for (auto module = modules.constBegin(); module != modules.constEnd(); ++module) {
            const QJsonObject position = module.value().toObject();
            if (!position.value("x"_L1).isDouble() || !position.value("y"_L1).isDouble()) {
                return {};
            }
            entries.insert(module.key(),
                           {position.value("x"_L1).toDouble(), position.value("y"_L1).toDouble()});
        }
        result.insert(display.key(), entries);
    }
    return result;
}

QByteArray SurfacePositionStore::encode(const Positions& positions) {
    QJsonObject root;
    for (auto display = positions.constBegin(); display != positions.constEnd(); ++display) {
        QJsonObject modules;
        for (auto module = display->constBegin(); module != display->constEnd(); ++module) {
            modules.insert(module.key(), QJsonObject{{u"x"_s, module->x}, {u"y"_s, module->y}});
        }
        root.insert(display.key(), modules);
    }
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

const SurfacePositionStore::Positions& SurfacePositionStore::loaded() const {
    if (!m_positions) {
        m_positions =
            decode(m_defaults.value(QLatin1StringView(PreferenceKeys::surfacePositions)).toByteArray());
    }
    return *m_positions;
}

SurfacePositionStore::Positions& SurfacePositionStore::loaded() {
    std::as_const(*this).loaded();
    return *m_positions;
}

SurfacePositionStore::Positions SurfacePositionStore::positions() const {
    return loaded();
}

std::optional<NormalizedSurfacePosition> SurfacePositionStore::position(const QString& displayID,
                                                                        const QString& moduleID) const {
    const Positions& all = loaded();
    const auto display = all.constFind(displayID);
    if (display == all.constEnd() || !display->contains(moduleID)) {
        return std::nullopt;
    }
    return display->value(moduleID);
}

void SurfacePositionStore::save(const QRectF& frame, const QRectF& container, const QString& displayID,
                                const QString& moduleID) {
    Positions& all = loaded();
    all[displayID].insert(moduleID, SurfacePositionResolver::normalizedPosition(frame, container));
    m_defaults.setValue(QLatin1StringView(PreferenceKeys::surfacePositions), encode(all));
    m_defaults.sync();
}

} // namespace tessary
