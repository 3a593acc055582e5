#include "app/AppDelegate.h"

#include "app/Diagnostics.h"
#include "app/GitHubWidgets.h"
#include "app/StatusMenu.h"
#include "app/SystemWidgets.h"
#include "app/TrayIcon.h"
#include "app/UsageWidgets.h"
#include "app/logviewer/LogViewerWindow.h"
#include "app/onboarding/OnboardingWindow.h"
#include "app/settings/SettingsWindow.h"
#include "core/diagnostics/DiagnosticLog.h"
#include "modules/agents/installers/AgentHookInstaller.h"
#include "modules/agents/installers/OnboardingAgents.h"
#include "modules/agents/installers/OnboardingGate.h"
#include "modules/agents/live/AgentEventStore.h"
#include "modules/sessions/AgentSession.h"
#include "platform/loginitem/LoginItem.h"
#include "services/hooks/HookListener.h"
#include "services/workspace/WorkspaceCoordinator.h"
#include "surfaces/card/PermissionCardBinding.h"

#include <QCoreApplication>
#include <QDir>
#include <QFuture>
#include <QPointer>
#include <QSysInfo>
#include <QSystemTrayIcon>
#include <QTimer>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {
// The home folder is decided once: the one given (tests), else the user's.
AppEnvironment withHomeResolved(AppEnvironment environment) {
    if (environment.homeDirectory.isEmpty()) {
        environment.homeDirectory = QDir::homePath();
    }
    return environment;
}
} // namespace

AppDelegate::AppDelegate(AppEnvironment environment, QObject* parent)
    : QObject(parent)
    , m_environment(withHomeResolved(std::move(environment)))
    , m_settingsStore(*m_environment.defaults,
                      [this](bool launches) {
                          return !m_environment.loginItem ||
                                 !m_environment.loginItem->setRegistered(launches).has_value();
                      })
    , m_positionStore(*m_environment.defaults)
    , m_liveAgents(std::make_unique<AgentEventStore>()) {
    m_hookListener = std::make_unique<HookListener>(
        *m_liveAgents, *m_environment.clock, m_environment.homeDirectory, m_environment.agentProcesses);
    m_workspaceCoordinator = std::make_unique<WorkspaceCoordinator>(WorkspaceCoordinator::Dependencies{
        m_model, m_settingsStore, *m_environment.workspaceReader, m_positionStore, m_bus,
        *m_environment.systemEvents, *m_environment.clock, *m_environment.scheduler,
        m_environment.makeSurface});
    // Claude usage goes on the bus first, before the widgets of this machine.
    m_usageWidgets = std::make_unique<UsageWidgets>(
        UsageWidgets::Environment{*m_environment.clock, *m_environment.scheduler, m_settingsStore,
                                  *m_liveAgents, m_environment.homeDirectory, *m_environment.claudeTokens,
                                  std::nullopt, m_environment.processes, m_environment.agentProcessScanning},
        [this] { m_workspaceCoordinator->moduleDataChanged(); });
    m_usageWidgets->registerModules(m_bus, [this](const QString& sessionID) {
        const qint32 pid = m_liveAgents->agentPIDs().value(sessionID);
        if (pid > 1 && m_environment.focusAgentProcess) {
            m_environment.focusAgentProcess(pid);
        }
        return QtFuture::makeReadyFuture();
    });
    // A session is in front when its agent runs in the frontmost window's process or below it (a
    // terminal, its shell, the agent): its changes are seen there and need no notice.
    m_usageWidgets->isSessionInFront = [this](const QString& sessionID) {
        const qint32 agent = m_liveAgents->agentPIDs().value(sessionID);
        const std::optional<WorkspaceSnapshot> workspace = m_model.workspace();
        if (agent <= 1 || !workspace || !workspace->activeWindow || workspace->activeWindow->ownerPID <= 1) {
            return false;
        }
        const std::int32_t front = workspace->activeWindow->ownerPID;
        const std::vector<std::int32_t> above = m_proc.ancestors(agent);
        return agent == front || std::find(above.cbegin(), above.cend(), front) != above.cend();
    };
    // The card names a held request's session by what the session list knows of it.
    const auto findSession = [this](const QString& sessionID) {
        return m_usageWidgets->findSession(sessionID);
    };
    m_hookListener->describeSession = [findSession](const QString& sessionID) {
        const std::optional<AgentSession> session = findSession(sessionID);
        if (!session) {
            return HookListener::SessionCaption{};
        }
        const QString title = session->displayTitle();
        return HookListener::SessionCaption{
            title.isEmpty() ? std::nullopt : std::optional<QString>(title),
            session->project.isEmpty() ? std::nullopt : std::optional<QString>(session->project),
            session->roleColor};
    };
    // Claude Code's list shows a prompt answered in the terminal: its held request is let go.
    m_usageWidgets->onAgentList = [this](const ClaudeAgentList& list, const QDateTime& at) {
        m_hookListener->agentListRead(list, at);
    };
    m_hookListener->isDesktopSession = [findSession](const QString& sessionID) {
        const std::optional<AgentSession> session = findSession(sessionID);
        return session && session->origin == QLatin1StringView("Desktop");
    };
    if (m_environment.gitHub && m_environment.processes) {
        m_gitHubWidgets = std::make_unique<GitHubWidgets>(
            GitHubWidgets::Environment{*m_environment.clock, *m_environment.scheduler, m_settingsStore,
                                       *m_environment.processes, *m_environment.gitHub},
            [this] { m_workspaceCoordinator->moduleDataChanged(); });
        m_gitHubWidgets->registerModules(m_bus);
    }
    if (m_environment.runsSystemWidgets) {
        m_systemWidgets =
            std::make_unique<SystemWidgets>(*m_environment.clock, *m_environment.scheduler,
                                            [this] { m_workspaceCoordinator->moduleDataChanged(); });
        m_systemWidgets->registerModules(m_bus);
    }
}

