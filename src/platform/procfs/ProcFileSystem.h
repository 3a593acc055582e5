#pragma once

#include "modules/vitals/ProcParser.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <cstdint>
#include <optional>
#include <vector>

namespace tessary {

// Reads the process file system at a root: "/proc" for the real machine, a folder of fake files in
// tests. Every read may fail because a process ends in the middle of it; that gives nothing, never
// a wrong value. Safe from any thread.
class ProcFileSystem {
public:
    explicit ProcFileSystem(QString root = QStringLiteral("/proc"));

    [[nodiscard]] const QString& root() const { return m_root; }

    // A file under the root, at most `limit` bytes; nothing when it can't be read.
    [[nodiscard]] std::optional<QByteArray> read(const QString& relative, qsizetype limit = 1 << 20) const;
    // The target of a symbolic link under the root.
    [[nodiscard]] std::optional<QString> link(const QString& relative) const;

    // The processes: the numeric folders of the root.
    [[nodiscard]] std::vector<std::int32_t> pids() const;
    [[nodiscard]] std::optional<ProcessStat> stat(std::int32_t pid) const;
    [[nodiscard]] std::optional<ProcessStatm> statm(std::int32_t pid) const;
    // The owner of the process's folder, which is the process's real user.
    [[nodiscard]] std::optional<std::uint32_t> owner(std::int32_t pid) const;
    // The executable; nothing for kernel threads and, without privileges, others' processes.
    [[nodiscard]] std::optional<QString> executable(std::int32_t pid) const;
    [[nodiscard]] std::optional<QString> directory(std::int32_t pid) const;
    [[nodiscard]] std::vector<QString> commandLine(std::int32_t pid) const;

    struct Descriptor {
        int number = -1;
        QString target; // "socket:[123]", "/path/to/file", "pipe:[456]"
        bool operator==(const Descriptor&) const = default;
    };
    // The open descriptors of a process and what each points at.
    [[nodiscard]] std::vector<Descriptor> descriptors(std::int32_t pid) const;
    // The inodes of the sockets a process holds.
    [[nodiscard]] std::vector<std::uint64_t> socketInodes(std::int32_t pid) const;
    [[nodiscard]] std::optional<int> fileFlags(std::int32_t pid, int descriptor) const;

    // The parents of a process, nearest first, up to `limit`, stopping below pid 2 or at a failed read.
    [[nodiscard]] std::vector<std::int32_t> ancestors(std::int32_t pid, int limit = 64) const;
    // Whether the process exists and hasn't ended (a zombie has).
    [[nodiscard]] bool isAlive(std::int32_t pid) const;
    // When the process started, from its start in ticks after boot.
    [[nodiscard]] std::optional<QDateTime> startedAt(const ProcessStat& stat) const;
    [[nodiscard]] std::optional<ProcessResources> resources(std::int32_t pid) const;

    [[nodiscard]] std::optional<std::int64_t> bootTime() const;
    [[nodiscard]] std::int64_t ticksPerSecond() const { return m_ticksPerSecond; }
    [[nodiscard]] std::int64_t pageSize() const { return m_pageSize; }

private:
    [[nodiscard]] QByteArray path(const QString& relative) const;

    QString m_root;
    // Boot time never changes while the machine runs: read once, -1 until then.
    mutable std::atomic<std::int64_t> m_bootTime{-1};
    QByteArray m_rootBytes;
    std::int64_t m_ticksPerSecond = 100;
    std::int64_t m_pageSize = 4096;
};

} // namespace tessary
