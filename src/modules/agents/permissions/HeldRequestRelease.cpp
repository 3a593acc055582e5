#include "modules/agents/permissions/HeldRequestRelease.h"

#include "core/json/JsonFields.h"

#include <algorithm>

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

Event Event::fromHookBody(const QJsonObject& body) {
    return {json::string(body, QLatin1StringView("hook_event_name")),
            json::string(body, QLatin1StringView("session_id")),
            json::string(body, QLatin1StringView("tool_name")),
            json::object(body, QLatin1StringView("tool_input")),
            {}};
}

Event Event::closed(const QSet<QString>& requestIDs) {
    return {std::nullopt, std::nullopt, std::nullopt, std::nullopt, requestIDs};
}

const QStringList& turnEnders() {
    static const QStringList names{QStringLiteral("UserPromptSubmit"), QStringLiteral("Stop"),
                                   QStringLiteral("StopFailure"), QStringLiteral("SessionEnd")};
    return names;
}

const QStringList& toolEnders() {
    static const QStringList names{QStringLiteral("PostToolUse"), QStringLiteral("PostToolUseFailure")};
    return names;
}

const QStringList& replacedByNewRequest() {
    static const QStringList tools{QStringLiteral("ExitPlanMode")};
    return tools;
}

bool shouldRelease(const Held& held, const Event& event,
                   const std::optional<ToolCallFingerprint>& eventFingerprint) {
    if (!event.closedRequestIDs.isEmpty()) {
        return event.closedRequestIDs.contains(held.id);
    }
    if (!event.name || !event.sessionID || *event.sessionID != held.sessionID) {
        return false;
    }
    if (turnEnders().contains(*event.name)) {
        return true;
    }
    if (*event.name == QLatin1StringView("PermissionRequest")) {
        // A new plan replaces the old one; any other second request leaves the first waiting.
        return event.tool && replacedByNewRequest().contains(*event.tool) &&
               *event.tool == held.fingerprint.tool;
    }
    if (toolEnders().contains(*event.name)) {
        return event.tool && *event.tool == held.fingerprint.tool && eventFingerprint &&
               *eventFingerprint == held.fingerprint;
    }
    return false;
}

QStringList requestsToRelease(const QList<Held>& held, const Event& event) {
    const bool isToolEnd =
        event.closedRequestIDs.isEmpty() && event.name && toolEnders().contains(*event.name);
    std::optional<ToolCallFingerprint> fingerprint;
    if (isToolEnd && event.tool && event.input) {
        const bool anyCandidate = std::any_of(held.cbegin(), held.cend(), [&](const Held& record) {
            return event.sessionID == record.sessionID && *event.tool == record.fingerprint.tool;
        });
        if (anyCandidate) {
            fingerprint = ToolCallFingerprint::of(*event.tool, *event.input);
        }
    }

    QList<const Held*> matched;
    for (const Held& record : held) {
        if (shouldRelease(record, event, fingerprint)) {
            matched.append(&record);
        }
    }
    QStringList ids;
    if (isToolEnd) {
        // One tool run proves one approval: of identical waiting calls, the oldest was the one.
        const auto oldest =
            std::min_element(matched.cbegin(), matched.cend(),
                             [](const Held* a, const Held* b) { return a->askedAt < b->askedAt; });
        if (oldest != matched.cend()) {
            ids.append((*oldest)->id);
        }
        return ids;
    }
    for (const Held* record : std::as_const(matched)) {
        if (!ids.contains(record->id)) {
            ids.append(record->id);
        }
    }
    return ids;
}

} // namespace tessary::HeldRequestRelease
