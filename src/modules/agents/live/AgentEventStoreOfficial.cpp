// The store's share of what Claude Code's agent list and the process table say: official states,
// background agents, and which process runs which session.
#include "core/time/Clock.h"
#include "modules/agents/live/AgentEventStore.h"
#include "modules/sessions/AgentProcessLocator.h"

namespace tessary {

namespace {

// A scan of the whole process table serves this many seconds.
constexpr double processScanLifetime = 1.0;

} // namespace

bool AgentEventStore::noteAgentList(const std::optional<ClaudeAgentList::Reading>& reading,
                                    const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    if (!reading) {
        const bool changed = m_agentList.has_value();
        m_agentList.reset();
        return changed;
    }
    const bool isFirstReading = !m_hasReadAgentList;
    m_officialStates =
        LiveStatePrecedence::observe(reading->list.sessions, at, m_officialStates, m_states, isFirstReading);
    m_backgroundStates =
        BackgroundAgentState::observe(reading->list.background, at, m_backgroundStates, isFirstReading);
    const bool changed = !m_agentList || m_agentList->list.sessions != reading->list.sessions ||
                         m_agentList->list.background != reading->list.background;
    m_agentList = reading;
    m_hasReadAgentList = true;
    return changed;
}

QHash<QString, OfficialSessionState> AgentEventStore::officialSessionStates() const {
    const std::lock_guard lock(m_lock);
    return m_agentList ? m_officialStates : QHash<QString, OfficialSessionState>{};
}

QHash<QString, qint32> AgentEventStore::officialPIDs() const {
    const std::lock_guard lock(m_lock);
    return officialPIDsLocked();
}

QHash<QString, qint32> AgentEventStore::officialPIDsLocked() const {
    QHash<QString, qint32> pids;
    if (m_agentList) {
        for (const ClaudeAgentList::Session& session : m_agentList->list.sessions) {
            if (session.pid) {
                pids.insert(session.sessionID, *session.pid);
            }
        }
    }
    return pids;
}

QHash<QString, BackgroundAgentState> AgentEventStore::backgroundAgentStates() const {
    const std::lock_guard lock(m_lock);
    return m_backgroundStates;
}

QList<ClaudeAgentList::BackgroundAgent> AgentEventStore::listedBackgroundAgents() const {
    const std::lock_guard lock(m_lock);
    return m_agentList ? m_agentList->list.background : QList<ClaudeAgentList::BackgroundAgent>{};
}

std::optional<ClaudeAgentList::Reading> AgentEventStore::agentListReading() const {
    const std::lock_guard lock(m_lock);
    return m_agentList;
}

QHash<QString, qint32> AgentEventStore::processes(const QList<AgentSession>& sessions,
                                                  const AgentProcessScanning& scanner, const QDateTime& now) {
    std::unique_lock lock(m_lock);
    const bool fresh = m_scan && m_scan->at <= now && secondsBetween(m_scan->at, now) <= processScanLifetime;
    if (!fresh) {
        m_scan = ProcessScan{now, scanner.live(AgentProcessNames::agentNames())};
    }
    return locate(sessions, scanner, lock);
}

QHash<QString, qint32> AgentEventStore::processes(const QList<AgentSession>& sessions,
                                                  const QList<AgentProcess>& among,
                                                  const AgentProcessScanning& scanner, const QDateTime& now) {
    std::unique_lock lock(m_lock);
    m_scan = ProcessScan{now, among};
    return locate(sessions, scanner, lock);
}

std::optional<AgentEventStore::ProcessScan> AgentEventStore::lastProcessScan() const {
    const std::lock_guard lock(m_lock);
    return m_scan;
}

QHash<QString, qint32> AgentEventStore::locate(const QList<AgentSession>& sessions,
                                               const AgentProcessScanning& scanner,
                                               std::unique_lock<std::mutex>& lock) {
    const QList<AgentProcess> scanned = m_scan ? m_scan->processes : QList<AgentProcess>{};
    const QHash<QString, qint32> reported = m_agents;
    const QHash<QString, qint32> official = officialPIDsLocked();
    // Whether a process still runs is asked of the table, without the lock.
    lock.unlock();
    return AgentProcessLocator::locate(sessions, scanned, reported, official,
                                       [&](qint32 pid) { return scanner.exists(pid); });
}

} // namespace tessary
