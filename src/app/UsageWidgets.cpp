#include "app/UsageWidgets.h"

#include "core/localization/Localization.h"
#include "core/settings/SettingsStore.h"
#include "modulekit/ModuleEventBus.h"
#include "modules/usage/ClaudeStatusLineUse.h"
#include "modules/usage/UsageMeterModule.h"
#include "modules/usage/UsageSessionRows.h"
#include "modules/usage/antigravity/AntigravityUsageModule.h"
#include "modules/usage/codex/CodexUsageModule.h"
#include "services/sessions/AntigravitySessionMonitor.h"
#include "services/sessions/ClaudeSessionMonitor.h"
#include "services/sessions/CodexSessionMonitor.h"

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
    const QString& home = environment.homeDirectory;
    m_monitors.claudeUsage = ClaudeUsage::monitor(*m_provider, m_usageStore, services, onUpdate);
    QList<std::shared_ptr<const SessionProvider>> claudeHosts;
    if (environment.processes != nullptr) {
        m_others = std::make_unique<OtherAgents>(*environment.processes, m_clock, home);
        claudeHosts.append(orcaSessions(OrcaSessionProvider::Agent::claude, m_others->orca));
        m_monitors.codexUsage =
            CodexUsage::monitor(m_others->codex, m_others->codexUsage, services, onUpdate);
        m_monitors.antigravityUsage =
            AntigravityUsage::monitor(m_others->antigravity, m_others->antigravityUsage, services, onUpdate);
        m_monitors.codexSessions = CodexSessionMonitoring::monitor(
            CodexSessionMonitoring::source(home,
                                           {orcaSessions(OrcaSessionProvider::Agent::codex, m_others->orca)}),
            m_others->codexSessions, services, onUpdate);
        // The scanner belongs to the program and outlives the widgets: the source only borrows it.
        const std::shared_ptr<const AgentProcessScanning> processes(std::shared_ptr<void>(),
                                                                    environment.agentProcesses);
        m_monitors.antigravitySessions =
            AntigravitySessionMonitoring::monitor(AntigravitySessionMonitoring::source(home, processes),
                                                  m_others->antigravitySessions, services, onUpdate);
        // A failed reading switches the list's states off; the hooks then stand alone.
        m_monitors.claudeAgentList = std::make_unique<ClaudeAgentListMonitor>(
            m_others->agentList, m_runner, m_clock, environment.scheduler,
            ClaudeAgentListMonitor::watchedFolders(home),
            [this, onUpdate](const std::optional<ClaudeAgentList>& list, const QDateTime& at) {
                const bool changed = m_events.noteAgentList(
                    list ? std::optional(ClaudeAgentList::Reading{*list, at}) : std::nullopt, at);
                if (list && onAgentList) {
                    onAgentList(*list, at);
                }
                if (changed) {
                    onUpdate();
                }
            });
    }
    m_monitors.claudeSessions =
        ClaudeSessionMonitoring::monitor(ClaudeSessionMonitoring::source(home, m_clock, nullptr, claudeHosts),
                                         m_sessionStore, services, onUpdate);
    followLanguage();
}

UsageWidgets::~UsageWidgets() {
    stopUsage();
    stopSessions();
}

