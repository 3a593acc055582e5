// Codex's session files can hold any bytes: lines cut by a crash or by a read that races the writer,
// other tools' edits, hostile content. The input is a session file's head: it goes through the
// text search of the first line's fields, the first prompt and the later lines' table. Besides not
// crashing, a field found in a line is found the same in any longer line that begins with it (a
// cut line still serves), and a line read twice changes nothing more.
#include "modules/sessions/CodexSessionFileProvider.h"
#include "support/FuzzCheck.h"

#include <QByteArray>
#include <QString>

#include <cstdint>

using tessary::CodexSessionFile::TailReading;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString head = QString::fromUtf8(input);
    const qsizetype end = head.indexOf(u'\n');
    const QStringView firstLine = end >= 0 ? QStringView(head).first(end) : QStringView(head);
    for (const QStringView key : {u"source", u"id", u"session_id", u"branch", u"cwd", u"type"}) {
        const auto found = tessary::CodexSessionFile::field(firstLine, key);
        if (found) {
            check(tessary::CodexSessionFile::field(head, key) == found);
        }
    }
    if (const auto header = tessary::CodexSessionFile::header(head, QStringLiteral("fallback"))) {
        check(!header->id.isEmpty());
        check(header->source == QLatin1StringView("cli") || header->source == QLatin1StringView("exec"));
    }
    if (const auto prompt = tessary::CodexSessionFile::firstPrompt(head)) {
        check(tessary::CodexSessionFile::isUserWritten(*prompt) && !prompt->contains(u'\n'));
    }
    TailReading reading;
    for (const QStringView line : QStringView(head).split(u'\n')) {
        reading.apply(line);
        const TailReading once = reading;
        reading.apply(line);
        check(reading == once);
    }
    return 0;
}
