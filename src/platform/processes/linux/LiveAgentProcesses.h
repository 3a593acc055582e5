#pragma once

#include "core/time/Clock.h"
#include "platform/processes/AgentProcesses.h"
#include "platform/procfs/ProcFileSystem.h"

#include <mutex>

namespace tessary {

// The process table read from /proc. A scan for agents reads each process's executable link (and,
// where that doesn't name an agent, the name it was started by); it is kept for `scanLifetime`
// seconds and handed to every caller in that time, however many ask. The root of the process file
// system and the clock are seams for tests.
class LiveAgentProcesses final : public AgentProcesses {
public:
    explicit LiveAgentProcesses(const Clock& clock, QString procRoot = QStringLiteral("/proc"));

    [[nodiscard]] QList<AgentProcess> live(const QStringList& names) const override;
    [[nodiscard]] bool exists(qint32 pid) const override;
    [[nodiscard]] QList<ProcessLink> descendants(qint32 pid) const override;
    [[nodiscard]] std::optional<QStringList> arguments(qint32 pid) const override;
    [[nodiscard]] std::optional<bool> hasControllingTerminal(qint32 pid) const override;
    [[nodiscard]] QList<qint32> ancestors(qint32 pid, int limit) const override;
    [[nodiscard]] std::optional<QString> directory(qint32 pid) const override;
    [[nodiscard]] std::optional<QString> executable(qint32 pid) const override;
    [[nodiscard]] std::optional<QString> tty(qint32 pid) const override;
    [[nodiscard]] std::optional<QDateTime> startedAt(qint32 pid) const override;
    [[nodiscard]] std::optional<QString> environmentValue(const QString& name, qint32 pid) const override;

    // Full scans made so far, cached readings left out.
    [[nodiscard]] int scanCount() const;

    // The device of a terminal number of /proc/<pid>/stat: "/dev/pts/N", "/dev/ttyN", "/dev/ttySN".
    static std::optional<QString> terminalDevice(std::int32_t terminal);

private:
    [[nodiscard]] QList<AgentProcess> scan(const QStringList& names) const;
    [[nodiscard]] std::optional<QString> firstArgument(std::int32_t pid) const;

    const Clock& m_clock;
    ProcFileSystem m_proc;

    struct Scan {
        QDateTime at;
        QStringList names;
        QList<AgentProcess> processes;
    };
    // Held through a scan, so that callers at the same moment wait for one scan instead of
    // making their own.
    mutable std::mutex m_scanLock;
    mutable std::optional<Scan> m_lastScan;
    mutable int m_scans = 0;
};

} // namespace tessary
