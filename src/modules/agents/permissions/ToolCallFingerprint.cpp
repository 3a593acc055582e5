#include "modules/agents/permissions/ToolCallFingerprint.h"

#include <QCryptographicHash>
#include <QJsonDocument>

namespace tessary {

ToolCallFingerprint ToolCallFingerprint::of(const QString& tool, const QJsonObject& input) {
    QJsonObject stable = input;
    stable.remove(QLatin1StringView("answers"));
    if (tool == QLatin1StringView("Bash")) {
        stable.remove(QLatin1StringView("description"));
    }
    // QJsonObject keeps its keys sorted, so the compact text is the same for the same input.
    const QByteArray text = QJsonDocument(stable).toJson(QJsonDocument::Compact);
    return {tool, QCryptographicHash::hash(text, QCryptographicHash::Sha256)};
}

} // namespace tessary
