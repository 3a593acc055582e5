#include "services/monitoring/FolderTreeWatcher.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <numeric>

namespace tessary {

namespace {

QString normalized(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

bool isInside(const QString& path, const QString& folder) {
    return path == folder ||
           (path.size() > folder.size() && path.startsWith(folder) && path.at(folder.size()) == u'/');
}

// Paths here are clean and absolute, so the parent is everything before the last slash.
QStringView parentOf(const QString& path) {
    const qsizetype slash = path.lastIndexOf(u'/');
    return slash <= 0 ? QStringView(path).left(1) : QStringView(path).left(slash);
}

qint64 modifiedAt(const QFileInfo& info) {
    return info.lastModified().toMSecsSinceEpoch();
}

// Symbolic links are not followed, so that a link can't lead the walk in a circle or out of the tree.
QFileInfoList entriesOf(const QString& folder) {
    return QDir(folder).entryInfoList(
        QDir::Dirs | QDir::Files | QDir::NoDotAndDotDot | QDir::Hidden | QDir::NoSymLinks, QDir::Unsorted);
}

} // namespace

FolderTreeWatcher::FolderTreeWatcher(Scheduler& scheduler, std::function<void()> onChange, Limits limits,
                                     QObject* parent)
    : QObject(parent)
    , m_scheduler(scheduler)
    , m_onChange(std::move(onChange))
    , m_limits(limits) {
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &FolderTreeWatcher::folderEvent);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &FolderTreeWatcher::fileEvent);
}

FolderTreeWatcher::~FolderTreeWatcher() = default;

void FolderTreeWatcher::watch(const QStringList& roots) {
    clear();
    for (const QString& root : roots) {
        const QString path = normalized(root);
        if (m_roots.contains(path) || !QFileInfo(path).isDir()) {
            continue;
        }
        m_roots.append(path);
        addTree(path);
    }
}

void FolderTreeWatcher::clear() {
    m_flush.cancel();
    m_flushPending = false;
    const QStringList watched = m_watcher.files() + m_watcher.directories();
    if (!watched.isEmpty()) {
        m_watcher.removePaths(watched);
    }
    m_roots.clear();
    m_folders.clear();
    m_files.clear();
    m_passedOver.clear();
    m_changedFolders.clear();
    m_changedFiles.clear();
    m_truncated = false;
}

QStringList FolderTreeWatcher::watchedRoots() const {
    QStringList roots;
    for (const QString& root : m_roots) {
        if (m_folders.contains(root)) {
            roots.append(root);
        }
    }
    return roots;
}

QStringList FolderTreeWatcher::watchedFolders() const {
    QStringList folders(m_folders.cbegin(), m_folders.cend());
    folders.sort();
    return folders;
}

bool FolderTreeWatcher::isWatchingFolder(const QString& path) const {
    return m_folders.contains(normalized(path));
}

bool FolderTreeWatcher::isWatchingFile(const QString& path) const {
    return m_files.contains(normalized(path));
}

void FolderTreeWatcher::addTree(const QString& root) {
    QStringList pending{root};
    QStringList folders;
    QList<FileCandidate> files;
    while (!pending.isEmpty()) {
        const QString folder = pending.takeFirst();
        if (m_folders.contains(folder)) {
            continue;
        }
        if (m_folders.size() + folders.size() >= m_limits.folders) {
            m_truncated = true;
            break;
        }
        folders.append(folder);
        QStringList subfolders;
        for (const QFileInfo& entry : entriesOf(folder)) {
            if (entry.isDir()) {
                subfolders.append(entry.filePath());
            } else {
                files.append({entry.filePath(), modifiedAt(entry)});
            }
        }
        // In name order, so that which folders a limit leaves out doesn't depend on the disk.
        subfolders.sort();
        pending.append(subfolders);
    }
    if (folders.isEmpty()) {
        return;
    }
    const QStringList failedList = m_watcher.addPaths(folders);
    const QSet<QString> failed(failedList.cbegin(), failedList.cend());
    for (const QString& folder : std::as_const(folders)) {
        if (!failed.contains(folder)) {
            m_folders.insert(folder);
        }
    }
    addFiles(std::move(files));
}

