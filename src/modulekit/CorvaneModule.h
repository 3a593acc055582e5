#pragma once

// The contract between a widget and the host. A module is told about host events and answers
// with a snapshot; it never touches a window, and the bus is the only thing that calls it.

#include "core/localization/Localization.h"
#include "core/records/SurfaceRecords.h"
#include "core/records/WorkspaceSnapshot.h"
#include "core/settings/ModuleConfiguration.h"
#include "modulekit/ModuleSnapshot.h"

#include <QFuture>
#include <QString>

#include <optional>
#include <vector>

namespace tessary {

struct ModuleSettingOption {
    QString id;
    QString title;
    bool operator==(const ModuleSettingOption&) const = default;
};

// One user-visible choice, always a pick from a list.
struct ModuleSetting {
    QString id;
    QString title;
    std::optional<QString> explanation;
    std::vector<ModuleSettingOption> options;
    QString defaultOptionID;
    bool operator==(const ModuleSetting&) const = default;
};

// The choice of a widget whose change facts show as a dot: "on" or "off", on at first.
inline constexpr auto highlightChangesKey = "highlight-changes";
inline ModuleSetting highlightChangesSetting() {
    return {QLatin1StringView(highlightChangesKey),
            QStringLiteral("Highlight changes"),
            QStringLiteral("A dot on the widget when something changed since you last looked."),
            {{QStringLiteral("on"), QStringLiteral("On")}, {QStringLiteral("off"), QStringLiteral("Off")}},
            QStringLiteral("on")};
}
inline bool highlightsChanges(const ModuleConfiguration& configuration) {
    return configuration.value(QLatin1StringView(highlightChangesKey), QStringLiteral("on")) !=
           QLatin1StringView("off");
}

enum class HostEvent {
    hostStarted,
    frontmostApplicationChanged,
    activeWindowChanged,
    displayChanged,
    layoutChanged,
    moduleDataChanged,
    refreshRequested,
};
template <>
struct EnumTable<HostEvent> {
    static constexpr std::array<std::pair<HostEvent, const char*>, 7> cases{{
        {HostEvent::hostStarted, "hostStarted"},
        {HostEvent::frontmostApplicationChanged, "frontmostApplicationChanged"},
        {HostEvent::activeWindowChanged, "activeWindowChanged"},
        {HostEvent::displayChanged, "displayChanged"},
        {HostEvent::layoutChanged, "layoutChanged"},
        {HostEvent::moduleDataChanged, "moduleDataChanged"},
        {HostEvent::refreshRequested, "refreshRequested"},
    }};
};

// What a module gets with each event. The localization lets it word its texts in the user's language.
struct ModuleContext {
    WorkspaceSnapshot workspace;
    std::optional<SurfacePlacement> placement;
    ModuleConfiguration configuration;
    Localization localization;
    bool operator==(const ModuleContext&) const = default;
};

class CorvaneModule {
public:
    CorvaneModule() = default;
    CorvaneModule(const CorvaneModule&) = delete;
    CorvaneModule& operator=(const CorvaneModule&) = delete;
    CorvaneModule(CorvaneModule&&) = delete;
    CorvaneModule& operator=(CorvaneModule&&) = delete;
    virtual ~CorvaneModule() = default;

    [[nodiscard]] virtual QString id() const = 0;
    [[nodiscard]] virtual QString displayName() const = 0;
    [[nodiscard]] virtual QString summary() const = 0;
    [[nodiscard]] virtual std::vector<ModuleSetting> settings() const { return {}; }
    [[nodiscard]] virtual ModuleGroup group() const { return ModuleGroup::none; }

    // Synchronous on the main thread: reads the stores' last values and returns, never blocks.
    // Nothing means "no change": the last snapshot stays until it expires.
    virtual std::optional<ModuleSnapshot> handle(HostEvent event, const ModuleContext& context) = 0;

    // Carries out a user's command from a detail panel; failures show in a later snapshot.
    virtual QFuture<void> perform(const DetailCommand& command) {
        Q_UNUSED(command);
        return QtFuture::makeReadyFuture();
    }
};

} // namespace tessary
