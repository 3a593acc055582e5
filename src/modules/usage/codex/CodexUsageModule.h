#pragma once

#include "modules/usage/UsageMeterModule.h"

namespace tessary {

// The "Codex usage" widget: Codex's plan limits with notices as they fill, and Codex's sessions
// in its detail panel; the twin of the Claude usage widget, with the same setting.
class CodexUsageModule final : public CorvaneModule {
public:
    static constexpr auto moduleID = "tessary.codex-usage";

    explicit CodexUsageModule(UsageMeterServices services);

    [[nodiscard]] QString id() const override { return QLatin1StringView(moduleID); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("Codex usage"); }
    [[nodiscard]] QString summary() const override { return QStringLiteral("Codex plan usage"); }
    [[nodiscard]] std::vector<ModuleSetting> settings() const override;
    [[nodiscard]] ModuleGroup group() const override { return ModuleGroup::agents; }

    std::optional<ModuleSnapshot> handle(HostEvent event, const ModuleContext& context) override;
    QFuture<void> perform(const DetailCommand& command) override;

private:
    UsageMeterServices m_services;
};

} // namespace tessary
