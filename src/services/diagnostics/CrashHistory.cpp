#include "services/diagnostics/CrashHistory.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "services/shell/ProcessRunner.h"

#include <QDir>
#include <QFile>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

QByteArray tailOf(const QString& path, qint64 limit) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const qint64 size = file.size();
    if (size > limit) {
        file.seek(size - limit);
    }
    return file.read(limit);
}

} // namespace

CrashHistory::CrashHistory(QString logsDirectory, const ProcessRunner* runner, QString executableName)
    : m_logsDirectory(std::move(logsDirectory))
    , m_runner(runner)
    , m_executableName(std::move(executableName)) {}

std::vector<CrashReport> CrashHistory::reports() const {
    std::vector<CrashReport> reports;
    const QDir folder(m_logsDirectory);
    for (const QString& name : {u"tessary.log"_s, u"tessary.1.log"_s}) {
        const auto found = CrashReports::fromLog(tailOf(folder.filePath(name), readLimit));
        reports.insert(reports.end(), found.begin(), found.end());
    }
    if (m_runner != nullptr) {
        const ShellResult result =
            m_runner->run(u"coredumpctl"_s, {u"--json=short"_s, u"--no-pager"_s, u"list"_s, m_executableName},
                          coredumpTimeoutSeconds, std::nullopt);
        // No entries is a non-zero status; a missing tool is a failure. Neither is worth a line.
        if (const auto* outcome = std::get_if<ShellOutcome>(&result); outcome && outcome->status == 0) {
            const auto found = CrashReports::fromCoredumpJson(outcome->output.toUtf8(), m_executableName);
            reports.insert(reports.end(), found.begin(), found.end());
        }
    }
    return CrashReports::newestFirst(std::move(reports));
}

std::optional<CrashReport> CrashHistory::checkPreviousRun(QSettings& defaults,
                                                          const std::vector<CrashReport>& reports,
                                                          const QDateTime& launchedAt) {
    const QString key = QString::fromLatin1(lastSeenKey);
    std::optional<QDateTime> lastSeen;
    const QDateTime stored = QDateTime::fromString(defaults.value(key).toString(), Qt::ISODateWithMs);
    if (stored.isValid()) {
        lastSeen = stored;
    }
    const auto outcome = CrashReports::previousRun(reports, lastSeen, launchedAt);
    if (const auto* first = std::get_if<PreviousRunCheck::FirstRun>(&outcome)) {
        defaults.setValue(key, first->markSeen.toUTC().toString(Qt::ISODateWithMs));
        return std::nullopt;
    }
    if (const auto* crashed = std::get_if<PreviousRunCheck::Crashed>(&outcome)) {
        defaults.setValue(key, crashed->report.at.toUTC().toString(Qt::ISODateWithMs));
        DiagnosticLog::error(DiagnosticCategory::app, "previous.run.crashed", [&] {
            return DiagnosticFields{
                {"signal", DiagnosticValue::count(crashed->report.signal)},
                {"report",
                 DiagnosticValue::oneOf(crashed->report.source == CrashReport::Source::marker ? u"marker"_s
                                                                                              : u"coredump"_s,
                                        {"marker", "coredump"})}};
        });
        defaults.sync();
        return crashed->report;
    }
    return std::nullopt;
}

} // namespace tessary