AppDelegate::~AppDelegate() {
    applicationWillTerminate();
}

void AppDelegate::applicationDidFinishLaunching() {
    if (m_running) {
        return;
    }
    m_running = true;

    // Migration first, so that no later write of the settings store can hide an older value.
    PreferencesMigration::run(*m_environment.defaults, m_environment.openFormerSuite);
    // The store read the blob before the migration could copy it in; read again.
    m_settingsStore.setSettings(SettingsCodec::decode(
        m_environment.defaults->value(QLatin1StringView(PreferenceKeys::settings)).toByteArray()));

    const TessarySettings& settings = m_settingsStore.settings();
    m_verboseLogging = settings.verboseLogging;
    DiagnosticLogger::shared().setVerbose(m_verboseLogging);
    DiagnosticLog::info(DiagnosticCategory::app, "launch", [&] {
        return DiagnosticFields{
            {"version", DiagnosticValue::name(QStringLiteral(TESSARY_VERSION))},
            {"build", DiagnosticValue::name(QSysInfo::buildAbi())},
            {"os", DiagnosticValue::name(QSysInfo::productType())},
            {"osVersion", DiagnosticValue::name(QSysInfo::productVersion())},
            {"kernel", DiagnosticValue::name(QSysInfo::kernelVersion())},
            {"qt", DiagnosticValue::name(QString::fromLatin1(qVersion()))},
            {"verbose", DiagnosticValue::boolean(m_verboseLogging)},
            {"file", DiagnosticValue::boolean(DiagnosticLogger::shared().sink() != nullptr)},
        };
    });
    m_localization = Localization::forSetting(settings.language);
    {
        const auto sink = DiagnosticLogger::shared().sink();
        m_diagnostics = std::make_unique<Diagnostics>(Diagnostics::Inputs{
            m_environment.defaults, m_environment.processes,
            sink ? sink->directory() : DiagnosticFileSink::defaultDirectory(),
            [this] { return m_localization; }, [this] { return m_settingsStore.settings(); }});
        m_diagnostics->checkPreviousRun();
    }

    observeSettings();

    // The first refresh happens inside start, before any monitor has data.
    m_workspaceCoordinator->start();
    if (m_systemWidgets) {
        m_systemWidgets->start();
    }

    runOnboardingGate();

    // Hook events: each batch rings the workspace loop, whose cycle drives the listener's timers.
    m_hookListener->onUpdate = [this] {
        m_usageWidgets->noteStatusLines();
        m_workspaceCoordinator->moduleDataChanged();
    };
    m_workspaceCoordinator->setOnCycle([this](const QDateTime& now) { m_hookListener->tick(now); });
    if (m_environment.makePermissionCard) {
        m_permissionCard = m_environment.makePermissionCard(*this);
    }
    m_hookListener->start();
    m_usageWidgets->startSessions();

    StatusMenu::Actions actions;
    actions.openSettings = [this] { openSettings(SettingsSection::general); };
    actions.editNotch = [this] {
        if (const std::optional<QString>& displayID = m_model.notchDisplayID()) {
            m_workspaceCoordinator->beginNotchEditing(*displayID);
        }
    };
    actions.exportDiagnostics = [this] { m_diagnostics->exportDiagnostics(nullptr); };
    actions.quit = [] { QCoreApplication::quit(); };
    m_statusMenu = std::make_unique<StatusMenu>(m_model, actions);
    m_statusMenu->setLocalization(m_localization);
    if (m_environment.showsTrayIcon) {
        // Shown whether or not a tray is there yet: Qt docks the icon when a tray host takes the
        // system tray selection, also one that starts later. Without any, the surfaces' context
        // menus carry the same actions.
        m_trayIcon = std::make_unique<QSystemTrayIcon>(makeTrayIcon());
        m_trayIcon->setToolTip(u"Tessary"_s);
        m_trayIcon->setContextMenu(m_statusMenu->menu());
        m_trayIcon->show();
    }
}

