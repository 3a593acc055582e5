#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
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

// A child that is spoken to while it runs: its input is written once and stays open, and its
// output is handed over as it comes, until the listener has what it wants.
struct ShellConversation {
    QString executable;
    QStringList arguments;
    // Empty: the caller's own.
    QString workingDirectory;
    // Written in one write as the child starts.
    QByteArray input;
    // In seconds, from the start; the child is then stopped and the result is timedOut.
    double timeout = 60;
    bool operator==(const ShellConversation&) const = default;
};

// What the listener says after each piece of output.
enum class ShellListening { more, done };

// How a conversation ended without a failure.
struct ShellConversationEnd {
    // The listener said done (else the child closed its output first).
    bool listenerDone = false;
    bool operator==(const ShellConversationEnd&) const = default;
};

using ShellConversationResult = std::variant<ShellConversationEnd, ShellFailure>;

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

    // Starts `conversation`'s child with its standard error discarded, writes its input, and hands
    // each piece of standard output to `listen` (also an empty one now and then, so that the
    // listener can give up). When the listener is done, or the output ends, the child's input is
    // closed and a child still running after a short grace is stopped. Runners that can't hold a
    // conversation refuse it.
    [[nodiscard]] virtual ShellConversationResult
    converse(const ShellConversation& conversation,
             const std::function<ShellListening(QByteArrayView output)>& listen) const {
        Q_UNUSED(listen);
        return ShellFailure{ShellFailure::Kind::failedToStart,
                            conversation.executable + QStringLiteral(": conversations are not supported")};
    }
};

} // namespace tessary
