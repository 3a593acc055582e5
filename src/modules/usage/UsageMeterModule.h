#pragma once

#include "core/time/Clock.h"
#include "modulekit/CorvaneModule.h"
#include "modules/usage/UsageStore.h"

#include <functional>
#include <vector>

namespace tessary {

// What the agent's sessions add to the usage widget: rows in its detail panel and a word on its
// surface. Empty functions add nothing.
struct UsageMeterSessions {
    // Detail sections after the usage section, built for `now` in the given language.
    std::function<std::vector<DetailSection>(const QDateTime& now, const Localization& localization)>
        sections;
    // A short line for the card, such as "2 sessions · 1 waiting"; nothing when there is none.
    std::function<std::optional<QString>(const QDateTime& now, const Localization& localization)> summary;
    // The state the sessions ask for (a session waiting on the user, say); the widget takes the more
    // urgent of this and its usage state.
    std::function<std::optional<ModuleState>(const QDateTime& now)> state;
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

private:
    UsageMeterServices m_services;
};

} // namespace tessary
