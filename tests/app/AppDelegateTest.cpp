#include "app/AppDelegate.h"

#include "app/StatusMenu.h"
#include "app/UsageWidgets.h"
#include "app/onboarding/OnboardingWindow.h"
#include "modules/agents/live/AgentEventStore.h"
#include "services/hooks/HookListener.h"
#include "services/monitoring/Scheduler.h"
#include "services/workspace/WorkspaceCoordinator.h"
#include "support/AppTestHarness.h"

#include <QApplication>
#include <QFile>
#include <QMenu>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tessary;
using namespace Qt::StringLiterals;

class AppDelegateTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void launchMigratesBeforeReadingSettings();
    void equalSettingsCauseNoReaction();
    void loginItemFollowsTheSetting();
    void menuListsItsEntriesInOrder();
    void problemSectionShowsTheError();
    void quitEntryEndsTheEventLoop();
    void workspaceLoopRunsBetweenLaunchAndTerminate();
    void aSessionBelowTheFrontWindowIsInFront();
    void usageWaitsForTheFirstRunToBeAnswered_data();
    void usageWaitsForTheFirstRunToBeAnswered();

private:
    std::unique_ptr<testing::AppTestHarness> m_app;
    QString m_suitePath;
    std::unique_ptr<AppDelegate> makeDelegate();
};

namespace {
QStringList entries(QMenu* menu) {
    QStringList result;
    for (QAction* action : menu->actions()) {
        result.append(action->isSeparator() && action->text().isEmpty() ? u"--"_s : action->text());
    }
    return result;
}
// Settings reach the system on the next turn of the event loop.
void settle() {
    QCoreApplication::processEvents();
}
} // namespace

void AppDelegateTest::init() {
    m_app = std::make_unique<testing::AppTestHarness>();
    m_suitePath = m_app->dir.filePath(u"CorvaneApp.conf"_s);
}

std::unique_ptr<AppDelegate> AppDelegateTest::makeDelegate() {
    AppEnvironment environment = m_app->environment();
    environment.openFormerSuite = [path = m_suitePath] {
        return std::make_unique<QSettings>(path, QSettings::IniFormat);
    };
    return std::make_unique<AppDelegate>(environment);
}

void AppDelegateTest::launchMigratesBeforeReadingSettings() {
    {
        QSettings suite(m_suitePath, QSettings::IniFormat);
        suite.setValue(u"corvane.settings.v1"_s, QByteArray(R"({"bubbleSize":"large","language":"es"})"));
    }
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    QCOMPARE(delegate->settingsStore().settings().bubbleSize, BubbleSize::large);
    QCOMPARE(delegate->localization().language(), AppLanguage::spanish);
}

void AppDelegateTest::equalSettingsCauseNoReaction() {
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    settle(); // the first refresh remembered the display
    QSignalSpy applied(delegate.get(), &AppDelegate::settingsApplied);
    delegate->settingsStore().setSettings(delegate->settingsStore().settings());
    settle();
    QCOMPARE(applied.size(), 0);
    TessarySettings changed = delegate->settingsStore().settings();
    changed.reducesMotion = true;
    delegate->settingsStore().setSettings(changed);
    settle();
    QCOMPARE(applied.size(), 1);
}

void AppDelegateTest::loginItemFollowsTheSetting() {
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    TessarySettings settings = delegate->settingsStore().settings();
    settings.launchesAtLogin = true;
    delegate->settingsStore().setSettings(settings);
    QVERIFY(m_app->loginItem.registered);
    settings.reducesMotion = true; // another field: the login item is left alone
    delegate->settingsStore().setSettings(settings);
    QCOMPARE(m_app->loginItem.calls, 1);
}

void AppDelegateTest::menuListsItsEntriesInOrder() {
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    QMenu* menu = delegate->statusMenu()->menu();
    // No accessibility permission exists on this platform, and no notch is docked.
    QCOMPARE(entries(menu), (QStringList{u"--"_s, u"--"_s, u"Settings…"_s, u"Export Diagnostics…"_s,
                                         u"Check for Updates…"_s, u"--"_s, u"Quit Tessary"_s}));
    QVERIFY(!testing::menuEntry(menu, u"Check for Updates…"_s)->isEnabled()); // no updater on this platform
    QVERIFY(testing::menuEntry(menu, u"Quit Tessary"_s)->isEnabled());

    delegate->model().setNotchDisplayID(u"DP-1"_s);
    delegate->model().setHasDockedNotch(true);
    QVERIFY(testing::menuEntry(menu, u"Edit notch…"_s));
    QVERIFY(testing::menuEntry(menu, u"Edit notch…"_s)->isEnabled());

    delegate->model().setHasDockedNotch(false);
    QVERIFY(!testing::menuEntry(menu, u"Edit notch…"_s));

    // The loop's ticks change the model all the time; the menu only when what it shows changes.
    const QList<QAction*> before = menu->actions();
    for (int tick = 0; tick < 5; ++tick) {
        m_app->clock.advance(2);
        m_app->reader.snapshot->capturedAt = m_app->clock.now();
        delegate->workspaceCoordinator().refresh(false);
    }
    QCOMPARE(menu->actions(), before);
}

