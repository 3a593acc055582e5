#include "modules/agents/live/LiveStatePrecedence.h"

#include <QSet>

namespace tessary {

std::optional<AgentActivity> OfficialSessionState::activityOf(ClaudeAgentList::Status status) {
    switch (status) {
    case ClaudeAgentList::Status::busy:
        return AgentActivity::working;
    case ClaudeAgentList::Status::waiting:
        return AgentActivity::blocked;
    case ClaudeAgentList::Status::idle:
        return AgentActivity::waiting;
    case ClaudeAgentList::Status::unknown:
        break;
    }
    return std::nullopt;
}

namespace LiveStatePrecedence {

std::optional<AgentLiveState> resolve(const std::optional<AgentLiveState>& hook,
                                      const std::optional<OfficialSessionState>& official) {
    const auto mapped = official ? official->activity() : std::nullopt;
    if (!mapped) {
        return hook;
    }
    if (hook && hook->activity == AgentActivity::failed) {
        return hook;
    }
    const auto waitingFor = *mapped == AgentActivity::blocked ? official->waitingFor : std::nullopt;
    if (hook && hook->activity == *mapped) {
        if (*mapped != AgentActivity::blocked) {
            return hook;
        }
        AgentLiveState blocked{AgentActivity::blocked, hook->tool, std::nullopt, official->since};
        blocked.waitingFor = waitingFor;
        return blocked;
    }
    AgentLiveState decided{*mapped, std::nullopt, std::nullopt, official->since};
    decided.waitingFor = waitingFor;
    return decided;
}

QHash<QString, AgentLiveState> resolve(const QHash<QString, AgentLiveState>& hooks,
                                       const QHash<QString, OfficialSessionState>& official) {
    QHash<QString, AgentLiveState> resolved = hooks;
    QSet<QString> ids;
    for (auto it = hooks.cbegin(); it != hooks.cend(); ++it) {
        ids.insert(it.key());
    }
    for (auto it = official.cbegin(); it != official.cend(); ++it) {
        ids.insert(it.key());
    }
    for (const QString& id : std::as_const(ids)) {
        const auto hook = hooks.constFind(id);
        const auto listed = official.constFind(id);
        const auto result = resolve(hook != hooks.cend() ? std::optional(*hook) : std::nullopt,
                                    listed != official.cend() ? std::optional(*listed) : std::nullopt);
        if (result) {
            resolved.insert(id, *result);
        }
    }
    return resolved;
}

QHash<QString, OfficialSessionState> observe(const QList<ClaudeAgentList::Session>& sessions,
                                             const QDateTime& at,
                                             const QHash<QString, OfficialSessionState>& previous,
                                             const QHash<QString, AgentLiveState>& hooks,
                                             bool isFirstReading) {
    QHash<QString, OfficialSessionState> observed;
    for (const ClaudeAgentList::Session& session : sessions) {
        if (!session.status) {
            continue;
        }
        const ClaudeAgentList::Status status = *session.status;
        const std::optional<ClaudeAgentList::WaitingFor> waitingFor =
            status == ClaudeAgentList::Status::waiting
                ? std::optional(session.waitingFor.value_or(ClaudeAgentList::WaitingFor::unknown))
                : std::nullopt;

        if (const auto known = previous.constFind(session.sessionID);
            known != previous.cend() && known->status == status && known->waitingFor == waitingFor) {
            observed.insert(session.sessionID, *known);
            continue;
        }

        std::optional<QDateTime> anchor;
        const auto hook = hooks.constFind(session.sessionID);
        const auto activity = OfficialSessionState::activityOf(status);
        if (hook != hooks.cend() && activity && hook->activity == *activity && hook->since <= at) {
            anchor = hook->since;
        }
        observed.insert(session.sessionID, OfficialSessionState{status, waitingFor, anchor.value_or(at),
                                                                isFirstReading && !anchor});
    }
    return observed;
}

} // namespace LiveStatePrecedence

} // namespace tessary
