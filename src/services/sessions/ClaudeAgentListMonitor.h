#pragma once

#include "core/time/Clock.h"
#include "modules/agents/live/ClaudeAgentList.h"
#include "services/monitoring/CadencedFolderWatcher.h"
#include "services/monitoring/ProviderRunner.h"
#include "services/sessions/ClaudeAgentListProvider.h"

#include <QObject>
#include <QStringList>

#include <functional>
#include <optional>

namespace tessary {

// Reads Claude Code's agent list when its session and job folders change (at most one reading every
// 2 s, 0.5 s after a burst settles) and every 30 s otherwise. The tool runs on the provider pool;
// readings are handed over on the main thread. Main thread only.
class ClaudeAgentListMonitor {
public:
    // A reading made at `at`: the list, or nothing when it failed.
    using OnReading = std::function<void(const std::optional<ClaudeAgentList>& list, const QDateTime& at)>;

    // The folders whose changes tell that the list may have changed: the sessions' status files and
    // the background jobs.
    static QStringList watchedFolders(const QString& home);

    // `provider` and `runner` must outlive the monitor.
    ClaudeAgentListMonitor(const ClaudeAgentListProvider& provider, ProviderRunner& runner,
                           const Clock& clock, Scheduler& scheduler, QStringList folders,
                           OnReading onReading);

    void start();
    void stop();
    [[nodiscard]] bool isRunning() const { return m_watcher.isActive(); }
    [[nodiscard]] const CadencedFolderWatcher& watcher() const { return m_watcher; }
    // Readings made since construction; for the benchmark.
    [[nodiscard]] int readings() const { return m_readings; }

private:
    QObject m_context;
    int m_readings = 0;
    // The last reading failed; a missing tool counts as a failure too, logged once.
    bool m_failing = false;
    CadencedFolderWatcher m_watcher;
};

} // namespace tessary
