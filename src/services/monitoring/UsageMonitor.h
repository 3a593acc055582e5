#pragma once

#include "services/monitoring/LatestValueStore.h"
#include "services/monitoring/PolledMonitor.h"

#include <concepts>
#include <variant>

namespace tessary {

// A store that keeps the latest report and the text of the latest failure.
template <typename S, typename Report>
concept ReportStore = requires(S& store, Report report, QString text) {
    store.update(std::move(report));
    store.updateErrorDescription(std::move(text));
};

// Paces a provider of plan-limit reports. A report replaces the stored one; a failure stores its
// text, keeps the old report on show and makes the next reading come after the retry period.
// Both ring `onUpdate`; a cancelled reading does neither.
template <typename Report, typename Store = LatestValueStore<Report>>
requires ReportStore<Store, Report>
class UsageMonitor final : public PolledMonitor {
public:
    UsageMonitor(DiagnosticLiteral name, MonitorPeriods periods, Provider<Report> provider, Store& store,
                 MonitorServices services, OnUpdate onUpdate)
        : PolledMonitor(name, periods, services, std::move(onUpdate))
        , m_provider(std::move(provider))
        , m_store(store) {}

protected:
    void read(const CancellationToken& cancellation, PollingLoop::Finish finish) override {
        readProvider(m_provider, cancellation, std::move(finish),
                     [this](ProviderResult<Report> result) { handle(std::move(result)); });
    }

private:
    void handle(ProviderResult<Report> result) {
        settleReading(std::move(result), m_store,
                      [this](Report report) { m_store.update(std::move(report)); });
    }

    Provider<Report> m_provider;
    Store& m_store;
};

} // namespace tessary
