#pragma once

// Field-by-field reading of JSON written by this program or by others: a field that is
// missing or of the wrong type yields nothing, and the caller keeps its default.

#include "core/records/EnumText.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

#include <optional>

namespace tessary::json {

inline std::optional<bool> boolean(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    return value.isBool() ? std::optional(value.toBool()) : std::nullopt;
}

inline std::optional<QString> string(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

inline std::optional<double> number(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    return value.isDouble() ? std::optional(value.toDouble()) : std::nullopt;
}

inline std::optional<QJsonObject> object(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    return value.isObject() ? std::optional(value.toObject()) : std::nullopt;
}

// An array whose every element is a string; one non-string element rejects the whole field.
inline std::optional<QStringList> stringList(const QJsonValue& value) {
    if (!value.isArray()) {
        return std::nullopt;
    }
    QStringList result;
    const QJsonArray array = value.toArray();
    result.reserve(array.size());
    for (const auto element : array) { // QJsonValueConstRef, cheap to copy
        if (!element.isString()) {
            return std::nullopt;
        }
        result.append(element.toString());
    }
    return result;
}

inline std::optional<QStringList> stringList(const QJsonObject& object, QLatin1StringView key) {
    return stringList(object.value(key));
}

template <typename E>
std::optional<E> enumeration(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    return value.isString() ? enumFromRaw<E>(value.toString()) : std::nullopt;
}

template <typename T>
void assign(T& field, std::optional<T> value) {
    if (value) {
        field = std::move(*value);
    }
}

} // namespace tessary::json
