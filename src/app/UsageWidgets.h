#pragma once

#include "modules/sessions/SessionStore.h"
#include "modules/usage/UsageMeterModule.h"
#include "modules/usage/UsageStore.h"
#include "platform/credentials/ClaudeTokenSource.h"
#include "services/monitoring/ProviderRunner.h"
#include "services/sessions/SessionMonitors.h"
#include "services/usage/ClaudeOAuthUsageProvider.h"
#include "services/usage/ClaudeUsageMonitor.h"

#include <QObject>

#include <functional>
#include <memory>

namespace tessary {

class AgentEventStore;
class Clock;
class ModuleEventBus;
class Scheduler;
class SettingsStore;

// The "Claude usage" widget with what stands behind it: Claude Code's token, the usage endpoint's
// client, its store and monitor, and the Claude sessions the widget carries with their monitor.
// The usage monitor may touch the credentials and the network, so it starts only once onboarding
// is past; the session monitor starts with the hook listener.
class UsageWidgets {
public:
    struct Environment {
        const Clock& clock;
        Scheduler& scheduler;
        SettingsStore& settings;
        AgentEventStore& events;
        QString homeDirectory;
        // Claude Code's token: the program hands in the platform's source, tests their own.
        ClaudeTokenSource& tokens;
        // Tests hand in their own endpoint; the program asks Anthropic's.
        std::optional<ClaudeOAuthUsageProvider::Configuration> endpoint;
    };

    UsageWidgets(Environment environment, const std::function<void()>& onUpdate);
    ~UsageWidgets();
    UsageWidgets(const UsageWidgets&) = delete;
    UsageWidgets& operator=(const UsageWidgets&) = delete;
    UsageWidgets(UsageWidgets&&) = delete;
    UsageWidgets& operator=(UsageWidgets&&) = delete;

    // Registers the Claude usage widget, which goes before every other.
    // `jump` brings a session row's terminal forward; without it a click does nothing.
    void registerModules(ModuleEventBus& bus, UsageMeterSessions::Jump jump = {});
    // Both may be called more than once; a running monitor is left alone.
    void startUsage();
    void startSessions();
    void stopUsage();
    void stopSessions();

    [[nodiscard]] UsageStore& usageStore() { return m_usageStore; }
    [[nodiscard]] SessionStore& sessionStore() { return m_sessionStore; }
    [[nodiscard]] const ClaudeUsageMonitor& usageMonitor() const { return *m_usageMonitor; }

private:
    void followLanguage();

    const Clock& m_clock;
    SettingsStore& m_settings;
    AgentEventStore& m_events;
    ClaudeTokenSource& m_tokens;
    UsageStore m_usageStore;
    SessionStore m_sessionStore;
    std::unique_ptr<ClaudeOAuthUsageProvider> m_provider;
    // Declared after what its work reads, so that its threads are done before those go.
    ProviderRunner m_runner;
    std::unique_ptr<ClaudeUsageMonitor> m_usageMonitor;
    std::unique_ptr<AgentSessionMonitor> m_sessionMonitor;
    QObject m_context;
};

} // namespace tessary