void AppDelegate::applicationWillTerminate() {
    if (!m_running) {
        return;
    }
    m_running = false;
    DiagnosticLog::info(DiagnosticCategory::app, "terminate");
    m_permissionCard.reset();
    m_usageWidgets->stopUsage();
    if (m_gitHubWidgets) {
        m_gitHubWidgets->stop();
    }
    if (m_systemWidgets) {
        m_systemWidgets->stop();
    }
    m_hookListener->stop();
    m_usageWidgets->stopSessions();
    m_workspaceCoordinator->stop();
    if (m_trayIcon) {
        m_trayIcon->hide();
    }
    m_trayIcon.reset();
    m_statusMenu.reset();
    m_settingsWindow.reset();
    if (m_logViewer) {
        m_logViewer->closeAll();
    }
    DiagnosticLog::flush();
}

void AppDelegate::openSettings(SettingsSection section) {
    emit settingsRequested(section);
    if (!m_settingsWindow) {
        const QString home = m_environment.homeDirectory;
        const auto sink = DiagnosticLogger::shared().sink();
        const QString logs = sink ? sink->directory() : DiagnosticFileSink::defaultDirectory();
        m_logViewer = std::make_unique<LogViewerController>(logs);
        SettingsWindowInputs inputs;
        inputs.modules = m_bus.registeredModules();
        inputs.agents = OnboardingAgents::defaultCandidates(home, m_environment.defaults, m_localization);
        inputs.connectedDisplays = [this] {
            return m_model.workspace() ? m_model.workspace()->displays : std::vector<DisplaySnapshot>{};
        };
        inputs.logsFolder = logs;
        inputs.showLog = [this] { m_logViewer->show(m_localization); };
        inputs.exportDiagnostics = [this](QWidget* parent) { m_diagnostics->exportDiagnostics(parent); };
        inputs.previewSound = [](const QString& soundName) { PermissionCardBinding::playSound(soundName); };
        m_settingsWindow = std::make_unique<SettingsWindow>(m_settingsStore, std::move(inputs));
        // A display plugged in or out while the window is open shows at once.
        connect(&m_model, &AppModel::changed, m_settingsWindow.get(), [this] {
            if (m_settingsWindow->isVisible()) {
                m_settingsWindow->refreshDisplays();
            }
        });
    }
    m_settingsWindow->showSection(section);
    m_settingsWindow->show();
    m_settingsWindow->raise();
    m_settingsWindow->activateWindow();
}

