#pragma once

#include "core/time/Clock.h"
#include "modules/vitals/SystemVitalsStore.h"
#include "services/monitoring/PolledMonitor.h"
#include "services/vitals/LiveSystemVitalsProvider.h"

#include <functional>

namespace tessary {

// Samples the machine every 4 seconds on a worker thread, labels the rows with the agents and servers
// known on the main thread at that moment, and fills the store.
class SystemVitalsMonitor final : public PolledMonitor {
public:
    static constexpr MonitorPeriods periods{4, 4};
    // Gives the agent processes and servers to label rows with; called on the main thread.
    using Labels = std::function<ProcessLabels()>;

    SystemVitalsMonitor(LiveSystemVitalsProvider& provider, SystemVitalsStore& store, const Clock& clock,
                        Labels labels, MonitorServices services, OnUpdate onUpdate);

protected:
    void read(const CancellationToken& cancellation, PollingLoop::Finish finish) override;

private:
    void handle(ProviderResult<SystemVitalsSnapshot> result, ProcessLabels labels);

    LiveSystemVitalsProvider& m_provider;
    SystemVitalsStore& m_store;
    const Clock& m_clock;
    Labels m_labels;
};

} // namespace tessary
