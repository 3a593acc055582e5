#pragma once

#include "modules/sessions/AgentSession.h"

#include <QList>

namespace tessary {

// Orca runs agents in its terminals. Its own readings of those terminals don't make sessions of
// their own: they only tell which transcript session runs in which terminal.
namespace OrcaSessionHosting {

inline constexpr auto origin = "Orca";

// Marks the sessions of `rest` that run in one of the `hosted` terminals, matched by agent and
// directory. One terminal serves one session, the newest session taking the newest terminal.
void attach(const QList<AgentSession>& hosted, QList<AgentSession>& rest);

} // namespace OrcaSessionHosting

} // namespace tessary
