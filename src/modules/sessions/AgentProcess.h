#pragma once

#include "core/records/ProcessLink.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// A running coding agent found in the process table.
struct AgentProcess {
    qint32 pid = 0;
    // The working directory; absent when it can't be read, which keeps the process out of any
    // matching by directory.
    std::optional<QString> directory;
    QDateTime startedAt;
    // The agent key ("claude", "codex", "agy") that its executable was recognised by.
    std::optional<QString> agentName;
    bool operator==(const AgentProcess&) const = default;
};

// The facts of processes that the rules on hooked sessions ask for. The platform gives the real
// one; tests give fakes. Safe from any thread.
class AgentProcessReading {
public:
    AgentProcessReading() = default;
    AgentProcessReading(const AgentProcessReading&) = delete;
    AgentProcessReading& operator=(const AgentProcessReading&) = delete;
    AgentProcessReading(AgentProcessReading&&) = delete;
    AgentProcessReading& operator=(AgentProcessReading&&) = delete;
    virtual ~AgentProcessReading() = default;

    // Every process below `pid`, children before grandchildren; empty when there are none.
    [[nodiscard]] virtual QList<ProcessLink> descendants(qint32 pid) const = 0;
    // The process's arguments, the program's name first; nothing when it can't be read.
    [[nodiscard]] virtual std::optional<QStringList> arguments(qint32 pid) const = 0;
    // Whether the process has a controlling terminal; nothing when it can't be read.
    [[nodiscard]] virtual std::optional<bool> hasControllingTerminal(qint32 pid) const = 0;
};

// The scan of the process table for agents, for the live state. Safe from any thread.
class AgentProcessScanning {
public:
    AgentProcessScanning() = default;
    AgentProcessScanning(const AgentProcessScanning&) = delete;
    AgentProcessScanning& operator=(const AgentProcessScanning&) = delete;
    AgentProcessScanning(AgentProcessScanning&&) = delete;
    AgentProcessScanning& operator=(AgentProcessScanning&&) = delete;
    virtual ~AgentProcessScanning() = default;

    // The running processes of the agents named in `names` (see AgentProcessNames::agentName).
    [[nodiscard]] virtual QList<AgentProcess> live(const QStringList& names) const = 0;
    // Whether the process runs and hasn't ended.
    [[nodiscard]] virtual bool exists(qint32 pid) const = 0;
};

namespace AgentProcessNames {

// The agents looked for: "claude", "codex", "agy".
const QStringList& agentNames();

// The agent that a process belongs to: the path components of its executable, from the last to
// the first, are looked through for one of `names` (or a name with ".exe", as the npm package of
// Claude Code installs it), so that a runtime inside a folder named after the agent counts too.
// With no hit there, the last path component of the first argument (the name it was started by)
// is tried the same way.
std::optional<QString> agentName(const QString& executablePath, const std::optional<QString>& firstArgument,
                                 const QStringList& names);

} // namespace AgentProcessNames

} // namespace tessary