void FolderTreeWatcher::addFiles(QList<FileCandidate> candidates) {
    candidates.removeIf([this](const FileCandidate& candidate) {
        return m_files.contains(candidate.path) || m_passedOver.contains(candidate.path);
    });
    if (candidates.isEmpty()) {
        return;
    }
    QStringList evicted;
    if (m_files.size() + candidates.size() > m_limits.files) {
        // Keep the most recently modified of those watched and those offered; on a tie a file
        // already watched keeps its place, so that equal files don't trade watches back and forth.
        m_truncated = true;
        QList<FileCandidate> all;
        all.reserve(m_files.size() + candidates.size());
        for (auto it = m_files.cbegin(); it != m_files.cend(); ++it) {
            all.append({it.key(), it.value()});
        }
        const qsizetype watchedCount = all.size();
        all.append(candidates);
        QList<qsizetype> order(all.size());
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(), [&](qsizetype left, qsizetype right) {
            if (all.at(left).modified != all.at(right).modified) {
                return all.at(left).modified > all.at(right).modified;
            }
            return (left < watchedCount) && !(right < watchedCount);
        });
        QList<FileCandidate> admitted;
        for (qsizetype rank = 0; rank < order.size(); ++rank) {
            const qsizetype index = order.at(rank);
            const bool kept = rank < m_limits.files;
            if (index < watchedCount && !kept) {
                evicted.append(all.at(index).path);
            } else if (index >= watchedCount && kept) {
                admitted.append(all.at(index));
            } else if (index >= watchedCount) {
                m_passedOver.insert(all.at(index).path);
            }
        }
        candidates = std::move(admitted);
    }
    if (!evicted.isEmpty()) {
        m_watcher.removePaths(evicted);
        for (const QString& path : std::as_const(evicted)) {
            m_files.remove(path);
            m_passedOver.insert(path);
        }
    }
    if (candidates.isEmpty()) {
        return;
    }
    QStringList paths;
    for (const FileCandidate& candidate : std::as_const(candidates)) {
        paths.append(candidate.path);
    }
    const QStringList failedList = m_watcher.addPaths(paths);
    const QSet<QString> failed(failedList.cbegin(), failedList.cend());
    for (const FileCandidate& candidate : std::as_const(candidates)) {
        if (failed.contains(candidate.path)) {
            m_passedOver.insert(candidate.path);
        } else {
            m_files.insert(candidate.path, candidate.modified);
        }
    }
}

void FolderTreeWatcher::removeTree(const QString& path) {
    QStringList gone;
    for (auto it = m_folders.begin(); it != m_folders.end();) {
        if (isInside(*it, path)) {
            gone.append(*it);
            it = m_folders.erase(it);
        } else {
            ++it;
        }
    }
    for (auto it = m_files.begin(); it != m_files.end();) {
        if (isInside(it.key(), path)) {
            gone.append(it.key());
            it = m_files.erase(it);
        } else {
            ++it;
        }
    }
    m_passedOver.removeIf([&](const QString& file) { return isInside(file, path); });
    // The watcher has usually let go of deleted paths already; what it still holds goes now.
    const QStringList heldList = m_watcher.directories() + m_watcher.files();
    const QSet<QString> held(heldList.cbegin(), heldList.cend());
    QStringList release;
    for (const QString& entry : std::as_const(gone)) {
        if (held.contains(entry)) {
            release.append(entry);
        }
    }
    if (!release.isEmpty()) {
        m_watcher.removePaths(release);
    }
}

