#include "modules/sessionpanel/SessionPanel.h"

#include "core/time/Clock.h"
#include "modules/agents/hooks/StopFailureKind.h"
#include "modules/sessions/ModelName.h"
#include "modules/sessions/RelativeText.h"

#include <QSet>
#include <QUrl>

#include <algorithm>
#include <array>
#include <utility>

namespace tessary::SessionPanel {

namespace {

using namespace Qt::StringLiterals;

// A context window this full is worth a look, and this full is about to compact.
constexpr double contextWarning = 0.8;
constexpr double contextCritical = 0.95;

bool hasText(const std::optional<QString>& text) {
    return text && !text->isEmpty();
}

template <typename Map>
auto lookup(const Map& map, const QString& key) -> std::optional<typename Map::mapped_type> {
    const auto found = map.constFind(key);
    return found == map.constEnd() ? std::nullopt : std::optional(*found);
}

std::optional<RoleColor> roleColor(const std::optional<QString>& name) {
    static constexpr std::array<std::pair<RoleColor, const char*>, 8> names{{
        {RoleColor::red, "red"},
        {RoleColor::blue, "blue"},
        {RoleColor::green, "green"},
        {RoleColor::yellow, "yellow"},
        {RoleColor::purple, "purple"},
        {RoleColor::orange, "orange"},
        {RoleColor::pink, "pink"},
        {RoleColor::cyan, "cyan"},
    }};
    if (!name) {
        return std::nullopt;
    }
    for (const auto& [color, text] : names) {
        if (name->compare(QLatin1StringView(text), Qt::CaseInsensitive) == 0) {
            return color;
        }
    }
    return std::nullopt;
}

DetailSection::Activity mark(AgentActivity activity) {
    switch (activity) {
    case AgentActivity::working:
        return DetailSection::Activity::working;
    case AgentActivity::failed:
        return DetailSection::Activity::failed;
    case AgentActivity::waiting:
    case AgentActivity::blocked:
        break;
    }
    return DetailSection::Activity::waiting;
}

QString sessionKey(const Context& context, const AgentSession& session) {
    return context.prefix + "session/"_L1 + session.id;
}

std::optional<GaugeMetric> contextGauge(const AgentSession& session, const Localization& localization) {
    if (!session.contextWindow || *session.contextWindow <= 0) {
        return std::nullopt;
    }
    GaugeMetric gauge;
    gauge.id = u"context"_s;
    gauge.label = localization.text(u"Context"_s);
    gauge.fraction = static_cast<double>(session.contextTokens) / static_cast<double>(*session.contextWindow);
    gauge.tone = gauge.fraction >= contextCritical  ? GaugeMetric::Tone::critical
                 : gauge.fraction >= contextWarning ? GaugeMetric::Tone::warning
                                                    : GaugeMetric::Tone::normal;
    gauge.scale = GaugeMetric::Scale::pressure;
    gauge.display = session.contextLabel(localization);
    gauge.compactLabel = gauge.display;
    return gauge;
}

std::vector<DetailMetric> metrics(const AgentSession& session, const Context& context) {
    const Localization& localization = context.localization;
    std::vector<DetailMetric> rows;
    rows.push_back(
        {u"project"_s, localization.text(u"Project"_s), session.project, session.branch, std::nullopt});
    if (hasText(session.model)) {
        rows.push_back({u"model"_s, localization.text(u"Model"_s), ModelName::display(*session.model),
                        session.effort, std::nullopt});
    }
    rows.push_back({u"context"_s, localization.text(u"Context"_s), session.contextDetail(localization),
                    std::nullopt, contextGauge(session, localization)});
    if (session.lastTurnDuration) {
        rows.push_back({u"turn"_s, localization.text(u"Last turn"_s),
                        RelativeText::duration(*session.lastTurnDuration, localization), std::nullopt,
                        std::nullopt});
    }
    if (session.compaction) {
        const QLocale locale = localization.locale();
        rows.push_back(
            {u"compaction"_s, localization.text(u"Compacted"_s),
             RelativeText::since(session.compaction->at, context.now, localization),
             localization.format(u"%1 → %2 tokens"_s, CompactNumber::name(session.compaction->before, locale),
                                 CompactNumber::name(session.compaction->after, locale)),
             std::nullopt});
    }
    if (session.startedAt) {
        rows.push_back({u"started"_s, localization.text(u"Started"_s),
                        RelativeText::since(*session.startedAt, context.now, localization), std::nullopt,
                        std::nullopt});
    }
    return rows;
}

// The line under a session's title: its state and what the hooks add, or how long it has been quiet.
QString stateLine(const AgentSession& session, const std::optional<AgentLiveState>& state,
                  const SessionHookState* hooks, const Context& context) {
    const Localization& localization = context.localization;
    QStringList parts;
    if (state) {
        parts.append(state->activity == AgentActivity::failed
                         ? failureSubtitle(state->since, state->failure, hooks, context.now, localization)
                         : stateText(*state, context.now, localization));
        if (hooks) {
            parts.append(hookState(state->activity, *hooks, context.now, localization));
        }
    } else {
        parts.append(
            localization.format(u"active %1"_s, ago(session.lastActivity, context.now, localization)));
    }
    return parts.join(u" · "_s);
}

} // namespace

std::optional<AgentLiveState> trusted(const AgentSession& session, const std::optional<AgentLiveState>& live,
                                      const std::optional<OfficialSessionState>& official) {
    std::optional<AgentLiveState> hook = live;
    if (hook && secondsBetween(hook->since, session.lastActivity) > transcriptLead) {
        hook.reset();
    }
    std::optional<AgentLiveState> resolved = LiveStatePrecedence::resolve(hook, official);
    if (!resolved) {
        return std::nullopt;
    }
    // A stopped state that stands on the agent list alone: the list is polled, and a transcript
    // written since the session stopped says a new turn began. A working session writes its
    // transcript as it goes, and a blocked one may too (its hooks' progress), so those stand.
    if (official && resolved->since == official->since && resolved->activity == AgentActivity::waiting &&
        secondsBetween(official->since, session.lastActivity) > transcriptLead) {
        return std::nullopt;
    }
    return resolved;
}

QList<AgentSession> ordered(const QList<AgentSession>& sessions, const QList<PendingPermission>& requests,
                            const QHash<QString, QDateTime>& failures,
                            const QHash<QString, QDateTime>& prompts) {
    QSet<QString> asking;
    for (const PendingPermission& request : requests) {
        if (!request.isExpired) {
            asking.insert(request.sessionID);
        }
    }
    const auto latest = [&](const AgentSession& session) {
        QDateTime date = session.lastActivity;
        for (const auto* map : {&failures, &prompts}) {
            const auto found = map->constFind(session.id);
            if (found != map->constEnd() && *found > date) {
                date = *found;
            }
        }
        return date;
    };
    QList<std::pair<QDateTime, AgentSession>> keyed;
    keyed.reserve(sessions.size());
    for (const AgentSession& session : sessions) {
        keyed.append({latest(session), session});
    }
    std::stable_sort(keyed.begin(), keyed.end(), [&](const auto& a, const auto& b) {
        const bool aAsks = asking.contains(a.second.id);
        const bool bAsks = asking.contains(b.second.id);
        if (aAsks != bAsks) {
            return aAsks;
        }
        return a.first > b.first;
    });
    QList<AgentSession> result;
    result.reserve(keyed.size());
    for (auto& entry : keyed) {
        result.append(std::move(entry.second));
    }
    return result;
}

QString ago(const QDateTime& since, const QDateTime& now, const Localization& localization) {
    if (secondsBetween(since, now) >= recentWithin) {
        return RelativeText::since(since, now, localization);
    }
    return localization.text(u"now"_s);
}

QString stateText(AgentActivity activity, const std::optional<QString>& tool,
                  const std::optional<ClaudeAgentList::WaitingFor>& waitingFor, const QDateTime& since,
                  const QDateTime& now, const Localization& localization) {
    const QString when = ago(since, now, localization);
    switch (activity) {
    case AgentActivity::working:
        if (!hasText(tool)) {
            return localization.text(u"working"_s);
        }
        if (secondsBetween(since, now) < toolAgeShownFrom) {
            return localization.format(u"running %1"_s, *tool);
        }
        return localization.format(u"running %1 %2"_s, *tool, when);
    case AgentActivity::waiting:
        return localization.format(u"stopped %1"_s, when);
    case AgentActivity::failed:
        return localization.format(u"stopped with an error %1"_s, when);
    case AgentActivity::blocked:
        break;
    }
    if (!waitingFor) {
        // A hook reports a blocked state when a tool asks for permission.
        return localization.format(hasText(tool) ? u"waiting for permission %1"_s : u"waiting for you %1"_s,
                                   when);
    }
    switch (*waitingFor) {
    case ClaudeAgentList::WaitingFor::permission:
        return localization.format(u"waiting for permission %1"_s, when);
    case ClaudeAgentList::WaitingFor::input:
        return localization.format(u"waiting for your answer %1"_s, when);
    case ClaudeAgentList::WaitingFor::sandbox:
        return localization.format(u"waiting for sandbox approval %1"_s, when);
    case ClaudeAgentList::WaitingFor::dialog:
        return localization.format(u"waiting in a dialog %1"_s, when);
    case ClaudeAgentList::WaitingFor::worker:
        return localization.format(u"waiting for a subagent %1"_s, when);
    case ClaudeAgentList::WaitingFor::unknown:
        break;
    }
    return localization.format(u"waiting for you %1"_s, when);
}

QString stateText(const AgentLiveState& state, const QDateTime& now, const Localization& localization) {
    return stateText(state.activity, state.tool, state.waitingFor, state.since, now, localization);
}

QStringList hookState(AgentActivity activity, const SessionHookState& hooks, const QDateTime& now,
                      const Localization& localization) {
    QStringList words;
    if (hooks.compacting && secondsBetween(hooks.compacting->at, now) < compactingLifetime) {
        words.append(localization.text(u"compacting"_s));
    }
    const bool stopped = activity == AgentActivity::waiting;
    if (stopped && hooks.lastInterruption &&
        secondsBetween(hooks.lastInterruption->at, now) < interruptionLifetime) {
        words.append(
            localization.format(u"interrupted %1"_s, ago(hooks.lastInterruption->at, now, localization)));
    }
    if (stopped && hooks.backgroundWait) {
        if (!hooks.backgroundWait->tasks.isEmpty()) {
            words.append(
                localization.format(u"waiting for %1 background tasks"_s,
                                    localization.locale().toString(hooks.backgroundWait->tasks.size())));
        }
        if (!hooks.backgroundWait->crons.isEmpty()) {
            words.append(localization.text(u"scheduled wake-up"_s));
        }
    }
    if (hooks.hasOpenTasks()) {
        const QLocale locale = localization.locale();
        words.append(localization.format(u"Tasks %1 of %2"_s, locale.toString(hooks.completedTaskCount()),
                                         locale.toString(hooks.tasks.size())));
    }
    return words;
}

QString failureSubtitle(const QDateTime& since, const std::optional<QString>& code,
                        const SessionHookState* hooks, const QDateTime& now,
                        const Localization& localization) {
    std::optional<QString> what;
    if (hooks && hooks->lastFailure) {
        const SessionHookState::Failure& failure = *hooks->lastFailure;
        if (failure.kind) {
            what = AgentFailure::text(category(*failure.kind), localization);
        } else if (hasText(failure.details)) {
            what = failure.details;
        } else if (hasText(failure.code)) {
            what = failure.code;
        }
    }
    if (!what && hasText(code)) {
        what = code;
    }
    if (!what) {
        return localization.format(u"stopped with an error %1"_s, ago(since, now, localization));
    }
    return *what + u" · "_s + ago(since, now, localization);
}

DetailCommand jumpCommand(const AgentSession& session, const Context& context) {
    return jumpCommand(session.id, context);
}

DetailCommand jumpCommand(const QString& sessionID, const Context& context) {
    DetailCommand command;
    command.id = jumpCommandPrefix + sessionID;
    command.moduleID = context.moduleID;
    command.title = context.localization.text(u"Go to session"_s);
    return command;
}

std::optional<QString> jumpTarget(const DetailCommand& command) {
    if (!command.id.startsWith(jumpCommandPrefix) || command.id.size() == jumpCommandPrefix.size()) {
        return std::nullopt;
    }
    return command.id.mid(jumpCommandPrefix.size());
}

QString requestLine(const PendingPermission& request, const Localization& localization) {
    if (hasText(request.networkTarget)) {
        return localization.format(u"Network access: %1"_s, *request.networkTarget);
    }
    return request.summary.isEmpty() ? request.tool : request.summary;
}

std::vector<DetailSection> requestRows(const AgentSession& session, const QList<PendingPermission>& requests,
                                       const Context& context) {
    std::vector<DetailSection> rows;
    for (const PendingPermission& request : requests) {
        if (request.sessionID != session.id) {
            continue;
        }
        DetailSection row;
        row.id = sessionKey(context, session) + "/request/"_L1 + request.id;
        row.title = requestLine(request, context.localization);
        row.subtitle =
            request.isExpired
                ? context.localization.format(u"%1 · no longer held"_s, request.tool)
                : context.localization.format(u"%1 · asked %2"_s, request.tool,
                                              ago(request.askedAt, context.now, context.localization));
        row.activity = DetailSection::Activity::waiting;
        row.icon = icon::Symbol{u"hand.raised"_s};
        row.action = action::Perform{jumpCommand(session, context)};
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<DetailSection> denialRows(const AgentSession& session, const SessionHookState& hooks,
                                      const Context& context) {
    std::vector<DetailSection> rows;
    int index = 0;
    for (const SessionHookState::Denial& denial : hooks.denials) {
        DetailSection row;
        row.id = sessionKey(context, session) + "/denial/"_L1 + denial.id.value_or(QString::number(index));
        ++index;
        const QString tool = denial.tool.value_or(u"?"_s);
        row.title =
            context.localization.format(u"Denied: %1"_s, hasText(denial.summary) ? *denial.summary : tool);
        QStringList line;
        if (hasText(denial.reason)) {
            line.append(*denial.reason);
        }
        line.append(ago(denial.at, context.now, context.localization));
        row.subtitle = line.join(u" · "_s);
        row.icon = icon::Symbol{u"nosign"_s};
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<DetailSection> taskRows(const AgentSession& session, const SessionHookState& hooks,
                                    const Context& context) {
    if (hooks.tasks.isEmpty()) {
        return {};
    }
    const QLocale locale = context.localization.locale();
    DetailSection row;
    row.id = sessionKey(context, session) + "/tasks"_L1;
    row.title = context.localization.format(u"Tasks %1 of %2"_s, locale.toString(hooks.completedTaskCount()),
                                            locale.toString(hooks.tasks.size()));
    bool current = true;
    for (const SessionHookState::SessionTask& task : hooks.tasks) {
        DetailStep step;
        step.id = task.id;
        step.name = task.subject.value_or(task.id);
        if (task.isCompleted) {
            step.state = DetailStep::State::passed;
        } else {
            // The first open task is the one being worked on.
            step.state = current ? DetailStep::State::working : DetailStep::State::pending;
            current = false;
        }
        row.steps.push_back(std::move(step));
    }
    return {std::move(row)};
}

std::vector<DetailSection> subagentRows(const AgentSession& session, const SessionHookState* hooks,
                                        const Context& context) {
    const Localization& localization = context.localization;
    std::vector<DetailSection> rows;
    const QList<AgentSession::Subagent> alive = session.liveSubagents(context.now, context.subagentWindow);
    for (const AgentSession::Subagent& subagent : alive) {
        DetailSection row;
        row.id = sessionKey(context, session) + "/subagent/"_L1 + subagent.id;
        row.title = hasText(subagent.description) ? *subagent.description : subagent.id;
        QStringList line;
        if (hasText(subagent.model)) {
            line.append(ModelName::display(*subagent.model));
        }
        if (hasText(subagent.tool)) {
            line.append(localization.format(u"running %1"_s, *subagent.tool));
        }
        line.append(
            localization.format(u"active %1"_s, ago(subagent.lastActivity, context.now, localization)));
        row.subtitle = line.join(u" · "_s);
        row.badge = AgentSession::contextLabel(subagent.contextTokens, subagent.contextWindow, localization);
        // Its transcript alone can't tell a subagent that finished a minute ago from one that thinks:
        // the mark waits for the status line or the agent list to say so.
        if (subagent.isWorking == true) {
            row.activity = DetailSection::Activity::working;
        }
        rows.push_back(std::move(row));
    }
    // Subagents the hooks saw start whose transcript hasn't shown up among the live ones.
    if (hooks) {
        for (const SessionHookState::Subagent& started : hooks->subagents) {
            const bool known =
                std::any_of(alive.cbegin(), alive.cend(), [&](const AgentSession::Subagent& each) {
                    return SessionHookState::sameAgent(each.id, started.id);
                });
            if (known) {
                continue;
            }
            DetailSection row;
            row.id = sessionKey(context, session) + "/subagent/"_L1 + started.id;
            row.title = started.type.value_or(started.id);
            row.subtitle =
                localization.format(u"started %1"_s, ago(started.startedAt, context.now, localization));
            row.activity = DetailSection::Activity::working;
            rows.push_back(std::move(row));
        }
    }
    return rows;
}

DetailSection section(const AgentSession& session, const Inputs& inputs, const Context& context) {
    const Localization& localization = context.localization;
    const auto hookEntry = inputs.hooks.constFind(session.id);
    const SessionHookState* hooks = hookEntry == inputs.hooks.constEnd() ? nullptr : &*hookEntry;
    const std::optional<AgentLiveState> state =
        trusted(session, lookup(inputs.live, session.id), lookup(inputs.official, session.id));

    DetailSection row;
    row.id = sessionKey(context, session);
    row.title = session.displayTitle();
    QStringList subtitle;
    if (row.title != session.project) {
        subtitle.append(session.project);
    }
    subtitle.append(stateLine(session, state, hooks, context));
    row.subtitle = subtitle.join(u" · "_s);
    if (state) {
        row.activity = mark(state->activity);
    }

    std::vector<DetailSection> subagents = subagentRows(session, hooks, context);
    QStringList badge{session.contextLabel(localization)};
    if (hasText(session.hostOrigin)) {
        badge.append(*session.hostOrigin);
    }
    if (!subagents.empty()) {
        badge.append(
            localization.format(u"%1 subagents"_s, localization.locale().toString(subagents.size())));
    }
    row.badge = badge.join(u" · "_s);
    row.badgeGauge = contextGauge(session, localization);
    row.metrics = metrics(session, context);
    row.swatch = roleColor(session.roleColor);

    if (session.hostOrigin == u"Orca"_s && hasText(session.hostItemID)) {
        row.action = action::FocusAppItem{QString(orcaBundleID), *session.hostItemID};
    } else {
        row.action = action::Perform{jumpCommand(session, context)};
    }
    row.command = jumpCommand(session, context);
    if (session.pullRequest) {
        row.actions.emplace_back(action::Open{session.pullRequest->url});
    }
    if (hasText(session.directory)) {
        row.location = DetailLocation{*session.directory, QUrl::fromLocalFile(*session.directory)};
    }
    QStringList footnote;
    if (hasText(session.toolName)) {
        footnote.append(hasText(session.toolVersion) ? *session.toolName + u' ' + *session.toolVersion
                                                     : *session.toolName);
    }
    if (hasText(session.origin)) {
        footnote.append(*session.origin);
    }
    if (!footnote.isEmpty()) {
        row.footnote = footnote.join(u" · "_s);
    }

    row.children = std::move(subagents);
    auto append = [&row](std::vector<DetailSection> more) {
        for (DetailSection& each : more) {
            row.children.push_back(std::move(each));
        }
    };
    append(requestRows(session, inputs.requests, context));
    if (hooks) {
        append(denialRows(session, *hooks, context));
        append(taskRows(session, *hooks, context));
    }
    return row;
}

std::vector<DetailSection> backgroundSections(const QHash<QString, BackgroundAgentState>& agents,
                                              const Context& context) {
    using State = ClaudeAgentList::BackgroundAgent::State;
    const Localization& localization = context.localization;
    QList<BackgroundAgentState> shown;
    for (const BackgroundAgentState& each : agents) {
        if (each.finishedAt && secondsBetween(*each.finishedAt, context.now) >= finishedBackgroundLifetime) {
            continue;
        }
        shown.append(each);
    }
    if (shown.isEmpty()) {
        return {};
    }
    const auto running = [](const BackgroundAgentState& each) { return !each.finishedAt.has_value(); };
    std::sort(shown.begin(), shown.end(), [&](const BackgroundAgentState& a, const BackgroundAgentState& b) {
        if (running(a) != running(b)) {
            return running(a);
        }
        if (a.since != b.since) {
            return a.since > b.since;
        }
        return a.agent.key() < b.agent.key();
    });

    std::vector<DetailSection> rows;
    DetailSection heading;
    heading.id = context.prefix + "background"_L1;
    heading.title = localization.text(u"Background agents"_s);
    heading.isHeading = true;
    rows.push_back(std::move(heading));
    for (const BackgroundAgentState& each : std::as_const(shown)) {
        const ClaudeAgentList::BackgroundAgent& agent = each.agent;
        DetailSection row;
        row.id = context.prefix + "background/"_L1 + agent.key();
        row.title = hasText(agent.name) ? *agent.name : agent.key();
        const QString when = ago(each.finishedAt.value_or(each.since), context.now, localization);
        const State state = each.isUnrecognized ? State::unknown : agent.state.value_or(State::unknown);
        switch (state) {
        case State::working:
            if (const double seconds = secondsBetween(each.since, context.now); seconds >= recentWithin) {
                row.subtitle =
                    localization.format(u"working for %1"_s, RelativeText::duration(seconds, localization));
            } else {
                row.subtitle = localization.text(u"working"_s);
            }
            row.activity = DetailSection::Activity::working;
            break;
        case State::blocked:
            row.subtitle = hasText(agent.needs)
                               ? localization.format(u"waiting for %1 %2"_s, *agent.needs, when)
                               : localization.format(u"waiting for you %1"_s, when);
            row.activity = DetailSection::Activity::waiting;
            break;
        case State::done:
            row.subtitle = localization.format(u"done %1"_s, when);
            break;
        case State::failed:
            row.subtitle = localization.format(u"failed %1"_s, when);
            row.activity = DetailSection::Activity::failed;
            break;
        case State::stopped:
            row.subtitle = localization.format(u"stopped %1"_s, when);
            break;
        case State::unknown:
            row.subtitle = localization.format(u"state unknown %1"_s, when);
            break;
        }
        if (hasText(agent.directory)) {
            row.location = DetailLocation{*agent.directory, QUrl::fromLocalFile(*agent.directory)};
        }
        if (!agent.sessionID.isEmpty()) {
            row.action = action::Perform{jumpCommand(agent.sessionID, context)};
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<DetailSection> groupedSections(const Inputs& inputs, const Context& context) {
    const QList<AgentSession> sessions =
        ordered(inputs.sessions, inputs.requests, inputs.failures, inputs.prompts);
    // Orca projects in the order of their first session.
    QStringList projects;
    QHash<QString, QList<AgentSession>> grouped;
    QList<AgentSession> outside;
    for (const AgentSession& session : sessions) {
        if (session.hostOrigin == u"Orca"_s) {
            const QString project = hasText(session.hostProject) ? *session.hostProject : u"ground"_s;
            if (!grouped.contains(project)) {
                projects.append(project);
            }
            grouped[project].append(session);
        } else {
            outside.append(session);
        }
    }
    std::vector<DetailSection> rows;
    rows.reserve(static_cast<std::size_t>(sessions.size() + projects.size() + 1));
    for (const QString& project : std::as_const(projects)) {
        DetailSection heading;
        heading.id = context.prefix + "orca/"_L1 + project;
        heading.title = project;
        heading.isHeading = true;
        heading.icon = icon::App{QString(orcaBundleID)};
        rows.push_back(std::move(heading));
        for (const AgentSession& session : grouped.value(project)) {
            rows.push_back(section(session, inputs, context));
        }
    }
    if (!projects.isEmpty() && !outside.isEmpty()) {
        DetailSection heading;
        heading.id = context.prefix + "sessions/outside-orca"_L1;
        heading.title = context.localization.text(u"Other sessions"_s);
        heading.isHeading = true;
        rows.push_back(std::move(heading));
    }
    for (const AgentSession& session : std::as_const(outside)) {
        rows.push_back(section(session, inputs, context));
    }
    return rows;
}

} // namespace tessary::SessionPanel
