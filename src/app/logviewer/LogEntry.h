#pragma once

#include "core/diagnostics/DiagnosticCategory.h"

#include <QByteArrayView>
#include <QDateTime>
#include <QString>

namespace tessary {

// One line of the diagnostic log as the viewer shows it.
struct LogEntry {
    enum class Kind {
        line,    // "<timestamp> <category> <level> <message>"
        notice,  // "--- ... ---", written by the log itself (lines dropped)
        damaged, // anything else: shown as it stands
    };
    Kind kind = Kind::damaged;
    QDateTime time;
    QString timestamp; // as written in the file
    DiagnosticCategory category = DiagnosticCategory::app;
    DiagnosticLevel level = DiagnosticLevel::info;
    // The message of a line; the whole text of a notice or a damaged line.
    QString message;
    bool operator==(const LogEntry&) const = default;
};

// Reads log lines. The file is outside input: it may hold cut lines, binary bytes or text written by
// something else. Nothing here fails: what doesn't read as a line is kept as a damaged entry.
namespace LogLineParser {

// Longest text kept of one line; the rest is cut and an ellipsis shows that it was.
inline constexpr qsizetype shownLimit = 4000;

// One line without its newline.
LogEntry parse(QByteArrayView line);
// The bytes as readable text: UTF-8 (bad sequences become U+FFFD), control characters written out as
// "\x1B", cut at `shownLimit`.
QString printable(QByteArrayView bytes);

} // namespace LogLineParser

} // namespace tessary
