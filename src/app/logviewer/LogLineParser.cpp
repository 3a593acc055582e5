#include "app/logviewer/LogEntry.h"
#include "core/diagnostics/CrashMarker.h"
#include "core/diagnostics/DiagnosticLine.h"
#include "core/records/EnumText.h"

#include <algorithm>

namespace tessary::LogLineParser {

using namespace Qt::StringLiterals;

namespace {

bool isControl(QChar character) {
    const char16_t code = character.unicode();
    return (code < 0x20 && code != u'\t') || code == 0x7f;
}
constexpr qsizetype shortestTimestamp = 19; // "2026-03-14T09:26:53"

// The next field up to a blank, moving `rest` past it and the blank.
QStringView takeField(QStringView& rest) {
    const qsizetype blank = rest.indexOf(u' ');
    if (blank < 0) {
        const QStringView field = rest;
        rest = {};
        return field;
    }
    const QStringView field = rest.first(blank);
    rest = rest.sliced(blank + 1);
    return field;
}

} // namespace

QString printable(QByteArrayView bytes) {
    // Decode no more than can be shown: four bytes at most per character.
    const bool cut = bytes.size() > shownLimit * 4;
    QString text = QString::fromUtf8(cut ? bytes.first(shownLimit * 4) : bytes);
    if (text.endsWith(u'\r')) {
        text.chop(1);
    }
    // Control characters are written out ("\x1B"), so that nothing in the file can steer the display.
    if (std::any_of(text.cbegin(), text.cend(), isControl)) {
        QString shown;
        shown.reserve(text.size() + 16);
        for (const QChar character : text) {
            if (isControl(character)) {
                shown.append(u"\\x"_s +
                             QString::number(character.unicode(), 16).toUpper().rightJustified(2, u'0'));
            } else {
                shown.append(character);
            }
        }
        text = shown;
    }
    if (text.size() > shownLimit) {
        text.truncate(shownLimit);
        // Never leave half of a surrogate pair at the cut.
        if (text.back().isHighSurrogate()) {
            text.chop(1);
        }
        text.append(u'…');
    } else if (cut) {
        text.append(u'…');
    }
    return text;
}

LogEntry parse(QByteArrayView line) {
    LogEntry entry;
    entry.message = printable(line);
    const QString& text = entry.message;
    if (text.startsWith(u"--- "_s) && text.endsWith(u" ---"_s) && text.size() > 8) {
        entry.kind = LogEntry::Kind::notice;
        return entry;
    }

    // The crash marker: a log line whose time is counted in seconds, as the signal handler writes it.
    if (const auto marker = CrashMarker::parse(line)) {
        entry.kind = LogEntry::Kind::line;
        entry.time = marker->at;
        entry.timestamp = DiagnosticLine::timestamp(marker->at, std::nullopt);
        entry.category = DiagnosticCategory::crash;
        entry.level = DiagnosticLevel::error;
        entry.message = u"signal name="_s + marker->name + u" number="_s + QString::number(marker->signal);
        return entry;
    }

    QStringView rest(text);
    const QStringView timestamp = takeField(rest);
    const QStringView category = takeField(rest);
    const QStringView level = takeField(rest);
    if (timestamp.size() < shortestTimestamp || !timestamp.contains(u'T') || rest.trimmed().isEmpty()) {
        return entry;
    }
    const auto parsedCategory = enumFromRaw<DiagnosticCategory>(category);
    const auto parsedLevel = enumFromRaw<DiagnosticLevel>(level);
    const QDateTime time = QDateTime::fromString(timestamp.toString(), Qt::ISODateWithMs);
    if (!parsedCategory || !parsedLevel || !time.isValid()) {
        return entry;
    }
    entry.kind = LogEntry::Kind::line;
    entry.time = time;
    entry.timestamp = timestamp.toString();
    entry.category = *parsedCategory;
    entry.level = *parsedLevel;
    entry.message = rest.toString();
    return entry;
}

} // namespace tessary::LogLineParser
