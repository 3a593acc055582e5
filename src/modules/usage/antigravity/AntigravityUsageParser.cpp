#include "modules/usage/antigravity/AntigravityUsageParser.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace tessary::AntigravityUsageParser {

using namespace Qt::StringLiterals;

namespace {

// An object whose known fields, where present, have the types the tool writes.
bool isEnvelope(const QJsonObject& object) {
    const auto optionalIs = [&](QLatin1StringView key, QJsonValue::Type type) {
        return !object.contains(key) || object.value(key).type() == type || object.value(key).isNull();
    };
    return optionalIs("status"_L1, QJsonValue::String) && optionalIs("error"_L1, QJsonValue::String) &&
           optionalIs("command"_L1, QJsonValue::Object);
}

std::optional<QJsonObject> object(QByteArrayView text) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject() || !isEnvelope(document.object())) {
        return std::nullopt;
    }
    return document.object();
}

std::optional<QDateTime> resetTime(const QJsonValue& value) {
    const QString text = value.toString();
    if (text.isEmpty()) {
        return std::nullopt;
    }
    for (const Qt::DateFormat format : {Qt::ISODateWithMs, Qt::ISODate}) {
        const QDateTime parsed = QDateTime::fromString(text, format);
        if (parsed.isValid()) {
            return parsed.toUTC();
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<QJsonObject> envelope(const QByteArray& output) {
    for (const QByteArray& line : output.split('\n')) {
        const QByteArray trimmed = line.trimmed();
        if (trimmed.startsWith('{')) {
            if (auto found = object(trimmed)) {
                return found;
            }
        }
    }
    return object(output);
}

QString familyName(const QString& groupName) {
    QString name = groupName.trimmed();
    if (name.endsWith(u" models"_s, Qt::CaseInsensitive)) {
        name.chop(7);
    }
    static const QRegularExpression conjunction(u" and "_s, QRegularExpression::CaseInsensitiveOption);
    return name.replace(conjunction, u"/"_s);
}

std::vector<UsageReport::Limit> limits(const QJsonObject& group) {
    const QString family = familyName(group.value("name"_L1).toString());
    const QJsonArray buckets = group.value("buckets"_L1).toArray();
    std::vector<UsageReport::Limit> made;
    for (const auto& entry : buckets) {
        const QJsonObject bucket = entry.toObject();
        const QJsonValue fraction = bucket.value("remainingFraction"_L1);
        if (!fraction.isDouble() || !std::isfinite(fraction.toDouble())) {
            continue;
        }
        const QString id = bucket.value("id"_L1).toString();
        QString title = family;
        if (title.isEmpty()) {
            title = id.isEmpty() ? u"?"_s : id;
        }
        if (buckets.size() > 1) {
            const QString window = bucket.value("window"_L1).toString();
            title += u' ' + (window.isEmpty() ? id : window);
        }
        // A hostile fraction can't overflow the percent.
        const double percent = std::clamp(std::round((1.0 - fraction.toDouble()) * 100.0), -1.0e9, 1.0e9);
        UsageReport::Limit limit;
        limit.kind = usage_kind::WeeklyScoped{title.trimmed()};
        limit.percent = static_cast<int>(percent);
        limit.resetsAt = resetTime(bucket.value("resetTime"_L1));
        made.push_back(std::move(limit));
    }
    return made;
}

Result parse(const QByteArray& output, const QDateTime& fetchedAt) {
    const auto found = envelope(output);
    if (!found) {
        return AntigravityUsageParserError{AntigravityUsageParserError::Kind::invalidPayload, {}};
    }
    const QJsonValue status = found->value("status"_L1);
    if (status.isString() && status.toString() != "SUCCESS"_L1) {
        return AntigravityUsageParserError{AntigravityUsageParserError::Kind::commandFailed,
                                           found->value("error"_L1).toString()};
    }
    const QJsonValue groups =
        found->value("command"_L1).toObject().value("data"_L1).toObject().value("groups"_L1);
    if (!groups.isArray()) {
        return AntigravityUsageParserError{AntigravityUsageParserError::Kind::invalidPayload, {}};
    }
    UsageReport report;
    report.fetchedAt = fetchedAt;
    for (const auto& group : groups.toArray()) {
        auto made = limits(group.toObject());
        report.limits.insert(report.limits.end(), std::make_move_iterator(made.begin()),
                             std::make_move_iterator(made.end()));
    }
    return report;
}

} // namespace tessary::AntigravityUsageParser
