#include "modules/vitals/HostFigures.h"

#include <algorithm>
#include <cmath>

namespace tessary {

double MemoryReading::usedFraction() const {
    if (total == 0) {
        return 0;
    }
    const double used =
        static_cast<double>(app) + static_cast<double>(wired) + static_cast<double>(compressed);
    return std::clamp(used / static_cast<double>(total), 0.0, 1.0);
}

namespace HostFigures {

namespace {

// No counter of /proc/stat grows by this much between two readings: 2^40 ticks are centuries.
constexpr std::uint64_t largestPlausibleGrowth = 1ULL << 40;

std::uint64_t valueOr0(const std::optional<std::uint64_t>& value) {
    return value.value_or(0);
}

std::uint64_t saturatingSub(std::uint64_t a, std::uint64_t b) {
    return a > b ? a - b : 0;
}

} // namespace

std::uint64_t counterGrowth(std::uint64_t previous, std::uint64_t current) {
    // Unsigned subtraction is modular: a wrap gives the true growth.
    const std::uint64_t growth = current - previous;
    return growth <= largestPlausibleGrowth ? growth : 0;
}

std::optional<CPUReading> cpuReading(const CPUTicks& previous, const CPUTicks& current, int cores,
                                     std::vector<double> load, std::optional<double> stallPercent) {
    const double user = static_cast<double>(counterGrowth(previous.user, current.user)) +
                        static_cast<double>(counterGrowth(previous.nice, current.nice));
    const double system = static_cast<double>(counterGrowth(previous.system, current.system));
    const double idle = static_cast<double>(counterGrowth(previous.idle, current.idle));
    const double all = user + system + idle;
    if (all <= 0) {
        return std::nullopt;
    }
    CPUReading reading;
    reading.userPercent = std::clamp(user / all * 100.0, 0.0, 100.0);
    reading.systemPercent = std::clamp(system / all * 100.0, 0.0, 100.0);
    reading.percent = std::clamp((user + system) / all * 100.0, 0.0, 100.0);
    reading.cores = std::max(cores, 1);
    reading.load = std::move(load);
    reading.stallPercent = stallPercent;
    return reading;
}

MemoryPressure pressure(const std::optional<PressureStall>& memoryStall, const MemInfo& info) {
    if (memoryStall) {
        if (memoryStall->someAvg10 >= criticalSomeStall ||
            memoryStall->fullAvg10.value_or(0) >= criticalFullStall) {
            return MemoryPressure::critical;
        }
        return memoryStall->someAvg10 >= warningSomeStall ? MemoryPressure::warning : MemoryPressure::normal;
    }
    if (info.total && info.available && *info.total > 0) {
        const double share = static_cast<double>(*info.available) / static_cast<double>(*info.total);
        if (share < criticalAvailableShare) {
            return MemoryPressure::critical;
        }
    }
    return MemoryPressure::normal;
}

MemoryReading memoryReading(const MemInfo& info, const std::optional<PressureStall>& memoryStall) {
    MemoryReading reading;
    reading.total = valueOr0(info.total);
    // Kernels before 3.14 don't say what is available: the classic estimate stands in.
    const std::uint64_t available =
        info.available ? *info.available
                       : saturatingSub(valueOr0(info.free) + valueOr0(info.buffers) + valueOr0(info.cached) +
                                           valueOr0(info.slabReclaimable),
                                       valueOr0(info.shmem));
    const std::uint64_t used = saturatingSub(reading.total, std::min(available, reading.total));
    const std::uint64_t wired = valueOr0(info.slabUnreclaimable) + valueOr0(info.kernelStack) +
                                valueOr0(info.pageTables) + valueOr0(info.unevictable);
    reading.compressed = std::min(valueOr0(info.zswap), used);
    reading.wired = std::min(wired, used - reading.compressed);
    reading.app = used - reading.compressed - reading.wired;
    reading.swapTotal = valueOr0(info.swapTotal);
    reading.swapUsed = saturatingSub(reading.swapTotal, valueOr0(info.swapFree));
    reading.pressure = pressure(memoryStall, info);
    return reading;
}

} // namespace HostFigures

} // namespace tessary
