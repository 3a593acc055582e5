#include "modules/github/GitHubAnswerFields.h"

#include <QJsonDocument>
#include <QJsonParseError>

#include <cmath>
#include <limits>

namespace tessary::github_fields {

using namespace Qt::StringLiterals;

namespace {

// Beyond 2^53 a double no longer holds every integer, so larger values can't be trusted.
constexpr double largestExactInteger = 9'007'199'254'740'992.0;

std::optional<double> integralNumber(const QJsonObject& object, QLatin1StringView key, double lowest,
                                     double highest) {
    const auto value = json::number(object, key);
    if (!value || !std::isfinite(*value) || std::trunc(*value) != *value || *value < lowest ||
        *value > highest) {
        return std::nullopt;
    }
    return value;
}

// "YYYY-MM-DDTHH:MM:SS" is 19 characters; an offset or "Z" must follow at once.
constexpr qsizetype secondsEnd = 19;

} // namespace

std::optional<QJsonObject> parseObject(const QByteArray& data) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return document.object();
}

std::optional<QJsonObject> objectAt(const QJsonObject& root, std::initializer_list<QLatin1StringView> keys) {
    QJsonObject current = root;
    for (const QLatin1StringView key : keys) {
        auto next = json::object(current, key);
        if (!next) {
            return std::nullopt;
        }
        current = std::move(*next);
    }
    return current;
}

QJsonArray arrayAt(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    return value.isArray() ? value.toArray() : QJsonArray();
}

std::optional<int> integer(const QJsonObject& object, QLatin1StringView key) {
    const auto value =
        integralNumber(object, key, std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    return value ? std::optional(static_cast<int>(*value)) : std::nullopt;
}

std::optional<qint64> integer64(const QJsonObject& object, QLatin1StringView key) {
    const auto value = integralNumber(object, key, -largestExactInteger, largestExactInteger);
    return value ? std::optional(static_cast<qint64>(*value)) : std::nullopt;
}

std::optional<QUrl> httpsURL(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().compare("https"_L1, Qt::CaseInsensitive) != 0 ||
        url.host().isEmpty()) {
        return std::nullopt;
    }
    return url;
}

std::optional<QUrl> httpsURL(const QJsonObject& object, QLatin1StringView key) {
    const auto text = json::string(object, key);
    return text ? httpsURL(*text) : std::nullopt;
}

std::optional<QDateTime> isoDate(const QString& text) {
    if (text.size() <= secondsEnd || text.at(10) != u'T') {
        return std::nullopt;
    }
    const QChar zone = text.at(secondsEnd);
    if (zone != u'Z' && zone != u'+' && zone != u'-') {
        return std::nullopt;
    }
    const QDateTime date = QDateTime::fromString(text, Qt::ISODate);
    if (!date.isValid()) {
        return std::nullopt;
    }
    return date.toUTC();
}

std::optional<QDateTime> isoDate(const QJsonObject& object, QLatin1StringView key) {
    const auto text = json::string(object, key);
    return text ? isoDate(*text) : std::nullopt;
}

} // namespace tessary::github_fields
