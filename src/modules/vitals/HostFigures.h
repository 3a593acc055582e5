#pragma once

#include "modules/vitals/ProcParser.h"
#include "modules/vitals/VitalsRecords.h"

#include <cstdint>
#include <optional>

namespace tessary {

// Turns the machine-wide counters of /proc into the CPU and memory readings.
namespace HostFigures {

// The growth of a cumulative counter. A counter that wrapped around its 64 bits grew by what it
// took to wrap; one that went back by more than a wrap could explain (the kernel's iowait does
// that) grew by nothing.
std::uint64_t counterGrowth(std::uint64_t previous, std::uint64_t current);

// The CPU reading between two counter readings; nothing when no tick passed between them.
std::optional<CPUReading> cpuReading(const CPUTicks& previous, const CPUTicks& current, int cores,
                                     std::vector<double> load, std::optional<double> stallPercent);

// Memory pressure from the kernel's stall figures: a share of time in which tasks waited for memory.
// Without them, what is still available decides.
MemoryPressure pressure(const std::optional<PressureStall>& memoryStall, const MemInfo& info);

// Stall thresholds, in percent of the last ten seconds.
inline constexpr double warningSomeStall = 10;
inline constexpr double criticalSomeStall = 40;
inline constexpr double criticalFullStall = 10;
// Without stall figures: the available share under which memory counts as critical.
inline constexpr double criticalAvailableShare = 0.03;

// The memory reading of one /proc/meminfo.
MemoryReading memoryReading(const MemInfo& info, const std::optional<PressureStall>& memoryStall);

} // namespace HostFigures

} // namespace tessary
