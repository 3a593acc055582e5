#include "core/settings/SettingsStore.h"

#include "core/records/WorkspaceSnapshot.h"
#include "core/settings/ModuleConfiguration.h"

namespace tessary {

SettingsStore::SettingsStore(QSettings& defaults, LoginItemApplier applyLaunchAtLogin, QObject* parent)
    : QObject(parent)
    , m_defaults(defaults)
    , m_applyLaunchAtLogin(std::move(applyLaunchAtLogin))
    , m_settings(
          SettingsCodec::decode(defaults.value(QLatin1StringView(PreferenceKeys::settings)).toByteArray())) {}

void SettingsStore::setSettings(const TessarySettings& settings) {
    if (settings == m_settings) {
        return;
    }
    const bool loginChanged = settings.launchesAtLogin != m_settings.launchesAtLogin;
    m_settings = settings;
    m_defaults.setValue(QLatin1StringView(PreferenceKeys::settings), SettingsCodec::encode(m_settings));
    m_defaults.sync();
    if (loginChanged && m_applyLaunchAtLogin && !m_applyLaunchAtLogin(m_settings.launchesAtLogin)) {
        emit loginItemFailed(m_settings.launchesAtLogin);
    }
    emit settingsChanged(m_settings);
}

void SettingsStore::setVisibility(DisplaySettings::Visibility visibility, const QString& displayID) {
    TessarySettings next = m_settings;
    DisplaySettings display = next.displaySettings(displayID);
    display.visibility = visibility;
    next.displays.insert(displayID, display);
    setSettings(next);
}

void SettingsStore::setWidgetEnabled(const QString& moduleID, bool enabled) {
    TessarySettings next = m_settings;
    WidgetSettings widget = next.widgetSettings(moduleID);
    widget.isEnabled = enabled;
    next.widgets.insert(moduleID, widget);
    setSettings(next);
}

void SettingsStore::setWidgetEnabled(const QString& moduleID, bool enabled, const QString& displayID) {
    TessarySettings next = m_settings;
    DisplaySettings display = next.displaySettings(displayID);
    display.disabledWidgetIDs.removeAll(moduleID);
    if (!enabled) {
        display.disabledWidgetIDs.append(moduleID);
    }
    next.displays.insert(displayID, display);
    setSettings(next);
}

void SettingsStore::setWidgetOption(const QString& moduleID, const QString& option, const QString& value) {
    TessarySettings next = m_settings;
    WidgetSettings widget = next.widgetSettings(moduleID);
    widget.options.insert(option, value);
    next.widgets.insert(moduleID, widget);
    setSettings(next);
}

void SettingsStore::rememberDisplays(const std::vector<DisplaySnapshot>& displays) {
    TessarySettings next = m_settings;
    for (const DisplaySnapshot& display : displays) {
        const auto existing = next.displays.constFind(display.id);
        if (existing != next.displays.constEnd() && existing->lastKnownName == display.name) {
            continue;
        }
        DisplaySettings entry = next.displaySettings(display.id);
        entry.lastKnownName = display.name;
        next.displays.insert(display.id, entry);
    }
    setSettings(next);
}

QMap<QString, ModuleConfiguration> SettingsStore::moduleConfigurations() const {
    QMap<QString, ModuleConfiguration> result;
    for (auto it = m_settings.widgets.constBegin(); it != m_settings.widgets.constEnd(); ++it) {
        result.insert(it.key(), ModuleConfiguration{it->options});
    }
    return result;
}

} // namespace tessary
