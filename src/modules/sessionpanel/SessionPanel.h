#pragma once

#include "core/localization/Localization.h"
#include "modulekit/Detail.h"
#include "modules/agents/hooks/SessionHookState.h"
#include "modules/agents/live/AgentLiveState.h"
#include "modules/agents/live/BackgroundAgentState.h"
#include "modules/agents/live/LiveStatePrecedence.h"
#include "modules/agents/permissions/PendingPermission.h"
#include "modules/sessions/AgentSession.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace tessary {

// The rules by which the usage modules turn sessions, live states and hook states into detail
// rows: what a session's line says, which state is believed, which sections exist and how they
// are headed. It decides words and order; it reads no file and keeps no state.
namespace SessionPanel {

// A live state older than the transcript's last activity by more than this is out of date.
inline constexpr double transcriptLead = 5.0;
// A running tool shows how long it has run from this age on.
inline constexpr double toolAgeShownFrom = 120.0;
// Under this age a state reads "now" rather than a time.
inline constexpr double recentWithin = 300.0;
// An interruption is news for half an hour, a compaction in progress for five minutes.
inline constexpr double interruptionLifetime = 1800.0;
inline constexpr double compactingLifetime = 300.0;

// The command carried by a session's row: a click jumps to the session's terminal or window.
inline constexpr QLatin1StringView jumpCommandPrefix{"session.jump:"};
// Orca's bundle identifier, for the rows of sessions it hosts.
inline constexpr QLatin1StringView orcaBundleID{"com.stablyai.orca"};

// Who is asking, and when.
struct Context {
    // The module whose bus routes the rows' commands.
    QString moduleID;
    // Put before every section id, so that two agents' sections never share one ("claude/").
    QString prefix;
    QDateTime now;
    Localization localization;
    // How long a subagent of unknown state counts as alive after its last write, in seconds.
    double subagentWindow = 300.0;
};

// Everything about one agent's sessions that the panel reads, copied from the stores at one moment.
struct Inputs {
    QList<AgentSession> sessions;
    // As the hooks tell it (AgentEventStore::live).
    QHash<QString, AgentLiveState> live;
    // As Claude Code's agent list tells it (AgentEventStore::officialSessionStates).
    QHash<QString, OfficialSessionState> official;
    QHash<QString, SessionHookState> hooks;
    // Requests waiting for the user, of this agent.
    QList<PendingPermission> requests;
    QHash<QString, QDateTime> failures;
    QHash<QString, QDateTime> prompts;
};

// The live state believed for `session`: a hook state the transcript has moved past by more than
// `transcriptLead` is dropped; what remains is weighed against the agent list; and a stopped state
// that stands only on the list is dropped as well once the transcript has moved past its
// beginning. Nothing when no state is left.
std::optional<AgentLiveState> trusted(const AgentSession& session, const std::optional<AgentLiveState>& live,
                                      const std::optional<OfficialSessionState>& official);

// The sessions in the order the panel shows them: those with a request waiting first, then by
// their latest sign of life (transcript, prompt or failure), newest first; stable on ties.
QList<AgentSession> ordered(const QList<AgentSession>& sessions, const QList<PendingPermission>& requests,
                            const QHash<QString, QDateTime>& failures,
                            const QHash<QString, QDateTime>& prompts);

// "now" under `recentWithin`, else the date relative to `now`.
QString ago(const QDateTime& since, const QDateTime& now, const Localization& localization);

// The words of a state: "working", "running Bash", "stopped now", "waiting for permission 5 min ago".
QString stateText(AgentActivity activity, const std::optional<QString>& tool,
                  const std::optional<ClaudeAgentList::WaitingFor>& waitingFor, const QDateTime& since,
                  const QDateTime& now, const Localization& localization);
QString stateText(const AgentLiveState& state, const QDateTime& now, const Localization& localization);

// What the hook state adds to a session's line, freshest news first: a compaction in progress, a
// recent interruption of a stopped session, background work it waits for, its task list.
QStringList hookState(AgentActivity activity, const SessionHookState& hooks, const QDateTime& now,
                      const Localization& localization);

// The line of a failed session: what the hooks learnt of the failure, else its code, with its age.
QString failureSubtitle(const QDateTime& since, const std::optional<QString>& code,
                        const SessionHookState* hooks, const QDateTime& now,
                        const Localization& localization);

// The command of a session's row, and the session it names.
DetailCommand jumpCommand(const AgentSession& session, const Context& context);
DetailCommand jumpCommand(const QString& sessionID, const Context& context);
std::optional<QString> jumpTarget(const DetailCommand& command);

// One session's row, with its subagents, requests, denials and tasks as its submenu.
DetailSection section(const AgentSession& session, const Inputs& inputs, const Context& context);

// Every session's row, in `ordered` order. Sessions that Orca hosts are grouped under a heading per
// Orca project ("orca/<project>"), the rest under "Other sessions" ("sessions/outside-orca"); with no
// group there are no headings.
std::vector<DetailSection> groupedSections(const Inputs& inputs, const Context& context);

// The rows under a session.
std::vector<DetailSection> requestRows(const AgentSession& session, const QList<PendingPermission>& requests,
                                       const Context& context);
std::vector<DetailSection> denialRows(const AgentSession& session, const SessionHookState& hooks,
                                      const Context& context);
std::vector<DetailSection> taskRows(const AgentSession& session, const SessionHookState& hooks,
                                    const Context& context);
std::vector<DetailSection> subagentRows(const AgentSession& session, const SessionHookState* hooks,
                                        const Context& context);

// A finished background agent stays on show this long after it finished.
inline constexpr double finishedBackgroundLifetime = 1800.0;

// The agents Claude Code runs in the background, under the heading "Background agents": running and
// blocked ones first, then those that finished within `finishedBackgroundLifetime`, newest first.
// Nothing, not even the heading, when none is left.
std::vector<DetailSection> backgroundSections(const QHash<QString, BackgroundAgentState>& agents,
                                              const Context& context);

// "Network access: host" for a request to reach the network, else its summary.
QString requestLine(const PendingPermission& request, const Localization& localization);

} // namespace SessionPanel

} // namespace tessary
