#pragma once

#include "core/settings/ModuleConfiguration.h"
#include "core/settings/TessarySettings.h"

#include <QObject>
#include <QSettings>

#include <functional>

namespace tessary {

struct DisplaySnapshot;

// Preference keys that live beside the settings blob.
namespace PreferenceKeys {
inline constexpr auto settings = "corvane.settings.v1";
inline constexpr auto surfacePositions = "corvane.surface-positions.v2";
inline constexpr auto formerSurfacePositions = "corvane.surface-positions.v1";
inline constexpr auto showsDiagnostics = "corvane.shows-diagnostics.v1";
inline constexpr auto claudeHooksDeclined = "corvane.hooks.declined";
inline constexpr auto codexHooksDeclined = "tessary.codex.hooks.declined";
inline constexpr auto migratedFromCorvane = "tessary.migrated-from-corvane";
inline constexpr auto onboardingCompleted = "tessary.onboarding.completed";
inline constexpr auto changeSignalGround = "tessary.change-signal-ground";
} // namespace PreferenceKeys

// Holds the settings in memory, persists each change and publishes it.
// Read once at construction; from then on memory is the truth.
class SettingsStore final : public QObject {
    Q_OBJECT
public:
    // Registers or unregisters the login item; returns false when the platform refused.
    using LoginItemApplier = std::function<bool(bool launchesAtLogin)>;

    SettingsStore(QSettings& defaults, LoginItemApplier applyLaunchAtLogin, QObject* parent = nullptr);

    [[nodiscard]] const TessarySettings& settings() const { return m_settings; }
    // Persists and publishes when the value differs; an equal value does nothing.
    void setSettings(const TessarySettings& settings);
    [[nodiscard]] QSettings& defaults() const { return m_defaults; }

    void setVisibility(DisplaySettings::Visibility visibility, const QString& displayID);
    void setWidgetEnabled(const QString& moduleID, bool enabled);
    void setWidgetEnabled(const QString& moduleID, bool enabled, const QString& displayID);
    void setWidgetOption(const QString& moduleID, const QString& option, const QString& value);
    void rememberDisplays(const std::vector<DisplaySnapshot>& displays);
    [[nodiscard]] QMap<QString, ModuleConfiguration> moduleConfigurations() const;

signals:
    // Emitted after a change has been persisted, with the new value.
    void settingsChanged(const tessary::TessarySettings& settings);
    // The login item could not be changed; the setting stays as the user set it.
    void loginItemFailed(bool requested);

private:
    QSettings& m_defaults;
    LoginItemApplier m_applyLaunchAtLogin;
    TessarySettings m_settings;
};

} // namespace tessary
