#pragma once

#include "core/time/Clock.h"
#include "modules/localservices/LocalServicesStore.h"
#include "modules/localservices/SessionLinker.h"
#include "services/localservices/LsofPortScanner.h"
#include "services/monitoring/PolledMonitor.h"

#include <QSet>

#include <functional>

namespace tessary {

// Scans the listening servers every 10 seconds on a worker thread, ties them to the agent sessions
// known on the main thread when the scan began, and fills the store. A failed scan keeps the list and
// stores the failure's text.
class LocalServicesMonitor final : public PolledMonitor {
public:
    static constexpr MonitorPeriods periods{10, 10};

    // The running agent sessions and agent processes, read on the main thread before each scan.
    struct SessionContext {
        std::vector<SessionLinker::Session> sessions;
        std::vector<SessionLinker::Agent> agents;
        QSet<QString> runningSessionIDs;
    };
    using Sessions = std::function<SessionContext()>;

    LocalServicesMonitor(LocalServicesProvider& provider, LocalServicesStore& store,
                         const ProcFileSystem& proc, const Clock& clock, Sessions sessions,
                         MonitorServices services, OnUpdate onUpdate);

protected:
    void read(const CancellationToken& cancellation, PollingLoop::Finish finish) override;

private:
    void handle(ProviderResult<std::vector<LocalService>> result, const QDateTime& at,
                const QSet<QString>& runningSessionIDs);

    LocalServicesProvider& m_provider;
    LocalServicesStore& m_store;
    const ProcFileSystem& m_proc;
    const Clock& m_clock;
    Sessions m_sessions;
};

} // namespace tessary
