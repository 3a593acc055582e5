#pragma once

#include "core/time/Clock.h"
#include "modules/github/GitHubReport.h"
#include "services/github/GitHubCLIProvider.h"
#include "services/monitoring/UsageMonitor.h"

#include <QDateTime>

#include <memory>
#include <optional>

namespace tessary {

// When the GitHub status is fetched again: the clock is looked at every `lookSeconds`, and a fetch
// is due once `idleSeconds` have passed since the last one began, or `activeSeconds` while the
// latest report has a running pull request. A failed fetch waits like any other: a rate limit is
// not made worse by asking sooner.
class GitHubCadence {
public:
    static constexpr double lookSeconds = 4;
    static constexpr double activeSeconds = 15;
    static constexpr double idleSeconds = 90;

    [[nodiscard]] bool isDue(const QDateTime& now) const;
    // Noted before the request goes out.
    void fetchBegan(const QDateTime& now) { m_lastFetch = now; }
    void reportArrived(const GitHubReport& report) { m_hasRunning = !report.running().empty(); }
    [[nodiscard]] double interval() const { return m_hasRunning ? activeSeconds : idleSeconds; }

private:
    std::optional<QDateTime> m_lastFetch;
    bool m_hasRunning = false;
};

namespace MonitorPeriod {
// The monitor wakes this often; GitHubCadence decides whether a wake fetches.
inline constexpr MonitorPeriods gitHubLook{GitHubCadence::lookSeconds, GitHubCadence::lookSeconds};
} // namespace MonitorPeriod

// Paces the GitHub status with GitHubCadence. A report replaces the stored one; a failure stores
// its text and keeps the old report on show. "gitHub" in the log, a failure once per kind.
template <typename Store = LatestValueStore<GitHubReport>>
requires ReportStore<Store, GitHubReport>
class GitHubMonitor final : public PolledMonitor {
public:
    GitHubMonitor(Provider<GitHubReport> provider, Store& store, const Clock& clock, MonitorServices services,
                  OnUpdate onUpdate)
        : PolledMonitor(DiagnosticLiteral("gitHub"), MonitorPeriod::gitHubLook, services, std::move(onUpdate))
        , m_provider(std::move(provider))
        , m_store(store)
        , m_clock(clock) {}

    [[nodiscard]] const GitHubCadence& cadence() const { return m_cadence; }

protected:
    void read(const CancellationToken& cancellation, PollingLoop::Finish finish) override {
        const QDateTime now = m_clock.now();
        if (!m_cadence.isDue(now)) {
            finish();
            return;
        }
        m_cadence.fetchBegan(now);
        readProvider(m_provider, cancellation, std::move(finish),
                     [this](ProviderResult<GitHubReport> result) {
                         settleReading(std::move(result), m_store, [this](GitHubReport report) {
                             m_cadence.reportArrived(report);
                             m_store.update(std::move(report));
                         });
                     });
    }

private:
    Provider<GitHubReport> m_provider;
    Store& m_store;
    const Clock& m_clock;
    GitHubCadence m_cadence;
};

namespace GitHub {

// The monitor of the GitHub widget. `provider`, `store` and `clock` must outlive it.
template <typename Store>
std::unique_ptr<GitHubMonitor<Store>> monitor(const GitHubCLIProvider& provider, Store& store,
                                              const Clock& clock, MonitorServices services,
                                              PolledMonitor::OnUpdate onUpdate) {
    return std::make_unique<GitHubMonitor<Store>>(provider.provider(), store, clock, services,
                                                  std::move(onUpdate));
}

} // namespace GitHub

} // namespace tessary
