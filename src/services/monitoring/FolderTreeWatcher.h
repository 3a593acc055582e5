#pragma once

#include "services/monitoring/Scheduler.h"

#include <QFileSystemWatcher>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>

#include <functional>

namespace tessary {

// Keep a huge tree from using up the user's inotify watches. Past the folder limit, deeper folders go
// unwatched; past the file limit, the most recently modified files keep their watches. Either way
// the callers' slow poll still sees everything.
struct FolderWatchLimits {
    int folders = 4096;
    int files = 1024;
};

// Watches whole folder trees for changes. QFileSystemWatcher is not recursive and, on Linux, a
// folder watch sees entries appear, vanish and be renamed but not files being written, so every
// folder of each tree is watched, and the files in them up to a limit. Subfolders and files that
// appear are added as they come and those removed are dropped. Events are gathered for `latency`
// seconds and then told once. Main thread only.
class FolderTreeWatcher final : public QObject {
public:
    static constexpr double latency = 0.1;

    using Limits = FolderWatchLimits;

    FolderTreeWatcher(Scheduler& scheduler, std::function<void()> onChange, Limits limits = {},
                      QObject* parent = nullptr);
    ~FolderTreeWatcher() override;
    FolderTreeWatcher(const FolderTreeWatcher&) = delete;
    FolderTreeWatcher& operator=(const FolderTreeWatcher&) = delete;
    FolderTreeWatcher(FolderTreeWatcher&&) = delete;
    FolderTreeWatcher& operator=(FolderTreeWatcher&&) = delete;

    // Replaces what is watched by the trees under `roots`. Roots that aren't folders are skipped.
    void watch(const QStringList& roots);
    void clear();

    // The roots asked for that are folders under watch right now; a root that was deleted drops out.
    [[nodiscard]] QStringList watchedRoots() const;
    // Every folder under watch, roots included, sorted.
    [[nodiscard]] QStringList watchedFolders() const;
    [[nodiscard]] bool isWatchingFolder(const QString& path) const;
    [[nodiscard]] bool isWatchingFile(const QString& path) const;
    [[nodiscard]] int watchedFileCount() const { return static_cast<int>(m_files.size()); }
    // True when a limit left part of a tree without watches.
    [[nodiscard]] bool isTruncated() const { return m_truncated; }

private:
    struct FileCandidate {
        QString path;
        qint64 modified = 0;
    };

    void folderEvent(const QString& path);
    void fileEvent(const QString& path);
    void noteEvent();
    void flush();
    void addTree(const QString& root);
    void addFiles(QList<FileCandidate> candidates);
    void rescan(const QString& folder);
    void removeTree(const QString& path);

    Scheduler& m_scheduler;
    std::function<void()> m_onChange;
    Limits m_limits;
    QFileSystemWatcher m_watcher;
    QStringList m_roots;
    QSet<QString> m_folders;
    // Watched files with their last known modification (ms since 1970): the oldest give way first.
    QHash<QString, qint64> m_files;
    // Files that didn't get a watch (or lost theirs) under the file limit: not offered again, so that a
    // rescan looks at new entries only, until they leave their folder.
    QSet<QString> m_passedOver;
    QSet<QString> m_changedFolders;
    QSet<QString> m_changedFiles;
    ScheduledCall m_flush;
    bool m_flushPending = false;
    bool m_truncated = false;
};

} // namespace tessary
