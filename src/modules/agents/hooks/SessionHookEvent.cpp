#include "modules/agents/hooks/SessionHookEvent.h"

#include "core/json/JsonFields.h"
#include "modules/agents/permissions/PermissionSummary.h"

#include <QJsonArray>
#include <QSet>

#include <cmath>

namespace tessary {

namespace {

using json::string;

std::optional<QString> nonEmpty(std::optional<QString> text) {
    if (text && text->isEmpty()) {
        return std::nullopt;
    }
    return text;
}

std::optional<QString> nonEmptyString(const QJsonObject& body, const char* key) {
    return nonEmpty(string(body, QLatin1StringView(key)));
}

// A JSON number taken by its integer value; anything else is absent.
std::optional<qint64> integer(const QJsonObject& body, const char* key) {
    const QJsonValue value = body.value(QLatin1StringView(key));
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const double number = std::trunc(value.toDouble());
    constexpr double limit = 9.2e18;
    if (!std::isfinite(number) || number > limit || number < -limit) {
        return std::nullopt;
    }
    return static_cast<qint64>(number);
}

template <typename T, typename Read>
QList<T> objectsOf(const QJsonObject& body, const char* key, Read read) {
    QList<T> items;
    const QJsonValue value = body.value(QLatin1StringView(key));
    if (!value.isArray()) {
        return items;
    }
    const QJsonArray array = value.toArray();
    for (const auto& item : array) {
        if (item.isObject()) {
            items.append(read(item.toObject()));
        }
    }
    return items;
}

SessionHookEvent::BackgroundTask backgroundTask(const QJsonObject& object) {
    return {string(object, QLatin1StringView("id")), string(object, QLatin1StringView("type")),
            string(object, QLatin1StringView("status")), string(object, QLatin1StringView("description")),
            string(object, QLatin1StringView("agent_type"))};
}

SessionHookEvent::SessionCron sessionCron(const QJsonObject& object) {
    return {string(object, QLatin1StringView("id")), string(object, QLatin1StringView("schedule")),
            json::boolean(object, QLatin1StringView("recurring"))};
}

bool isWakingEvent(const QString& name) {
    static const QSet<QString> waking{
        QStringLiteral("UserPromptSubmit"),  QStringLiteral("PreToolUse"),
        QStringLiteral("PostToolUse"),       QStringLiteral("PostToolUseFailure"),
        QStringLiteral("PermissionRequest"), QStringLiteral("Stop"),
        QStringLiteral("Interrupt"),         QStringLiteral("StopFailure"),
        QStringLiteral("SessionStart"),      QStringLiteral("SessionEnd"),
        QStringLiteral("PostModelSwitch"),
    };
    return waking.contains(name);
}

SessionHookEvent::Case eventCase(const QString& name, const QJsonObject& body) {
    using E = SessionHookEvent;
    if (name == QLatin1StringView("SessionStart")) {
        return E::SessionStart{string(body, QLatin1StringView("source")), integer(body, "context_tokens")};
    }
    if (name == QLatin1StringView("SessionEnd")) {
        return E::SessionEnd{};
    }
    if (name == QLatin1StringView("UserPromptSubmit")) {
        return E::UserPromptSubmit{};
    }
    if (name == QLatin1StringView("Stop")) {
        return E::Stop{string(body, QLatin1StringView("last_assistant_message")),
                       objectsOf<E::BackgroundTask>(body, "background_tasks", backgroundTask),
                       objectsOf<E::SessionCron>(body, "session_crons", sessionCron),
                       nonEmptyString(body, "turn_id")};
    }
    if (name == QLatin1StringView("Interrupt")) {
        return E::Interrupt{nonEmptyString(body, "turn_id")};
    }
    if (name == QLatin1StringView("StopFailure")) {
        const auto code = string(body, QLatin1StringView("error"));
        return E::Failure{code, code ? enumFromRaw<StopFailureKind>(*code) : std::nullopt,
                          string(body, QLatin1StringView("error_details"))};
    }
    if (name == QLatin1StringView("SubagentStart") || name == QLatin1StringView("SubagentStop")) {
        const auto id = nonEmptyString(body, "agent_id");
        if (!id) {
            return E::Other{};
        }
        const auto type = nonEmptyString(body, "agent_type");
        if (name == QLatin1StringView("SubagentStart")) {
            return E::SubagentStart{*id, type};
        }
        return E::SubagentStop{*id, type};
    }
    if (name == QLatin1StringView("TaskCreated") || name == QLatin1StringView("TaskCompleted")) {
        const auto id = nonEmptyString(body, "task_id");
        if (!id) {
            return E::Other{};
        }
        const auto subject = string(body, QLatin1StringView("task_subject"));
        if (name == QLatin1StringView("TaskCreated")) {
            return E::TaskCreated{*id, subject};
        }
        return E::TaskCompleted{*id, subject};
    }
    if (name == QLatin1StringView("PermissionDenied")) {
        const auto tool = readableTool(string(body, QLatin1StringView("tool_name")));
        std::optional<QString> summary;
        if (tool) {
            summary = summarizePermission(
                *tool, json::object(body, QLatin1StringView("tool_input")).value_or(QJsonObject()));
        }
        return E::Denial{string(body, QLatin1StringView("tool_use_id")), tool, summary,
                         string(body, QLatin1StringView("reason"))};
    }
    if (name == QLatin1StringView("PreCompact")) {
        return E::PreCompact{string(body, QLatin1StringView("trigger"))};
    }
    if (name == QLatin1StringView("PostCompact")) {
        return E::PostCompact{string(body, QLatin1StringView("trigger"))};
    }
    if (name == QLatin1StringView("CwdChanged")) {
        if (auto directory = nonEmptyString(body, "new_cwd")) {
            return E::CwdChanged{*directory};
        }
    }
    return E::Other{};
}

bool isTrue(const QJsonObject& object, const char* key) {
    return json::boolean(object, QLatin1StringView(key)).value_or(false);
}

std::optional<qint64> exitCode(const QJsonObject& object) {
    for (const char* key : {"exit_code", "exitCode"}) {
        if (auto code = integer(object, key)) {
            return code;
        }
    }
    return std::nullopt;
}

std::optional<QString> toolError(const QJsonObject& response) {
    for (const char* key : {"error", "message", "stderr", "output"}) {
        if (auto text = nonEmptyString(response, key)) {
            return text;
        }
    }
    QStringList texts;
    const QJsonArray content = response.value(QLatin1StringView("content")).toArray();
    for (const auto& item : content) {
        if (auto text = nonEmptyString(item.toObject(), "text")) {
            texts.append(*text);
        }
    }
    if (texts.isEmpty()) {
        return std::nullopt;
    }
    return texts.join(u'\n');
}

} // namespace

std::optional<SessionHookEvent::Reading> SessionHookEvent::read(const QJsonObject& body) {
    const auto name = string(body, QLatin1StringView("hook_event_name"));
    if (!name) {
        return std::nullopt;
    }
    Reading reading;
    reading.event.value = eventCase(*name, body);
    reading.clearsBackgroundWait = isWakingEvent(*name) && !nonEmptyString(body, "agent_id");
    return reading;
}

SessionHookEvent::ToolOutcome SessionHookEvent::toolOutcome(const QString& eventName,
                                                            const QJsonValue& response,
                                                            const std::optional<QString>& legacyError) {
    if (eventName == QLatin1StringView("PostToolUseFailure")) {
        return {true, nonEmpty(legacyError)};
    }
    if (!response.isObject()) {
        return {false, std::nullopt};
    }
    const QJsonObject object = response.toObject();
    bool failed = isTrue(object, "isError") || isTrue(object, "is_error") ||
                  json::boolean(object, QLatin1StringView("success")) == std::optional(false);
    if (!failed) {
        auto code = exitCode(object);
        if (!code) {
            code = exitCode(json::object(object, QLatin1StringView("metadata")).value_or(QJsonObject()));
        }
        failed = code && *code != 0;
    }
    if (!failed) {
        return {false, std::nullopt};
    }
    return {true, toolError(object)};
}

} // namespace tessary
