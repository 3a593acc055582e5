#include "modules/usage/ClaudeUsageParser.h"

#include "core/json/JsonFields.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

// Far beyond any real figure, and well inside an int.
constexpr double percentCeiling = 1000;

int roundedPercent(double value) {
    return static_cast<int>(std::lround(std::clamp(value, 0.0, percentCeiling)));
}

std::optional<QDateTime> resetTime(const QJsonObject& object) {
    const auto text = json::string(object, "resets_at"_L1);
    return text ? ClaudeUsageParser::parseTime(*text) : std::nullopt;
}

std::optional<UsageLimitKind> limitKind(const QJsonObject& entry) {
    const auto kind = json::string(entry, "kind"_L1);
    if (!kind) {
        return std::nullopt;
    }
    if (*kind == u"session"_s) {
        return usage_kind::Session{};
    }
    if (*kind == u"weekly_all"_s) {
        return usage_kind::WeeklyAll{};
    }
    if (*kind == u"weekly_scoped"_s) {
        const QJsonObject model =
            json::object(json::object(entry, "scope"_L1).value_or(QJsonObject()), "model"_L1)
                .value_or(QJsonObject());
        const QString name = json::string(model, "display_name"_L1).value_or(QString());
        return usage_kind::WeeklyScoped{
            name.size() >= 3 ? name : QString::fromLatin1(ClaudeUsageParser::unnamedModel)};
    }
    return std::nullopt;
}

std::vector<UsageReport::Limit> listedLimits(const QJsonObject& root) {
    std::vector<UsageReport::Limit> limits;
    const QJsonValue list = root.value("limits"_L1);
    if (!list.isArray()) {
        return limits;
    }
    for (const auto element : list.toArray()) {
        if (!element.isObject()) {
            continue;
        }
        const QJsonObject entry = element.toObject();
        const auto percent = json::number(entry, "percent"_L1);
        const auto kind = limitKind(entry);
        if (!percent || !std::isfinite(*percent) || !kind) {
            continue;
        }
        UsageReport::Limit limit;
        limit.kind = *kind;
        limit.percent = roundedPercent(*percent);
        json::assign(limit.severity, json::string(entry, "severity"_L1));
        limit.isActive = json::boolean(entry, "is_active"_L1).value_or(false);
        limit.resetsAt = resetTime(entry);
        limits.push_back(std::move(limit));
    }
    return limits;
}

std::optional<UsageReport::Limit> window(const QJsonObject& root, QLatin1StringView key,
                                         UsageLimitKind kind) {
    const auto object = json::object(root, key);
    if (!object) {
        return std::nullopt;
    }
    const auto utilization = json::number(*object, "utilization"_L1);
    if (!utilization || !std::isfinite(*utilization)) {
        return std::nullopt;
    }
    UsageReport::Limit limit;
    limit.kind = std::move(kind);
    limit.percent = roundedPercent(*utilization);
    limit.resetsAt = resetTime(*object);
    return limit;
}

} // namespace

std::optional<QDateTime> ClaudeUsageParser::parseTime(const QString& text) {
    // A time without an offset would be read as local time, which the endpoint never means.
    static const QRegularExpression shape(
        u"^\\d{4}-\\d{2}-\\d{2}T\\d{2}:\\d{2}:\\d{2}(\\.\\d{1,9})?(Z|[+-]\\d{2}:?\\d{2})$"_s);
    if (text.size() > 64 || !shape.match(text).hasMatch()) {
        return std::nullopt;
    }
    QDateTime parsed = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!parsed.isValid()) {
        parsed = QDateTime::fromString(text, Qt::ISODate);
    }
    if (!parsed.isValid()) {
        return std::nullopt;
    }
    return parsed.toUTC();
}

ClaudeUsageParseResult ClaudeUsageParser::parse(const QByteArray& body, const QDateTime& fetchedAt) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return ClaudeUsageParserError::invalidPayload;
    }
    const QJsonObject root = document.object();
    UsageReport report;
    report.fetchedAt = fetchedAt;
    report.limits = listedLimits(root);
    if (report.limits.empty()) {
        if (auto fiveHour = window(root, "five_hour"_L1, usage_kind::Session{})) {
            report.limits.push_back(std::move(*fiveHour));
        }
        if (auto sevenDay = window(root, "seven_day"_L1, usage_kind::WeeklyAll{})) {
            report.limits.push_back(std::move(*sevenDay));
        }
    }
    if (report.limits.empty()) {
        return ClaudeUsageParserError::invalidPayload;
    }
    return report;
}

} // namespace tessary
