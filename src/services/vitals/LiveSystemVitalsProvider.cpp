#include "services/vitals/LiveSystemVitalsProvider.h"

#include "modules/vitals/HostFigures.h"
#include "modules/vitals/ProcessGrouping.h"

namespace tessary {

LiveSystemVitalsProvider::LiveSystemVitalsProvider(const ProcFileSystem& proc, std::uint32_t currentUID)
    : m_proc(proc)
    , m_currentUID(currentUID)
    , m_sampler(proc) {}

QString LiveSystemVitalsProvider::unreadableText() {
    return QStringLiteral("could not read the system's figures");
}

ProviderResult<SystemVitalsSnapshot> LiveSystemVitalsProvider::sample(const QDateTime& now,
                                                                      const CancellationToken& cancellation) {
    const std::lock_guard lock(m_lock);
    const auto stat = m_proc.read(QStringLiteral("stat"));
    const auto meminfo = m_proc.read(QStringLiteral("meminfo"));
    const auto ticks = stat ? ProcParser::cpuTicks(*stat) : std::nullopt;
    const auto memory = meminfo ? ProcParser::memInfo(*meminfo) : std::nullopt;
    if (!ticks || !memory) {
        return ProviderFailure{"unreadable", unreadableText(), false};
    }
    const int cores = std::max(ProcParser::cpuCount(*stat), 1);

    // Pressure stall information is there on kernels from 4.20 built with it.
    const auto cpuPressure = m_proc.read(QStringLiteral("pressure/cpu"), 4096);
    const auto memoryPressure = m_proc.read(QStringLiteral("pressure/memory"), 4096);
    const auto cpuStall = cpuPressure ? ProcParser::pressure(*cpuPressure) : std::nullopt;
    const auto memoryStall = memoryPressure ? ProcParser::pressure(*memoryPressure) : std::nullopt;
    const auto loadText = m_proc.read(QStringLiteral("loadavg"), 4096);

    SystemVitalsSnapshot snapshot;
    snapshot.capturedAt = now;
    if (m_previousTicks) {
        snapshot.cpu =
            HostFigures::cpuReading(*m_previousTicks, *ticks, cores,
                                    loadText ? ProcParser::loadAverages(*loadText) : std::vector<double>{},
                                    cpuStall ? std::optional<double>(cpuStall->someAvg10) : std::nullopt);
    }
    m_previousTicks = ticks;
    snapshot.memory = HostFigures::memoryReading(*memory, memoryStall);
    if (cancellation.isCancelled()) {
        return ProviderFailure::cancelled();
    }
    snapshot.processes = ProcessGrouping::groups(m_sampler.sample(now, cores), m_currentUID);
    return snapshot;
}

} // namespace tessary
