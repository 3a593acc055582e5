#pragma once

#include "core/diagnostics/DiagnosticLogger.h"
#include "core/time/Clock.h"
#include "modules/sessions/ClaudeSessionFileProvider.h"
#include "services/sessions/SessionMonitors.h"

#include <QList>
#include <QString>

#include <memory>

namespace tessary {

// The Claude session monitor of the application: Claude Code's transcripts under the user's home,
// merged with any further sources of Claude sessions (the terminals a host application runs),
// read every 45 s, every 5 s after a failure or while an empty reading is set aside.
namespace ClaudeSessionMonitoring {

// The transcripts under `home`/.claude, then `hosted`, as one source.
std::shared_ptr<const SessionProvider> source(const QString& home, const Clock& clock,
                                              std::shared_ptr<const ClaudeDesktopDirectory> desktop = nullptr,
                                              QList<std::shared_ptr<const SessionProvider>> hosted = {},
                                              DiagnosticLogger* logger = nullptr);

// A monitor of `source` into `store` ("claudeSessions" in the log). `store` must outlive it.
std::unique_ptr<AgentSessionMonitor> monitor(std::shared_ptr<const SessionProvider> source,
                                             SessionStore& store, MonitorServices services,
                                             PolledMonitor::OnUpdate onUpdate);

} // namespace ClaudeSessionMonitoring

} // namespace tessary
