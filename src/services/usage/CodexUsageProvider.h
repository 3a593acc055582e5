#pragma once

#include "core/localization/Localization.h"
#include "core/time/Clock.h"
#include "modules/usage/UsageReport.h"
#include "modules/usage/UsageStore.h"
#include "services/monitoring/ProviderResult.h"
#include "services/monitoring/UsageMonitor.h"
#include "services/shell/ProcessRunner.h"

#include <QStringList>

#include <atomic>
#include <memory>

namespace tessary {

// Codex's plan usage. Codex has no usage endpoint of its own to call, so the first source is its
// `app-server`, asked once per reading; when that fails the newest rate-limit record that Codex
// wrote into its session files stands in, with the time it was measured.
class CodexUsageProvider {
public:
    struct Configuration {
        // Tried in order; the first executable file is used.
        QStringList appServerCandidates = defaultCandidates();
        QString sessionsDirectory = defaultSessionsDirectory();
        qsizetype fileLimit = 8;
        double appServerTimeoutSeconds = 12;
        // The app-server's working folder.
        QString workingDirectory = defaultWorkingDirectory();
    };

    CodexUsageProvider(const ProcessRunner& runner, const Clock& clock, Configuration configuration);
    CodexUsageProvider(const ProcessRunner& runner, const Clock& clock)
        : CodexUsageProvider(runner, clock, Configuration{}) {}

    static QStringList defaultCandidates();
    static QString defaultSessionsDirectory();
    static QString defaultWorkingDirectory();

    // One reading, on a worker thread. The app-server's failure is only logged; the files'
    // failure is what the user sees.
    [[nodiscard]] ProviderResult<UsageReport> fetchUsage(const CancellationToken& cancellation) const;
    // The newest record of the session files, as a report.
    [[nodiscard]] std::optional<UsageReport> sessionReport(const QDateTime& fetchedAt) const;

    // A reading as a monitor runs it, with texts in the language last set.
    [[nodiscard]] Provider<UsageReport> provider() const;
    void setLanguage(AppLanguage language) { m_language.store(language); }

    [[nodiscard]] const Configuration& configuration() const { return m_configuration; }

private:
    [[nodiscard]] QString appServerExecutable() const;

    const ProcessRunner& m_runner;
    const Clock& m_clock;
    Configuration m_configuration;
    std::atomic<AppLanguage> m_language{AppLanguage::english};
};

using CodexUsageMonitor = UsageMonitor<UsageReport, UsageStore>;

namespace CodexUsage {

// The monitor of Codex's usage, "codexUsage" in the log: every 90 seconds, 10 after a failure.
// `provider` and `store` must outlive it.
std::unique_ptr<CodexUsageMonitor> monitor(const CodexUsageProvider& provider, UsageStore& store,
                                           MonitorServices services, PolledMonitor::OnUpdate onUpdate);

} // namespace CodexUsage

} // namespace tessary
