#pragma once

#include "modules/agents/permissions/ToolCallFingerprint.h"

#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace tessary {

namespace HeldRequestRelease {

// What is kept of a request on hold (or on show) to tell when it was answered elsewhere.
struct Held {
    QString id;
    QString sessionID;
    ToolCallFingerprint fingerprint;
    QDateTime askedAt;
    // The shell command of a "Bash" call, matched against the agent's running processes.
    std::optional<QString> command;
    std::optional<qint32> agentPID;

    // Derives the fingerprint from the raw tool name and input, and the command from a "Bash" input.
    static Held of(QString id, QString sessionID, const QString& tool, const QJsonObject& input,
                   QDateTime askedAt, std::optional<qint32> agentPID);

    bool operator==(const Held&) const = default;
};

} // namespace HeldRequestRelease

} // namespace tessary
