#include "services/vitals/ProcessSampler.h"

#include "core/time/Clock.h"
#include "modules/vitals/ProcessIdentity.h"

namespace tessary {

std::vector<ProcessSample> ProcessSampler::sample(const QDateTime& now, int cores) {
    const std::lock_guard lock(m_lock);
    QHash<std::int32_t, Previous> current;
    std::vector<ProcessSample> samples;
    const double ticks = static_cast<double>(m_proc.ticksPerSecond());
    const auto pageSize = static_cast<std::uint64_t>(m_proc.pageSize());
    const double coreCount = std::max(cores, 1);

    for (const std::int32_t pid : m_proc.pids()) {
        const auto stat = m_proc.stat(pid);
        if (!stat || stat->isKernelThread() || stat->state == 'Z' || stat->state == 'X') {
            continue;
        }
        const auto memory = m_proc.statm(pid);
        if (!memory) {
            continue; // ended meanwhile
        }
        const QString path = m_proc.executable(pid).value_or(QString());
        QString script;
        QString directory;
        if (ProcessIdentity::isRuntime(path, stat->command)) {
            const std::vector<QString> arguments = m_proc.commandLine(pid);
            if (arguments.size() > 1) {
                script = arguments[1];
            }
            directory = m_proc.directory(pid).value_or(QString());
        }
        const ProcessIdentity identity = ProcessIdentity::group(path, stat->command, script, directory);

        ProcessSample sample;
        sample.pid = pid;
        sample.key = identity.key;
        sample.name = identity.name;
        sample.appPath = identity.appPath;
        sample.uid = m_proc.owner(pid);
        sample.footprint = memory->privatePages() * pageSize;

        const double cpuTime = static_cast<double>(stat->userTicks + stat->systemTicks) / ticks;
        const auto previous = m_previous.constFind(pid);
        // A reused process id is a new process: its previous time says nothing.
        if (previous != m_previous.cend() && previous->startTicks == stat->startTicks) {
            const double seconds = secondsBetween(previous->at, now);
            if (seconds > 0) {
                const double grown = std::max(cpuTime - previous->cpuTime, 0.0);
                sample.cpuPercent = std::clamp(grown / seconds / coreCount * 100.0, 0.0, 100.0);
            }
        }
        current.insert(pid, {cpuTime, stat->startTicks, now});
        samples.push_back(std::move(sample));
    }
    m_previous = std::move(current);
    return samples;
}

} // namespace tessary
