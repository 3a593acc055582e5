#include "services/sessions/SessionMonitors.h"

namespace tessary::SessionMonitoring {

ProviderFailure failure(const SessionProviderError& error) {
    return ProviderFailure{error.kind, error.userText, false};
}

Provider<QList<AgentSession>> provider(std::shared_ptr<const SessionProvider> source, int limit) {
    return [source = std::move(source),
            limit](const CancellationToken& cancellation) -> ProviderResult<QList<AgentSession>> {
        if (cancellation.isCancelled()) {
            return ProviderFailure::cancelled();
        }
        SessionFetchResult result = source->fetchSessions(limit);
        if (cancellation.isCancelled()) {
            return ProviderFailure::cancelled();
        }
        if (auto* sessions = std::get_if<QList<AgentSession>>(&result)) {
            return std::move(*sessions);
        }
        return failure(std::get<SessionProviderError>(result));
    };
}

std::unique_ptr<AgentSessionMonitor> monitor(DiagnosticLiteral name, MonitorPeriods periods,
                                             std::shared_ptr<const SessionProvider> source,
                                             SessionStore& store, MonitorServices services,
                                             PolledMonitor::OnUpdate onUpdate, int limit) {
    return std::make_unique<AgentSessionMonitor>(name, periods, provider(std::move(source), limit), store,
                                                 services, std::move(onUpdate));
}

} // namespace tessary::SessionMonitoring
