#pragma once

#include "modules/usage/UsageMeterModule.h"

#include <functional>

namespace tessary {

// The "Antigravity usage" widget: the weekly quota of each model family, read from the agy tool,
// with notices as they fill, and Antigravity's sessions in its detail panel.
class AntigravityUsageModule final : public CorvaneModule {
public:
    static constexpr auto moduleID = "tessary.antigravity-usage";

    // `isInstalled` tells whether the agy tool is on this machine; without it the widget invites
    // the user to install it.
    AntigravityUsageModule(UsageMeterServices services, std::function<bool()> isInstalled);

    [[nodiscard]] QString id() const override { return QLatin1StringView(moduleID); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("Antigravity usage"); }
    [[nodiscard]] QString summary() const override {
        return QStringLiteral("Weekly quota for each model family, read from the agy CLI.");
    }
    [[nodiscard]] std::vector<ModuleSetting> settings() const override;
    [[nodiscard]] ModuleGroup group() const override { return ModuleGroup::agents; }

    std::optional<ModuleSnapshot> handle(HostEvent event, const ModuleContext& context) override;
    QFuture<void> perform(const DetailCommand& command) override;

private:
    UsageMeterServices m_services;
    std::function<bool()> m_isInstalled;
};

} // namespace tessary
