#pragma once

#include "core/diagnostics/DiagnosticLogger.h"
#include "services/sessions/SessionMonitors.h"

#include <QList>
#include <QString>

#include <memory>

namespace tessary {

// The Codex session monitor of the application: Codex's session files under the user's home,
// merged with any further sources of Codex sessions (the terminals a host application runs),
// read every 120 s, every 5 s after a failure or while an empty reading is set aside.
namespace CodexSessionMonitoring {

// The session files under `home`/.codex (or CODEX_HOME), then `hosted`, as one source.
std::shared_ptr<const SessionProvider> source(const QString& home,
                                              QList<std::shared_ptr<const SessionProvider>> hosted = {},
                                              DiagnosticLogger* logger = nullptr);

// A monitor of `source` into `store` ("codexSessions" in the log). `store` must outlive it.
std::unique_ptr<AgentSessionMonitor> monitor(std::shared_ptr<const SessionProvider> source,
                                             SessionStore& store, MonitorServices services,
                                             PolledMonitor::OnUpdate onUpdate);

} // namespace CodexSessionMonitoring

} // namespace tessary