void FolderTreeWatcher::rescan(const QString& folder) {
    QSet<QString> folders;
    QSet<QString> files;
    for (const QFileInfo& entry : entriesOf(folder)) {
        (entry.isDir() ? folders : files).insert(entry.filePath());
    }
    // Drop first, then add: a folder renamed within the tree is the same inode under a new name.
    QStringList vanished;
    for (const QString& watched : std::as_const(m_folders)) {
        if (watched != folder && parentOf(watched) == folder && !folders.contains(watched)) {
            vanished.append(watched);
        }
    }
    for (auto it = m_files.cbegin(); it != m_files.cend(); ++it) {
        if (parentOf(it.key()) == folder && !files.contains(it.key())) {
            vanished.append(it.key());
        }
    }
    for (const QString& gone : std::as_const(vanished)) {
        removeTree(gone);
    }
    m_passedOver.removeIf(
        [&](const QString& file) { return parentOf(file) == folder && !files.contains(file); });

    QStringList newFolders;
    for (const QString& sub : std::as_const(folders)) {
        if (!m_folders.contains(sub)) {
            newFolders.append(sub);
        }
    }
    newFolders.sort();
    for (const QString& sub : std::as_const(newFolders)) {
        addTree(sub);
    }
    // Only entries not seen before are looked at closely.
    QList<FileCandidate> candidates;
    for (const QString& file : std::as_const(files)) {
        if (!m_files.contains(file) && !m_passedOver.contains(file)) {
            candidates.append({file, modifiedAt(QFileInfo(file))});
        }
    }
    std::sort(candidates.begin(), candidates.end(),
              [](const FileCandidate& left, const FileCandidate& right) { return left.path < right.path; });
    addFiles(std::move(candidates));
}

void FolderTreeWatcher::folderEvent(const QString& path) {
    m_changedFolders.insert(path);
    noteEvent();
}

void FolderTreeWatcher::fileEvent(const QString& path) {
    m_changedFiles.insert(path);
    noteEvent();
}

void FolderTreeWatcher::noteEvent() {
    if (m_roots.isEmpty() || m_flushPending) {
        return;
    }
    // Events within the latency join the first one's flush rather than postponing it.
    m_flushPending = true;
    m_flush = m_scheduler.callAfter(latency, [this] { flush(); });
}

void FolderTreeWatcher::flush() {
    m_flushPending = false;
    const QStringList heldFolderList = m_watcher.directories();
    const QStringList heldFileList = m_watcher.files();
    const QSet<QString> heldFolders(heldFolderList.cbegin(), heldFolderList.cend());
    const QSet<QString> heldFiles(heldFileList.cbegin(), heldFileList.cend());
    QSet<QString> changedFolders = std::exchange(m_changedFolders, {});
    const QSet<QString> changedFiles = std::exchange(m_changedFiles, {});

    for (const QString& file : changedFiles) {
        const auto watched = m_files.find(file);
        if (watched == m_files.end()) {
            continue;
        }
        const QFileInfo info(file);
        if (heldFiles.contains(file)) {
            // Written: it is among the most recent now.
            *watched = modifiedAt(info);
        } else {
            // The watcher let go of it: deleted, or replaced by a rename, in which case its folder's
            // rescan watches the new file.
            m_files.erase(watched);
            if (info.exists()) {
                changedFolders.insert(parentOf(file).toString());
            }
        }
    }
    // Parents sort before their children, so a removed subtree is dropped before its own events.
    QStringList folders(changedFolders.cbegin(), changedFolders.cend());
    folders.sort();
    for (const QString& folder : std::as_const(folders)) {
        if (!m_folders.contains(folder)) {
            continue;
        }
        if (!QFileInfo(folder).isDir()) {
            removeTree(folder);
        } else if (!heldFolders.contains(folder)) {
            // Deleted and made anew between two events: its old watch is gone.
            removeTree(folder);
            addTree(folder);
        } else {
            rescan(folder);
        }
    }
    if (m_onChange) {
        m_onChange();
    }
}

} // namespace tessary
