#pragma once

#include "modules/vitals/VitalsRecords.h"

#include <QByteArrayView>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace tessary {

// The figures of /proc/meminfo that the memory reading needs, in bytes. Absent lines stay absent:
// older kernels lack MemAvailable, most lack the zswap lines.
struct MemInfo {
    std::optional<std::uint64_t> total;
    std::optional<std::uint64_t> free;
    std::optional<std::uint64_t> available;
    std::optional<std::uint64_t> buffers;
    std::optional<std::uint64_t> cached;
    std::optional<std::uint64_t> shmem;
    std::optional<std::uint64_t> slabReclaimable;
    std::optional<std::uint64_t> slabUnreclaimable;
    std::optional<std::uint64_t> kernelStack;
    std::optional<std::uint64_t> pageTables;
    std::optional<std::uint64_t> unevictable;
    std::optional<std::uint64_t> swapTotal;
    std::optional<std::uint64_t> swapFree;
    std::optional<std::uint64_t> zswap;
    bool operator==(const MemInfo&) const = default;
};

// A line pair of /proc/pressure/<resource>: the share of time in which some (or all) tasks stalled.
struct PressureStall {
    double someAvg10 = 0;
    double someAvg60 = 0;
    std::optional<double> fullAvg10;
    bool operator==(const PressureStall&) const = default;
};

// The fields of /proc/<pid>/stat that the program uses.
struct ProcessStat {
    std::int32_t pid = 0;
    QString command; // the kernel's short name, at most 15 bytes
    char state = '?';
    std::int32_t parent = 0;
    std::uint32_t flags = 0;
    std::int32_t terminal = 0; // tty_nr: 0 when the process has none
    std::uint64_t userTicks = 0;
    std::uint64_t systemTicks = 0;
    std::uint64_t startTicks = 0; // clock ticks after boot
    std::int64_t residentPages = 0;
    bool operator==(const ProcessStat&) const = default;

    [[nodiscard]] bool isKernelThread() const { return (flags & kernelThreadFlag) != 0; }
    static constexpr std::uint32_t kernelThreadFlag = 0x00200000; // PF_KTHREAD
};

// /proc/<pid>/statm, in pages.
struct ProcessStatm {
    std::uint64_t size = 0;
    std::uint64_t resident = 0;
    std::uint64_t shared = 0;
    bool operator==(const ProcessStatm&) const = default;

    // What the process holds for itself: resident pages not backed by a file or shared memory.
    [[nodiscard]] std::uint64_t privatePages() const { return resident > shared ? resident - shared : 0; }
};

// Readers of the text files of /proc. The kernel writes them, but a file read while the process
// ends can come back empty or cut, and a test can hand anything in: a reader gives nothing rather
// than a wrong value, and never reads out of bounds.
namespace ProcParser {

// The machine-wide "cpu" line of /proc/stat.
std::optional<CPUTicks> cpuTicks(QByteArrayView stat);
// The number of "cpuN" lines of /proc/stat: the CPUs online.
int cpuCount(QByteArrayView stat);
// The "btime" line of /proc/stat: the boot time in seconds since the epoch.
std::optional<std::int64_t> bootTime(QByteArrayView stat);

std::optional<MemInfo> memInfo(QByteArrayView text);
std::optional<PressureStall> pressure(QByteArrayView text);
// The first three fields of /proc/loadavg.
std::vector<double> loadAverages(QByteArrayView text);

std::optional<ProcessStat> processStat(QByteArrayView text);
std::optional<ProcessStatm> processStatm(QByteArrayView text);
// The "flags:" line of /proc/<pid>/fdinfo/<fd>: the open(2) flags, octal.
std::optional<int> fileFlags(QByteArrayView fdinfo);
// The arguments of /proc/<pid>/cmdline, which ends each with a zero byte.
std::vector<QString> commandLine(QByteArrayView cmdline);

// A decimal number at the start of `text`, all of `text` being digits.
std::optional<std::uint64_t> unsignedNumber(QByteArrayView text);

} // namespace ProcParser

} // namespace tessary
