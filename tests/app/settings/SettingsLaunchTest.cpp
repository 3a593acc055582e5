// How the settings window is reached: the status menu, the application's openSettings, and a second launch

#include "app/AppDelegate.h"
#include "app/StatusMenu.h"
#include "app/logviewer/LogViewerWindow.h"
#include "app/settings/SettingsWindow.h"
#include "services/monitoring/Scheduler.h"
#include "support/AppTestHarness.h" // of the real program. On a real X server.

#include <QApplication>
#include <QComboBox>
#include <QFileInfo>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// Whether the X server has a mapped top-level window of that title, whoever made it.
bool hasWindowTitled(const QString& title) {
    QProcess search;
    search.start(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, u"^"_s + title + u"$"_s});
    return search.waitForFinished(5000) && search.exitCode() == 0 &&
           !search.readAllStandardOutput().isEmpty();
}

QString instanceSocket() {
    return qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/tessary-"_s + QString::number(getuid()) +
           u".instance"_s;
}

} // namespace

class SettingsLaunchTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void theMenuEntryOpensGeneral();
    void openSettingsShowsTheAskedPane();
    void aLanguageChosenInTheWindowRelabelsTheMenuAndTheLog();
    void terminateClosesTheWindows();
    void aSecondLaunchOpensTheSettingsOfTheFirst();

private:
    std::unique_ptr<AppDelegate> makeDelegate();

    std::unique_ptr<testing::AppTestHarness> m_app;
};

void SettingsLaunchTest::init() {
    m_app = std::make_unique<testing::AppTestHarness>();
    m_app->skipFirstRun();
}

void SettingsLaunchTest::cleanup() {
    m_app.reset();
}

std::unique_ptr<AppDelegate> SettingsLaunchTest::makeDelegate() {
    return std::make_unique<AppDelegate>(m_app->environment());
}

void SettingsLaunchTest::theMenuEntryOpensGeneral() {
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    QAction* settings = testing::menuEntry(delegate->statusMenu()->menu(), u"Settings…"_s);
    QVERIFY(settings);
    QVERIFY(settings->isEnabled());
    settings->trigger();
    SettingsWindow* window = delegate->settingsWindow();
    QVERIFY(window);
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QCOMPARE(window->section(), SettingsSection::general);
    QTRY_VERIFY(hasWindowTitled(u"Tessary Settings"_s));
    // The display the workspace loop read is in the Displays pane.
    QVERIFY(window->findChild<QWidget*>(u"display:DP-1:visibility"_s));
}

void SettingsLaunchTest::openSettingsShowsTheAskedPane() {
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    delegate->openSettings(SettingsSection::advanced);
    SettingsWindow* window = delegate->settingsWindow();
    QCOMPARE(window->section(), SettingsSection::advanced);
    window->close();
    // Opened again, it is the same window, on the pane asked for now.
    delegate->openSettings(SettingsSection::displays);
    QCOMPARE(delegate->settingsWindow(), window);
    QVERIFY(window->isVisible());
    QCOMPARE(window->section(), SettingsSection::displays);
}

void SettingsLaunchTest::aLanguageChosenInTheWindowRelabelsTheMenuAndTheLog() {
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    delegate->openSettings(SettingsSection::advanced);
    SettingsWindow* window = delegate->settingsWindow();
    auto* showLog = window->findChild<QPushButton*>(u"showLog"_s);
    QVERIFY(showLog);
    showLog->click();
    LogViewerWindow* viewer = delegate->logViewer()->window();
    QVERIFY(viewer);
    QVERIFY(QTest::qWaitForWindowExposed(viewer));
    QCOMPARE(viewer->windowTitle(), u"Tessary Log"_s);

    auto* language = window->findChild<QComboBox*>(u"language"_s);
    language->setFocus();
    const int spanish = language->findData(u"es"_s);
    while (language->currentIndex() < spanish) {
        QTest::keyClick(language, Qt::Key_Down);
    }
    QTRY_VERIFY(testing::menuEntry(delegate->statusMenu()->menu(), u"Ajustes…"_s));
    QCOMPARE(viewer->windowTitle(), u"Registro de Tessary"_s);
    QCOMPARE(window->windowTitle(), u"Ajustes de Tessary"_s);
}

void SettingsLaunchTest::terminateClosesTheWindows() {
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    delegate->openSettings(SettingsSection::advanced);
    delegate->settingsWindow()->findChild<QPushButton*>(u"showLog"_s)->click();
    QTRY_VERIFY(hasWindowTitled(u"Tessary Log"_s));
    delegate->applicationWillTerminate();
    QVERIFY(!delegate->settingsWindow());
    QVERIFY(!delegate->logViewer()->window());
    QTRY_VERIFY(!hasWindowTitled(u"Tessary Settings"_s));
}

void SettingsLaunchTest::aSecondLaunchOpensTheSettingsOfTheFirst() {
    // The real program, as the user starts it, past its first run.
    QSettings userDefaults(u"Tessary"_s, u"Tessary"_s);
    userDefaults.setValue(QLatin1StringView(PreferenceKeys::onboardingCompleted), true);
    userDefaults.sync();

    QProcess first;
    first.setProcessChannelMode(QProcess::ForwardedChannels);
    first.start(QStringLiteral(TESSARY_BINARY), {});
    QVERIFY(first.waitForStarted(5000));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(instanceSocket()), 10000);
    QVERIFY(!hasWindowTitled(u"Tessary Settings"_s));

    QProcess second;
    second.start(QStringLiteral(TESSARY_BINARY), {});
    QVERIFY(second.waitForFinished(10000));
    QCOMPARE(second.exitCode(), 0);
    QTRY_VERIFY_WITH_TIMEOUT(hasWindowTitled(u"Tessary Settings"_s), 10000);

    first.terminate();
    QVERIFY(first.waitForFinished(10000));
    QCOMPARE(first.exitCode(), 0);
}

QTEST_MAIN(SettingsLaunchTest)
#include "SettingsLaunchTest.moc"
