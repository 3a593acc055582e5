#include "core/diagnostics/CrashReports.h"

#include "core/diagnostics/CrashMarker.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

std::vector<CrashReport> CrashReports::fromLog(QByteArrayView logText) {
    std::vector<CrashReport> reports;
    qsizetype start = 0;
    while (start < logText.size()) {
        qsizetype end = logText.indexOf('\n', start);
        if (end < 0) {
            end = logText.size();
        }
        if (const auto marker = CrashMarker::parse(logText.sliced(start, end - start))) {
            reports.push_back(CrashReport{marker->at, marker->signal, CrashReport::Source::marker});
        }
        start = end + 1;
    }
    return reports;
}

std::vector<CrashReport> CrashReports::fromCoredumpJson(QByteArrayView json, const QString& executableName) {
    std::vector<CrashReport> reports;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError || !document.isArray()) {
        return reports;
    }
    // Microseconds since 1970, up to the year 9999.
    constexpr double latestMicroseconds = 253'402'300'799.0 * 1e6;
    const QJsonArray entries = document.array();
    for (const auto& entry : entries) {
        const QJsonObject object = entry.toObject();
        const QJsonValue exe = object.value(u"exe"_s);
        const double time = object.value(u"time"_s).toDouble(-1);
        const double signal = object.value(u"sig"_s).toDouble(-1);
        if (!exe.isString() || QFileInfo(exe.toString()).fileName() != executableName || time < 0 ||
            time > latestMicroseconds || signal < 1 || signal > 1024) {
            continue;
        }
        const auto milliseconds = static_cast<qint64>(time / 1000);
        reports.push_back(CrashReport{QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC),
                                      static_cast<int>(signal), CrashReport::Source::coredump});
    }
    return reports;
}

std::vector<CrashReport> CrashReports::newestFirst(std::vector<CrashReport> reports) {
    std::stable_sort(reports.begin(), reports.end(),
                     [](const CrashReport& a, const CrashReport& b) { return a.at > b.at; });
    reports.erase(std::unique(reports.begin(), reports.end()), reports.end());
    return reports;
}

PreviousRunCheck::Outcome CrashReports::previousRun(const std::vector<CrashReport>& reports,
                                                    const std::optional<QDateTime>& lastSeen,
                                                    const QDateTime& launchedAt) {
    const auto newest =
        std::max_element(reports.begin(), reports.end(),
                         [](const CrashReport& a, const CrashReport& b) { return a.at < b.at; });
    if (!lastSeen || !lastSeen->isValid()) {
        if (newest != reports.end()) {
            return PreviousRunCheck::FirstRun{newest->at};
        }
        // Markers count whole seconds: a crash in the second of this launch is still newer than this.
        const qint64 second = launchedAt.toSecsSinceEpoch() - 1;
        return PreviousRunCheck::FirstRun{QDateTime::fromSecsSinceEpoch(second, Qt::UTC)};
    }
    if (newest != reports.end() && newest->at > *lastSeen) {
        return PreviousRunCheck::Crashed{*newest};
    }
    return PreviousRunCheck::NothingNew{};
}

} // namespace tessary