void AppDelegate::startOnlineMonitors() {
    m_usageWidgets->startUsage();
    if (m_gitHubWidgets) {
        m_gitHubWidgets->start();
    }
}

void AppDelegate::runOnboardingGate() {
    QSettings& defaults = *m_environment.defaults;
    const QString home = m_environment.homeDirectory;
    if (!OnboardingGate::shouldShow(defaults)) {
        AgentHookInstaller::claude(home, &defaults).connectIfPossible();
        AgentHookInstaller::codex(home, &defaults).connectIfPossible();
        // The usage monitor may read the credentials and the network: only once onboarding is past.
        startOnlineMonitors();
        return;
    }
    const QList<AgentOffer> offers =
        OnboardingAgents::offers(OnboardingAgents::defaultCandidates(home, &defaults, m_localization));
    m_onboarding = std::make_unique<OnboardingWindow>(offers, m_settingsStore.settings().launchesAtLogin,
                                                      m_localization);
    QPointer<AppDelegate> self(this);
    // The window is freed on a later turn of the loop: its callbacks run from inside it.
    const auto dismiss = [self] {
        QTimer::singleShot(0, self, [self] {
            if (self) {
                self->m_onboarding.reset();
            }
        });
    };
    m_onboarding->onStart = [self, offers, dismiss](const QMap<QString, bool>& agents, bool launchAtLogin) {
        if (!self) {
            return;
        }
        TessarySettings next = self->m_settingsStore.settings();
        next.launchesAtLogin = launchAtLogin;
        self->m_settingsStore.setSettings(next);
        OnboardingAgents::apply(agents, offers);
        OnboardingGate::markCompleted(*self->m_environment.defaults);
        self->startOnlineMonitors();
        self->m_workspaceCoordinator->refresh(false);
        dismiss();
    };
    m_onboarding->onLater = [self, dismiss] {
        if (self) {
            self->startOnlineMonitors();
        }
        dismiss();
    };
    m_onboarding->show();
    m_onboarding->raise();
}

void AppDelegate::observeSettings() {
    // The store publishes only values that differ from the last one. Delivery is queued, so a
    // change made during a refresh reaches the system after that refresh.
    connect(
        &m_settingsStore, &SettingsStore::settingsChanged, this,
        [this](const TessarySettings& settings) { applySettings(settings); }, Qt::QueuedConnection);
    connect(&m_settingsStore, &SettingsStore::loginItemFailed, this, [](bool requested) {
        DiagnosticLog::error(DiagnosticCategory::settings, "loginItem.failed", [&] {
            return DiagnosticFields{{"requested", DiagnosticValue::boolean(requested)}};
        });
    });
}

void AppDelegate::applySettings(const TessarySettings& settings) {
    if (settings.verboseLogging != m_verboseLogging) {
        m_verboseLogging = settings.verboseLogging;
        DiagnosticLogger::shared().setVerbose(m_verboseLogging);
        DiagnosticLog::info(DiagnosticCategory::settings, "verboseLogging", [&] {
            return DiagnosticFields{{"enabled", DiagnosticValue::boolean(m_verboseLogging)}};
        });
    }
    const Localization localization = Localization::forSetting(settings.language);
    if (localization != m_localization) {
        m_localization = localization;
        if (m_statusMenu) {
            m_statusMenu->setLocalization(m_localization);
        }
        if (m_logViewer && m_logViewer->window()) {
            m_logViewer->window()->setLocalization(m_localization);
        }
    }
    m_workspaceCoordinator->settingsChanged();
    emit settingsApplied();
}

} // namespace tessary
