#include "modules/agents/changes/AgentChanges.h"

#include "core/time/Clock.h"

#include <QSet>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

using Kind = AgentChange::Kind;

// The wait of one session, if any: the most pressing form of it.
std::optional<Kind> wait(const QString& sessionID, const AgentChanges::Inputs& inputs,
                         const AgentLiveState& state) {
    bool asksQuestion = false;
    bool asksPermission = false;
    if (inputs.sources.permissionRequest) {
        for (const PendingPermission& request : inputs.requests) {
            if (request.sessionID == sessionID) {
                (request.question ? asksQuestion : asksPermission) = true;
            }
        }
    }
    if (asksQuestion) {
        return AgentChange::Question{};
    }
    if (asksPermission) {
        return AgentChange::Permission{};
    }
    if (state.activity != AgentActivity::blocked) {
        return std::nullopt;
    }
    // A wait that only the first reading of the list shows began at an unknown time.
    const auto official = inputs.official.constFind(sessionID);
    const auto hook = inputs.hooks.constFind(sessionID);
    const bool hookConfirms = hook != inputs.hooks.cend() && hook->activity == AgentActivity::blocked;
    if (official != inputs.official.cend() && official->isBaseline && !hookConfirms) {
        return std::nullopt;
    }
    if (state.waitingFor == ClaudeAgentList::WaitingFor::permission) {
        return AgentChange::Permission{};
    }
    if (state.waitingFor == ClaudeAgentList::WaitingFor::input) {
        return AgentChange::Question{};
    }
    if (!state.waitingFor && !hookConfirms) {
        return std::nullopt;
    }
    // A blocked hook state without a list is the hooks' own word: a notification came.
    if (!state.waitingFor && !inputs.sources.notification) {
        return std::nullopt;
    }
    return AgentChange::Waiting{};
}

QString kindName(const Kind& kind) {
    static const std::array<QLatin1StringView, std::variant_size_v<Kind>> names{
        "stopped"_L1,    "tool-finished"_L1, "tool-failed"_L1, "background"_L1,   "question"_L1,
        "permission"_L1, "waiting"_L1,       "completed"_L1,   "desktop-reply"_L1};
    return names.at(kind.index());
}

} // namespace

AgentChanges::Sources AgentChanges::Sources::hooks(const QStringList& events) {
    Sources sources;
    sources.permissionRequest = events.contains("PermissionRequest"_L1);
    sources.notification = events.contains("Notification"_L1);
    sources.stopFailure = events.contains("StopFailure"_L1);
    sources.postToolUse = events.contains("PostToolUse"_L1);
    sources.postToolUseFailure = events.contains("PostToolUseFailure"_L1);
    return sources;
}

