#pragma once

#include "core/diagnostics/DiagnosticValue.h"
#include "core/localization/Localization.h"
#include "core/time/Clock.h"
#include "modules/usage/UsageStore.h"
#include "modules/usage/antigravity/AntigravityUsageParser.h"
#include "services/monitoring/ProviderResult.h"
#include "services/monitoring/UsageMonitor.h"
#include "services/shell/ProcessRunner.h"

#include <QStringList>

#include <atomic>
#include <memory>

namespace tessary {

// Why a reading of Antigravity's quota gave no report: the failures all usage providers share.
struct AntigravityUsageError {
    enum class Kind { requestFailed, missingCredentials, unauthorized };
    Kind kind = Kind::requestFailed;
    int statusCode = 0;
    bool operator==(const AntigravityUsageError&) const = default;

    [[nodiscard]] QString userText(const Localization& localization) const;
    [[nodiscard]] DiagnosticValue diagnosticKind() const;
};

// Antigravity's quota, asked of its agy tool once per reading; the program makes no network call
// of its own for it.
class AntigravityUsageProvider {
public:
    struct Configuration {
        // Tried in order; the first executable file is the tool.
        QStringList candidates;
        QString workingDirectory;
        // Above the tool's own limit of 20 s; at the end the tool is stopped.
        double timeoutSeconds = 30;
    };

    using Result = std::variant<UsageReport, AntigravityUsageError>;

    AntigravityUsageProvider(const ProcessRunner& runner, const Clock& clock, Configuration configuration);

    // `.local/bin/agy` under `home`, then the Homebrew and /usr/local places; never the PATH.
    static Configuration defaultConfiguration(const QString& home);
    static QStringList arguments();

    // The first candidate that is an executable file; empty without one.
    [[nodiscard]] QString executable() const;
    [[nodiscard]] bool isInstalled() const { return !executable().isEmpty(); }

    // One reading, on a worker thread; blocks for as long as the tool runs.
    [[nodiscard]] Result fetchUsage(const CancellationToken& cancellation) const;
    // A reading as a monitor runs it, with failure texts in the language last set.
    [[nodiscard]] Provider<UsageReport> provider() const;
    void setLanguage(AppLanguage language) { m_language.store(language); }

private:
    const ProcessRunner& m_runner;
    const Clock& m_clock;
    Configuration m_configuration;
    std::atomic<AppLanguage> m_language{AppLanguage::english};
};

using AntigravityUsageMonitor = UsageMonitor<UsageReport, UsageStore>;

namespace AntigravityUsage {

// The monitor of Antigravity's quota, "antigravityUsage" in the log: every 300 seconds, 10 after a
// failure. `provider` and `store` must outlive it.
std::unique_ptr<AntigravityUsageMonitor> monitor(const AntigravityUsageProvider& provider, UsageStore& store,
                                                 MonitorServices services, PolledMonitor::OnUpdate onUpdate);

} // namespace AntigravityUsage

} // namespace tessary
