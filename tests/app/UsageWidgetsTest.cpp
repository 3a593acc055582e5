#include "app/UsageWidgets.h"

#include "core/settings/SettingsStore.h"
#include "modulekit/ModuleEventBus.h"
#include "modules/agents/live/AgentEventStore.h"
#include "platform/credentials/linux/ClaudeCredentialsFile.h"
#include "services/monitoring/Scheduler.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

// The Claude usage widget as the application builds it: Claude Code's credentials file in the
// user's home, the real client and monitor, the module on the bus.
class UsageWidgetsTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_home;
    std::unique_ptr<QSettings> m_defaults;
    std::unique_ptr<SettingsStore> m_settings;
    SystemClock m_clock;
    QtScheduler m_scheduler;
    AgentEventStore m_events;
    ClaudeCredentialsFile m_tokens{ClaudeCredentialsFile::defaultPath(m_home.path())};

    std::unique_ptr<UsageWidgets> make(std::optional<ClaudeOAuthUsageProvider::Configuration> endpoint,
                                       int& updates) {
        return std::make_unique<UsageWidgets>(UsageWidgets::Environment{m_clock, m_scheduler, *m_settings,
                                                                        m_events, m_home.path(), m_tokens,
                                                                        std::move(endpoint)},
                                              [&updates] { ++updates; });
    }

    ModuleSnapshot snapshotOf(ModuleEventBus& bus) {
        bus.publish({HostEvent::moduleDataChanged}, ModuleContext{}, {});
        return bus.latestSnapshots().value(u"tessary.usage-meter"_s);
    }

private slots:
    void initTestCase() {
        QVERIFY(m_home.isValid());
        m_defaults = std::make_unique<QSettings>(m_home.filePath(u"defaults.ini"_s), QSettings::IniFormat);
        m_settings = std::make_unique<SettingsStore>(*m_defaults, [](bool) { return true; });
    }

    void withoutCredentialsTheWidgetSaysSoAndTheProgramRunsOn() {
        int updates = 0;
        auto widgets = make(std::nullopt, updates);
        ModuleEventBus bus;
        widgets->registerModules(bus);
        QCOMPARE(bus.registeredModuleIDs(), QStringList{u"tessary.usage-meter"_s});
        QCOMPARE(snapshotOf(bus).state, ModuleState::unavailable);

        widgets->startUsage();
        widgets->startSessions();
        QTRY_VERIFY_WITH_TIMEOUT(updates >= 1 && widgets->usageStore().lastErrorDescription(), 10000);
        QCOMPARE(widgets->usageStore().lastErrorDescription(), u"Claude Code credentials not found"_s);
        const ModuleSnapshot snapshot = snapshotOf(bus);
        QCOMPARE(snapshot.state, ModuleState::unavailable);
        QCOMPARE(snapshot.variants.card->subtitle, u"Claude Code credentials not found"_s);
        // The monitor goes on trying, at the shorter period, and nothing else is disturbed.
        QVERIFY(widgets->usageMonitor().isRunning());
        QCOMPARE(widgets->usageMonitor().currentInterval(), 10.0);
        widgets->stopUsage();
        widgets->stopSessions();
    }

    void failureTextsFollowTheLanguage() {
        TessarySettings spanish = m_settings->settings();
        spanish.language = AppLanguage::spanish;
        m_settings->setSettings(spanish);
        int updates = 0;
        auto widgets = make(std::nullopt, updates);
        widgets->startUsage();
        QTRY_VERIFY_WITH_TIMEOUT(widgets->usageStore().lastErrorDescription(), 10000);
        QCOMPARE(widgets->usageStore().lastErrorDescription(),
                 u"No se encontraron las credenciales de Claude Code"_s);
        widgets->stopUsage();
        TessarySettings english = spanish;
        english.language = AppLanguage::english;
        m_settings->setSettings(english);
    }
};

QTEST_GUILESS_MAIN(UsageWidgetsTest)
#include "UsageWidgetsTest.moc"
