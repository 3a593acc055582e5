#pragma once

#include "modules/agents/live/ClaudeAgentList.h"
#include "services/shell/ProcessRunner.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// Claude Code's own list of its sessions and background agents: `claude agents --json --all`, with
// each blocked background agent's needs from its job folder. The tool is looked for at its install
// places only. Blocking: run it on a worker thread.
class ClaudeAgentListProvider {
public:
    // One reading may take this long; the tool is then stopped and the reading fails.
    static constexpr double timeout = 3.0;

    // Each installed Node version of nvm (newest first), ~/.local/bin, Homebrew, /usr/local/bin,
    // Claude Code's own local install, Volta, and the system's /usr/bin.
    static QStringList defaultCandidates(const QString& home);
    static QString defaultJobsDirectory(const QString& home);
    // `base` with the folders a launch from the desktop may lack added to its PATH: the tool is a
    // Node script that finds `node` there.
    static QProcessEnvironment environment(QProcessEnvironment base);

    // `runner` must outlive the provider. The tool runs in `base` (the program's own environment)
    // with its PATH extended.
    ClaudeAgentListProvider(const ProcessRunner& runner, QStringList candidates, QString jobsDirectory,
                            const QProcessEnvironment& base = QProcessEnvironment::systemEnvironment());

    // The first candidate that is an executable file; empty without one.
    [[nodiscard]] QString executable() const;
    // Nothing when the tool is not installed, fails, overruns its time or prints no list.
    [[nodiscard]] std::optional<ClaudeAgentList> read() const;

private:
    const ProcessRunner& m_runner;
    QStringList m_candidates;
    QString m_jobsDirectory;
    QProcessEnvironment m_environment;
};

} // namespace tessary
