#pragma once

#include "core/records/SurfaceRecords.h"

#include <QMap>
#include <QRectF>
#include <QSettings>
#include <QString>

#include <optional>

namespace tessary {

// Converts between a frame and its place in the room a container leaves it.
namespace SurfacePositionResolver {
NormalizedSurfacePosition normalizedPosition(const QRectF& frame, const QRectF& container);
QRectF frame(const NormalizedSurfacePosition& position, const QSizeF& size, const QRectF& container);
} // namespace SurfacePositionResolver

// Where the user left each surface, per display and module.
class SurfacePositionStore {
public:
    using Positions = QMap<QString, QMap<QString, NormalizedSurfacePosition>>;

    explicit SurfacePositionStore(QSettings& defaults);

    void save(const QRectF& frame, const QRectF& container, const QString& displayID,
              const QString& moduleID);
    [[nodiscard]] std::optional<NormalizedSurfacePosition> position(const QString& displayID,
                                                                    const QString& moduleID) const;
    [[nodiscard]] Positions positions() const;

    static Positions decode(const QByteArray& json);
    static QByteArray encode(const Positions& positions);

private:
    QSettings& m_defaults;
    // Read once; the refresh asks for positions on every tick, and memory is the truth afterwards.
    mutable std::optional<Positions> m_positions;
    const Positions& loaded() const;
    Positions& loaded();
};

} // namespace tessary
