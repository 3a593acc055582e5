#pragma once

#include "modules/agents/hooks/SessionHookStore.h"
#include "modules/agents/live/AgentLiveState.h"
#include "modules/agents/live/BackgroundAgentState.h"
#include "modules/agents/live/ClaudeAgentList.h"
#include "modules/agents/live/ClaudeStatusLineStore.h"
#include "modules/agents/live/LiveStatePrecedence.h"
#include "modules/agents/permissions/HeldRequestRelease.h"
#include "modules/agents/permissions/PendingPermission.h"
#include "modules/sessions/AgentProcess.h"
#include "modules/sessions/AgentSession.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>

#include <mutex>
#include <optional>

namespace tessary {

// Where what the hooks tell of each session lands: its live state, the tools it runs, its turns,
// its model, its directory and agent, and the permission requests on show. One lock guards all of
// it and is held only for the edits and copies; every list is capped, so a long session cannot
// grow memory. `sessionHooks` and `statusLines` have locks of their own.
class AgentEventStore {
public:
    // Seconds an expired request stays on show.
    static constexpr double expiredLifetime = 1800.0;
    // The agent of a session that no hook named.
    static constexpr auto defaultAgent = "claude";
    static constexpr qsizetype finishedLimit = 50;
    static constexpr qsizetype turnLimit = 50;
    static constexpr qsizetype askLimit = 50;
    static constexpr qsizetype endingLimit = 50;
    static constexpr qsizetype unheldPerSessionLimit = 3;
    // Calls whose end never came (a session killed mid-call) must not pile up.
    static constexpr qsizetype startLimit = 200;

    // A request on show without a hold (or after it), until `until`.
    struct Unheld {
        PendingPermission request;
        HeldRequestRelease::Held releasedBy;
        QDateTime until;
        bool operator==(const Unheld&) const = default;
    };

    AgentEventStore() = default;
    AgentEventStore(const AgentEventStore&) = delete;
    AgentEventStore& operator=(const AgentEventStore&) = delete;
    AgentEventStore(AgentEventStore&&) = delete;
    AgentEventStore& operator=(AgentEventStore&&) = delete;
    ~AgentEventStore() = default;

    SessionHookStore& sessionHooks() { return m_sessionHooks; }
    [[nodiscard]] const SessionHookStore& sessionHooks() const { return m_sessionHooks; }
    ClaudeStatusLineStore& statusLines() { return m_statusLines; }
    [[nodiscard]] const ClaudeStatusLineStore& statusLines() const { return m_statusLines; }

    // Readers: copies.
    [[nodiscard]] QHash<QString, AgentLiveState> live() const;
    [[nodiscard]] QHash<QString, qint32> agentPIDs() const;
    [[nodiscard]] QList<ToolRun> finishedTools() const;
    [[nodiscard]] QList<AgentTurnResult> turnResults() const;
    [[nodiscard]] QHash<QString, QDateTime> lastPrompts() const;
    [[nodiscard]] QHash<QString, QDateTime> lastFailures() const;
    [[nodiscard]] QHash<QString, QDateTime> sessionEnds() const;
    [[nodiscard]] QHash<QString, QString> sessionProjects() const;
    [[nodiscard]] QHash<QString, LiveModel> models() const;
    [[nodiscard]] QHash<QString, ToolStart> toolStarts() const;
    [[nodiscard]] QList<PermissionAsk> permissionAsks() const;
    // The agent key of a session; `defaultAgent` when no hook named one.
    [[nodiscard]] QString agent(const QString& sessionID) const;

    // Replaces the state unless activity, tool and failure are all the same (then `since` keeps the
    // start of that state). A failure is noted in `lastFailures`. True when the state changed.
    bool update(const QString& sessionID, AgentActivity activity, const std::optional<QString>& tool,
                const std::optional<QString>& failure, const QDateTime& at);
    // The turn goes on: a state already working stays, anything else becomes working since `at`.
    void resumeTurn(const QString& sessionID, const QDateTime& at);
    // A new turn id is appended (the last 50 are kept); for a known one, interrupted replaces completed.
    void noteTurnResult(const QString& sessionID, const std::optional<QString>& turnID,
                        AgentTurnResult::Kind kind, const QDateTime& at);
    void noteModel(const QString& sessionID, const QString& model, const std::optional<QString>& previous,
                   const QDateTime& at);
    void note(const QString& sessionID, qint32 agentPID);
    void noteDirectory(const QString& sessionID, const QString& directory);
    void noteAgent(const QString& sessionID, const QString& agent);
    // A session that starts is no longer ended; unless it only compacted, no tool call of it is running.
    void noteSessionStart(const QString& sessionID, const std::optional<QString>& source);
    // The user typed: the session's permission questions are over, and the turn goes on.
    void notePrompt(const QString& sessionID, const QDateTime& at);
    // The session ended: its prompt, failure, directory and running calls go. The last 50 endings are
    // kept; an older one goes with everything else kept of its session.
    void end(const QString& sessionID, const QDateTime& at);
    // Removes every trace of a session.
    void forget(const QString& sessionID);

