#include "services/sessions/OrcaCLI.h"

#include "services/shell/Shell.h"

namespace tessary {

using namespace Qt::StringLiterals;

QStringList OrcaCLI::defaultCandidates() {
    return {u"/Applications/Orca.app/Contents/Resources/bin/orca"_s, u"/opt/homebrew/bin/orca"_s,
            u"/usr/local/bin/orca"_s};
}

OrcaCLI::OrcaCLI(const ProcessRunner& runner, QStringList candidates)
    : m_runner(runner)
    , m_candidates(std::move(candidates)) {}

QString OrcaCLI::executable() const {
    return Shell::firstExecutable(m_candidates);
}

OrcaSessionProvider::RunResult OrcaCLI::run(const QStringList& arguments, double timeout) const {
    const QString tool = executable();
    if (tool.isEmpty()) {
        return OrcaSessionProvider::NotInstalled{};
    }
    const ShellResult result = m_runner.run(tool, arguments, timeout, std::nullopt);
    if (const auto* failure = std::get_if<ShellFailure>(&result)) {
        return OrcaSessionProvider::RunFailed{failure->message};
    }
    const auto& outcome = std::get<ShellOutcome>(result);
    if (outcome.status != 0) {
        return OrcaSessionProvider::RunFailed{u"exit status %1"_s.arg(outcome.status)};
    }
    return outcome.output.toUtf8();
}

bool OrcaCLI::succeeds(const QStringList& arguments, double timeout) const {
    return std::holds_alternative<QByteArray>(run(arguments, timeout));
}

OrcaSessionProvider::Runner OrcaCLI::runner(double timeout) const {
    return [this, timeout](const QStringList& arguments) { return run(arguments, timeout); };
}

std::shared_ptr<const SessionProvider> orcaSessions(OrcaSessionProvider::Agent agent, const OrcaCLI& cli) {
    return std::make_shared<OrcaSessionProvider>(agent, cli.runner());
}

} // namespace tessary
