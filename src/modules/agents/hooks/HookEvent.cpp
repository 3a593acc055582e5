#include "modules/agents/hooks/HookEvent.h"

#include "core/json/JsonFields.h"

#include <QSet>

namespace tessary {

namespace {

using json::string;

std::optional<QString> nonEmpty(const QJsonObject& body, QLatin1StringView key) {
    auto value = string(body, key);
    return value && !value->isEmpty() ? value : std::nullopt;
}

std::optional<AgentActivity> activityForNotification(const std::optional<QString>& type) {
    if (!type) {
        return std::nullopt;
    }
    if (*type == QLatin1StringView("permission_prompt") || *type == QLatin1StringView("elicitation_dialog") ||
        *type == QLatin1StringView("elicitation_url_dialog")) {
        return AgentActivity::blocked;
    }
    if (*type == QLatin1StringView("idle_prompt") || *type == QLatin1StringView("agent_needs_input") ||
        *type == QLatin1StringView("agent_completed")) {
        return AgentActivity::waiting;
    }
    return std::nullopt;
}

HookEvent::Kind kindOf(const QString& name, const QJsonObject& body) {
    if (name == QLatin1StringView("PermissionRequest")) {
        hook::PermissionRequest request;
        for (const QJsonValue suggestion :
             body.value(QLatin1StringView("permission_suggestions")).toArray()) {
            if (suggestion.isObject()) {
                request.suggestions.append(suggestion);
            }
        }
        return request;
    }
    if (name == QLatin1StringView("SessionStart")) {
        return hook::SessionStarted{string(body, QLatin1StringView("source")),
                                    string(body, QLatin1StringView("model"))};
    }
    if (name == QLatin1StringView("PostModelSwitch")) {
        if (const auto model = string(body, QLatin1StringView("to_model"))) {
            return hook::ModelSwitched{*model, string(body, QLatin1StringView("from_model"))};
        }
        return hook::Other{};
    }
    if (name == QLatin1StringView("UserPromptSubmit")) {
        return hook::PromptSubmitted{};
    }
    if (name == QLatin1StringView("PreToolUse")) {
        return hook::ToolStarting{};
    }
    if (name == QLatin1StringView("PostToolUse") || name == QLatin1StringView("PostToolUseFailure")) {
        const auto toolUseID = string(body, QLatin1StringView("tool_use_id"));
        if (!toolUseID) {
            return hook::Other{};
        }
        const auto outcome = SessionHookEvent::toolOutcome(
            name, body.value(QLatin1StringView("tool_response")), string(body, QLatin1StringView("error")));
        return hook::ToolFinished{*toolUseID, outcome.failed, outcome.error};
    }
    if (name == QLatin1StringView("Stop") || name == QLatin1StringView("Interrupt")) {
        return hook::TurnEnded{name == QLatin1StringView("Stop") ? AgentTurnResult::Kind::completed
                                                                 : AgentTurnResult::Kind::interrupted,
                               nonEmpty(body, QLatin1StringView("turn_id"))};
    }
    if (name == QLatin1StringView("StopFailure")) {
        return hook::TurnFailed{string(body, QLatin1StringView("error"))};
    }
    if (name == QLatin1StringView("Notification")) {
        return hook::Notified{activityForNotification(string(body, QLatin1StringView("notification_type")))};
    }
    if (name == QLatin1StringView("CwdChanged")) {
        return hook::DirectoryChanged{nonEmpty(body, QLatin1StringView("new_cwd"))};
    }
    if (name == QLatin1StringView("SessionEnd")) {
        return hook::SessionEnded{};
    }
    static const QSet<QString> sessionStateEvents{
        QStringLiteral("SubagentStart"), QStringLiteral("SubagentStop"),     QStringLiteral("TaskCreated"),
        QStringLiteral("TaskCompleted"), QStringLiteral("PermissionDenied"), QStringLiteral("PreCompact"),
        QStringLiteral("PostCompact"),
    };
    if (sessionStateEvents.contains(name)) {
        return hook::SessionStateChanged{};
    }
    return hook::Other{};
}

} // namespace

std::optional<HookEvent> HookEvent::read(const QJsonObject& body) {
    const auto sessionID = string(body, QLatin1StringView("session_id"));
    if (!sessionID) {
        return std::nullopt;
    }
    HookEvent event;
    event.sessionID = *sessionID;
    event.name = string(body, QLatin1StringView("hook_event_name"));
    event.directory = nonEmpty(body, QLatin1StringView("cwd"));
    event.tool = string(body, QLatin1StringView("tool_name"));
    event.toolUseID = string(body, QLatin1StringView("tool_use_id"));
    event.toolInput = json::object(body, QLatin1StringView("tool_input")).value_or(QJsonObject());
    if (event.name) {
        event.kind = kindOf(*event.name, body);
    }
    event.hookState = SessionHookEvent::read(body);
    event.release = HeldRequestRelease::Event::fromHookBody(body);
    return event;
}

} // namespace tessary
