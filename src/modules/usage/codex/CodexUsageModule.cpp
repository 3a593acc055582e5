#include "modules/usage/codex/CodexUsageModule.h"

namespace tessary {

using namespace Qt::StringLiterals;

CodexUsageModule::CodexUsageModule(UsageMeterServices services)
    : m_services(std::move(services)) {}

std::vector<ModuleSetting> CodexUsageModule::settings() const {
    return UsageMeterModule::primaryLimitSettings();
}

std::optional<ModuleSnapshot> CodexUsageModule::handle(HostEvent event, const ModuleContext& context) {
    Q_UNUSED(event);
    return UsageMeterModule::snapshot(id(), context.localization.text(u"Codex usage"_s), u"Codex"_s,
                                      m_services, context);
}

QFuture<void> CodexUsageModule::perform(const DetailCommand& command) {
    return UsageMeterModule::jump(m_services.sessions, command);
}

} // namespace tessary
