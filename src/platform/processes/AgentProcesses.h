#pragma once

#include "modules/sessions/AgentProcess.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// The process table as the agent logic sees it: which agents run, where, since when, with what
// arguments and below which processes. Every answer is a reading of a moving table: a process can
// end between two questions, which gives nothing, never a wrong value. Safe from any thread.
class AgentProcesses : public AgentProcessReading, public AgentProcessScanning {
public:
    // How long one scan of the whole table serves, in seconds: a full scan reads every process.
    static constexpr double scanLifetime = 1.0;
    // The deepest walk up the parents that callers need.
    static constexpr int ancestorLimit = 64;

    // The parents of `pid`, nearest first, at most `limit`, stopping below pid 2 or at a process
    // that can't be read; `pid` itself is not among them.
    [[nodiscard]] virtual QList<qint32> ancestors(qint32 pid, int limit) const = 0;
    // The working directory.
    [[nodiscard]] virtual std::optional<QString> directory(qint32 pid) const = 0;
    // The executable's path.
    [[nodiscard]] virtual std::optional<QString> executable(qint32 pid) const = 0;
    // The terminal device of the process ("/dev/pts/3"); nothing without one or when it can't be told.
    [[nodiscard]] virtual std::optional<QString> tty(qint32 pid) const = 0;
    [[nodiscard]] virtual std::optional<QDateTime> startedAt(qint32 pid) const = 0;
    // A variable of the process's environment (readable for the user's own processes only).
    // A name that is empty or holds "=" finds nothing.
    [[nodiscard]] virtual std::optional<QString> environmentValue(const QString& name, qint32 pid) const = 0;
};

} // namespace tessary
