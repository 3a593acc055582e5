#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// The name of a surface: "<module>@<display>" for one module, "fundido:<a>|<b>@<display>" for a
// fused group (ids sorted). The format is stored with saved positions, so it stays as it is.
namespace SurfaceKey {

QString make(const QStringList& moduleIDs, const QString& displayID);

struct Parts {
    QStringList moduleIDs;
    QString displayID;
    bool operator==(const Parts&) const = default;
};
// Nothing for a text that is not a surface key.
std::optional<Parts> parse(const QString& key);

} // namespace SurfaceKey

} // namespace tessary
