#pragma once

// One hook request's body, read once into the fields the rest of the program uses. The listener
// hands it on as it is; the per-session hook state, the release of held requests and the routing of
// the event all work from it, never from the body.

#include "modules/agents/hooks/SessionHookEvent.h"
#include "modules/agents/live/AgentLiveState.h"
#include "modules/agents/permissions/HeldRequestRelease.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <optional>
#include <variant>

namespace tessary {

namespace hook {
// The agent asks whether a tool may run: answered on this request's connection.
struct PermissionRequest {
    QJsonArray suggestions; // the agent's own "always allow" suggestions, objects only
    bool operator==(const PermissionRequest&) const = default;
};
struct SessionStarted {
    std::optional<QString> source;
    std::optional<QString> model;
    bool operator==(const SessionStarted&) const = default;
};
struct ModelSwitched {
    QString model;
    std::optional<QString> previous;
    bool operator==(const ModelSwitched&) const = default;
};
struct PromptSubmitted {
    bool operator==(const PromptSubmitted&) const = default;
};
// A tool is about to run (or, for an agent that asks outside the permission request, a question).
struct ToolStarting {
    bool operator==(const ToolStarting&) const = default;
};
struct ToolFinished {
    QString toolUseID;
    bool failed = false;
    std::optional<QString> error;
    bool operator==(const ToolFinished&) const = default;
};
// The turn ended, done or interrupted; the agent waits for the user.
struct TurnEnded {
    AgentTurnResult::Kind kind = AgentTurnResult::Kind::completed;
    std::optional<QString> turnID;
    bool operator==(const TurnEnded&) const = default;
};
struct TurnFailed {
    std::optional<QString> error;
    bool operator==(const TurnFailed&) const = default;
};
// A notification; `activity` when it tells that the agent is blocked or waits.
struct Notified {
    std::optional<AgentActivity> activity;
    bool operator==(const Notified&) const = default;
};
struct DirectoryChanged {
    std::optional<QString> directory;
    bool operator==(const DirectoryChanged&) const = default;
};
struct SessionEnded {
    bool operator==(const SessionEnded&) const = default;
};
// Subagents, tasks, denials and compaction: told only through the session's hook state.
struct SessionStateChanged {
    bool operator==(const SessionStateChanged&) const = default;
};
// Any other event, or one without its name.
struct Other {
    bool operator==(const Other&) const = default;
};
} // namespace hook

struct HookEvent {
    using Kind = std::variant<hook::Other, hook::PermissionRequest, hook::SessionStarted, hook::ModelSwitched,
                              hook::PromptSubmitted, hook::ToolStarting, hook::ToolFinished, hook::TurnEnded,
                              hook::TurnFailed, hook::Notified, hook::DirectoryChanged, hook::SessionEnded,
                              hook::SessionStateChanged>;

    QString sessionID;
    std::optional<QString> name;      // "hook_event_name"
    std::optional<QString> directory; // "cwd", when not empty
    std::optional<QString> tool;      // the raw "tool_name"
    std::optional<QString> toolUseID;
    QJsonObject toolInput; // empty when absent or not an object
    Kind kind = hook::Other{};
    // What the session's hook state and the release of held requests take from the same body.
    std::optional<SessionHookEvent::Reading> hookState;
    HeldRequestRelease::Event release;

    bool operator==(const HookEvent&) const = default;

    // Nothing for a body without a string "session_id"; fields of the wrong type are absent.
    static std::optional<HookEvent> read(const QJsonObject& body);
};

} // namespace tessary
