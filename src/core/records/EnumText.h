#pragma once

#include <QString>
#include <QStringView>

#include <array>
#include <optional>
#include <utility>

namespace tessary {

// Every string-valued enumeration specializes EnumTable with the raw value of each case, in case order.
template <typename E>
struct EnumTable;

template <typename E>
constexpr auto enumCases() {
    return EnumTable<E>::cases;
}

template <typename E>
QString rawValue(E value) {
    for (const auto& [item, raw] : EnumTable<E>::cases) {
        if (item == value) {
            return QString::fromLatin1(raw);
        }
    }
    return {};
}

template <typename E>
std::optional<E> enumFromRaw(QStringView raw) {
    for (const auto& [item, text] : EnumTable<E>::cases) {
        if (raw == QLatin1StringView(text)) {
            return item;
        }
    }
    return std::nullopt;
}

} // namespace tessary
