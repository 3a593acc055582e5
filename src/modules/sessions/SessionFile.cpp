#include "modules/sessions/SessionFile.h"

#include "core/time/Clock.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace tessary::SessionFile {

namespace {

QString decoded(QByteArrayView bytes) {
    // fromUtf8 replaces each invalid sequence with U+FFFD.
    return QString::fromUtf8(bytes);
}

// Reads `size` bytes at `offset` into `bytes`, reusing its room; fewer when the file was cut
// meanwhile. False on a failed seek or read.
bool readAt(QFile& file, qint64 offset, qint64 size, QByteArray& bytes) {
    if (!file.seek(offset)) {
        return false;
    }
    bytes.resize(size);
    qint64 filled = 0;
    while (filled < size) {
        const qint64 got = file.read(bytes.data() + filled, size - filled);
        if (got < 0) {
            return false;
        }
        if (got == 0) {
            break;
        }
        filled += got;
    }
    bytes.truncate(filled);
    return true;
}

// A run of exactly `count` ASCII digits at `position`, as a number.
std::optional<int> digits(QStringView text, qsizetype position, qsizetype count) {
    if (position + count > text.size()) {
        return std::nullopt;
    }
    int value = 0;
    for (qsizetype i = position; i < position + count; ++i) {
        const char16_t c = text[i].unicode();
        if (c < u'0' || c > u'9') {
            return std::nullopt;
        }
        value = value * 10 + (c - u'0');
    }
    return value;
}

bool isHexDigit(QChar c) {
    const char16_t u = c.unicode();
    return (u >= u'0' && u <= u'9') || (u >= u'a' && u <= u'f') || (u >= u'A' && u <= u'F');
}

// 8-4-4-4-12 hexadecimal digits.
bool isUUID(QStringView text) {
    if (text.size() != 36) {
        return false;
    }
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? text[i] != u'-' : !isHexDigit(text[i])) {
            return false;
        }
    }
    return true;
}

void collect(const QString& folder, QList<Listed>& found) {
    QDirIterator entries(folder, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
    while (entries.hasNext()) {
        entries.next();
        const QFileInfo info = entries.fileInfo();
        if (info.fileName().startsWith(u'.')) {
            continue;
        }
        if (info.isDir()) {
            if (!info.isSymLink()) {
                collect(info.filePath(), found);
            }
            continue;
        }
        if (info.suffix() == QLatin1StringView("jsonl") && info.isFile()) {
            const QDateTime date = info.lastModified().toUTC();
            found.append({info.filePath(), date.isValid() ? date : distantPast(), info.size()});
        }
    }
}

} // namespace

QDateTime modified(const QString& path) {
    const QFileInfo info(path);
    const QDateTime date = info.exists() ? info.lastModified().toUTC() : QDateTime();
    return date.isValid() ? date : distantPast();
}

std::optional<QDateTime> date(QStringView text) {
    // YYYY-MM-DDTHH:MM:SS[.fraction](Z|+HH:MM|-HH:MM)
    const auto year = digits(text, 0, 4);
    const auto month = digits(text, 5, 2);
    const auto day = digits(text, 8, 2);
    const auto hour = digits(text, 11, 2);
    const auto minute = digits(text, 14, 2);
    const auto second = digits(text, 17, 2);
    if (!year || !month || !day || !hour || !minute || !second || text[4] != u'-' || text[7] != u'-' ||
        (text[10] != u'T' && text[10] != u't') || text[13] != u':' || text[16] != u':') {
        return std::nullopt;
    }
    qsizetype position = 19;
    int milliseconds = 0;
    if (position < text.size() && text[position] == u'.') {
        ++position;
        const qsizetype start = position;
        while (position < text.size() && text[position] >= u'0' && text[position] <= u'9') {
            if (position - start < 3) {
                milliseconds = milliseconds * 10 + (text[position].unicode() - u'0');
            }
            ++position;
        }
        if (position == start) {
            return std::nullopt;
        }
        for (qsizetype padded = position - start; padded < 3; ++padded) {
            milliseconds *= 10;
        }
    }
    if (position >= text.size()) {
        return std::nullopt;
    }
    int offsetSeconds = 0;
    const QChar zone = text[position];
    if (zone == u'Z' || zone == u'z') {
        ++position;
    } else if (zone == u'+' || zone == u'-') {
        const auto offsetHours = digits(text, position + 1, 2);
        const bool colon = position + 3 < text.size() && text[position + 3] == u':';
        const auto offsetMinutes = digits(text, position + (colon ? 4 : 3), 2);
        if (!offsetHours || !offsetMinutes || *offsetHours > 23 || *offsetMinutes > 59) {
            return std::nullopt;
        }
        offsetSeconds = (*offsetHours * 3600 + *offsetMinutes * 60) * (zone == u'-' ? -1 : 1);
        position += colon ? 6 : 5;
    } else {
        return std::nullopt;
    }
    if (position != text.size()) {
        return std::nullopt;
    }
    const QDate calendarDate(*year, *month, *day);
    const QTime time(*hour, *minute, *second, milliseconds);
    if (!calendarDate.isValid() || !time.isValid()) {
        return std::nullopt;
    }
    return QDateTime(calendarDate, time, Qt::UTC).addSecs(-offsetSeconds);
}

QList<Listed> newest(const QString& root) {
    QList<Listed> found;
    if (QFileInfo(root).isDir()) {
        collect(root, found);
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const Listed& a, const Listed& b) { return a.modified > b.modified; });
    return found;
}

