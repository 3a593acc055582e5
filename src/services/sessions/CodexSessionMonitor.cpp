#include "services/sessions/CodexSessionMonitor.h"

#include "modules/sessions/CodexSessionFileProvider.h"
#include "modules/sessions/CombinedSessionProvider.h"

namespace tessary::CodexSessionMonitoring {

std::shared_ptr<const SessionProvider>
source(const QString& home, QList<std::shared_ptr<const SessionProvider>> hosted, DiagnosticLogger* logger) {
    QList<std::shared_ptr<const SessionProvider>> providers;
    providers.append(std::make_shared<CodexSessionFileProvider>(
        CodexSessionFileProvider::forHome(home, qEnvironmentVariable("CODEX_HOME"))));
    providers.append(std::move(hosted));
    return std::make_shared<CombinedSessionProvider>(std::move(providers), logger);
}

std::unique_ptr<AgentSessionMonitor> monitor(std::shared_ptr<const SessionProvider> source,
                                             SessionStore& store, MonitorServices services,
                                             PolledMonitor::OnUpdate onUpdate) {
    return SessionMonitoring::monitor("codexSessions", MonitorPeriod::codexSessions, std::move(source), store,
                                      services, std::move(onUpdate));
}

} // namespace tessary::CodexSessionMonitoring
