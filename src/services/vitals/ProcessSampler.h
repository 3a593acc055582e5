#pragma once

#include "modules/vitals/VitalsRecords.h"
#include "platform/procfs/ProcFileSystem.h"

#include <QDateTime>
#include <QHash>

#include <mutex>
#include <vector>

namespace tessary {

// Samples every process of the machine, keeping each one's CPU time for the next round so that the
// round after gives its share of the CPU. Safe from any thread; one sampling at a time.
class ProcessSampler {
public:
    explicit ProcessSampler(const ProcFileSystem& proc)
        : m_proc(proc) {}

    // Each process with its grouping identity, footprint and owner; its CPU share (of the whole
    // machine, all `cores`) when it was seen in the previous round. Kernel threads are left out.
    // Processes that end during the round are skipped.
    std::vector<ProcessSample> sample(const QDateTime& now, int cores);

private:
    struct Previous {
        double cpuTime = 0;
        std::uint64_t startTicks = 0;
        QDateTime at;
    };

    const ProcFileSystem& m_proc;
    std::mutex m_lock;
    QHash<std::int32_t, Previous> m_previous;
};

} // namespace tessary
