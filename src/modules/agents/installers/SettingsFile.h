#pragma once

#include <QByteArray>
#include <QString>

namespace tessary {

// Reading and replacing a user's settings file without ever leaving a torn one behind.
namespace SettingsFile {

// Files larger than this are not read: no agent writes settings of that size.
inline constexpr qint64 readLimit = 32LL * 1024 * 1024;

struct Reading {
    enum class State {
        missing,    // nothing at the path (a link to nothing counts as nothing)
        unreadable, // something is there but its bytes could not be read
        read,
    };
    State state = State::missing;
    QByteArray bytes;
    bool operator==(const Reading&) const = default;
};

Reading read(const QString& path);

// Where the once-only copy of the user's file at `path` is kept, by every installer that edits it.
inline QString backupPath(const QString& path) {
    return path + QStringLiteral(".tessary-backup");
}

// Replaces the file in one step: the bytes go to a temporary file beside the target, are flushed to
// disk, and are renamed over it; the folder is flushed too. A crash leaves the old file or the new one.
// A symbolic link is written through: its target is replaced and the link stays. The folders on the
// way are created. The mode of an existing file is kept. `permissionsOf` names a file whose mode the
// new file takes instead, when it exists.
bool writeAtomically(const QString& path, const QByteArray& bytes, const QString& permissionsOf = {});

// Writes `bytes` to `copyPath`, atomically and with the mode of `originalPath`, unless something is
// already there. Returns whether the copy is in place afterwards.
bool copyOnce(const QString& originalPath, const QByteArray& bytes, const QString& copyPath);

} // namespace SettingsFile

} // namespace tessary
