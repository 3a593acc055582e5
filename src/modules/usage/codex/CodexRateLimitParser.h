#pragma once

#include "modules/usage/UsageReport.h"

#include <QByteArrayView>
#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace tessary {

// Codex's rate-limit windows as its session files record them: each `token_count` line carries a
// `rate_limits` object with a `primary` (5-hour) and a `secondary` (weekly) window.
namespace CodexRateLimitParser {

// A `rate_limits` object of the general limit and the time of its line.
struct Record {
    QJsonObject rateLimits;
    QDateTime timestamp;
    bool operator==(const Record&) const = default;
};

// The record of one session-file line. Only a general record counts: one scoped to a model
// (`limit_id` other than "codex") or with neither window would hide the real limit behind it.
std::optional<Record> record(const QString& line);

// `primary` gives the session limit, `secondary` the weekly one, each only when it is an object;
// nothing when neither is. The report carries `capturedAt`.
std::optional<UsageReport> report(const QJsonObject& rateLimits, const QDateTime& capturedAt,
                                  const QDateTime& fetchedAt);

// One window: the percent rounded and held to 0 through 100. A window whose reset lies before
// `fetchedAt` has rolled over since it was measured: 0% and no reset time.
UsageReport::Limit limit(UsageLimitKind kind, std::optional<double> usedPercent,
                         std::optional<double> resetsAtSeconds, const QDateTime& fetchedAt);

} // namespace CodexRateLimitParser

// The newest general rate-limit record among Codex's session files, read backward and bounded.
namespace CodexSessionRateLimits {

inline constexpr qsizetype fileLimit = 8;
inline constexpr qint64 maximumBytes = 16'777'216;
inline constexpr qint64 maximumLineBytes = 1'048'576;

// The record of the newest of the `fileLimit` newest ".jsonl" files under `sessionsDirectory`
// that has one, as a report; nothing when none has.
std::optional<UsageReport> report(const QString& sessionsDirectory, const QDateTime& fetchedAt,
                                  qsizetype files = fileLimit);

} // namespace CodexSessionRateLimits

} // namespace tessary
