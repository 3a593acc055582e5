#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <variant>

namespace tessary {

// What a child process left behind when it ended by itself.
struct ShellOutcome {
    std::int32_t status = 0;
    QString output;
    QString errorOutput;
    bool operator==(const ShellOutcome&) const = default;
};

// Why a child process gave no outcome.
struct ShellFailure {
    enum class Kind {
        notFound,      // no such executable, or not executable
        failedToStart, // the system refused to start it
        timedOut,      // still running at the deadline: it was stopped
        crashed,       // ended by a signal it didn't choose
        outputTooLarge // wrote more than the limit: it was stopped
    };
    Kind kind = Kind::failedToStart;
    QString message;
    bool operator==(const ShellFailure&) const = default;
};

using ShellResult = std::variant<ShellOutcome, ShellFailure>;

// The seam through which the program runs child processes: `Shell` is the real one, tests give
// fakes where a real process isn't the point. Calls block and belong on worker threads.
class ProcessRunner {
public:
    ProcessRunner() = default;
    ProcessRunner(const ProcessRunner&) = delete;
    ProcessRunner& operator=(const ProcessRunner&) = delete;
    ProcessRunner(ProcessRunner&&) = delete;
    ProcessRunner& operator=(ProcessRunner&&) = delete;
    virtual ~ProcessRunner() = default;

    // Runs `executable` (a path, or a name looked up in the extended PATH) with `arguments` and
    // waits for its end. With a `timeout` in seconds the child is asked to end at the deadline and
    // killed a second later. An `environment` replaces the child's (the PATH is still extended).
    [[nodiscard]] virtual ShellResult run(const QString& executable, const QStringList& arguments,
                                          std::optional<double> timeout,
                                          const std::optional<QProcessEnvironment>& environment) const = 0;
};

} // namespace tessary
