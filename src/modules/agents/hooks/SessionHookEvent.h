#pragma once

#include "modules/agents/hooks/StopFailureKind.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>

#include <optional>
#include <variant>

namespace tessary {

// A hook body read as the event it tells of. Only the fields that the session state uses are
// read; a field of the wrong JSON type counts as absent.
struct SessionHookEvent {
    struct BackgroundTask {
        std::optional<QString> id;
        std::optional<QString> type;
        std::optional<QString> status;
        std::optional<QString> description;
        std::optional<QString> agentType;
        bool operator==(const BackgroundTask&) const = default;
    };
    struct SessionCron {
        std::optional<QString> id;
        std::optional<QString> schedule;
        std::optional<bool> recurring;
        bool operator==(const SessionCron&) const = default;
    };

    struct SessionStart {
        std::optional<QString> source;
        std::optional<qint64> contextTokens;
        bool operator==(const SessionStart&) const = default;
    };
    struct Stop {
        std::optional<QString> lastAssistantMessage;
        QList<BackgroundTask> backgroundTasks;
        QList<SessionCron> sessionCrons;
        std::optional<QString> turnID;
        bool operator==(const Stop&) const = default;
    };
    struct Interrupt {
        std::optional<QString> turnID;
        bool operator==(const Interrupt&) const = default;
    };
    struct Failure {
        std::optional<QString> code;
        std::optional<StopFailureKind> kind;
        std::optional<QString> details;
        bool operator==(const Failure&) const = default;
    };
    struct SubagentStart {
        QString id;
        std::optional<QString> type;
        bool operator==(const SubagentStart&) const = default;
    };
    struct SubagentStop {
        QString id;
        std::optional<QString> type;
        bool operator==(const SubagentStop&) const = default;
    };
    struct TaskCreated {
        QString id;
        std::optional<QString> subject;
        bool operator==(const TaskCreated&) const = default;
    };
    struct TaskCompleted {
        QString id;
        std::optional<QString> subject;
        bool operator==(const TaskCompleted&) const = default;
    };
    struct Denial {
        std::optional<QString> id;
        std::optional<QString> tool;
        std::optional<QString> summary;
        std::optional<QString> reason;
        bool operator==(const Denial&) const = default;
    };
    struct PreCompact {
        std::optional<QString> trigger;
        bool operator==(const PreCompact&) const = default;
    };
    struct PostCompact {
        std::optional<QString> trigger;
        bool operator==(const PostCompact&) const = default;
    };
    struct CwdChanged {
        QString directory;
        bool operator==(const CwdChanged&) const = default;
    };
    struct SessionEnd {
        bool operator==(const SessionEnd&) const = default;
    };
    struct UserPromptSubmit {
        bool operator==(const UserPromptSubmit&) const = default;
    };
    struct Other {
        bool operator==(const Other&) const = default;
    };

    using Case = std::variant<SessionStart, Stop, Interrupt, Failure, SubagentStart, SubagentStop,
                              TaskCreated, TaskCompleted, Denial, PreCompact, PostCompact, CwdChanged,
                              SessionEnd, UserPromptSubmit, Other>;

    struct Reading;

    struct ToolOutcome {
        bool failed = false;
        std::optional<QString> error;
        bool operator==(const ToolOutcome&) const = default;
    };

    Case value = Other{};

    template <typename T>
    [[nodiscard]] const T* as() const {
        return std::get_if<T>(&value);
    }

    // Nothing for a body without a string "hook_event_name"; any name, known or not, gives a reading.
    static std::optional<Reading> read(const QJsonObject& body);

    // Whether a tool call failed, and with what text. `response` is the hook's "tool_response",
    // undefined when absent; `legacyError` its "error".
    static ToolOutcome toolOutcome(const QString& eventName, const QJsonValue& response,
                                   const std::optional<QString>& legacyError);

    bool operator==(const SessionHookEvent&) const = default;
};

struct SessionHookEvent::Reading {
    SessionHookEvent event;
    // The event shows the main agent awake again, which ends a wait on background work.
    bool clearsBackgroundWait = false;
    bool operator==(const Reading&) const = default;
};

} // namespace tessary
