#pragma once

#include "modules/agents/live/AgentLiveState.h"
#include "modules/agents/live/ClaudeAgentList.h"

#include <QDateTime>
#include <QHash>
#include <QList>

#include <optional>

namespace tessary {

// A session's state as Claude Code's own agent list tells it.
struct OfficialSessionState {
    ClaudeAgentList::Status status = ClaudeAgentList::Status::unknown;
    std::optional<ClaudeAgentList::WaitingFor> waitingFor;
    QDateTime since;
    // First seen on the first reading of the list: its real beginning is unknown.
    bool isBaseline = false;
    bool operator==(const OfficialSessionState&) const = default;

    // busy: working; waiting: blocked; idle: waiting; unknown: nothing.
    [[nodiscard]] std::optional<AgentActivity> activity() const { return activityOf(status); }
    static std::optional<AgentActivity> activityOf(ClaudeAgentList::Status status);
};

// What wins when the hooks and the agent list disagree about a session. The hooks are fast but
// can go silent; the list is slow but says what Claude Code believes. A failure a hook reported
// always stands; otherwise the list decides the activity, and the hook fills in what the list
// doesn't know (the tool, and when a state it agrees with began).
namespace LiveStatePrecedence {

std::optional<AgentLiveState> resolve(const std::optional<AgentLiveState>& hook,
                                      const std::optional<OfficialSessionState>& official);

// The rule for every session of either map; a session with no result keeps its hook state.
QHash<QString, AgentLiveState> resolve(const QHash<QString, AgentLiveState>& hooks,
                                       const QHash<QString, OfficialSessionState>& official);

// The official states of one reading of the list at `at`. A state the list repeats keeps its
// beginning; a new one begins when the hooks say it began, if they agree with it, else at `at`.
// Sessions without a status, and sessions gone from the list, have none.
QHash<QString, OfficialSessionState> observe(const QList<ClaudeAgentList::Session>& sessions,
                                             const QDateTime& at,
                                             const QHash<QString, OfficialSessionState>& previous,
                                             const QHash<QString, AgentLiveState>& hooks,
                                             bool isFirstReading);

} // namespace LiveStatePrecedence

} // namespace tessary
