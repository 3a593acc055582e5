// The diagnostic log file is read back by the log viewer; anything may have been written into it.
#include "app/logviewer/LogEntry.h"
#include "app/logviewer/LogFileFollower.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdint>

using namespace Qt::StringLiterals;

namespace {

// Every entry read is shown as text: it must be bounded and free of control characters.
void check(const tessary::LogEntry& entry) {
    if (entry.message.size() > tessary::LogLineParser::shownLimit + 1) {
        __builtin_trap();
    }
    for (const QChar character : entry.message) {
        if ((character.unicode() < 0x20 && character != u'\t') || character.unicode() == 0x7f) {
            __builtin_trap();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArrayView bytes(data, static_cast<qsizetype>(size));
    check(tessary::LogLineParser::parse(bytes));

    // The same bytes as a log file, written in two parts with a poll in between, so that lines are cut
    // at every place a writer can leave them.
    static const QTemporaryDir folder;
    const QString path = QDir(folder.path()).filePath(u"tessary.log"_s);
    QFile::remove(path);
    tessary::LogFileFollower follower(folder.path());
    QObject::connect(&follower, &tessary::LogFileFollower::entriesRead, &follower,
                     [](const QList<tessary::LogEntry>& entries) {
                         for (const tessary::LogEntry& entry : entries) {
                             check(entry);
                         }
                     });
    const qsizetype half = bytes.size() / 2;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return 0;
    }
    file.write(bytes.first(half).toByteArray());
    file.flush();
    follower.poll();
    file.write(bytes.sliced(half).toByteArray());
    file.flush();
    follower.poll();
    return 0;
}
