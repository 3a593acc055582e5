#include "services/localservices/LocalServicesMonitor.h"

namespace tessary {

LocalServicesMonitor::LocalServicesMonitor(LocalServicesProvider& provider, LocalServicesStore& store,
                                           const ProcFileSystem& proc, const Clock& clock, Sessions sessions,
                                           MonitorServices services, OnUpdate onUpdate)
    : PolledMonitor("localServices", periods, services, std::move(onUpdate))
    , m_provider(provider)
    , m_store(store)
    , m_proc(proc)
    , m_clock(clock)
    , m_sessions(std::move(sessions)) {}

void LocalServicesMonitor::read(const CancellationToken& cancellation, PollingLoop::Finish finish) {
    SessionContext context = m_sessions ? m_sessions() : SessionContext{};
    const QDateTime now = m_clock.now();
    const QSet<QString> running = context.runningSessionIDs;
    const Provider<std::vector<LocalService>> provider =
        [this, now, context = std::move(context)](
            const CancellationToken& token) -> ProviderResult<std::vector<LocalService>> {
        LocalServicesScan scan = m_provider.scan(now, token);
        if (token.isCancelled()) {
            return ProviderFailure::cancelled();
        }
        if (const auto* error = std::get_if<LocalServicesError>(&scan)) {
            return ProviderFailure{DiagnosticValue::errorKind("LocalServicesError", error->kind),
                                   error->message, false};
        }
        const SessionLinker::Ancestors ancestors = [this](std::int32_t pid) { return m_proc.ancestors(pid); };
        return SessionLinker::link(std::get<std::vector<LocalService>>(std::move(scan)), context.sessions,
                                   context.agents, ancestors);
    };
    readProvider(provider, cancellation, std::move(finish),
                 [this, now, running](ProviderResult<std::vector<LocalService>> result) {
                     handle(std::move(result), now, running);
                 });
}

void LocalServicesMonitor::handle(ProviderResult<std::vector<LocalService>> result, const QDateTime& at,
                                  const QSet<QString>& runningSessionIDs) {
    settleReading(std::move(result), m_store, [&](std::vector<LocalService> services) {
        m_store.update(std::move(services), at, runningSessionIDs);
    });
}

} // namespace tessary
