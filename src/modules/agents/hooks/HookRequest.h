#pragma once

#include <QHash>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace tessary {

// One request posted by a hook command: its headers and its decoded JSON body.
struct HookRequest {
    // Lower-cased names, trimmed values; a later duplicate has replaced an earlier one.
    QHash<QString, QString> headers;
    // The body when it decoded to a JSON object (without its "tool_response"), else empty.
    QJsonObject json;

    // Looks up a header by name in any case.
    [[nodiscard]] std::optional<QString> header(const QString& name) const {
        const auto found = headers.constFind(name.toLower());
        if (found == headers.cend()) {
            return std::nullopt;
        }
        return *found;
    }

    bool operator==(const HookRequest&) const = default;
};

} // namespace tessary
