#pragma once

#include "modules/agents/live/ClaudeStatusLineStore.h"
#include "modules/sessions/AgentSession.h"
#include "modules/usage/UsageReport.h"

#include <QHash>
#include <QList>

#include <optional>

namespace tessary {

// What Claude Code's status line adds to the session rows and the usage gauge: the context the agent
// itself counts, and the plan's limits for subscription logins. Nothing here waits for a status line:
// without one, the transcripts and the usage endpoint stand alone.
namespace ClaudeStatusLineUse {

// The sessions with the context their status line reported. A reading without a percentage (the
// first one of a session has none) is no figure and changes nothing.
QList<AgentSession> sessions(QList<AgentSession> sessions,
                             const QHash<QString, ClaudeStatusLineReading>& readings);

// A report of the two plan windows from the newest status line that carries them, when that is newer
// than `current`; the limits of `current` beyond the two windows (per model) are kept. Nothing when
// there is nothing newer.
std::optional<UsageReport> report(const std::optional<UsageReport>& current,
                                  const QHash<QString, ClaudeStatusLineReading>& readings);

} // namespace ClaudeStatusLineUse

} // namespace tessary