AgentChanges::Reading AgentChanges::pending(const Inputs& inputs) {
    Reading reading;
    reading.prompts = inputs.prompts;
    reading.sessionEnds = inputs.sessionEnds;
    reading.titles = inputs.titles;
    reading.background = inputs.background;

    const QHash<QString, AgentLiveState> live = LiveStatePrecedence::resolve(inputs.hooks, inputs.official);
    QSet<QString> sessions(live.keyBegin(), live.keyEnd());
    for (const PendingPermission& request : inputs.requests) {
        sessions.insert(request.sessionID);
    }
    QStringList ordered(sessions.cbegin(), sessions.cend());
    ordered.sort();
    for (const QString& sessionID : std::as_const(ordered)) {
        const AgentLiveState state =
            live.value(sessionID, AgentLiveState{AgentActivity::blocked, {}, {}, {}, {}});
        if (const std::optional<Kind> waiting = wait(sessionID, inputs, state)) {
            // One entry per wait: a new wait after an answer is a new notice.
            QDateTime since = state.since;
            for (const PendingPermission& request : inputs.requests) {
                if (request.sessionID == sessionID && (!since.isValid() || request.askedAt < since)) {
                    since = request.askedAt;
                }
            }
            reading.entries.append(
                {u"%1:%2:%3"_s.arg(kindName(*waiting), sessionID).arg(since.toMSecsSinceEpoch()), *waiting,
                 sessionID, since});
        } else if (state.activity == AgentActivity::failed && state.failure && inputs.sources.stopFailure) {
            reading.entries.append({u"stopped:%1:%2"_s.arg(sessionID).arg(state.since.toMSecsSinceEpoch()),
                                    AgentChange::Stopped{state.failure}, sessionID, state.since});
        }
    }
    for (const ToolRun& run : inputs.toolRuns) {
        if (run.failed) {
            if (inputs.sources.postToolUseFailure) {
                const double duration =
                    run.runningTime().value_or(secondsBetween(run.startedAt, run.endedAt));
                reading.entries.append(
                    {u"tool-failed:"_s + run.id,
                     AgentChange::ToolFailed{run.tool, run.summary, std::max(0.0, duration)}, run.sessionID,
                     run.endedAt});
            }
        } else if (const std::optional<double> duration = longRunningTime(run);
                   duration && inputs.sources.postToolUse) {
            reading.entries.append({u"tool-finished:"_s + run.id,
                                    AgentChange::ToolFinished{run.tool, run.summary, *duration},
                                    run.sessionID, run.endedAt});
        }
    }
    for (const AgentTurnResult& turn : inputs.turnResults) {
        if (turn.kind == AgentTurnResult::Kind::completed) {
            reading.entries.append(
                {u"completed:"_s + turn.id(), AgentChange::Completed{}, turn.sessionID, turn.at});
        }
    }
    for (const BackgroundAgentState& state : inputs.background) {
        using State = ClaudeAgentList::BackgroundAgent::State;
        if (state.isBaseline || state.isUnrecognized || !state.agent.state) {
            continue;
        }
        std::optional<BackgroundTransition> transition;
        switch (*state.agent.state) {
        case State::blocked:
            transition = BackgroundTransition::blocked;
            break;
        case State::failed:
            transition = BackgroundTransition::failed;
            break;
        case State::done:
            transition = BackgroundTransition::done;
            break;
        case State::working:
        case State::stopped:
        case State::unknown:
            break;
        }
        if (!transition) {
            continue;
        }
        const QString key = state.agent.key();
        reading.entries.append({u"background:%1:%2:%3"_s.arg(key)
                                    .arg(static_cast<int>(*transition))
                                    .arg(state.since.toMSecsSinceEpoch()),
                                AgentChange::Background{*transition, state.agent.name.value_or(key)},
                                state.agent.sessionID, state.since});
    }
    return reading;
}

QList<AgentChange> AgentChanges::next(const QList<AgentChange>& active,
                                      const std::optional<Reading>& previous, const Reading& current,
                                      const std::function<bool(const QString&)>& isInFront,
                                      const QDateTime& now) {
    const auto inFront = [&](const QString& sessionID) { return isInFront && isInFront(sessionID); };
    QSet<QString> read;
    for (const Entry& entry : current.entries) {
        read.insert(entry.id);
    }
    QList<AgentChange> next;
    QSet<QString> kept;
    for (const AgentChange& change : active) {
        const auto after = [&](const QHash<QString, QDateTime>& dates) {
            const auto date = dates.constFind(change.sessionID);
            return date != dates.cend() && *date > change.occurredAt;
        };
        const bool expired = secondsBetween(change.since, now) >= lifetime;
        // A background agent's session ends as the agent finishes: that is what its notice tells.
        const bool ended =
            !std::holds_alternative<AgentChange::Background>(change.kind) && after(current.sessionEnds);
        if (expired || ended || !read.contains(change.id) || after(current.prompts) ||
            inFront(change.sessionID)) {
            continue;
        }
        next.append(change);
        kept.insert(change.id);
    }
    if (!previous) {
        return next;
    }
    QSet<QString> known;
    for (const Entry& entry : previous->entries) {
        known.insert(entry.id);
    }
    for (const Entry& entry : current.entries) {
        if (known.contains(entry.id) || kept.contains(entry.id) || inFront(entry.sessionID)) {
            continue;
        }
        next.append(AgentChange{entry.id, entry.kind, entry.sessionID, entry.occurredAt, now});
        kept.insert(entry.id);
    }
    return next;
}

} // namespace tessary
