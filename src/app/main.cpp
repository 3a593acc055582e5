#include "app/AppDelegate.h"
#include "app/SingleInstance.h"
#include "app/StatusMenu.h"
#include "app/TessaryApplication.h"
#include "app/UnixSignals.h"
#include "core/diagnostics/CrashExceptionDeduplicator.h"
#include "core/diagnostics/DiagnosticLog.h"
#include "core/time/Clock.h"
#include "platform/crash/CrashCapture.h"
#include "platform/credentials/linux/ClaudeCredentialsFile.h"
#include "platform/keygrab/linux/X11ShortcutGrab.h"
#include "platform/loginitem/linux/XdgAutostartLoginItem.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "platform/processes/linux/LiveAgentProcesses.h"
#include "platform/sessionjump/linux/X11WindowActivator.h"
#include "platform/systemevents/linux/LinuxSystemEventSource.h"
#include "platform/workspace/linux/QtScreenReader.h"
#include "platform/workspace/linux/ScreenOnlyWorkspaceReader.h"
#include "services/github/GitHubCLIProvider.h"
#include "services/jump/SessionJump.h"
#include "services/monitoring/Scheduler.h"
#include "services/shell/Shell.h"
#include "services/workspace/WorkspaceCoordinator.h"
#include "surfaces/SurfaceEnvironment.h"
#include "surfaces/card/PermissionCardBinding.h"
#include "surfaces/detail/DetailPanel.h"
#include "surfaces/notch/NotchEditorPanel.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QSslCertificate>

namespace {

using namespace Qt::StringLiterals;

// GitHub's API, or a developer's stand-in for it: TESSARY_GITHUB_API names an https root on this
// machine only (the token goes there), and TESSARY_GITHUB_API_CA the stand-in's certificate.
tessary::GitHubCLIProvider::Configuration gitHubConfiguration() {
    tessary::GitHubCLIProvider::Configuration configuration;
    const QUrl standIn(qEnvironmentVariable("TESSARY_GITHUB_API"));
    const bool onThisMachine = standIn.host() == u"127.0.0.1"_s || standIn.host() == u"localhost"_s;
    if (standIn.scheme() != u"https"_s || !onThisMachine) {
        return configuration;
    }
    QString root = standIn.path();
    while (root.endsWith(u'/')) {
        root.chop(1);
    }
    configuration.restRoot = standIn;
    configuration.restRoot.setPath(root);
    configuration.endpoint = standIn;
    configuration.endpoint.setPath(root + u"/graphql"_s);
    QFile authority(qEnvironmentVariable("TESSARY_GITHUB_API_CA"));
    if (authority.open(QIODevice::ReadOnly)) {
        configuration.extraAuthorities = QSslCertificate::fromData(authority.readAll());
    }
    return configuration;
}

} // namespace

int main(int argc, char** argv) {
    using namespace tessary;
    TessaryApplication application(argc, argv);

    SingleInstance instance;
    switch (instance.claim()) {
    case SingleInstance::Role::handedOver:
        return 0;
    case SingleInstance::Role::failed:
    case SingleInstance::Role::primary:
        break; // a failed claim still runs: better two instances than none
    }

    QSettings defaults; // organization and application "Tessary": ~/.config/Tessary/Tessary.conf
    // The log file first, so that everything after it can be told.
    const auto logSink = DiagnosticLog::startFileLogging();
    // Then the crash marker, which writes into that file's descriptor.
    CrashCapture::installSignalMarker(logSink ? logSink->descriptor() : -1);
    CrashExceptionDeduplicator exceptionDeduplicator;
    CrashCapture::installUncaughtExceptionHandler(DiagnosticLogger::shared(), exceptionDeduplicator);

    XdgAutostartLoginItem loginItem;
    SystemClock clock;
    QtScheduler scheduler;
    const std::unique_ptr<WorkspaceSnapshotReader> workspaceReader = makeLinuxWorkspaceReader(clock);
    LinuxSystemEventSource systemEvents;

    X11PanelWindowTraits panelTraits;
    // The permission card's backends outlive the delegate that holds the card.
    X11ShortcutGrab cardShortcuts;
    X11WindowActivator windowActivator;
    LiveAgentProcesses agentProcesses(clock);
    Shell shell;
    std::unique_ptr<AppDelegate> delegate;

    AppEnvironment environment;
    environment.defaults = &defaults;
    environment.loginItem = &loginItem;
    environment.clock = &clock;
    environment.scheduler = &scheduler;
    environment.workspaceReader = workspaceReader.get();
    environment.systemEvents = &systemEvents;
    environment.agentProcesses = &agentProcesses;
    environment.agentProcessScanning = &agentProcesses;
    environment.processes = &shell;
    environment.gitHub = gitHubConfiguration();
    ClaudeCredentialsFile claudeTokens(ClaudeCredentialsFile::defaultPath(QDir::homePath()));
    environment.claudeTokens = &claudeTokens;
    SessionJump sessionJump(agentProcesses, shell, windowActivator);
    environment.focusAgentProcess = [&sessionJump](qint32 pid) { (void)sessionJump.focus(pid); };
    const auto localization = [&delegate] { return delegate ? delegate->localization() : Localization(); };
    // One detail panel for every surface, and the notch's editor; both outlive the delegate.
    DetailPanel detailPanel(panelTraits);
    NotchEditorPanel notchEditor(panelTraits, localization);
    environment.makeSurface = makeSurfaceFactory(SurfaceEnvironment{
        panelTraits, localization,
        [](const QString& displayID) { return QtScreenReader().visibleFrame(displayID); }, &detailPanel,
        [&delegate](QMenu& menu) {
            if (delegate && delegate->statusMenu()) {
                delegate->statusMenu()->addActionsTo(menu);
            }
        }});
    environment.makePermissionCard = [&](AppDelegate& app) -> std::unique_ptr<QObject> {
        return std::make_unique<PermissionCardBinding>(PermissionCardBinding::Dependencies{
            app.hookListener(), app.liveAgents(), app.workspaceCoordinator(), app.model(),
            app.settingsStore(), clock, panelTraits, cardShortcuts, windowActivator, agentProcesses, shell,
            [&app] { return app.localization(); }});
    };
    delegate = std::make_unique<AppDelegate>(environment);
    delegate->workspaceCoordinator().setDetailPanel(&detailPanel);
    delegate->workspaceCoordinator().setNotchEditor(&notchEditor);

    UnixSignals signals_;
    QObject::connect(&signals_, &UnixSignals::terminationRequested, &application,
                     [] { QCoreApplication::quit(); });
    QObject::connect(&instance, &SingleInstance::activationRequested, delegate.get(),
                     [&delegate] { delegate->openSettings(SettingsSection::general); });
    QObject::connect(&application, &QCoreApplication::aboutToQuit, delegate.get(),
                     [&delegate] { delegate->applicationWillTerminate(); });

    delegate->applicationDidFinishLaunching();
    const int status = TessaryApplication::exec();
    // The delegate's surfaces hold the panels declared after it: it goes first.
    delegate.reset();
    return status;
}
