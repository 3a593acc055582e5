#include "services/usage/CodexUsageProvider.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "modules/usage/codex/CodexAppServerRateLimitParser.h"
#include "modules/usage/codex/CodexRateLimitParser.h"
#include "services/shell/Shell.h"
#include "services/usage/CodexAppServerClient.h"

#include <QDir>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

void logFallback(const DiagnosticValue& kind) {
    DiagnosticLog::error(DiagnosticCategory::monitor, "codex.app-server.fallback", [&] {
        return DiagnosticFields{{"error", kind}};
    });
}

} // namespace

CodexUsageProvider::CodexUsageProvider(const ProcessRunner& runner, const Clock& clock,
                                       Configuration configuration)
    : m_runner(runner)
    , m_clock(clock)
    , m_configuration(std::move(configuration)) {}

QStringList CodexUsageProvider::defaultCandidates() {
    return {QDir::homePath() + u"/.local/bin/codex"_s, u"/opt/homebrew/bin/codex"_s,
            u"/usr/local/bin/codex"_s};
}

QString CodexUsageProvider::defaultSessionsDirectory() {
    return QDir::homePath() + u"/.codex/sessions"_s;
}

QString CodexUsageProvider::defaultWorkingDirectory() {
    return QDir::tempPath();
}

QString CodexUsageProvider::appServerExecutable() const {
    // Paths only: a name would be looked up in the PATH, which the candidates never mean.
    return Shell::firstExecutable(m_configuration.appServerCandidates);
}

std::optional<UsageReport> CodexUsageProvider::sessionReport(const QDateTime& fetchedAt) const {
    return CodexSessionRateLimits::report(m_configuration.sessionsDirectory, fetchedAt,
                                          m_configuration.fileLimit);
}

ProviderResult<UsageReport> CodexUsageProvider::fetchUsage(const CancellationToken& cancellation) const {
    const QDateTime fetchedAt = m_clock.now();
    const Localization localization(m_language.load());
    const QString executable = appServerExecutable();
    if (executable.isEmpty()) {
        logFallback("CodexAppServer.noExecutable");
    } else {
        const CodexAppServerClient client(m_runner, {executable, m_configuration.appServerTimeoutSeconds,
                                                     m_configuration.workingDirectory});
        const auto answer = client.rateLimitsResponse(cancellation);
        if (const auto* bytes = std::get_if<QByteArray>(&answer)) {
            auto report = CodexAppServerRateLimitParser::report(*bytes, fetchedAt, localization);
            if (auto* parsed = std::get_if<UsageReport>(&report)) {
                return std::move(*parsed);
            }
            logFallback(DiagnosticValue::errorKind(std::get<CodexAppServerRateLimitParser::Failure>(report)));
        } else if (std::get<CodexAppServerClient::Failure>(answer) ==
                   CodexAppServerClient::Failure::cancelled) {
            return ProviderFailure::cancelled();
        } else {
            logFallback(DiagnosticValue::errorKind(std::get<CodexAppServerClient::Failure>(answer)));
        }
    }
    if (cancellation.isCancelled()) {
        return ProviderFailure::cancelled();
    }
    if (auto report = sessionReport(fetchedAt)) {
        return std::move(*report);
    }
    return ProviderFailure{"CodexUsage.noSessionFound",
                           localization.text(u"no Codex session found in ~/.codex/sessions"_s), false};
}

Provider<UsageReport> CodexUsageProvider::provider() const {
    return [this](const CancellationToken& cancellation) { return fetchUsage(cancellation); };
}

std::unique_ptr<CodexUsageMonitor> CodexUsage::monitor(const CodexUsageProvider& provider, UsageStore& store,
                                                       MonitorServices services,
                                                       PolledMonitor::OnUpdate onUpdate) {
    return std::make_unique<CodexUsageMonitor>(DiagnosticLiteral("codexUsage"), MonitorPeriod::codexUsage,
                                               provider.provider(), store, services, std::move(onUpdate));
}

} // namespace tessary
