#include "app/UsageWidgets.h"

#include "core/localization/Localization.h"
#include "core/settings/SettingsStore.h"
#include "modulekit/ModuleEventBus.h"
#include "modules/usage/UsageMeterModule.h"
#include "modules/usage/UsageSessionRows.h"
#include "services/sessions/ClaudeSessionMonitor.h"

namespace tessary {

using namespace Qt::StringLiterals;

UsageWidgets::UsageWidgets(Environment environment, const std::function<void()>& onUpdate)
    : m_clock(environment.clock)
    , m_settings(environment.settings)
    , m_events(environment.events)
    , m_tokens(environment.tokens) {
    m_provider = std::make_unique<ClaudeOAuthUsageProvider>(
        m_tokens, m_clock, environment.endpoint.value_or(ClaudeOAuthUsageProvider::Configuration{}));
    const MonitorServices services{environment.scheduler, m_runner, nullptr};
    m_usageMonitor = ClaudeUsage::monitor(*m_provider, m_usageStore, services, onUpdate);
    m_sessionMonitor =
        ClaudeSessionMonitoring::monitor(ClaudeSessionMonitoring::source(environment.homeDirectory, m_clock),
                                         m_sessionStore, services, onUpdate);
    followLanguage();
}

UsageWidgets::~UsageWidgets() {
    stopUsage();
    stopSessions();
}

void UsageWidgets::registerModules(ModuleEventBus& bus, UsageMeterSessions::Jump jump) {
    const QString moduleID = QLatin1StringView(UsageMeterModule::moduleID);
    bus.registerModule(std::make_shared<UsageMeterModule>(UsageMeterServices{
        m_usageStore, m_clock,
        UsageSessionRows::sessions(m_sessionStore, m_events, QLatin1StringView(AgentEventStore::defaultAgent),
                                   moduleID, u"claude/"_s, std::move(jump))}));
}

void UsageWidgets::followLanguage() {
    // Failure texts are worded on the worker thread, in the language of the settings.
    const auto apply = [this](const TessarySettings& settings) {
        m_provider->setLanguage(Localization::forSetting(settings.language).language());
    };
    apply(m_settings.settings());
    QObject::connect(&m_settings, &SettingsStore::settingsChanged, &m_context, apply);
}

void UsageWidgets::startUsage() {
    if (m_usageMonitor->isRunning()) {
        return;
    }
    // The settings may have been read again since construction (the migration of a former install).
    m_provider->setLanguage(Localization::forSetting(m_settings.settings().language).language());
    m_usageMonitor->start();
}

void UsageWidgets::startSessions() {
    if (!m_sessionMonitor->isRunning()) {
        m_sessionMonitor->start();
    }
}

void UsageWidgets::stopUsage() {
    m_usageMonitor->stop();
}

void UsageWidgets::stopSessions() {
    m_sessionMonitor->stop();
}

} // namespace tessary
