#pragma once

#include "modules/sessions/AgentProcess.h"
#include "modules/sessions/AgentSession.h"

#include <QHash>
#include <QList>

#include <functional>

namespace tessary {

// Which running process is which session. Three witnesses, in order of trust: the pid that
// Claude Code's own agent list gives, the pid that the session's hooks reported, and, lacking
// both, the one agent process working in the session's directory. A guess between two is no
// answer.
namespace AgentProcessLocator {

// Session id to process id, for the sessions that could be placed. `agent` key of a session
// without one: "claude". `exists` says whether a pid still runs.
QHash<QString, qint32> locate(const QList<AgentSession>& sessions, const QList<AgentProcess>& scanned,
                              const QHash<QString, qint32>& reported, const QHash<QString, qint32>& official,
                              const std::function<bool(qint32)>& exists);

// The processes working in `directory`: those in it exactly; else those in the nearest folder
// above or below it (only the ones with the longest directory). Pids ascending.
QList<qint32> matching(const QString& directory, const QList<AgentProcess>& among);

} // namespace AgentProcessLocator

} // namespace tessary
