#pragma once

#include "modules/agents/changes/AgentChangeStore.h"
#include "modules/sessions/SessionStore.h"
#include "modules/usage/UsageMeterModule.h"
#include "modules/usage/UsageStore.h"
#include "platform/credentials/ClaudeTokenSource.h"
#include "services/monitoring/ProviderRunner.h"
#include "services/sessions/ClaudeAgentListMonitor.h"
#include "services/sessions/OrcaCLI.h"
#include "services/sessions/SessionMonitors.h"
#include "services/usage/AntigravityUsageProvider.h"
#include "services/usage/ClaudeOAuthUsageProvider.h"
#include "services/usage/ClaudeUsageMonitor.h"
#include "services/usage/CodexUsageProvider.h"

#include <QObject>

#include <functional>
#include <memory>

namespace tessary {

class AgentEventStore;
class AgentProcessScanning;
class Clock;
class ModuleEventBus;
class Scheduler;
class SettingsStore;

// The agents' usage widgets with what stands behind them: Claude Code's token and the usage
// endpoint's client; Codex's app-server and session files; Antigravity's agy tool and summary
// database; Orca's terminals, which host Claude and Codex sessions. Each agent has a usage store
// and monitor and a session store and monitor. The usage monitors touch credentials, tools and the
// network, so they start only once onboarding is past; the session monitors start with the hook
// listener. Codex, Antigravity and Orca need a process runner; without one only Claude is shown.
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
        // Runs codex, agy and orca; without it there are no Codex and Antigravity widgets.
        const ProcessRunner* processes = nullptr;
        // Tells which conversations of Antigravity still have a running agy.
        const AgentProcessScanning* agentProcesses = nullptr;
    };

    UsageWidgets(Environment environment, const std::function<void()>& onUpdate);
    ~UsageWidgets();
    UsageWidgets(const UsageWidgets&) = delete;
    UsageWidgets& operator=(const UsageWidgets&) = delete;
    UsageWidgets(UsageWidgets&&) = delete;
    UsageWidgets& operator=(UsageWidgets&&) = delete;

    // Registers the Claude usage widget, which goes before every other, then Codex's and Antigravity's.
    // `jump` brings a session row's terminal forward; without it a click does nothing.
    void registerModules(ModuleEventBus& bus, UsageMeterSessions::Jump jump = {});
    // Both may be called more than once; a running monitor is left alone.
    void startUsage();
    void startSessions();
    void stopUsage();
    void stopSessions();

    [[nodiscard]] UsageStore& usageStore() { return m_usageStore; }
    [[nodiscard]] SessionStore& sessionStore() { return m_sessionStore; }
    // The session of that id in any agent's list.
    [[nodiscard]] std::optional<AgentSession> findSession(const QString& sessionID) const;
    // Claude's plan limits from its status line, when they are newer than the usage on show.
    void noteStatusLines();
    [[nodiscard]] const PolledMonitor& usageMonitor() const { return *m_monitors.claudeUsage; }
    [[nodiscard]] const AgentChangeStore& agentChanges() const { return m_agentChanges; }

    // Each good reading of Claude Code's agent list, after the live store has it: the hook listener
    // releases the requests the list shows answered in the terminal.
    std::function<void(const ClaudeAgentList& list, const QDateTime& at)> onAgentList;
    // Whether the user looks at a session now; its changes then raise no notice.
    std::function<bool(const QString& sessionID)> isSessionInFront;

private:
    // Codex's and Antigravity's widgets, built only with a process runner.
    struct OtherAgents {
        OtherAgents(const ProcessRunner& processes, const Clock& clock, const QString& home)
            : orca(processes)
            , codex(processes, clock)
            , antigravity(processes, clock, AntigravityUsageProvider::defaultConfiguration(home))
            , agentList(processes, ClaudeAgentListProvider::defaultCandidates(home),
                        ClaudeAgentListProvider::defaultJobsDirectory(home)) {}
        OrcaCLI orca;
        CodexUsageProvider codex;
        AntigravityUsageProvider antigravity;
        ClaudeAgentListProvider agentList;
        UsageStore codexUsage;
        UsageStore antigravityUsage;
        SessionStore codexSessions;
        SessionStore antigravitySessions;
    };
    struct Monitors {
        std::unique_ptr<PolledMonitor> claudeUsage;
        std::unique_ptr<PolledMonitor> codexUsage;
        std::unique_ptr<PolledMonitor> antigravityUsage;
        std::unique_ptr<PolledMonitor> claudeSessions;
        std::unique_ptr<PolledMonitor> codexSessions;
        std::unique_ptr<PolledMonitor> antigravitySessions;
        std::unique_ptr<ClaudeAgentListMonitor> claudeAgentList;
    };

    void followLanguage();
    void applyLanguage(AppLanguage language);
    [[nodiscard]] std::vector<PolledMonitor*> usageMonitors() const;
    [[nodiscard]] std::vector<PolledMonitor*> sessionMonitors() const;

    const Clock& m_clock;
    SettingsStore& m_settings;
    AgentEventStore& m_events;
    ClaudeTokenSource& m_tokens;
    UsageStore m_usageStore;
    SessionStore m_sessionStore;
    AgentChangeStore m_agentChanges;
    std::unique_ptr<ClaudeOAuthUsageProvider> m_provider;
    std::unique_ptr<OtherAgents> m_others;
    // Declared after what its work reads, so that its threads are done before those go.
    ProviderRunner m_runner;
    Monitors m_monitors;
    QObject m_context;
};

} // namespace tessary
