#include "modules/agents/permissions/HeldRequestRelease.h"

#include "core/json/JsonFields.h"

namespace tessary::HeldRequestRelease {

Held Held::of(QString id, QString sessionID, const QString& tool, const QJsonObject& input, QDateTime askedAt,
              std::optional<qint32> agentPID) {
    std::optional<QString> command;
    if (tool == QLatin1StringView("Bash")) {
        command = json::string(input, QLatin1StringView("command"));
    }
    return {std::move(id),      std::move(sessionID), ToolCallFingerprint::of(tool, input),
            std::move(askedAt), std::move(command),   agentPID};
}

} // namespace tessary::HeldRequestRelease
