#include "services/sessions/ClaudeSessionMonitor.h"

#include "modules/sessions/CombinedSessionProvider.h"

namespace tessary::ClaudeSessionMonitoring {

std::shared_ptr<const SessionProvider> source(const QString& home, const Clock& clock,
                                              std::shared_ptr<const ClaudeDesktopDirectory> desktop,
                                              QList<std::shared_ptr<const SessionProvider>> hosted,
                                              DiagnosticLogger* logger) {
    const QString configDirectory = qEnvironmentVariable("CLAUDE_CONFIG_DIR");
    QList<std::shared_ptr<const SessionProvider>> providers;
    providers.append(std::make_shared<ClaudeSessionFileProvider>(
        ClaudeSessionFileProvider::forHome(home, configDirectory), clock, std::move(desktop)));
    providers.append(std::move(hosted));
    return std::make_shared<CombinedSessionProvider>(std::move(providers), logger);
}

std::unique_ptr<AgentSessionMonitor> monitor(std::shared_ptr<const SessionProvider> source,
                                             SessionStore& store, MonitorServices services,
                                             PolledMonitor::OnUpdate onUpdate) {
    return SessionMonitoring::monitor("claudeSessions", MonitorPeriod::claudeSessions, std::move(source),
                                      store, services, std::move(onUpdate));
}

} // namespace tessary::ClaudeSessionMonitoring
