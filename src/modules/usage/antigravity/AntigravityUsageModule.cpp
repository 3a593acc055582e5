#include "modules/usage/antigravity/AntigravityUsageModule.h"

namespace tessary {

using namespace Qt::StringLiterals;

AntigravityUsageModule::AntigravityUsageModule(UsageMeterServices services, std::function<bool()> isInstalled)
    : m_services(std::move(services))
    , m_isInstalled(std::move(isInstalled)) {}

std::vector<ModuleSetting> AntigravityUsageModule::settings() const {
    // Every limit is a model family's week, so the family in use is the only choice beside the
    // automatic one.
    return {
        {QLatin1StringView(UsageMeterModule::primaryLimitKey),
         u"Main reading"_s,
         u"The limit shown on the compact bubble. The other stays visible on hover."_s,
         {{u"auto"_s, u"Automatic (the most critical)"_s}, {u"model"_s, u"Weekly for the model in use"_s}},
         QLatin1StringView(UsageStore::automaticChoice)}};
}

std::optional<ModuleSnapshot> AntigravityUsageModule::handle(HostEvent event, const ModuleContext& context) {
    Q_UNUSED(event);
    const Localization& localization = context.localization;
    ModuleSnapshot snapshot = UsageMeterModule::snapshot(id(), localization.text(u"Antigravity plan usage"_s),
                                                         u"Antigravity"_s, m_services, context);
    const UsageStore& store = m_services.store;
    if (store.latestReport() || !store.lastErrorDescription()) {
        return snapshot;
    }
    // Nothing measured and the last reading failed: a short word on the bubble, and where the tool
    // is missing, what to do about it.
    snapshot.variants.compact.value = localization.text(u"usage unavailable"_s);
    if (m_isInstalled && !m_isInstalled()) {
        const QString invitation =
            localization.text(u"install the Antigravity CLI (agy) and sign in to read the quota"_s);
        if (snapshot.variants.card) {
            snapshot.variants.card->subtitle = invitation;
        }
        if (snapshot.variants.detail && !snapshot.variants.detail->sections.empty()) {
            snapshot.variants.detail->sections.front().subtitle = invitation;
        }
    }
    return snapshot;
}

QFuture<void> AntigravityUsageModule::perform(const DetailCommand& command) {
    return UsageMeterModule::jump(m_services.sessions, command);
}

} // namespace tessary
