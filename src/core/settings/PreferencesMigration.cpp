#include "core/settings/PreferencesMigration.h"

#include "core/settings/SettingsStore.h"

#include <array>

namespace tessary::PreferencesMigration {

std::unique_ptr<QSettings> openFormerSuite() {
    auto suite = std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                             QStringLiteral("CorvaneApp"), QStringLiteral("CorvaneApp"));
    if (suite->status() != QSettings::NoError) {
        return nullptr;
    }
    return suite;
}

bool run(QSettings& standard, const FormerSuiteOpener& openSuite) {
    const QLatin1StringView marker(PreferenceKeys::migratedFromCorvane);
    if (standard.value(marker).toBool()) {
        return false;
    }
    const std::unique_ptr<QSettings> suite = openSuite ? openSuite() : nullptr;
    if (!suite) {
        return false;
    }
    // The keys keep their former names: they are the live keys of today.
    constexpr std::array keys{PreferenceKeys::settings, PreferenceKeys::claudeHooksDeclined,
                              PreferenceKeys::showsDiagnostics, PreferenceKeys::formerSurfacePositions,
                              PreferenceKeys::surfacePositions};
    for (const char* key : keys) {
        const QLatin1StringView name(key);
        if (standard.contains(name)) {
            continue;
        }
        if (suite->contains(name)) {
            standard.setValue(name, suite->value(name));
        }
    }
    standard.setValue(marker, true);
    standard.sync();
    return true;
}

} // namespace tessary::PreferencesMigration
