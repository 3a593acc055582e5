#include "services/monitoring/CadencedFolderWatcher.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace tessary {

CadencedFolderWatcher::CadencedFolderWatcher(const Clock& clock, Scheduler& scheduler, Folders folders,
                                             OnDue onDue, FolderTreeWatcher::Limits limits)
    : m_clock(clock)
    , m_scheduler(scheduler)
    , m_folders(std::move(folders))
    , m_onDue(std::move(onDue))
    , m_tree(std::make_unique<FolderTreeWatcher>(
          scheduler, [this] { folderChanged(); }, limits))
    , m_self(std::make_shared<CadencedFolderWatcher*>(this)) {}

CadencedFolderWatcher::~CadencedFolderWatcher() {
    stop();
}

void CadencedFolderWatcher::start() {
    if (m_active) {
        return;
    }
    m_active = true;
    watchFolders();
    schedule();
}

void CadencedFolderWatcher::stop() {
    if (m_reading && m_cadence.lastReading) {
        // The cancelled reading still has to be done: after a restart it comes once the gap allows.
        m_cadence.folderChanged(*m_cadence.lastReading);
    }
    m_active = false;
    m_timer.cancel();
    m_readCancellation.cancel();
    m_tree->clear();
    m_watchedFolders.clear();
}

void CadencedFolderWatcher::watchFolders() {
    QStringList existing;
    const QStringList wanted = m_folders ? m_folders() : QStringList();
    for (const QString& folder : wanted) {
        const QFileInfo info(folder);
        const QString path = QDir::cleanPath(info.absoluteFilePath());
        if (info.isDir() && !existing.contains(path)) {
            existing.append(path);
        }
    }
    // A root that was deleted has lost its watch even if it is back now.
    if (existing == m_watchedFolders && m_tree->watchedRoots() == existing) {
        return;
    }
    m_tree->watch(existing);
    m_watchedFolders = existing;
}

void CadencedFolderWatcher::schedule() {
    if (!m_active) {
        return;
    }
    m_timer.cancel();
    // Never longer than the slow poll, so that a wall clock set back can't hold the readings off.
    const double wait =
        std::min(secondsBetween(m_clock.now(), m_cadence.nextReading()), AgentListCadence::interval);
    m_timer = m_scheduler.callAfter(wait, [this] { readNow(); });
}

void CadencedFolderWatcher::folderChanged() {
    m_cadence.folderChanged(m_clock.now());
    if (!m_reading) {
        schedule();
    }
}

void CadencedFolderWatcher::readNow() {
    if (!m_active || m_reading) {
        return;
    }
    m_reading = true;
    const QDateTime now = m_clock.now();
    m_cadence.readingStarted(now);
    m_readCancellation = CancellationSource();
    const quint64 reading = ++m_readingSerial;
    m_onDue(now, m_readCancellation.token(), [self = std::weak_ptr<CadencedFolderWatcher*>(m_self), reading] {
        if (const auto watcher = self.lock()) {
            (*watcher)->readingFinished(reading);
        }
    });
}

void CadencedFolderWatcher::readingFinished(quint64 reading) {
    if (!m_reading || reading != m_readingSerial) {
        return;
    }
    m_reading = false;
    if (m_active) {
        watchFolders();
        schedule();
    }
}

} // namespace tessary
