#include "modules/usage/codex/CodexRateLimitParser.h"

#include "core/json/JsonFields.h"
#include "modules/sessions/SessionFile.h"

#include <QJsonDocument>

#include <algorithm>
#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

// Seconds since 1970 up to the year 5000: beyond that a value is damage, not a date.
constexpr double latestResetSeconds = 95'617'584'000.0;

std::optional<QDateTime> resetDate(std::optional<double> seconds) {
    if (!seconds || !std::isfinite(*seconds) || *seconds < 0 || *seconds > latestResetSeconds) {
        return std::nullopt;
    }
    return QDateTime::fromMSecsSinceEpoch(std::llround(*seconds * 1000), Qt::UTC);
}

} // namespace

UsageReport::Limit CodexRateLimitParser::limit(UsageLimitKind kind, std::optional<double> usedPercent,
                                               std::optional<double> resetsAtSeconds,
                                               const QDateTime& fetchedAt) {
    UsageReport::Limit limit;
    limit.kind = std::move(kind);
    limit.resetsAt = resetDate(resetsAtSeconds);
    if (limit.resetsAt && *limit.resetsAt < fetchedAt) {
        limit.resetsAt.reset();
        return limit;
    }
    const double percent = usedPercent && std::isfinite(*usedPercent) ? *usedPercent : 0;
    limit.percent = static_cast<int>(std::lround(std::clamp(percent, 0.0, 100.0)));
    return limit;
}

std::optional<CodexRateLimitParser::Record> CodexRateLimitParser::record(const QString& line) {
    const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8());
    const auto payload = json::object(document.object(), "payload"_L1);
    const auto rateLimits = payload ? json::object(*payload, "rate_limits"_L1) : std::nullopt;
    const auto timestamp = json::string(document.object(), "timestamp"_L1);
    const auto date = timestamp ? SessionFile::date(*timestamp) : std::nullopt;
    if (!rateLimits || !date) {
        return std::nullopt;
    }
    const QJsonValue limitID = rateLimits->value("limit_id"_L1);
    if (limitID.isString() && limitID.toString() != "codex"_L1) {
        return std::nullopt;
    }
    if (!rateLimits->value("primary"_L1).isObject() && !rateLimits->value("secondary"_L1).isObject()) {
        return std::nullopt;
    }
    return Record{*rateLimits, *date};
}

std::optional<UsageReport> CodexRateLimitParser::report(const QJsonObject& rateLimits,
                                                        const QDateTime& capturedAt,
                                                        const QDateTime& fetchedAt) {
    UsageReport report;
    report.fetchedAt = fetchedAt;
    report.capturedAt = capturedAt;
    const auto add = [&](QLatin1StringView key, UsageLimitKind kind) {
        if (const auto window = json::object(rateLimits, key)) {
            report.limits.push_back(limit(std::move(kind), json::number(*window, "used_percent"_L1),
                                          json::number(*window, "resets_at"_L1), fetchedAt));
        }
    };
    add("primary"_L1, usage_kind::Session{});
    add("secondary"_L1, usage_kind::WeeklyAll{});
    if (report.limits.empty()) {
        return std::nullopt;
    }
    return report;
}

std::optional<UsageReport> CodexSessionRateLimits::report(const QString& sessionsDirectory,
                                                          const QDateTime& fetchedAt, qsizetype files) {
    const QList<SessionFile::Listed> listed = SessionFile::newest(sessionsDirectory);
    for (const SessionFile::Listed& file : listed.first(std::clamp<qsizetype>(files, 0, listed.size()))) {
        const auto found = SessionFile::latestValue(file.path, u"\"rate_limits\""_s, maximumBytes,
                                                    maximumLineBytes, &CodexRateLimitParser::record);
        if (found) {
            return CodexRateLimitParser::report(found->rateLimits, found->timestamp, fetchedAt);
        }
    }
    return std::nullopt;
}

} // namespace tessary
