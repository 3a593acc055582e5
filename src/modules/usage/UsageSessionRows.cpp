#include "modules/usage/UsageSessionRows.h"

#include "modules/usage/ClaudeStatusLineUse.h"

#include <QFileInfo>
#include <QSet>
#include <QStringList>

namespace tessary {

using namespace Qt::StringLiterals;

UsageSessionRows::Counts UsageSessionRows::counts(const SessionPanel::Inputs& inputs) {
    QSet<QString> asking;
    for (const PendingPermission& request : inputs.requests) {
        asking.insert(request.sessionID);
    }
    Counts counts;
    for (const AgentSession& session : inputs.sessions) {
        const auto live = inputs.live.constFind(session.id);
        const auto official = inputs.official.constFind(session.id);
        const std::optional<AgentLiveState> believed = SessionPanel::trusted(
            session, live == inputs.live.constEnd() ? std::nullopt : std::optional(*live),
            official == inputs.official.constEnd() ? std::nullopt : std::optional(*official));
        if (asking.contains(session.id) || (believed && believed->activity == AgentActivity::blocked)) {
            ++counts.needingUser;
        } else if (believed && believed->activity == AgentActivity::working) {
            ++counts.working;
        }
    }
    return counts;
}

std::optional<QString> UsageSessionRows::summary(const Counts& counts, const Localization& localization) {
    const QLocale locale = localization.locale();
    QStringList parts;
    if (counts.working > 0) {
        parts.append(localization.format(u"%1 working"_s, locale.toString(counts.working)));
    }
    if (counts.needingUser == 1) {
        parts.append(localization.text(u"1 needs you"_s));
    } else if (counts.needingUser > 1) {
        parts.append(localization.format(u"%1 need you"_s, locale.toString(counts.needingUser)));
    }
    if (parts.isEmpty()) {
        return std::nullopt;
    }
    return parts.join(u" · "_s);
}

std::optional<ModuleState> UsageSessionRows::state(const Counts& counts) {
    if (counts.needingUser > 0) {
        return ModuleState::attention;
    }
    if (counts.working > 0) {
        return ModuleState::active;
    }
    return std::nullopt;
}

SessionPanel::Inputs UsageSessionRows::inputs(const SessionStore& sessions, const AgentEventStore& events,
                                              const QString& agent) {
    SessionPanel::Inputs inputs;
    inputs.sessions = ClaudeStatusLineUse::sessions(sessions.sessions(), events.statusLines().sessions());
    inputs.live = events.live();
    inputs.official = events.officialSessionStates();
    inputs.hooks = events.sessionHooks().states();
    inputs.requests = events.pendingPermissions(agent);
    inputs.failures = events.lastFailures();
    inputs.prompts = events.lastPrompts();
    return inputs;
}

AgentChanges::Reading UsageSessionRows::changeReading(const SessionStore& sessions,
                                                      const AgentEventStore& events, const QString& agent) {
    AgentChanges::Inputs changes;
    changes.hooks = events.live();
    changes.official = events.officialSessionStates();
    changes.background = events.backgroundAgentStates();
    changes.requests = events.pendingPermissions(agent);
    changes.toolRuns = events.finishedTools();
    changes.turnResults = events.turnResults();
    changes.prompts = events.lastPrompts();
    changes.sessionEnds = events.sessionEnds();
    if (const std::optional<ClaudeAgentList::Reading> list = events.agentListReading()) {
        // Without a name, a session goes by its project's folder rather than by its id.
        for (const ClaudeAgentList::Session& listed : list->list.sessions) {
            if (listed.name && !listed.name->isEmpty()) {
                changes.titles.insert(listed.sessionID, *listed.name);
            } else if (listed.directory && !listed.directory->isEmpty()) {
                changes.titles.insert(listed.sessionID, QFileInfo(*listed.directory).fileName());
            }
        }
        for (const ClaudeAgentList::BackgroundAgent& listedAgent : list->list.background) {
            if (!changes.titles.contains(listedAgent.sessionID) && listedAgent.directory &&
                !listedAgent.directory->isEmpty()) {
                changes.titles.insert(listedAgent.sessionID, QFileInfo(*listedAgent.directory).fileName());
            }
        }
    }
    for (const AgentSession& session : sessions.sessions()) {
        if (const QString title = session.displayTitle(); !title.isEmpty()) {
            changes.titles.insert(session.id, title);
        }
    }
    for (const PendingPermission& request : changes.requests) {
        if (!changes.titles.contains(request.sessionID)) {
            if (const auto title = request.sessionTitle ? request.sessionTitle : request.project) {
                changes.titles.insert(request.sessionID, *title);
            }
        }
    }
    return AgentChanges::pending(changes);
}

UsageMeterSessions UsageSessionRows::sessions(const SessionStore& sessions, const AgentEventStore& events,
                                              QString agent, QString moduleID, QString prefix,
                                              UsageMeterSessions::Jump jump,
                                              std::optional<AgentListExtras> extras) {
    UsageMeterSessions result;
    // One reading of the stores serves the rows, the summary and the state of one snapshot.
    result.read = [&sessions, &events, agent = std::move(agent), moduleID = std::move(moduleID),
                   prefix = std::move(prefix),
                   extras = std::move(extras)](const QDateTime& now, const Localization& localization) {
        const SessionPanel::Inputs read = inputs(sessions, events, agent);
        const SessionPanel::Context context{moduleID, prefix, now, localization};
        Counts counted = counts(read);
        UsageMeterSessions::Reading reading{SessionPanel::groupedSections(read, context), {}, {}, {}};
        if (extras) {
            const QHash<QString, BackgroundAgentState> background = events.backgroundAgentStates();
            for (const BackgroundAgentState& each : background) {
                using State = ClaudeAgentList::BackgroundAgent::State;
                if (!each.finishedAt && each.agent.state == State::blocked) {
                    ++counted.needingUser;
                } else if (!each.finishedAt && each.agent.state == State::working) {
                    ++counted.working;
                }
            }
            std::vector<DetailSection> rows = SessionPanel::backgroundSections(background, context);
            reading.sections.insert(reading.sections.end(), std::make_move_iterator(rows.begin()),
                                    std::make_move_iterator(rows.end()));
            if (extras->changes != nullptr) {
                extras->changes->observe(changeReading(sessions, events, agent), extras->isInFront, now);
                reading.signal = extras->changes->signal(localization);
            }
        }
        reading.summary = summary(counted, localization);
        reading.state = state(counted);
        return reading;
    };
    result.jump = std::move(jump);
    return result;
}

} // namespace tessary