    void startTool(const QString& id, const QString& sessionID, const QString& tool, const QString& summary,
                   const std::optional<ToolCallFingerprint>& fingerprint, const QDateTime& at);
    void discardToolStarts(const QString& sessionID);
    // Ends a started call: nothing if no call has this id. Its wait comes from the permission question
    // asked during it, which is then removed.
    std::optional<ToolRun> finishTool(const QString& id, bool failed, const std::optional<QString>& error,
                                      const QDateTime& at);
    void notePermissionAsked(const QString& sessionID, const ToolCallFingerprint& fingerprint,
                             const QDateTime& at);
    // Marks the newest unanswered question of that call answered.
    void notePermissionAnswered(const QString& sessionID, const ToolCallFingerprint& fingerprint,
                                const QDateTime& at);

    // The queue of requests the card shows.
    void request(const PendingPermission& pending);
    void resolvePermission(const QString& id);
    // The hold of `held` ended unanswered: its request stays on show, expired, for `expiredLifetime`.
    void expirePermission(const HeldRequestRelease::Held& held, const QDateTime& at);
    void requestUnheld(const PendingPermission& pending, const HeldRequestRelease::Held& releasedBy,
                       const QDateTime& until);
    // Drops the requests on show whose time is over; gives how many.
    qsizetype dropLapsedPermissions(const QDateTime& now);
    [[nodiscard]] QList<HeldRequestRelease::Held> unheldForRelease() const;
    [[nodiscard]] QList<PendingPermission> permissions() const;
    // Held requests first, in order, then those on show without a hold, oldest first; of one agent.
    [[nodiscard]] QList<PendingPermission> pendingPermissions(const QString& agent) const;
    // The same for every agent.
    [[nodiscard]] QList<PendingPermission> pendingPermissions() const;

    // Claude Code's own agent list (the operations below are in AgentEventStoreOfficial.cpp).

    // A reading of the list, or none when it couldn't be read. A reading turns the listed sessions
    // into official states and the background agents into their states, the first reading only as a
    // baseline. Without one, the official states are switched off (kept for the next reading) and
    // the hooks stand alone. True when what the list says changed.
    bool noteAgentList(const std::optional<ClaudeAgentList::Reading>& reading, const QDateTime& at);
    // The official states while a list is in force, else none.
    [[nodiscard]] QHash<QString, OfficialSessionState> officialSessionStates() const;
    // The pid of each listed session that has one.
    [[nodiscard]] QHash<QString, qint32> officialPIDs() const;
    [[nodiscard]] QHash<QString, BackgroundAgentState> backgroundAgentStates() const;
    // The background agents of the list in force.
    [[nodiscard]] QList<ClaudeAgentList::BackgroundAgent> listedBackgroundAgents() const;
    [[nodiscard]] std::optional<ClaudeAgentList::Reading> agentListReading() const;

    // The last scan of the process table, and when it was made.
    struct ProcessScan {
        QDateTime at;
        QList<AgentProcess> processes;
        bool operator==(const ProcessScan&) const = default;
    };
    // Which process runs each session (session id to pid), from the list's pids, the pids the hooks
    // reported and, lacking both, the one agent process in the session's folder. The process table
    // is scanned through `scanner` at most once a second however many callers ask; the scan runs
    // under the lock so that callers at one moment share it.
    QHash<QString, qint32> processes(const QList<AgentSession>& sessions, const AgentProcessScanning& scanner,
                                     const QDateTime& now);
    // The same with a scan made by the caller, which is kept for the callers after it.
    QHash<QString, qint32> processes(const QList<AgentSession>& sessions, const QList<AgentProcess>& among,
                                     const AgentProcessScanning& scanner, const QDateTime& now);
    [[nodiscard]] std::optional<ProcessScan> lastProcessScan() const;

private:
    [[nodiscard]] QString agentLocked(const QString& sessionID) const;
    [[nodiscard]] QHash<QString, qint32> officialPIDsLocked() const;
    QHash<QString, qint32> locate(const QList<AgentSession>& sessions, const AgentProcessScanning& scanner,
                                  std::unique_lock<std::mutex>& lock);
    void resumeTurnLocked(const QString& sessionID, const QDateTime& at);
    void forgetLocked(const QString& sessionID);
    void capUnheldLocked(const QString& sessionID);
    [[nodiscard]] QList<PendingPermission> pendingPermissionsLocked(const QString* agent) const;

    mutable std::mutex m_lock;
    QHash<QString, AgentLiveState> m_states;
    QList<PendingPermission> m_permissions;
    QHash<QString, Unheld> m_unheld;
    QHash<QString, qint32> m_agents;
    QHash<QString, LiveModel> m_liveModels;
    QHash<QString, ToolStart> m_starts;
    QList<ToolRun> m_finished;
    QList<AgentTurnResult> m_turns;
    QHash<QString, QDateTime> m_prompts;
    QHash<QString, QDateTime> m_failures;
    QHash<QString, QDateTime> m_endings;
    QHash<QString, QString> m_projects;
    QHash<QString, QString> m_sessionAgents;
    QList<PermissionAsk> m_asks;
    std::optional<ProcessScan> m_scan;
    std::optional<ClaudeAgentList::Reading> m_agentList;
    QHash<QString, OfficialSessionState> m_officialStates;
    QHash<QString, BackgroundAgentState> m_backgroundStates;
    bool m_hasReadAgentList = false;

    SessionHookStore m_sessionHooks;
    ClaudeStatusLineStore m_statusLines;
};

} // namespace tessary