QStringList tailLines(const QString& path, qint64 bytes) {
    Q_ASSERT_X(bytes >= 0, "SessionFile::tailLines", "a negative byte count");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const qint64 length = file.size();
    if (length < 0) {
        return {};
    }
    const qint64 start = bytes > 0 && bytes < length ? length - bytes : 0;
    QByteArray content;
    if (!readAt(file, start, length - start, content)) {
        return {};
    }
    QStringList lines;
    const QByteArrayView text(content);
    bool dropsFirst = start > 0;
    qsizetype from = 0;
    while (from < text.size()) {
        qsizetype newline = text.indexOf('\n', from);
        if (newline < 0) {
            newline = text.size();
        }
        if (newline > from) {
            if (dropsFirst) {
                dropsFirst = false;
            } else {
                lines.append(decoded(text.sliced(from, newline - from)));
            }
        }
        from = newline + 1;
    }
    return lines;
}

std::optional<QString> head(const QString& path, qint64 bytes) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    QByteArray content;
    if (!readAt(file, 0, std::clamp<qint64>(bytes, 0, std::max<qint64>(file.size(), 0)), content)) {
        return std::nullopt;
    }
    return decoded(content);
}

bool scanBackward(const QString& path, const QString& needle, qint64 maximumBytes, qint64 maximumLineBytes,
                  const std::function<bool(const QString& line)>& accept) {
    return scanBackwardInChunks(path, needle, maximumBytes, maximumLineBytes, chunkBytes, accept);
}

bool scanBackwardInChunks(const QString& path, const QString& needle, qint64 maximumBytes,
                          qint64 maximumLineBytes, qint64 chunk,
                          const std::function<bool(const QString& line)>& accept) {
    if (maximumBytes < 1 || maximumLineBytes < 1 || chunk < 1) {
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    const qint64 length = file.size();
    if (length < 0) {
        return false;
    }
    const QByteArray needleBytes = needle.toUtf8();

    // Offers one whole line; true when it was accepted.
    const auto offer = [&](QByteArrayView line) {
        if (line.isEmpty() || !line.contains(needleBytes)) {
            return false;
        }
        const QString text = decoded(line);
        return text.contains(needle) && accept(text);
    };

    qint64 position = length;
    qint64 budget = maximumBytes;
    // The end of the line being gathered, whose start lies before `position`.
    QByteArray carried;
    // The line being gathered has grown past the limit: its bytes are dropped until its start.
    bool overlong = false;
    // One buffer for every chunk.
    QByteArray buffer;
    while (position > 0) {
        if (budget <= 0) {
            return false;
        }
        const qint64 size = std::min({chunk, budget, position});
        position -= size;
        budget -= size;
        if (!readAt(file, position, size, buffer) || buffer.size() != size) {
            return false;
        }
        const QByteArrayView bytes(buffer);
        qsizetype end = bytes.size();
        for (qsizetype newline = bytes.lastIndexOf('\n', end - 1); newline >= 0;
             newline = end > 0 ? bytes.lastIndexOf('\n', end - 1) : -1) {
            const QByteArrayView segment = bytes.sliced(newline + 1, end - newline - 1);
            if (!overlong && segment.size() + carried.size() <= maximumLineBytes) {
                const bool accepted =
                    carried.isEmpty() ? offer(segment) : offer(QByteArray(segment.toByteArray() + carried));
                if (accepted) {
                    return true;
                }
            }
            carried.clear();
            overlong = false;
            end = newline;
        }
        if (overlong || end + carried.size() > maximumLineBytes) {
            carried.clear();
            overlong = true;
        } else {
            carried.prepend(bytes.first(end).data(), end);
        }
    }
    // The start of the file: the first line is whole.
    return !overlong && offer(carried);
}

QString projectName(const std::optional<QString>& directory, const QString& fallbackFile) {
    if (directory && !directory->isEmpty()) {
        return projectFolder(*directory).value_or(*directory);
    }
    return QFileInfo(fallbackFile).absoluteDir().dirName();
}

std::optional<QString> projectFolder(const QString& directory) {
    const QStringList components = directory.split(u'/', Qt::SkipEmptyParts);
    if (ClaudeDesktop::isScratchWorkspace(components)) {
        return QStringLiteral("Claude Desktop");
    }
    if (components.isEmpty()) {
        return std::nullopt;
    }
    for (qsizetype i = 1; i < components.size(); ++i) {
        if (components.at(i).startsWith(u'.')) {
            return components.at(i - 1);
        }
    }
    const QString& last = components.last();
    if (last.isEmpty()) {
        return std::nullopt;
    }
    if (isUUID(last) && components.size() >= 2) {
        return components.at(components.size() - 2);
    }
    return last;
}

} // namespace tessary::SessionFile

namespace tessary::ClaudeDesktop {

bool isScratchWorkspace(const QStringList& components) {
    for (qsizetype i = 0; i + 2 < components.size(); ++i) {
        const QString& holder = components.at(i);
        if ((holder == QLatin1StringView("Application Support") || holder == QLatin1StringView(".config")) &&
            components.at(i + 1) == QLatin1StringView("Claude") &&
            components.at(i + 2) == QLatin1StringView("scratch-workspaces")) {
            return true;
        }
    }
    return false;
}

} // namespace tessary::ClaudeDesktop
