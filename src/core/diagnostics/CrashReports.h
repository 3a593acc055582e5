#pragma once

#include <QByteArrayView>
#include <QDateTime>
#include <QString>

#include <optional>
#include <variant>
#include <vector>

namespace tessary {

// One crash of this program that something on the machine remembers.
struct CrashReport {
    enum class Source { marker, coredump };
    QDateTime at; // UTC
    int signal = 0;
    Source source = Source::marker;
    bool operator==(const CrashReport&) const = default;
};

// What the start of a run learns about the runs before it.
namespace PreviousRunCheck {
// No crash was ever noted: remember this date, report nothing that came before.
struct FirstRun {
    QDateTime markSeen;
    bool operator==(const FirstRun&) const = default;
};
struct Crashed {
    CrashReport report;
    bool operator==(const Crashed&) const = default;
};
struct NothingNew {
    bool operator==(const NothingNew&) const = default;
};
using Outcome = std::variant<FirstRun, Crashed, NothingNew>;
} // namespace PreviousRunCheck

// Reading the crash reports. The texts come from files and tools outside the program: a line or an
// entry that doesn't read is skipped.
namespace CrashReports {

// The markers the signal handler left in a log file's text.
std::vector<CrashReport> fromLog(QByteArrayView logText);

// The entries of `coredumpctl --json=short` whose executable is named `executableName`.
std::vector<CrashReport> fromCoredumpJson(QByteArrayView json, const QString& executableName);

// Newest first; equal reports once.
std::vector<CrashReport> newestFirst(std::vector<CrashReport> reports);

// With no `lastSeen`, the first run of crash noting: nothing is reported, and the date to remember is
// the newest report's, or the second before this launch began. A report newer than `lastSeen` is a crash
// of a previous run.
PreviousRunCheck::Outcome previousRun(const std::vector<CrashReport>& reports,
                                      const std::optional<QDateTime>& lastSeen, const QDateTime& launchedAt);

} // namespace CrashReports

} // namespace tessary
