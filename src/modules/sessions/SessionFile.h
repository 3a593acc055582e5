#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <functional>
#include <optional>
#include <type_traits>

namespace tessary {

// The file primitives that every transcript reader is built on. Transcripts run to hundreds of
// megabytes and are appended to while they are read, so no primitive reads a whole file unless
// asked to: tails and heads are bounded, the search for a value walks backward in bounded chunks,
// and the listing reads only metadata. None of them fails toward the caller: a file that can't be
// read gives nothing, no lines or the distant past.
namespace SessionFile {

// The most that is read at once by a backward search.
inline constexpr qint64 chunkBytes = 262'144;

// The file's content modification date; the distant past when it can't be read.
QDateTime modified(const QString& path);

// An internet date-time ("2026-02-10T21:11:56.906Z", "2026-02-10T22:11:56+01:00"), with or
// without fractional seconds; nothing for anything else.
std::optional<QDateTime> date(QStringView text);

struct Listed {
    QString path;
    QDateTime modified;
    // In bytes, at the time of the listing: with the date it tells a file that changed.
    qint64 size = 0;
    bool operator==(const Listed&) const = default;
};

// Every file ending in ".jsonl" under `root`, at any depth, newest first (a stable order on equal
// dates). Hidden files and folders are passed over, and so are links to folders, which could
// make a loop. The whole list is given: callers take a prefix.
QList<Listed> newest(const QString& root);

// The lines of the last `bytes` bytes of the file (all of it for 0, or when the file is no longer),
// decoded as UTF-8 with invalid sequences repaired, without empty lines. When the read starts
// past the beginning its first line is dropped, since it may be cut. A file that grows while it
// is read is read up to the length it had when opened. `bytes` must not be negative.
QStringList tailLines(const QString& path, qint64 bytes);

// The first `bytes` bytes, decoded with repair; nothing when the file can't be read.
std::optional<QString> head(const QString& path, qint64 bytes);

// Walks the file backward from its end, in chunks of at most `chunkBytes`, spending no more than
// `maximumBytes` in all, and offers each line that is no longer than `maximumLineBytes` and
// contains `needle` to `accept`, newest first; stops at the first line accepted and says whether
// one was. A line that grows past the limit is never built: its bytes are let go as they come.
// What is in hand when the budget runs out may be cut and is not offered.
bool scanBackward(const QString& path, const QString& needle, qint64 maximumBytes, qint64 maximumLineBytes,
                  const std::function<bool(const QString& line)>& accept);
// The same with chunks of `chunk` bytes, so that tests and the fuzzer can put chunk boundaries
// anywhere in a small file.
bool scanBackwardInChunks(const QString& path, const QString& needle, qint64 maximumBytes,
                          qint64 maximumLineBytes, qint64 chunk,
                          const std::function<bool(const QString& line)>& accept);

// The newest line holding `needle` for which `transform` gives a value (a std::optional), and that
// value; see scanBackward for the bounds.
template <typename Transform>
auto latestValue(const QString& path, const QString& needle, qint64 maximumBytes, qint64 maximumLineBytes,
                 Transform&& transform) -> std::invoke_result_t<Transform, const QString&> {
    std::invoke_result_t<Transform, const QString&> found;
    scanBackward(path, needle, maximumBytes, maximumLineBytes, [&](const QString& line) {
        found = std::invoke(transform, line);
        return found.has_value();
    });
    return found;
}

// The short project name of a working directory (`projectFolder`, else the directory as given);
// with no directory, the name of the folder that holds `fallbackFile`.
QString projectName(const std::optional<QString>& directory, const QString& fallbackFile);

// The project that a working directory belongs to: its last folder, except that a folder inside
// a dot-folder of a project is named after the project, a folder named by a UUID after its parent,
// and a scratch workspace of Claude Desktop "Claude Desktop". Nothing for "/" or an empty text.
std::optional<QString> projectFolder(const QString& directory);

} // namespace SessionFile

// Paths that belong to Claude Desktop.
namespace ClaudeDesktop {

// True when the path's components hold the application's folder ("Application Support/Claude" on
// macOS, ".config/Claude" on Linux) followed by "scratch-workspaces".
bool isScratchWorkspace(const QStringList& components);

} // namespace ClaudeDesktop

} // namespace tessary
