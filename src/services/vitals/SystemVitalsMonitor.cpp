#include "services/vitals/SystemVitalsMonitor.h"

namespace tessary {

SystemVitalsMonitor::SystemVitalsMonitor(LiveSystemVitalsProvider& provider, SystemVitalsStore& store,
                                         const Clock& clock, Labels labels, MonitorServices services,
                                         OnUpdate onUpdate)
    : PolledMonitor("systemVitals", periods, services, std::move(onUpdate))
    , m_provider(provider)
    , m_store(store)
    , m_clock(clock)
    , m_labels(std::move(labels)) {}

void SystemVitalsMonitor::read(const CancellationToken& cancellation, PollingLoop::Finish finish) {
    ProcessLabels labels = m_labels ? m_labels() : ProcessLabels{};
    const Provider<SystemVitalsSnapshot> provider =
        [this, now = m_clock.now()](const CancellationToken& token) { return m_provider.sample(now, token); };
    readProvider(provider, cancellation, std::move(finish),
                 [this, labels = std::move(labels)](ProviderResult<SystemVitalsSnapshot> result) mutable {
                     handle(std::move(result), std::move(labels));
                 });
}

void SystemVitalsMonitor::handle(ProviderResult<SystemVitalsSnapshot> result, ProcessLabels labels) {
    settleReading(std::move(result), m_store, [&](SystemVitalsSnapshot snapshot) {
        snapshot.labels = std::move(labels);
        m_store.update(std::move(snapshot));
    });
}

} // namespace tessary
