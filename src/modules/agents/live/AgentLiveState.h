#pragma once

#include "core/records/EnumText.h"
#include "modules/agents/live/ClaudeAgentList.h"
#include "modules/agents/permissions/ToolCallFingerprint.h"

#include <QDateTime>
#include <QString>

#include <array>
#include <optional>
#include <utility>
#include <variant>

namespace tessary {

// What a session is doing, as its hooks tell it.
enum class AgentActivity { working, waiting, blocked, failed };

template <>
struct EnumTable<AgentActivity> {
    static constexpr std::array<std::pair<AgentActivity, const char*>, 4> cases{{
        {AgentActivity::working, "working"},
        {AgentActivity::waiting, "waiting"},
        {AgentActivity::blocked, "blocked"},
        {AgentActivity::failed, "failed"},
    }};
};

struct AgentLiveState {
    AgentActivity activity = AgentActivity::waiting;
    std::optional<QString> tool;
    std::optional<QString> failure;
    QDateTime since;
    // What a blocked session waits for, when Claude Code's agent list says so.
    std::optional<ClaudeAgentList::WaitingFor> waitingFor;
    bool operator==(const AgentLiveState&) const = default;
};

// The model a session's hooks reported, and the one before it.
struct LiveModel {
    QString model;
    std::optional<QString> previous;
    QDateTime at;
    bool operator==(const LiveModel&) const = default;
};

struct AgentTurnResult {
    enum class Kind { completed, interrupted };

    QString sessionID;
    std::optional<QString> turnID;
    Kind kind = Kind::completed;
    QDateTime at;

    // "<session>:<turn>"; without a turn id, the time stands in for it.
    [[nodiscard]] QString id() const;

    bool operator==(const AgentTurnResult&) const = default;
};

// A tool call that started and has not ended yet.
struct ToolStart {
    QString sessionID;
    QString tool;
    QString summary;
    std::optional<ToolCallFingerprint> fingerprint;
    QDateTime at;
    bool operator==(const ToolStart&) const = default;
};

// A finished tool call.
struct ToolRun {
    // Whether the call waited for the user's permission, and until when.
    struct Answered {
        QDateTime at;
        bool operator==(const Answered&) const = default;
    };
    struct NotAsked {
        bool operator==(const NotAsked&) const = default;
    };
    struct Unknown {
        bool operator==(const Unknown&) const = default;
    };
    using Wait = std::variant<Answered, NotAsked, Unknown>;

    QString id;
    QString sessionID;
    QString tool;
    QString summary;
    QDateTime startedAt;
    QDateTime endedAt;
    bool failed = false;
    Wait wait = Unknown{};
    std::optional<QString> error;

    // Seconds the tool itself ran, leaving out time spent waiting for the user; nothing when the
    // wait is unknown.
    [[nodiscard]] std::optional<double> runningTime() const;

    bool operator==(const ToolRun&) const = default;
};

// A permission question the agent asked for a tool call, and when it was answered on the card.
struct PermissionAsk {
    QString sessionID;
    ToolCallFingerprint fingerprint;
    QDateTime askedAt;
    std::optional<QDateTime> answeredAt;
    bool operator==(const PermissionAsk&) const = default;
};

namespace AgentChanges {

// A tool call counts as long-running from three minutes of running time.
inline constexpr double longRunningThreshold = 180.0;

// The running time of a finished call that ran long, else nothing.
std::optional<double> longRunningTime(const ToolRun& run);

} // namespace AgentChanges

} // namespace tessary
