#pragma once

#include "core/time/Clock.h"
#include "modulekit/CorvaneModule.h"
#include "modules/usage/UsageStore.h"

#include <functional>
#include <vector>

namespace tessary {

// What the agent's sessions add to the usage widget: rows in its detail panel, a word on its
// surface, and the state they ask for. Empty functions add nothing.
struct UsageMeterSessions {
    struct Reading {
        // Detail sections after the usage section.
        std::vector<DetailSection> sections;
        // A short line for the card, such as "2 working · 1 needs you".
        std::optional<QString> summary;
        // A session waiting on the user, say; the widget takes the more urgent of this and its
        // usage state.
        std::optional<ModuleState> state;
        // Notices of what changed about the sessions, beside the usage notices.
        std::optional<ChangeSignal> signal;
        bool operator==(const Reading&) const = default;
    };
    using Read = std::function<Reading(const QDateTime& now, const Localization& localization)>;
    // Brings the session's terminal or window forward.
    using Jump = std::function<QFuture<void>(const QString& sessionID)>;

    Read read;
    Jump jump;
};

struct UsageMeterServices {
    UsageStore& store;
    const Clock& clock;
    UsageMeterSessions sessions;
};

// The "Claude usage" widget: the plan limits of Claude Code, with notices as they fill, and the
// sessions of the agent in its detail panel.
class UsageMeterModule final : public CorvaneModule {
public:
    static constexpr auto moduleID = "tessary.usage-meter";
    static constexpr auto primaryLimitKey = "primary-limit";

    explicit UsageMeterModule(UsageMeterServices services);

    [[nodiscard]] QString id() const override { return QLatin1StringView(moduleID); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("Claude usage"); }
    [[nodiscard]] QString summary() const override {
        return QStringLiteral("Plan limits: 5-hour window, weekly, and per model.");
    }
    [[nodiscard]] std::vector<ModuleSetting> settings() const override;
    [[nodiscard]] ModuleGroup group() const override { return ModuleGroup::agents; }

    std::optional<ModuleSnapshot> handle(HostEvent event, const ModuleContext& context) override;
    // A session row's click jumps to the session; other commands are not this module's.
    QFuture<void> perform(const DetailCommand& command) override;

    // What every agent's usage widget shares with this one: the "primary-limit" setting, the
    // snapshot of the store's report beside the agent's sessions, and the jump of a session row.
    // `title` is the widget's translated name, `compactTitle` the agent's short name.
    [[nodiscard]] static std::vector<ModuleSetting> primaryLimitSettings();
    [[nodiscard]] static ModuleSnapshot snapshot(const QString& moduleID, const QString& title,
                                                 const QString& compactTitle,
                                                 const UsageMeterServices& services,
                                                 const ModuleContext& context);
    static QFuture<void> jump(const UsageMeterSessions& sessions, const DetailCommand& command);

private:
    UsageMeterServices m_services;
};

} // namespace tessary
