#include "services/sessions/AntigravitySessionMonitor.h"

namespace tessary::AntigravitySessionMonitoring {

std::shared_ptr<const SessionProvider> source(const QString& home,
                                              std::shared_ptr<const AgentProcessScanning> processes) {
    AntigravitySessionProvider::Configuration configuration;
    configuration.root = AntigravitySessionProvider::defaultRoot(home);
    configuration.liveAgentDirectories = AntigravitySessionProvider::liveDirectories(std::move(processes));
    return std::make_shared<AntigravitySessionProvider>(std::move(configuration));
}

std::unique_ptr<AgentSessionMonitor> monitor(std::shared_ptr<const SessionProvider> source,
                                             SessionStore& store, MonitorServices services,
                                             PolledMonitor::OnUpdate onUpdate) {
    return SessionMonitoring::monitor("antigravitySessions", MonitorPeriod::antigravitySessions,
                                      std::move(source), store, services, std::move(onUpdate));
}

} // namespace tessary::AntigravitySessionMonitoring
