#pragma once

#include "core/diagnostics/CrashReports.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

namespace tessary {

// The zip a user can send with a report, written with libzip.
namespace DiagnosticsArchive {

struct Entry {
    QString name;
    QByteArray bytes;
    bool operator==(const Entry&) const = default;
};

// "tessary.log" and "tessary.1.log" (as far as they exist), each cleaned of anything personal,
// "about.txt" and "crashes.txt".
std::vector<Entry> contents(const QString& logsDirectory, const QString& about,
                            const std::vector<CrashReport>& reports);

// Writes a new zip at `path`. libzip writes a temporary file beside it and renames it at the end, so an
// existing file is replaced only by a complete archive. Gives libzip's error text on failure.
std::optional<QString> write(const QString& path, const std::vector<Entry>& entries);

// A log is read up to this size from its end.
inline constexpr qint64 logReadLimit = 2'000'000;

} // namespace DiagnosticsArchive

} // namespace tessary
