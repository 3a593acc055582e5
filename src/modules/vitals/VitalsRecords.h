#pragma once

#include "core/records/EnumText.h"

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace tessary {

// Cumulative CPU time of the whole machine, in clock ticks. `system` holds the kernel's own work
// (interrupts and stolen time included), `idle` the waiting for input and output as well.
struct CPUTicks {
    std::uint64_t user = 0;
    std::uint64_t system = 0;
    std::uint64_t idle = 0;
    std::uint64_t nice = 0;
    bool operator==(const CPUTicks&) const = default;
};

// How busy the machine was between two readings, each percentage from 0 to 100.
struct CPUReading {
    double percent = 0;
    double userPercent = 0;
    double systemPercent = 0;
    int cores = 0;
    // The load averages over 1, 5 and 15 minutes, where known.
    std::vector<double> load;
    // Share of the last ten seconds in which some task waited for a CPU, where the kernel says.
    std::optional<double> stallPercent;
    bool operator==(const CPUReading&) const = default;
};

enum class MemoryPressure { normal, warning, critical };
template <>
struct EnumTable<MemoryPressure> {
    static constexpr std::array<std::pair<MemoryPressure, const char*>, 3> cases{{
        {MemoryPressure::normal, "normal"},
        {MemoryPressure::warning, "warning"},
        {MemoryPressure::critical, "critical"},
    }};
};

// Memory in bytes. `app` is what processes hold for themselves, `wired` what the kernel holds and
// can't give back, `compressed` what lies compressed in memory (zswap).
struct MemoryReading {
    std::uint64_t total = 0;
    std::uint64_t app = 0;
    std::uint64_t wired = 0;
    std::uint64_t compressed = 0;
    std::uint64_t swapUsed = 0;
    std::uint64_t swapTotal = 0;
    MemoryPressure pressure = MemoryPressure::normal;
    bool operator==(const MemoryReading&) const = default;

    // (app + wired + compressed) / total, within 0...1; 0 when the total is unknown.
    [[nodiscard]] double usedFraction() const;
};

// What one process has used: CPU time in seconds and resident memory.
struct ProcessResources {
    double cpuTime = 0;
    std::uint64_t residentBytes = 0;
    bool operator==(const ProcessResources&) const = default;
};

// One process at one sampling, with the identity it is grouped by.
struct ProcessSample {
    std::int32_t pid = 0;
    QString key;
    QString name;
    std::optional<double> cpuPercent;
    std::uint64_t footprint = 0;
    std::optional<QString> appPath;
    std::optional<std::uint32_t> uid;
    bool operator==(const ProcessSample&) const = default;
};

// One row of the CPU and Memory widgets: the processes of one thing a person recognises.
struct ProcessUsage {
    QString id;
    QString name;
    std::optional<QString> detail;
    std::vector<std::int32_t> pids;
    std::optional<double> cpuPercent;
    std::uint64_t footprint = 0;
    bool operator==(const ProcessUsage&) const = default;
};

// What makes a row more than its processes: the agents and servers among them.
struct ProcessLabels {
    std::vector<std::int32_t> agentPIDs;
    // A server's process and its name with the port, such as "Vite :5173".
    std::vector<std::pair<std::int32_t, QString>> services;
    bool operator==(const ProcessLabels&) const = default;
};

struct SystemVitalsSnapshot {
    std::optional<CPUReading> cpu;
    MemoryReading memory;
    std::vector<ProcessUsage> processes;
    ProcessLabels labels;
    QDateTime capturedAt;
    bool operator==(const SystemVitalsSnapshot&) const = default;
};

} // namespace tessary
