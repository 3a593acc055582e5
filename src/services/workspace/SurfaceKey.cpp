#include "services/workspace/SurfaceKey.h"

namespace tessary::SurfaceKey {

using namespace Qt::StringLiterals;

namespace {
constexpr auto fusedPrefix = "fundido:";
}

QString make(const QStringList& moduleIDs, const QString& displayID) {
    if (moduleIDs.size() == 1) {
        return moduleIDs.front() + u'@' + displayID;
    }
    QStringList sorted = moduleIDs;
    sorted.sort();
    return QLatin1StringView(fusedPrefix) + sorted.join(u'|') + u'@' + displayID;
}

std::optional<Parts> parse(const QString& key) {
    const qsizetype at = key.lastIndexOf(u'@');
    if (at <= 0 || at == key.size() - 1) {
        return std::nullopt;
    }
    QString name = key.left(at);
    Parts parts;
    parts.displayID = key.mid(at + 1);
    if (name.startsWith(QLatin1StringView(fusedPrefix))) {
        parts.moduleIDs =
            name.mid(qsizetype(std::char_traits<char>::length(fusedPrefix))).split(u'|', Qt::SkipEmptyParts);
    } else {
        parts.moduleIDs = {name};
    }
    if (parts.moduleIDs.isEmpty()) {
        return std::nullopt;
    }
    return parts;
}

} // namespace tessary::SurfaceKey
