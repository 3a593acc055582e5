#pragma once

#include "app/settings/SettingsSection.h"
#include "core/localization/Localization.h"
#include "core/settings/PreferencesMigration.h"
#include "core/settings/SettingsStore.h"
#include "core/settings/SurfacePositionStore.h"
#include "modulekit/ModuleEventBus.h"
#include "platform/procfs/ProcFileSystem.h"
#include "services/github/GitHubCLIProvider.h"
#include "services/workspace/AppModel.h"
#include "services/workspace/Surface.h"

#include <QObject>
#include <QSettings>

#include <functional>
#include <memory>
#include <optional>

class QSystemTrayIcon;

namespace tessary {

class AgentEventStore;
class AgentProcessReading;
class AgentProcessScanning;
class ClaudeTokenSource;
class AppDelegate;
class Clock;
class Diagnostics;
class HookListener;
class LogViewerController;
class LoginItem;
class Scheduler;
class OnboardingWindow;
class SettingsWindow;
class StatusMenu;
class SystemWidgets;
class UsageWidgets;
class GitHubWidgets;
class ProcessRunner;
class SystemEventSource;
class WorkspaceCoordinator;
class WorkspaceSnapshotReader;

// The seams the program runs on; main hands in the real ones, tests their own.
struct AppEnvironment {
    QSettings* defaults = nullptr;
    LoginItem* loginItem = nullptr;
    Clock* clock = nullptr;
    Scheduler* scheduler = nullptr;
    WorkspaceSnapshotReader* workspaceReader = nullptr;
    // Claude Code's OAuth token, for the usage widget.
    ClaudeTokenSource* claudeTokens = nullptr;
    SystemEventSource* systemEvents = nullptr;
    SurfaceFactory makeSurface;
    PreferencesMigration::FormerSuiteOpener openFormerSuite = PreferencesMigration::openFormerSuite;
    bool showsTrayIcon = true;
    // Where the hook files live (~/.tessary); empty means the user's home, tests give a folder of their own.
    QString homeDirectory;
    // Local servers, CPU and memory; off in tests that drive the loop alone.
    bool runsSystemWidgets = true;
    // Tells headless sessions and running commands to the hook listener; none in tests that don't ask.
    const AgentProcessReading* agentProcesses = nullptr;
    // Finds the running agents by name (Antigravity's live conversations); none in tests.
    const AgentProcessScanning* agentProcessScanning = nullptr;
    // Brings the terminal or window of an agent's process forward; session rows do nothing without it.
    std::function<void(qint32 pid)> focusAgentProcess;
    // Runs child processes: gh for the GitHub widget's token, codex, agy and orca for the agents'
    // widgets; without it only Claude's widget is shown.
    const ProcessRunner* processes = nullptr;
    // Where the GitHub widget reads; no GitHub widget without it (tests that don't ask for one).
    std::optional<GitHubCLIProvider::Configuration> gitHub;
    // Builds the permission card and its answers' wiring at launch; without it no card shows.
    std::function<std::unique_ptr<QObject>(AppDelegate&)> makePermissionCard;
};

// Owns every long-lived object, starts them in a fixed order and stops them in another.
class AppDelegate final : public QObject {
    Q_OBJECT
public:
    explicit AppDelegate(AppEnvironment environment, QObject* parent = nullptr);
    ~AppDelegate() override;
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;
    AppDelegate(AppDelegate&&) = delete;
    AppDelegate& operator=(AppDelegate&&) = delete;

    void applicationDidFinishLaunching();
    void applicationWillTerminate();
    void openSettings(SettingsSection section);

    [[nodiscard]] AppModel& model() { return m_model; }
    [[nodiscard]] SettingsStore& settingsStore() { return m_settingsStore; }
    [[nodiscard]] ModuleEventBus& bus() { return m_bus; }
    [[nodiscard]] WorkspaceCoordinator& workspaceCoordinator() { return *m_workspaceCoordinator; }
    [[nodiscard]] HookListener& hookListener() { return *m_hookListener; }
    [[nodiscard]] AgentEventStore& liveAgents() { return *m_liveAgents; }
    [[nodiscard]] const Localization& localization() const { return m_localization; }
    [[nodiscard]] StatusMenu* statusMenu() const { return m_statusMenu.get(); }
    // Made on the first openSettings.
    [[nodiscard]] SettingsWindow* settingsWindow() const { return m_settingsWindow.get(); }
    [[nodiscard]] LogViewerController* logViewer() const { return m_logViewer.get(); }
    [[nodiscard]] Diagnostics* diagnostics() const { return m_diagnostics.get(); }
    // The first-run window while it stands; gone once it was answered.
    [[nodiscard]] OnboardingWindow* onboardingWindow() const { return m_onboarding.get(); }
    [[nodiscard]] const UsageWidgets& usageWidgets() const { return *m_usageWidgets; }
    [[nodiscard]] bool isRunning() const { return m_running; }

signals:
    // Emitted for every settings change after the system has reacted to it.
    void settingsApplied();
    void settingsRequested(tessary::SettingsSection section);

private:
    void observeSettings();
    // Shows the first-run window, or connects the agents whose hooks the user has not declined.
    void runOnboardingGate();
    // The monitors that read credentials and the network: only once onboarding is past.
    void startOnlineMonitors();
    void applySettings(const TessarySettings& settings);

    AppEnvironment m_environment;
    AppModel m_model;
    SettingsStore m_settingsStore;
    ModuleEventBus m_bus;
    SurfacePositionStore m_positionStore;
    std::unique_ptr<AgentEventStore> m_liveAgents;
    // Which process a session's agent runs under, to tell whether its terminal is in front.
    ProcFileSystem m_proc;
    std::unique_ptr<HookListener> m_hookListener;
    std::unique_ptr<WorkspaceCoordinator> m_workspaceCoordinator;
    std::unique_ptr<SystemWidgets> m_systemWidgets;
    std::unique_ptr<UsageWidgets> m_usageWidgets;
    std::unique_ptr<GitHubWidgets> m_gitHubWidgets;
    std::unique_ptr<OnboardingWindow> m_onboarding;
    Localization m_localization;
    bool m_verboseLogging = false;
    bool m_running = false;
    std::unique_ptr<StatusMenu> m_statusMenu;
    std::unique_ptr<SettingsWindow> m_settingsWindow;
    std::unique_ptr<LogViewerController> m_logViewer;
    std::unique_ptr<Diagnostics> m_diagnostics;
    std::unique_ptr<QSystemTrayIcon> m_trayIcon;
    // Last, so that it goes first: it holds on to the listener and the loop.
    std::unique_ptr<QObject> m_permissionCard;
};

} // namespace tessary
