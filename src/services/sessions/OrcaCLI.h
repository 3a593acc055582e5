#pragma once

#include "modules/sessions/OrcaSessionProvider.h"
#include "services/shell/ProcessRunner.h"

#include <QStringList>

#include <memory>

namespace tessary {

// Orca's command-line tool. It is looked for only at the places Orca installs it, never through
// the PATH: on Linux `orca` on the PATH is usually the GNOME screen reader.
class OrcaCLI {
public:
    static constexpr auto bundleID = "com.stablyai.orca";
    // How long one question to Orca may take, in seconds.
    static constexpr double defaultTimeout = 5.0;

    static QStringList defaultCandidates();

    // `runner` must outlive the tool and every provider made of it.
    explicit OrcaCLI(const ProcessRunner& runner, QStringList candidates = defaultCandidates());

    // The first candidate that is an executable file; empty without one.
    [[nodiscard]] QString executable() const;
    [[nodiscard]] bool isInstalled() const { return !executable().isEmpty(); }
    // Standard output of a run that ended with status 0.
    [[nodiscard]] OrcaSessionProvider::RunResult run(const QStringList& arguments,
                                                     double timeout = defaultTimeout) const;
    [[nodiscard]] bool succeeds(const QStringList& arguments, double timeout = defaultTimeout) const;

    // The tool as a session provider's runner.
    [[nodiscard]] OrcaSessionProvider::Runner runner(double timeout = defaultTimeout) const;

private:
    const ProcessRunner& m_runner;
    QStringList m_candidates;
};

// The Orca terminals running `agent`, as a source for that agent's combined session list.
std::shared_ptr<const SessionProvider> orcaSessions(OrcaSessionProvider::Agent agent, const OrcaCLI& cli);

} // namespace tessary