void AppDelegateTest::problemSectionShowsTheError() {
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    delegate->model().setLastError(u"The displays could not be read."_s);
    QMenu* menu = delegate->statusMenu()->menu();
    QCOMPARE(entries(menu).mid(0, 2), (QStringList{u"Problem"_s, u"The displays could not be read."_s}));
    delegate->model().setLastError(std::nullopt);
    QVERIFY(!testing::menuEntry(menu, u"Problem"_s));
}

void AppDelegateTest::quitEntryEndsTheEventLoop() {
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    QSignalSpy quitting(qApp, &QCoreApplication::aboutToQuit);
    QTimer::singleShot(
        0, this, [&] { testing::menuEntry(delegate->statusMenu()->menu(), u"Quit Tessary"_s)->trigger(); });
    QTimer::singleShot(5000, qApp, [] { QCoreApplication::exit(1); }); // guard
    QCOMPARE(QCoreApplication::exec(), 0);
    QCOMPARE(quitting.size(), 1);
}

void AppDelegateTest::workspaceLoopRunsBetweenLaunchAndTerminate() {
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    QVERIFY(delegate->model().isMonitoring());
    QCOMPARE(m_app->reader.reads, 1);
    // The display was remembered in the settings by the first refresh.
    QCOMPARE(delegate->settingsStore().settings().displaySettings(u"DP-1"_s).lastKnownName, u"Dell"_s);
    m_app->scheduler.advance(0.4);
    QCOMPARE(m_app->reader.reads, 2);
    // The hook listener published where it listens, and takes it back when the program ends.
    const QString endpoint = m_app->dir.filePath(u".tessary/hook-endpoint"_s);
    QVERIFY(QFile::exists(endpoint));
    delegate->applicationWillTerminate();
    QVERIFY(!QFile::exists(endpoint));
    QVERIFY(!delegate->model().isMonitoring());
    m_app->scheduler.advance(10);
    QCOMPARE(m_app->reader.reads, 2);
}

void AppDelegateTest::aSessionBelowTheFrontWindowIsInFront() {
    // The agent runs below this test's process, which owns the front window.
    QProcess agentProcess;
    agentProcess.start(u"sleep"_s, {u"30"_s});
    QVERIFY(agentProcess.waitForStarted());
    const auto agent = static_cast<qint32>(agentProcess.processId());
    WindowSnapshot window;
    window.id = 7;
    window.ownerPID = static_cast<std::int32_t>(QCoreApplication::applicationPid());
    window.frame = QRectF(0, 0, 800, 600);
    m_app->reader.snapshot->windows = {window};
    m_app->reader.snapshot->activeWindow = window;
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    delegate->liveAgents().note(u"below"_s, agent);
    delegate->liveAgents().note(u"elsewhere"_s, 1);
    const auto& inFront = delegate->usageWidgets().isSessionInFront;
    QVERIFY(inFront(u"below"_s));
    QVERIFY(!inFront(u"elsewhere"_s));
    QVERIFY(!inFront(u"unknown"_s));
    // Another window in front: the session is no longer seen.
    window.ownerPID = agent + 100000;
    m_app->reader.snapshot->activeWindow = window;
    m_app->scheduler.advance(0.4);
    QVERIFY(!inFront(u"below"_s));
    agentProcess.kill();
    agentProcess.waitForFinished();
}

void AppDelegateTest::usageWaitsForTheFirstRunToBeAnswered_data() {
    QTest::addColumn<QString>("answer");
    QTest::newRow("Later") << u"later"_s;
    QTest::newRow("Start, with open at login") << u"start"_s;
}

void AppDelegateTest::usageWaitsForTheFirstRunToBeAnswered() {
    QFETCH(QString, answer);
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    // The usage monitor may read credentials and ask the network: not before the first run is past.
    // The workspace loop and the hook listener run meanwhile.
    QVERIFY(delegate->onboardingWindow());
    QVERIFY(!delegate->usageWidgets().usageMonitor().isRunning());
    QVERIFY(delegate->model().isMonitoring());
    QVERIFY(delegate->hookListener().isRunning());

    settle(); // the first refresh remembered the display
    QSignalSpy applied(delegate.get(), &AppDelegate::settingsApplied);
    if (answer == u"later"_s) {
        delegate->onboardingWindow()->onLater();
    } else {
        delegate->onboardingWindow()->onStart({}, true);
    }
    settle();
    QVERIFY(delegate->usageWidgets().usageMonitor().isRunning());
    QTRY_VERIFY(!delegate->onboardingWindow());
    // A choice made in the first-run window goes through the same path as any other change.
    QCOMPARE(m_app->loginItem.registered, answer == u"start"_s);
    QCOMPARE(applied.size(), answer == u"start"_s ? 1 : 0);

    // Past the first run, the next launch starts the usage monitor at once.
    delegate.reset();
    if (answer == u"start"_s) {
        auto next = makeDelegate();
        next->applicationDidFinishLaunching();
        QVERIFY(!next->onboardingWindow());
        QVERIFY(next->usageWidgets().usageMonitor().isRunning());
    }
}

QTEST_MAIN(AppDelegateTest)
#include "AppDelegateTest.moc"
