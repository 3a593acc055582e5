#include "app/GitHubWidgets.h"

#include "core/settings/SettingsStore.h"
#include "modulekit/ModuleEventBus.h"
#include "modules/github/widget/GitHubModule.h"

namespace tessary {

GitHubWidgets::GitHubWidgets(Environment environment, const std::function<void()>& onUpdate)
    : m_clock(environment.clock)
    , m_settings(environment.settings) {
    m_provider = std::make_unique<GitHubCLIProvider>(environment.processes, m_clock, m_pool,
                                                     std::move(environment.configuration));
    m_monitor = GitHub::monitor(*m_provider, m_store, m_clock,
                                MonitorServices{environment.scheduler, m_runner, nullptr}, onUpdate);
    applyLanguage();
    // Failure texts are worded on the worker thread, in the language of the settings.
    QObject::connect(&m_settings, &SettingsStore::settingsChanged, &m_context, [this] { applyLanguage(); });
}

GitHubWidgets::~GitHubWidgets() {
    stop();
    m_pool.waitForDone();
}

void GitHubWidgets::registerModules(ModuleEventBus& bus) {
    bus.registerModule(std::make_shared<GitHubModule>(m_store, m_clock, m_provider.get()));
}

void GitHubWidgets::applyLanguage() {
    m_provider->setLanguage(Localization::forSetting(m_settings.settings().language).language());
}

void GitHubWidgets::start() {
    if (m_monitor->isRunning()) {
        return;
    }
    // The settings may have been read again since construction (the migration of a former install).
    applyLanguage();
    m_monitor->start();
}

void GitHubWidgets::stop() {
    m_monitor->stop();
}

} // namespace tessary
