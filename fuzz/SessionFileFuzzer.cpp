// Transcripts are written by agents, cut by crashes and by reads that race their writers, and can
// hold any bytes. The input is a file: its first four bytes choose the tail length, the line limit,
// the chunk size and the needle's length; the needle follows, and the rest is the file. The tail
// and the backward search, with chunk boundaries anywhere, must agree with a plain reading of the
// whole file.
#include "modules/sessions/SessionFile.h"
#include "support/FuzzCheck.h"

#include <QByteArrayList>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <cstdint>
#include <optional>

namespace {

using tessary::SessionFile::scanBackwardInChunks;
using tessary::SessionFile::tailLines;

const QString& scratchFile() {
    static const QTemporaryDir folder;
    static const QString path = folder.filePath(QStringLiteral("input.jsonl"));
    return path;
}

bool acceptable(const QString& line) {
    const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8());
    return document.isObject() && document.object().contains(QLatin1StringView("type"));
}

QStringList expectedTail(const QByteArray& content, qint64 bytes) {
    const qint64 start = bytes > 0 && bytes < content.size() ? content.size() - bytes : 0;
    QStringList lines;
    bool dropsFirst = start > 0;
    for (const QByteArray& line : content.mid(start).split('\n')) {
        if (line.isEmpty()) {
            continue;
        }
        if (dropsFirst) {
            dropsFirst = false;
            continue;
        }
        lines.append(QString::fromUtf8(line));
    }
    return lines;
}

std::optional<QString> expectedLatest(const QByteArray& content, const QString& needle,
                                      qint64 maximumLineBytes) {
    const QByteArrayList lines = content.split('\n');
    const QByteArray needleBytes = needle.toUtf8();
    for (auto line = lines.crbegin(); line != lines.crend(); ++line) {
        if (line->isEmpty() || line->size() > maximumLineBytes || !line->contains(needleBytes)) {
            continue;
        }
        const QString text = QString::fromUtf8(*line);
        if (text.contains(needle) && acceptable(text)) {
            return text;
        }
    }
    return std::nullopt;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 4) {
        return 0;
    }
    const qint64 tailBytes = data[0];
    const qint64 maximumLineBytes = 1 + data[1];
    const qint64 chunk = 1 + (data[2] & 0x3f);
    const std::size_t needleLength = std::min<std::size_t>(data[3] & 0x0f, size - 4);
    const QString needle =
        QString::fromUtf8(reinterpret_cast<const char*>(data + 4), static_cast<qsizetype>(needleLength));
    const QByteArray content(reinterpret_cast<const char*>(data + 4 + needleLength),
                             static_cast<qsizetype>(size - 4 - needleLength));
    {
        QFile file(scratchFile());
        check(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        check(file.write(content) == content.size());
    }

    check(tailLines(scratchFile(), tailBytes) == expectedTail(content, tailBytes));
    check(tailLines(scratchFile(), 0) == expectedTail(content, 0));

    // With a budget that covers the file, the search finds what a plain reading finds.
    std::optional<QString> found;
    const bool accepted = scanBackwardInChunks(scratchFile(), needle, content.size() + 1, maximumLineBytes,
                                               chunk, [&](const QString& line) {
                                                   check(line.toUtf8().size() <= maximumLineBytes * 3);
                                                   if (!acceptable(line)) {
                                                       return false;
                                                   }
                                                   found = line;
                                                   return true;
                                               });
    check(accepted == found.has_value());
    check(found == expectedLatest(content, needle, maximumLineBytes));

    // A budget that stops short finds nothing older than what a full search finds, and never more.
    std::optional<QString> shortFound;
    scanBackwardInChunks(scratchFile(), needle, 1 + content.size() / 2, maximumLineBytes, chunk,
                         [&](const QString& line) {
                             if (!acceptable(line)) {
                                 return false;
                             }
                             shortFound = line;
                             return true;
                         });
    check(!shortFound || shortFound == found);
    return 0;
}
