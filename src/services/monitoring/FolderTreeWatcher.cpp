#include "services/monitoring/FolderTreeWatcher.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace tessary {

namespace {

QString normalized(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

bool isInside(const QString& path, const QString& folder) {
    return path == folder || (path.startsWith(folder) && path.size() > folder.size() &&
                              (folder.endsWith(u'/') || path.at(folder.size()) == u'/'));
}

QString parentOf(const QString& path) {
    return QFileInfo(path).path();
}

constexpr QDir::Filters folderFilter = QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden | QDir::NoSymLinks;
constexpr QDir::Filters fileFilter = QDir::Files | QDir::Hidden | QDir::NoSymLinks;

} // namespace

FolderTreeWatcher::FolderTreeWatcher(Scheduler& scheduler, std::function<void()> onChange, QObject* parent)
    : QObject(parent)
    , m_scheduler(scheduler)
    , m_onChange(std::move(onChange)) {
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

void FolderTreeWatcher::addTree(const QString& root) {
    QStringList pending{root};
    QStringList folders;
    QStringList files;
    while (!pending.isEmpty()) {
        const QString folder = pending.takeFirst();
        if (m_folders.contains(folder)) {
            continue;
        }
        if (static_cast<int>(m_folders.size()) + folders.size() >= maximumFolders) {
            m_truncated = true;
            break;
        }
        folders.append(folder);
        const QDir dir(folder);
        for (const QString& name : dir.entryList(folderFilter)) {
            pending.append(dir.filePath(name));
        }
        for (const QString& name : dir.entryList(fileFilter)) {
            files.append(dir.filePath(name));
        }
    }
    if (folders.isEmpty()) {
        return;
    }
    const QStringList failedList = m_watcher.addPaths(folders);
    const QSet<QString> failed(failedList.cbegin(), failedList.cend());
    for (const QString& folder : folders) {
        if (!failed.contains(folder)) {
            m_folders.insert(folder);
        }
    }
    addFiles(files);
}

void FolderTreeWatcher::addFiles(const QStringList& files) {
    QStringList wanted;
    for (const QString& file : files) {
        if (m_files.contains(file)) {
            continue;
        }
        if (static_cast<int>(m_files.size()) + wanted.size() >= maximumFiles) {
            m_truncated = true;
            break;
        }
        wanted.append(file);
    }
    if (wanted.isEmpty()) {
        return;
    }
    const QStringList failedList = m_watcher.addPaths(wanted);
    const QSet<QString> failed(failedList.cbegin(), failedList.cend());
    for (const QString& file : wanted) {
        if (!failed.contains(file)) {
            m_files.insert(file);
        }
    }
}

void FolderTreeWatcher::removeTree(const QString& folder) {
    QStringList gone;
    for (auto it = m_folders.begin(); it != m_folders.end();) {
        if (isInside(*it, folder)) {
            gone.append(*it);
            it = m_folders.erase(it);
        } else {
            ++it;
        }
    }
    for (auto it = m_files.begin(); it != m_files.end();) {
        if (isInside(*it, folder)) {
            gone.append(*it);
            it = m_files.erase(it);
        } else {
            ++it;
        }
    }
    // The watcher has usually let go of deleted paths already; what it still holds goes now.
    const QStringList heldList = m_watcher.directories() + m_watcher.files();
    const QSet<QString> held(heldList.cbegin(), heldList.cend());
    QStringList release;
    for (const QString& path : gone) {
        if (held.contains(path)) {
            release.append(path);
        }
    }
    if (!release.isEmpty()) {
        m_watcher.removePaths(release);
    }
}

void FolderTreeWatcher::rescan(const QString& folder) {
    const QDir dir(folder);
    QSet<QString> folders;
    for (const QString& name : dir.entryList(folderFilter)) {
        folders.insert(dir.filePath(name));
    }
    QSet<QString> files;
    for (const QString& name : dir.entryList(fileFilter)) {
        files.insert(dir.filePath(name));
    }
    // Drop first, then add: a folder renamed within the tree is the same inode under a new name.
    QStringList vanished;
    for (const QString& watched : std::as_const(m_folders)) {
        if (watched != folder && parentOf(watched) == folder && !folders.contains(watched)) {
            vanished.append(watched);
        }
    }
    for (const QString& gone : vanished) {
        removeTree(gone);
    }
    QStringList goneFiles;
    for (const QString& watched : std::as_const(m_files)) {
        if (parentOf(watched) == folder && !files.contains(watched)) {
            goneFiles.append(watched);
        }
    }
    for (const QString& gone : goneFiles) {
        removeTree(gone);
    }
    for (const QString& sub : std::as_const(folders)) {
        if (!m_folders.contains(sub)) {
            addTree(sub);
        }
    }
    QStringList newFiles(files.cbegin(), files.cend());
    newFiles.sort();
    addFiles(newFiles);
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

    // A file the watcher let go of was deleted or replaced by a rename; a replacement is picked up
    // again by its folder's rescan.
    for (const QString& file : changedFiles) {
        if (!heldFiles.contains(file)) {
            m_files.remove(file);
            if (QFileInfo::exists(file)) {
                changedFolders.insert(parentOf(file));
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
