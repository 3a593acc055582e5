#include "modules/agents/live/BackgroundAgentState.h"

#include "core/time/Clock.h"

namespace tessary {

namespace {

bool isFinished(const std::optional<ClaudeAgentList::BackgroundAgent::State>& state) {
    using State = ClaudeAgentList::BackgroundAgent::State;
    return state == State::done || state == State::failed || state == State::stopped;
}

} // namespace

QHash<QString, BackgroundAgentState>
BackgroundAgentState::observe(const QList<ClaudeAgentList::BackgroundAgent>& agents, const QDateTime& at,
                              const QHash<QString, BackgroundAgentState>& previous, bool isFirstReading) {
    QHash<QString, BackgroundAgentState> next;
    for (const ClaudeAgentList::BackgroundAgent& agent : agents) {
        const QString key = agent.key();
        const auto known = previous.constFind(key);
        BackgroundAgentState state;
        if (known != previous.cend() && known->agent.state == agent.state) {
            state = *known;
        } else {
            state.since = at;
            state.isBaseline = isFirstReading;
            state.finishedAt = isFinished(agent.state) ? std::optional(at) : std::nullopt;
        }
        state.agent = agent;
        state.isUnrecognized =
            !agent.state || *agent.state == ClaudeAgentList::BackgroundAgent::State::unknown;
        state.lastSeen = at;
        next.insert(key, state);
    }
    for (auto known = previous.cbegin(); known != previous.cend(); ++known) {
        if (!next.contains(known.key()) && secondsBetween(known->lastSeen, at) < missingGrace) {
            next.insert(known.key(), *known);
        }
    }
    return next;
}

} // namespace tessary
