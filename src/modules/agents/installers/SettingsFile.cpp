#include "modules/agents/installers/SettingsFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessary::SettingsFile {

namespace {

// The file that a write to `path` replaces: the final target of a symbolic link, or the path itself.
QString resolvedTarget(const QString& path) {
    const QFileInfo info(path);
    if (!info.isSymLink()) {
        return path;
    }
    const QString target = info.symLinkTarget();
    return target.isEmpty() ? path : target;
}

// Makes the rename itself durable; without it a power loss can bring back the old name.
void flushFolder(const QString& folder) {
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

} // namespace

Reading read(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists()) {
        return {};
    }
    // Only a regular file is read: a folder fails, and a pipe or a device could block or never end.
    struct stat status {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {Reading::State::unreadable, {}};
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > readLimit) {
        return {Reading::State::unreadable, {}};
    }
    QByteArray bytes = file.read(readLimit + 1);
    if (file.error() != QFileDevice::NoError || bytes.size() > readLimit) {
        return {Reading::State::unreadable, {}};
    }
    return {Reading::State::read, std::move(bytes)};
}

bool writeAtomically(const QString& path, const QByteArray& bytes, const QString& permissionsOf) {
    const QString target = resolvedTarget(path);
    const QString folder = QFileInfo(target).absolutePath();
    if (!QDir().mkpath(folder)) {
        return false;
    }
    QSaveFile file(path);
    // Never fall back to writing in place: that is what can leave half a file.
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly)) {
        return false;
    }
    if (!permissionsOf.isEmpty() && QFile::exists(permissionsOf)) {
        file.setPermissions(QFile::permissions(permissionsOf));
    }
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        return false;
    }
    flushFolder(folder);
    return true;
}

bool copyOnce(const QString& originalPath, const QByteArray& bytes, const QString& copyPath) {
    if (QFileInfo::exists(copyPath) || QFileInfo(copyPath).isSymLink()) {
        return true;
    }
    return writeAtomically(copyPath, bytes, originalPath);
}

} // namespace tessary::SettingsFile
