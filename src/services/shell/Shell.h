#pragma once

#include "services/shell/ProcessRunner.h"

namespace tessary {

// The one way the program runs a child process: on QProcess, with pipes on standard output and
// error read together to their end (so neither can fill and stall the child), and a hard limit.
// Blocking: call it from worker threads, never while holding a lock.
class Shell final : public ProcessRunner {
public:
    using Outcome = ShellOutcome;

    // A child that hasn't ended at its deadline gets SIGTERM, and SIGKILL this long after.
    static constexpr int killGraceMilliseconds = 1000;
    // Either stream past this size stops the child: no tool this program runs writes that much.
    static constexpr qsizetype outputLimit = qsizetype{64} * 1024 * 1024;

    Shell() = default;

    [[nodiscard]] ShellResult run(const QString& executable, const QStringList& arguments,
                                  std::optional<double> timeout,
                                  const std::optional<QProcessEnvironment>& environment) const override;
    [[nodiscard]] ShellConversationResult
    converse(const ShellConversation& conversation,
             const std::function<ShellListening(QByteArrayView output)>& listen) const override;

    // How long a child whose input was closed has to end by itself before it is stopped.
    static constexpr int inputClosedGraceMilliseconds = 2000;

    // The folders added to the PATH of every child, after its own entries.
    [[nodiscard]] static QStringList extraPathFolders();
    // `environment` with those folders appended to its PATH where missing.
    [[nodiscard]] static QProcessEnvironment extendedEnvironment(QProcessEnvironment environment);
    // An absolute path for `executable`: as it stands when it names a path, else looked up in the
    // PATH of `environment`. Empty when nothing executable is found.
    [[nodiscard]] static QString resolve(const QString& executable, const QProcessEnvironment& environment);
    // The first of `candidates` that is an absolute path to an executable file; empty without one.
    // For tools looked for only at their own install places, never on the PATH.
    [[nodiscard]] static QString firstExecutable(const QStringList& candidates);
};

} // namespace tessary
