#include "modules/agents/live/AgentEventStore.h"

#include <algorithm>

namespace tessary {

namespace {

// The key of the entry with the earliest time; the map is not empty.
template <typename T, typename TimeOf>
QString keyOfOldest(const QHash<QString, T>& map, TimeOf timeOf) {
    auto oldest = map.cbegin();
    for (auto it = map.cbegin(); it != map.cend(); ++it) {
        if (timeOf(it.value()) < timeOf(oldest.value())) {
            oldest = it;
        }
    }
    return oldest.key();
}

template <typename T>
void keepLast(QList<T>& list, qsizetype limit) {
    if (list.size() > limit) {
        list.remove(0, list.size() - limit);
    }
}

} // namespace

QHash<QString, AgentLiveState> AgentEventStore::live() const {
    const std::lock_guard lock(m_lock);
    return m_states;
}

QHash<QString, qint32> AgentEventStore::agentPIDs() const {
    const std::lock_guard lock(m_lock);
    return m_agents;
}

QList<ToolRun> AgentEventStore::finishedTools() const {
    const std::lock_guard lock(m_lock);
    return m_finished;
}

QList<AgentTurnResult> AgentEventStore::turnResults() const {
    const std::lock_guard lock(m_lock);
    return m_turns;
}

QHash<QString, QDateTime> AgentEventStore::lastPrompts() const {
    const std::lock_guard lock(m_lock);
    return m_prompts;
}

QHash<QString, QDateTime> AgentEventStore::lastFailures() const {
    const std::lock_guard lock(m_lock);
    return m_failures;
}

QHash<QString, QDateTime> AgentEventStore::sessionEnds() const {
    const std::lock_guard lock(m_lock);
    return m_endings;
}

QHash<QString, QString> AgentEventStore::sessionProjects() const {
    const std::lock_guard lock(m_lock);
    return m_projects;
}

QHash<QString, LiveModel> AgentEventStore::models() const {
    const std::lock_guard lock(m_lock);
    return m_liveModels;
}

QHash<QString, ToolStart> AgentEventStore::toolStarts() const {
    const std::lock_guard lock(m_lock);
    return m_starts;
}

QList<PermissionAsk> AgentEventStore::permissionAsks() const {
    const std::lock_guard lock(m_lock);
    return m_asks;
}

QString AgentEventStore::agent(const QString& sessionID) const {
    const std::lock_guard lock(m_lock);
    return agentLocked(sessionID);
}

QString AgentEventStore::agentLocked(const QString& sessionID) const {
    return m_sessionAgents.value(sessionID, QString::fromLatin1(defaultAgent));
}

bool AgentEventStore::update(const QString& sessionID, AgentActivity activity,
                             const std::optional<QString>& tool, const std::optional<QString>& failure,
                             const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    if (const auto found = m_states.constFind(sessionID); found != m_states.cend()) {
        if (found->activity == activity && found->tool == tool && found->failure == failure) {
            return false;
        }
    }
    m_states.insert(sessionID, AgentLiveState{activity, tool, failure, at});
    if (activity == AgentActivity::failed) {
        m_failures.insert(sessionID, at);
    }
    return true;
}

void AgentEventStore::resumeTurn(const QString& sessionID, const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    resumeTurnLocked(sessionID, at);
}

void AgentEventStore::resumeTurnLocked(const QString& sessionID, const QDateTime& at) {
    if (const auto found = m_states.constFind(sessionID);
        found != m_states.cend() && found->activity == AgentActivity::working) {
        return;
    }
    m_states.insert(sessionID, AgentLiveState{AgentActivity::working, std::nullopt, std::nullopt, at});
}

void AgentEventStore::noteTurnResult(const QString& sessionID, const std::optional<QString>& turnID,
                                     AgentTurnResult::Kind kind, const QDateTime& at) {
    const AgentTurnResult result{sessionID, turnID, kind, at};
    const QString id = result.id();
    const std::lock_guard lock(m_lock);
    for (AgentTurnResult& known : m_turns) {
        if (known.id() == id) {
            if (kind == AgentTurnResult::Kind::interrupted &&
                known.kind == AgentTurnResult::Kind::completed) {
                known = result;
            }
            return;
        }
    }
    m_turns.append(result);
    keepLast(m_turns, turnLimit);
}

void AgentEventStore::noteModel(const QString& sessionID, const QString& model,
                                const std::optional<QString>& previous, const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    const auto found = m_liveModels.constFind(sessionID);
    if (found != m_liveModels.cend() && found->model == model) {
        return;
    }
    const std::optional<QString> replaced =
        found != m_liveModels.cend() ? std::optional(found->model) : previous;
    m_liveModels.insert(sessionID, LiveModel{model, replaced, at});
}

void AgentEventStore::note(const QString& sessionID, qint32 agentPID) {
    const std::lock_guard lock(m_lock);
    m_agents.insert(sessionID, agentPID);
}

void AgentEventStore::noteDirectory(const QString& sessionID, const QString& directory) {
    const std::lock_guard lock(m_lock);
    m_projects.insert(sessionID, directory);
}

void AgentEventStore::noteAgent(const QString& sessionID, const QString& agent) {
    const std::lock_guard lock(m_lock);
    m_sessionAgents.insert(sessionID, agent);
}

void AgentEventStore::noteSessionStart(const QString& sessionID, const std::optional<QString>& source) {
    const std::lock_guard lock(m_lock);
    m_endings.remove(sessionID);
    if (source != QStringLiteral("compact")) {
        m_starts.removeIf([&](const auto& entry) { return entry.value().sessionID == sessionID; });
    }
}

void AgentEventStore::notePrompt(const QString& sessionID, const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    m_prompts.insert(sessionID, at);
    m_asks.removeIf([&](const PermissionAsk& ask) { return ask.sessionID == sessionID; });
    resumeTurnLocked(sessionID, at);
}

void AgentEventStore::end(const QString& sessionID, const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    m_prompts.remove(sessionID);
    m_failures.remove(sessionID);
    m_projects.remove(sessionID);
    // No call runs in a session that ended; one the user refused never reported its end.
    m_starts.removeIf([&](const auto& entry) { return entry.value().sessionID == sessionID; });
    m_endings.insert(sessionID, at);
    // What is kept of the sessions that ended longest ago goes with their endings.
    while (m_endings.size() > endingLimit) {
        const QString oldest = keyOfOldest(m_endings, [](const QDateTime& ended) { return ended; });
        m_sessionAgents.remove(oldest);
        forgetLocked(oldest);
        m_endings.remove(oldest);
    }
}

void AgentEventStore::forget(const QString& sessionID) {
    const std::lock_guard lock(m_lock);
    forgetLocked(sessionID);
}

void AgentEventStore::forgetLocked(const QString& sessionID) {
    m_states.remove(sessionID);
    m_agents.remove(sessionID);
    m_liveModels.remove(sessionID);
    m_starts.removeIf([&](const auto& entry) { return entry.value().sessionID == sessionID; });
    m_finished.removeIf([&](const ToolRun& run) { return run.sessionID == sessionID; });
    m_turns.removeIf([&](const AgentTurnResult& turn) { return turn.sessionID == sessionID; });
    m_asks.removeIf([&](const PermissionAsk& ask) { return ask.sessionID == sessionID; });
}

void AgentEventStore::startTool(const QString& id, const QString& sessionID, const QString& tool,
                                const QString& summary, const std::optional<ToolCallFingerprint>& fingerprint,
                                const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    m_starts.insert(id, ToolStart{sessionID, tool, summary, fingerprint, at});
    while (m_starts.size() > startLimit) {
        m_starts.remove(keyOfOldest(m_starts, [](const ToolStart& start) { return start.at; }));
    }
}

void AgentEventStore::discardToolStarts(const QString& sessionID) {
    const std::lock_guard lock(m_lock);
    m_starts.removeIf([&](const auto& entry) { return entry.value().sessionID == sessionID; });
}

std::optional<ToolRun> AgentEventStore::finishTool(const QString& id, bool failed,
                                                   const std::optional<QString>& error, const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    if (!m_starts.contains(id)) {
        return std::nullopt;
    }
    const ToolStart start = m_starts.take(id);

    // The question asked during this call: the oldest one of the same call since it started, so that
    // two identical calls take their questions in order.
    ToolRun::Wait wait = ToolRun::NotAsked{};
    const auto ask = std::find_if(m_asks.begin(), m_asks.end(), [&](const PermissionAsk& candidate) {
        return candidate.sessionID == start.sessionID && candidate.askedAt >= start.at &&
               (!start.fingerprint || candidate.fingerprint == *start.fingerprint);
    });
    if (ask != m_asks.end()) {
        if (ask->answeredAt && start.fingerprint) {
            wait = ToolRun::Answered{*ask->answeredAt};
        } else {
            wait = ToolRun::Unknown{};
        }
        m_asks.erase(ask);
    }
    ToolRun run{id, start.sessionID, start.tool, start.summary, start.at, at, failed, wait, error};
    m_finished.append(run);
    keepLast(m_finished, finishedLimit);
    return run;
}

void AgentEventStore::notePermissionAsked(const QString& sessionID, const ToolCallFingerprint& fingerprint,
                                          const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    m_asks.append(PermissionAsk{sessionID, fingerprint, at, std::nullopt});
    keepLast(m_asks, askLimit);
}

void AgentEventStore::notePermissionAnswered(const QString& sessionID, const ToolCallFingerprint& fingerprint,
                                             const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    for (auto ask = m_asks.rbegin(); ask != m_asks.rend(); ++ask) {
        if (ask->sessionID == sessionID && ask->fingerprint == fingerprint && !ask->answeredAt) {
            ask->answeredAt = at;
            return;
        }
    }
}

void AgentEventStore::request(const PendingPermission& pending) {
    const std::lock_guard lock(m_lock);
    m_unheld.remove(pending.id);
    for (PendingPermission& queued : m_permissions) {
        if (queued.id == pending.id) {
            queued = pending;
            return;
        }
    }
    m_permissions.append(pending);
}

void AgentEventStore::resolvePermission(const QString& id) {
    const std::lock_guard lock(m_lock);
    m_permissions.removeIf([&](const PendingPermission& pending) { return pending.id == id; });
    m_unheld.remove(id);
}

void AgentEventStore::expirePermission(const HeldRequestRelease::Held& held, const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    const auto found = std::find_if(m_permissions.cbegin(), m_permissions.cend(),
                                    [&](const PendingPermission& pending) { return pending.id == held.id; });
    if (found == m_permissions.cend()) {
        return;
    }
    const PendingPermission expired = found->expired();
    m_permissions.erase(found);
    m_unheld.insert(held.id, Unheld{expired, held, at.addMSecs(static_cast<qint64>(expiredLifetime * 1000))});
    capUnheldLocked(held.sessionID);
}

void AgentEventStore::requestUnheld(const PendingPermission& pending,
                                    const HeldRequestRelease::Held& releasedBy, const QDateTime& until) {
    const std::lock_guard lock(m_lock);
    m_permissions.removeIf([&](const PendingPermission& queued) { return queued.id == pending.id; });
    m_unheld.insert(pending.id, Unheld{pending, releasedBy, until});
    capUnheldLocked(pending.sessionID);
}

void AgentEventStore::capUnheldLocked(const QString& sessionID) {
    QList<const Unheld*> ofSession;
    for (const Unheld& entry : std::as_const(m_unheld)) {
        if (entry.request.sessionID == sessionID) {
            ofSession.append(&entry);
        }
    }
    if (ofSession.size() <= unheldPerSessionLimit) {
        return;
    }
    std::sort(ofSession.begin(), ofSession.end(),
              [](const Unheld* a, const Unheld* b) { return a->request.askedAt < b->request.askedAt; });
    QStringList dropped;
    for (qsizetype i = 0; i < ofSession.size() - unheldPerSessionLimit; ++i) {
        dropped.append(ofSession[i]->request.id);
    }
    for (const QString& id : std::as_const(dropped)) {
        m_unheld.remove(id);
    }
}

qsizetype AgentEventStore::dropLapsedPermissions(const QDateTime& now) {
    const std::lock_guard lock(m_lock);
    return m_unheld.removeIf([&](const auto& entry) { return entry.value().until <= now; });
}

QList<HeldRequestRelease::Held> AgentEventStore::unheldForRelease() const {
    const std::lock_guard lock(m_lock);
    QList<HeldRequestRelease::Held> held;
    held.reserve(m_unheld.size());
    for (const Unheld& entry : m_unheld) {
        held.append(entry.releasedBy);
    }
    return held;
}

QList<PendingPermission> AgentEventStore::permissions() const {
    const std::lock_guard lock(m_lock);
    return m_permissions;
}

QList<PendingPermission> AgentEventStore::pendingPermissions(const QString& agent) const {
    const std::lock_guard lock(m_lock);
    return pendingPermissionsLocked(&agent);
}

QList<PendingPermission> AgentEventStore::pendingPermissions() const {
    const std::lock_guard lock(m_lock);
    return pendingPermissionsLocked(nullptr);
}

QList<PendingPermission> AgentEventStore::pendingPermissionsLocked(const QString* agent) const {
    QList<PendingPermission> result;
    for (const PendingPermission& pending : m_permissions) {
        if (agent == nullptr || agentLocked(pending.sessionID) == *agent) {
            result.append(pending);
        }
    }
    QList<PendingPermission> shown;
    for (const Unheld& entry : m_unheld) {
        if (agent == nullptr || agentLocked(entry.request.sessionID) == *agent) {
            shown.append(entry.request);
        }
    }
    std::sort(shown.begin(), shown.end(),
              [](const PendingPermission& a, const PendingPermission& b) { return a.askedAt < b.askedAt; });
    result.append(shown);
    return result;
}

} // namespace tessary
