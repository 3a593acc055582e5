#pragma once

#include "modules/vitals/VitalsRecords.h"
#include "platform/procfs/ProcFileSystem.h"
#include "services/monitoring/ProviderResult.h"
#include "services/vitals/ProcessSampler.h"

#include <QDateTime>

#include <mutex>
#include <optional>

namespace tessary {

// The machine's figures from /proc at one moment: CPU load since the previous sampling, memory and
// its pressure, and every process grouped into rows. The first sampling has no CPU reading and no
// process shares: both need two. Safe from any thread; samplings don't overlap.
class LiveSystemVitalsProvider {
public:
    LiveSystemVitalsProvider(const ProcFileSystem& proc, std::uint32_t currentUID);

    // Fails when /proc/stat or /proc/meminfo can't be read: nothing could be said then.
    ProviderResult<SystemVitalsSnapshot> sample(const QDateTime& now,
                                                const CancellationToken& cancellation = {});

    // The user-facing text of that failure.
    static QString unreadableText();

private:
    const ProcFileSystem& m_proc;
    std::uint32_t m_currentUID;
    ProcessSampler m_sampler;
    std::mutex m_lock;
    std::optional<CPUTicks> m_previousTicks;
};

} // namespace tessary
