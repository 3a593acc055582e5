#include "services/sessions/SessionMonitors.h"

#include "core/diagnostics/DiagnosticLogger.h"
#include "support/MonitorHarness.h"
#include "support/ScriptedSessionProvider.h"
#include "support/TestFiles.h"

#include <QTest>

#include <atomic>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

AgentSession session(const QString& id, int minute) {
    AgentSession made;
    made.id = id;
    made.project = u"p"_s;
    made.lastActivity = QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC).addSecs(qint64{minute} * 60);
    return made;
}

} // namespace

class SessionMonitorsTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void readingsReachTheStore();
    void failureKeepsTheListAndRetriesSooner();

private:
    std::unique_ptr<MonitorHarness> m_monitoring;
    int m_updates = 0;
};

void SessionMonitorsTest::init() {
    m_monitoring = std::make_unique<MonitorHarness>();
    m_updates = 0;
}

void SessionMonitorsTest::cleanup() {
    m_monitoring.reset();
}

void SessionMonitorsTest::readingsReachTheStore() {
    auto source = std::make_shared<ScriptedSessionProvider>();
    source->script({QList{session(u"a"_s, 2), session(u"b"_s, 1)}, QList{session(u"c"_s, 3)}});
    SessionStore store;
    const auto monitor = SessionMonitoring::monitor("claudeSessions", MonitorPeriod::claudeSessions, source,
                                                    store, m_monitoring->services(), [this] { ++m_updates; });
    monitor->start();
    QVERIFY(MonitorHarness::lands(*monitor));
    QCOMPARE(idsOf(store.sessions()), (QStringList{u"a"_s, u"b"_s}));
    QCOMPARE(m_updates, 1);
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(45));
    QVERIFY(m_monitoring->scheduler.advanceToNext());
    QVERIFY(MonitorHarness::lands(*monitor));
    QCOMPARE(idsOf(store.sessions()), QStringList{u"c"_s});
    QCOMPARE(source->limits(),
             (QList<int>{SessionMonitoring::sessionLimit, SessionMonitoring::sessionLimit}));
    monitor->stop();
}

void SessionMonitorsTest::failureKeepsTheListAndRetriesSooner() {
    auto source = std::make_shared<ScriptedSessionProvider>();
    source->script(
        {QList{session(u"a"_s, 1)},
         SessionProviderError{DiagnosticValue::errorKind("AntigravityError", qint64(2)), u"locked"_s},
         QList{session(u"b"_s, 1)}});
    SessionStore store;
    const auto monitor =
        SessionMonitoring::monitor("antigravitySessions", MonitorPeriod::antigravitySessions, source, store,
                                   m_monitoring->services(), [this] { ++m_updates; });
    monitor->start();
    QVERIFY(MonitorHarness::lands(*monitor));
    QVERIFY(m_monitoring->scheduler.advanceToNext());
    QVERIFY(MonitorHarness::lands(*monitor));
    QCOMPARE(idsOf(store.sessions()), QStringList{u"a"_s});
    QVERIFY(monitor->isRetrying());
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(5));
    const QString logged = m_monitoring->logger.recentLines().join(u'\n');
    QVERIFY2(logged.contains(u"failed"_s) && logged.contains(u"AntigravityError#2"_s), qPrintable(logged));
    QVERIFY(!logged.contains(u"locked"_s));
    QVERIFY(m_monitoring->scheduler.advanceToNext());
    QVERIFY(MonitorHarness::lands(*monitor));
    QCOMPARE(idsOf(store.sessions()), QStringList{u"b"_s});
    QVERIFY(!monitor->isRetrying());
    monitor->stop();
}

QTEST_GUILESS_MAIN(SessionMonitorsTest)
#include "SessionMonitorsTest.moc"
