#pragma once

#include <QMap>
#include <QString>

namespace tessary {

// The user's chosen option per setting of one module.
struct ModuleConfiguration {
    QMap<QString, QString> values;
    bool operator==(const ModuleConfiguration&) const = default;

    // The stored value even when it is no longer among the setting's options.
    [[nodiscard]] QString value(const QString& settingID, const QString& fallback) const {
        return values.value(settingID, fallback);
    }
};

} // namespace tessary
