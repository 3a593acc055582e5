#pragma once

#include "core/records/EnumText.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <array>
#include <optional>
#include <utility>

namespace tessary {

// The user's answer to a request to use a tool.
enum class PermissionDecision { allow, deny, dontAsk };

template <>
struct EnumTable<PermissionDecision> {
    static constexpr std::array<std::pair<PermissionDecision, const char*>, 3> cases{{
        {PermissionDecision::allow, "allow"},
        {PermissionDecision::deny, "deny"},
        {PermissionDecision::dontAsk, "dontAsk"},
    }};
};

// What the agent is told for every refusal given on the card.
inline constexpr auto deniedByUserReason = "Denied by the user on Tessary";

// The event name that frames every decision body.
inline constexpr auto permissionRequestEvent = "PermissionRequest";

// A decision checked against the queue: the request it answers, and the answers to its question
// (question text to chosen label), if any.
struct PermissionResponse {
    QString requestID;
    PermissionDecision decision = PermissionDecision::allow;
    QHash<QString, QString> answers;
    bool operator==(const PermissionResponse&) const = default;
};

// What an agent can read from a decision.
struct DecisionReader {
    // The raw tool name of the call, used by the session rule of "always allow".
    QString tool;
    // The "permission_suggestions" of the request.
    QJsonArray suggestions;
    bool supportsAlwaysAllow = false;
    bool acceptsUpdatedInput = false;
};

// The hook output that carries `decision`:
// {"hookSpecificOutput":{"hookEventName":"PermissionRequest","decision":{...}}}. A "dontAsk" that the
// agent cannot keep is a plain allow; a deny always carries `reason` as its message; `updatedInput`
// is passed only to an agent that reads it.
QJsonObject decisionPayload(PermissionDecision decision, const QString& reason,
                            const std::optional<QJsonObject>& updatedInput, const DecisionReader& reader);

// The decision as it is sent: "dontAsk" for an agent that cannot keep it is "allow".
PermissionDecision effectiveDecision(PermissionDecision decision, bool supportsAlwaysAllow);

// The rules an "always allow" leaves behind: the agent's own suggestion to allow, when it made one,
// else a rule for the session allowing the raw tool name.
QJsonArray permissionUpdates(const QString& tool, const QJsonArray& suggestions);

// Frames a decision object as the hook's output.
QJsonObject permissionRequestOutput(const QJsonObject& decision);

} // namespace tessary
