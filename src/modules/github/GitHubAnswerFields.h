#pragma once

// Reading of GitHub's JSON answers, shared by the readers of each answer. A field that is missing
// or of the wrong type gives nothing, as in core/json; these add the shapes GitHub's answers need.

#include "core/json/JsonFields.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <initializer_list>
#include <optional>

namespace tessary::github_fields {

// The bytes as a JSON object; nothing for anything else.
[[nodiscard]] std::optional<QJsonObject> parseObject(const QByteArray& data);

// The object reached by following the keys, each step an object.
[[nodiscard]] std::optional<QJsonObject> objectAt(const QJsonObject& root,
                                                  std::initializer_list<QLatin1StringView> keys);

// The array of that field, empty when it is missing or not an array.
[[nodiscard]] QJsonArray arrayAt(const QJsonObject& object, QLatin1StringView key);

// A JSON number with an integral value that fits: 1.5, 1e300 and "7" give nothing.
[[nodiscard]] std::optional<int> integer(const QJsonObject& object, QLatin1StringView key);
[[nodiscard]] std::optional<qint64> integer64(const QJsonObject& object, QLatin1StringView key);

// An absolute https address with a host (the scheme in any case); anything else gives nothing.
[[nodiscard]] std::optional<QUrl> httpsURL(const QString& text);
[[nodiscard]] std::optional<QUrl> httpsURL(const QJsonObject& object, QLatin1StringView key);

// "2024-05-01T12:00:00Z" or with an offset, no fractional seconds, in UTC.
[[nodiscard]] std::optional<QDateTime> isoDate(const QString& text);
[[nodiscard]] std::optional<QDateTime> isoDate(const QJsonObject& object, QLatin1StringView key);

} // namespace tessary::github_fields
