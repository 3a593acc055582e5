#pragma once

#include "core/time/Clock.h"
#include "services/monitoring/AgentListCadence.h"
#include "services/monitoring/CancellationToken.h"
#include "services/monitoring/FolderTreeWatcher.h"
#include "services/monitoring/Scheduler.h"

#include <QDateTime>
#include <QStringList>

#include <functional>
#include <memory>

namespace tessary {

// Reads something whose changes show in folders: file events bring a reading forward, a slow poll
// stands behind them, and the cadence keeps a burst of events to one reading. Main thread only.
class CadencedFolderWatcher {
public:
    // The folders to watch, asked anew after every reading; folders that don't exist yet are picked
    // up on a later pass.
    using Folders = std::function<QStringList()>;
    using Finish = std::function<void()>;
    // One reading, started at `readingAt`. It must call `finish` exactly once, on the main thread,
    // also after cancellation; the token is raised when the watcher stops.
    using OnDue =
        std::function<void(const QDateTime& readingAt, const CancellationToken& cancellation, Finish finish)>;

    CadencedFolderWatcher(const Clock& clock, Scheduler& scheduler, Folders folders, OnDue onDue,
                          FolderTreeWatcher::Limits limits = {});
    ~CadencedFolderWatcher();
    CadencedFolderWatcher(const CadencedFolderWatcher&) = delete;
    CadencedFolderWatcher& operator=(const CadencedFolderWatcher&) = delete;
    CadencedFolderWatcher(CadencedFolderWatcher&&) = delete;
    CadencedFolderWatcher& operator=(CadencedFolderWatcher&&) = delete;

    // Watches the folders and schedules the first reading, which comes at once. Does nothing when
    // already active.
    void start();
    // Stops watching and waiting, and raises the token of a reading that is out; that reading is
    // owed, and comes soon after the next start.
    void stop();
    // Reads now unless inactive or a reading is already out.
    void readNow();

    [[nodiscard]] bool isActive() const { return m_active; }
    [[nodiscard]] bool isReading() const { return m_reading; }
    [[nodiscard]] const AgentListCadence& cadence() const { return m_cadence; }
    // The folders from `folders()` that existed at the last pass and are under watch.
    [[nodiscard]] QStringList watchedFolders() const { return m_watchedFolders; }
    [[nodiscard]] const FolderTreeWatcher& tree() const { return *m_tree; }

private:
    void watchFolders();
    void schedule();
    void folderChanged();
    void readingFinished(quint64 reading);

    const Clock& m_clock;
    Scheduler& m_scheduler;
    Folders m_folders;
    OnDue m_onDue;
    AgentListCadence m_cadence;
    std::unique_ptr<FolderTreeWatcher> m_tree;
    QStringList m_watchedFolders;
    ScheduledCall m_timer;
    CancellationSource m_readCancellation;
    quint64 m_readingSerial = 0;
    bool m_active = false;
    bool m_reading = false;
    std::shared_ptr<CadencedFolderWatcher*> m_self;
};

} // namespace tessary
