#include "core/localization/Localization.h"

#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace tessary {

namespace {

using Table = QHash<QString, QString>;

Table loadTable(const QString& resource) {
    Table table;
    QFile file(resource);
    if (!file.open(QIODevice::ReadOnly)) {
        return table;
    }
    const QJsonObject object = QJsonDocument::fromJson(file.readAll()).object();
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (it.value().isString()) {
            table.insert(it.key(), it.value().toString());
        }
    }
    return table;
}

// Read once, never changed afterwards: safe to read from any thread.
const Table& table(AppLanguage language) {
    static const Table empty;
    static const Table spanish = loadTable(QStringLiteral(":/tessary/translations/es.json"));
    static const Table portuguese = loadTable(QStringLiteral(":/tessary/translations/pt-BR.json"));
    switch (language) {
    case AppLanguage::spanish:
        return spanish;
    case AppLanguage::portuguese:
        return portuguese;
    case AppLanguage::english:
        break;
    }
    return empty;
}

} // namespace

Localization Localization::forSetting(const std::optional<AppLanguage>& chosen, const QLocale& system) {
    if (chosen) {
        return Localization(*chosen);
    }
    return Localization(matchingLanguage(system).value_or(AppLanguage::english));
}

QLocale Localization::locale() const {
    switch (m_language) {
    case AppLanguage::spanish:
        return QLocale(QLocale::Spanish);
    case AppLanguage::portuguese:
        return QLocale(QLocale::Portuguese, QLocale::Brazil);
    case AppLanguage::english:
        break;
    }
    return QLocale(QLocale::English, QLocale::UnitedStates);
}

QString Localization::text(const QString& englishKey) const {
    return table(m_language).value(englishKey, englishKey);
}

QString Localization::percent(double fraction) const {
    const double value = std::isfinite(fraction) ? std::round(fraction * 100) : 0;
    const QLocale loc = locale();
    return loc.toString(static_cast<qlonglong>(value)) + loc.percent();
}

} // namespace tessary
