#pragma once

#include "modules/github/widget/GitHubStore.h"
#include "services/github/GitHubCLIProvider.h"
#include "services/github/GitHubMonitor.h"
#include "services/monitoring/ProviderRunner.h"

#include <QObject>
#include <QThreadPool>

#include <functional>
#include <memory>

namespace tessary {

class Clock;
class ModuleEventBus;
class ProcessRunner;
class Scheduler;
class SettingsStore;

// The GitHub widget with what stands behind it: gh's token through the process runner, the API's
// client, the store and the monitor. The monitor runs gh and reaches the network, so it starts
// only once onboarding is past, as the usage monitor does.
class GitHubWidgets {
public:
    struct Environment {
        const Clock& clock;
        Scheduler& scheduler;
        SettingsStore& settings;
        const ProcessRunner& processes;
        GitHubCLIProvider::Configuration configuration;
    };

    GitHubWidgets(Environment environment, const std::function<void()>& onUpdate);
    ~GitHubWidgets();
    GitHubWidgets(const GitHubWidgets&) = delete;
    GitHubWidgets& operator=(const GitHubWidgets&) = delete;
    GitHubWidgets(GitHubWidgets&&) = delete;
    GitHubWidgets& operator=(GitHubWidgets&&) = delete;

    void registerModules(ModuleEventBus& bus);
    // May be called more than once; a running monitor is left alone.
    void start();
    void stop();

    [[nodiscard]] GitHubStore& store() { return m_store; }

private:
    void applyLanguage();

    const Clock& m_clock;
    SettingsStore& m_settings;
    GitHubStore m_store;
    // Runs the merges and on-demand reads of the detail panel.
    QThreadPool m_pool;
    std::unique_ptr<GitHubCLIProvider> m_provider;
    // Declared after what its work reads, so that its threads are done before those go.
    ProviderRunner m_runner;
    std::unique_ptr<GitHubMonitor<GitHubStore>> m_monitor;
    QObject m_context;
};

} // namespace tessary
