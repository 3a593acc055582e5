#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <optional>

namespace tessary {

// Text about a crash that goes into a file a user may share: it carries no path, token or user word.
namespace CrashReportText {

// Copies `text` into `into[from, to)` byte by byte, and gives the position reached. Words (runs of
// ASCII letters, digits, '_' and bytes above 127) are kept only when they are short lower-case ASCII
// words that don't follow a path separator, '~', '@', '=' or '.'; any other word becomes "#". Control
// bytes become blanks. Allocates nothing.
std::size_t redact(QByteArrayView text, char* into, std::size_t from, std::size_t to) noexcept;
// The same into a new array.
QByteArray redacted(QByteArrayView text);

// Control characters become blanks, runs of blanks one blank; cut at `limit` characters with "…".
QString singleLine(const QString& text, qsizetype limit);

// The block written for a C++ exception that ended the process: the header line, the reason (made
// single-line and redacted, or "(none)"), the frames, the recent log lines or the note that they were
// unavailable, and a closing line. Ends with a newline.
QString exceptionBlock(const QString& header, const std::optional<QString>& reason,
                       const QStringList& symbols, const std::optional<QStringList>& recent);

inline constexpr qsizetype reasonLimit = 300;

} // namespace CrashReportText

} // namespace tessary
