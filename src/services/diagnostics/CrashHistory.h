#pragma once

#include "core/diagnostics/CrashReports.h"

#include <QDateTime>
#include <QSettings>
#include <QString>

#include <optional>
#include <vector>

namespace tessary {

class ProcessRunner;

// The crashes of this program the machine remembers: the markers in the two log files, and
// systemd-coredump's entries where coredumpctl is installed. Blocking (files and a child process): call
// it off the main thread.
class CrashHistory {
public:
    // `runner` may be null: the log's markers are then the only source. `executableName` is how
    // coredumpctl names this program ("tessary").
    CrashHistory(QString logsDirectory, const ProcessRunner* runner, QString executableName);

    // Newest first.
    [[nodiscard]] std::vector<CrashReport> reports() const;

    // The key in the user's settings that remembers the newest crash already noted.
    static constexpr auto lastSeenKey = "diagnostics.lastSeenCrashReport";
    // The previous run's crash, once: reads and updates lastSeenKey, and logs "previous.run.crashed".
    static std::optional<CrashReport> checkPreviousRun(QSettings& defaults,
                                                       const std::vector<CrashReport>& reports,
                                                       const QDateTime& launchedAt);

    // Only the end of a log is read: the file's limit, and a little more for a rotation in progress.
    static constexpr qint64 readLimit = 2'000'000;
    static constexpr double coredumpTimeoutSeconds = 5;

private:
    QString m_logsDirectory;
    const ProcessRunner* m_runner;
    QString m_executableName;
};

} // namespace tessary