void UsageWidgets::registerModules(ModuleEventBus& bus, UsageMeterSessions::Jump jump) {
    const auto sessions = [this, &jump](SessionStore& store, const char* agent, const char* moduleID,
                                        const QString& prefix) {
        return UsageSessionRows::sessions(store, m_events, QLatin1StringView(agent),
                                          QLatin1StringView(moduleID), prefix, jump);
    };
    bus.registerModule(std::make_shared<UsageMeterModule>(UsageMeterServices{
        m_usageStore, m_clock,
        UsageSessionRows::sessions(
            m_sessionStore, m_events, QLatin1StringView(AgentEventStore::defaultAgent),
            QLatin1StringView(UsageMeterModule::moduleID), u"claude/"_s, jump,
            UsageSessionRows::AgentListExtras{&m_agentChanges, [this](const QString& id) {
                                                  return isSessionInFront && isSessionInFront(id);
                                              }})}));
    if (!m_others) {
        return;
    }
    bus.registerModule(std::make_shared<CodexUsageModule>(UsageMeterServices{
        m_others->codexUsage, m_clock,
        sessions(m_others->codexSessions, "codex", CodexUsageModule::moduleID, u"codex/"_s)}));
    const AntigravityUsageProvider& antigravity = m_others->antigravity;
    bus.registerModule(std::make_shared<AntigravityUsageModule>(
        UsageMeterServices{m_others->antigravityUsage, m_clock,
                           sessions(m_others->antigravitySessions, "agy", AntigravityUsageModule::moduleID,
                                    u"antigravity/"_s)},
        [&antigravity] { return antigravity.isInstalled(); }));
}

void UsageWidgets::noteStatusLines() {
    if (auto report =
            ClaudeStatusLineUse::report(m_usageStore.latestReport(), m_events.statusLines().sessions())) {
        m_usageStore.update(std::move(*report));
    }
}

std::optional<AgentSession> UsageWidgets::findSession(const QString& sessionID) const {
    std::vector<const SessionStore*> stores{&m_sessionStore};
    if (m_others) {
        stores.push_back(&m_others->codexSessions);
        stores.push_back(&m_others->antigravitySessions);
    }
    for (const SessionStore* store : stores) {
        for (const AgentSession& session : store->sessions()) {
            if (session.id == sessionID) {
                return session;
            }
        }
    }
    return std::nullopt;
}

void UsageWidgets::applyLanguage(AppLanguage language) {
    m_provider->setLanguage(language);
    if (m_others) {
        m_others->codex.setLanguage(language);
        m_others->antigravity.setLanguage(language);
    }
}

void UsageWidgets::followLanguage() {
    // Failure texts are worded on the worker thread, in the language of the settings.
    const auto apply = [this](const TessarySettings& settings) {
        applyLanguage(Localization::forSetting(settings.language).language());
    };
    apply(m_settings.settings());
    QObject::connect(&m_settings, &SettingsStore::settingsChanged, &m_context, apply);
}

std::vector<PolledMonitor*> UsageWidgets::usageMonitors() const {
    std::vector<PolledMonitor*> monitors;
    for (PolledMonitor* monitor :
         {m_monitors.claudeUsage.get(), m_monitors.codexUsage.get(), m_monitors.antigravityUsage.get()}) {
        if (monitor != nullptr) {
            monitors.push_back(monitor);
        }
    }
    return monitors;
}

std::vector<PolledMonitor*> UsageWidgets::sessionMonitors() const {
    std::vector<PolledMonitor*> monitors;
    for (PolledMonitor* monitor : {m_monitors.claudeSessions.get(), m_monitors.codexSessions.get(),
                                   m_monitors.antigravitySessions.get()}) {
        if (monitor != nullptr) {
            monitors.push_back(monitor);
        }
    }
    return monitors;
}

void UsageWidgets::startUsage() {
    // The settings may have been read again since construction (the migration of a former install).
    applyLanguage(Localization::forSetting(m_settings.settings().language).language());
    for (PolledMonitor* monitor : usageMonitors()) {
        if (!monitor->isRunning()) {
            monitor->start();
        }
    }
}

void UsageWidgets::startSessions() {
    for (PolledMonitor* monitor : sessionMonitors()) {
        if (!monitor->isRunning()) {
            monitor->start();
        }
    }
    if (m_monitors.claudeAgentList) {
        m_monitors.claudeAgentList->start();
    }
}

void UsageWidgets::stopUsage() {
    for (PolledMonitor* monitor : usageMonitors()) {
        monitor->stop();
    }
}

void UsageWidgets::stopSessions() {
    for (PolledMonitor* monitor : sessionMonitors()) {
        monitor->stop();
    }
    if (m_monitors.claudeAgentList) {
        m_monitors.claudeAgentList->stop();
    }
}

} // namespace tessary
