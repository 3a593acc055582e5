#pragma once

#include "modules/sessions/SessionProvider.h"
#include "modules/sessions/SessionStore.h"
#include "services/monitoring/SessionMonitor.h"

#include <memory>

namespace tessary {

// A monitor that paces one source of sessions into its store, with the guard against a source
// that sees nothing for a moment.
using AgentSessionMonitor = SessionMonitor<QList<AgentSession>, SessionStore>;

namespace SessionMonitoring {

// Sessions asked of a source at each reading: enough for every list the surfaces show, and a
// bound on the transcripts read per poll.
inline constexpr int sessionLimit = 20;

// The reading of `source` as a monitor runs it, on a worker thread: a cancelled reading gives a
// cancellation, a failed one its kind and text.
Provider<QList<AgentSession>> provider(std::shared_ptr<const SessionProvider> source,
                                       int limit = sessionLimit);

ProviderFailure failure(const SessionProviderError& error);

// A monitor of `source`, named for the log ("claudeSessions", "codexSessions", ...), with the
// periods of its agent (MonitorPeriod::claudeSessions, ...). `store` must outlive it.
std::unique_ptr<AgentSessionMonitor> monitor(DiagnosticLiteral name, MonitorPeriods periods,
                                             std::shared_ptr<const SessionProvider> source,
                                             SessionStore& store, MonitorServices services,
                                             PolledMonitor::OnUpdate onUpdate, int limit = sessionLimit);

} // namespace SessionMonitoring

} // namespace tessary
