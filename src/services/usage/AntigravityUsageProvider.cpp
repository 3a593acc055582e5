#include "services/usage/AntigravityUsageProvider.h"

#include "services/shell/Shell.h"

#include <QDir>

namespace tessary {

using namespace Qt::StringLiterals;

QString AntigravityUsageError::userText(const Localization& localization) const {
    switch (kind) {
    case Kind::requestFailed:
        return localization.text(u"usage unavailable"_s);
    case Kind::missingCredentials:
        return localization.text(u"Antigravity CLI (agy) not found"_s);
    case Kind::unauthorized:
        return localization.text(u"session expired; run 'agy' and sign in again"_s);
    }
    return {};
}

DiagnosticValue AntigravityUsageError::diagnosticKind() const {
    switch (kind) {
    case Kind::requestFailed:
        return "AntigravityUsageError.requestFailed";
    case Kind::missingCredentials:
        return "AntigravityUsageError.missingCredentials";
    case Kind::unauthorized:
        return "AntigravityUsageError.unauthorized";
    }
    return "AntigravityUsageError";
}

AntigravityUsageProvider::AntigravityUsageProvider(const ProcessRunner& runner, const Clock& clock,
                                                   Configuration configuration)
    : m_runner(runner)
    , m_clock(clock)
    , m_configuration(std::move(configuration)) {}

AntigravityUsageProvider::Configuration AntigravityUsageProvider::defaultConfiguration(const QString& home) {
    Configuration configuration;
    configuration.candidates = {QDir(home).filePath(u".local/bin/agy"_s), u"/opt/homebrew/bin/agy"_s,
                                u"/usr/local/bin/agy"_s};
    configuration.workingDirectory = home;
    return configuration;
}

QStringList AntigravityUsageProvider::arguments() {
    return {u"--print"_s,    u"/usage"_s,    u"--output-format"_s, u"json"_s,
            u"--log-file"_s, u"/dev/null"_s, u"--print-timeout"_s, u"20s"_s};
}

QString AntigravityUsageProvider::executable() const {
    return Shell::firstExecutable(m_configuration.candidates);
}

AntigravityUsageProvider::Result
AntigravityUsageProvider::fetchUsage(const CancellationToken& cancellation) const {
    const QString tool = executable();
    if (tool.isEmpty()) {
        return AntigravityUsageError{AntigravityUsageError::Kind::missingCredentials};
    }
    ShellConversation conversation;
    conversation.executable = tool;
    conversation.arguments = arguments();
    conversation.workingDirectory = m_configuration.workingDirectory;
    conversation.timeout = m_configuration.timeoutSeconds;
    QByteArray output;
    const ShellConversationResult ran = m_runner.converse(conversation, [&](QByteArrayView piece) {
        output += piece;
        return cancellation.isCancelled() ? ShellListening::done : ShellListening::more;
    });
    if (std::holds_alternative<ShellFailure>(ran) || cancellation.isCancelled()) {
        return AntigravityUsageError{AntigravityUsageError::Kind::requestFailed};
    }
    auto parsed = AntigravityUsageParser::parse(output, m_clock.now());
    if (const auto* failure = std::get_if<AntigravityUsageParserError>(&parsed)) {
        return AntigravityUsageError{failure->kind == AntigravityUsageParserError::Kind::commandFailed
                                         ? AntigravityUsageError::Kind::unauthorized
                                         : AntigravityUsageError::Kind::requestFailed};
    }
    return std::get<UsageReport>(std::move(parsed));
}

Provider<UsageReport> AntigravityUsageProvider::provider() const {
    return [this](const CancellationToken& cancellation) -> ProviderResult<UsageReport> {
        Result result = fetchUsage(cancellation);
        if (cancellation.isCancelled()) {
            return ProviderFailure::cancelled();
        }
        if (const auto* error = std::get_if<AntigravityUsageError>(&result)) {
            return ProviderFailure{error->diagnosticKind(), error->userText(Localization(m_language.load()))};
        }
        return std::get<UsageReport>(std::move(result));
    };
}

std::unique_ptr<AntigravityUsageMonitor> AntigravityUsage::monitor(const AntigravityUsageProvider& provider,
                                                                   UsageStore& store,
                                                                   MonitorServices services,
                                                                   PolledMonitor::OnUpdate onUpdate) {
    return std::make_unique<AntigravityUsageMonitor>(DiagnosticLiteral("antigravityUsage"),
                                                     MonitorPeriod::antigravityUsage, provider.provider(),
                                                     store, services, std::move(onUpdate));
}

} // namespace tessary
