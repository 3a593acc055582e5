#pragma once

#include "modules/sessions/AgentProcess.h"
#include "services/sessions/AntigravitySessionProvider.h"
#include "services/sessions/SessionMonitors.h"

#include <memory>

namespace tessary {

// The Antigravity session monitor of the application: the summary database under the user's home,
// read every 45 s, every 5 s after a failure (a locked database keeps the last list meanwhile).
namespace AntigravitySessionMonitoring {

// The database under `home`/.gemini/antigravity-cli, with the running `agy` processes of
// `processes` telling which conversations still work.
std::shared_ptr<const SessionProvider> source(const QString& home,
                                              std::shared_ptr<const AgentProcessScanning> processes);

// A monitor of `source` into `store` ("antigravitySessions" in the log). `store` must outlive it.
std::unique_ptr<AgentSessionMonitor> monitor(std::shared_ptr<const SessionProvider> source,
                                             SessionStore& store, MonitorServices services,
                                             PolledMonitor::OnUpdate onUpdate);

} // namespace AntigravitySessionMonitoring

} // namespace tessary
