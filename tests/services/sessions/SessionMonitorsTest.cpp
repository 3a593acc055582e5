#include "services/sessions/SessionMonitors.h"

#include "core/diagnostics/DiagnosticLogger.h"
#include "modules/sessions/CombinedSessionProvider.h"

#include <QMutex>
#include <QTest>

#include <atomic>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

AgentSession session(const QString& id, int minute) {
    AgentSession made;
    made.id = id;
    made.project = u"p"_s;
    made.lastActivity = QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC).addSecs(qint64{minute} * 60);
    return made;
}

// Answers from a script, on the runner's threads; the last answer stands once the script is used up.
class ScriptedSource final : public SessionProvider {
public:
    SessionFetchResult fetchSessions(int limit) const override {
        const QMutexLocker locker(&m_lock);
        m_limits.append(limit);
        return m_answers.size() > 1 ? m_answers.takeFirst() : m_answers.first();
    }
    DiagnosticLiteral providerName() const override { return "ScriptedSource"; }

    void script(QList<SessionFetchResult> answers) {
        const QMutexLocker locker(&m_lock);
        m_answers = std::move(answers);
    }
    QList<int> limits() const {
        const QMutexLocker locker(&m_lock);
        return m_limits;
    }

private:
    mutable QMutex m_lock;
    mutable QList<SessionFetchResult> m_answers{QList<AgentSession>{}};
    mutable QList<int> m_limits;
};

QStringList ids(const QList<AgentSession>& sessions) {
    QStringList found;
    for (const AgentSession& each : sessions) {
        found.append(each.id);
    }
    return found;
}

} // namespace

class SessionMonitorsTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void readingsReachTheStore();
    void momentaryEmptinessIsSetAside();
    void failureKeepsTheListAndRetriesSooner();
    void combinedSourcesThroughTheMonitor();

private:
    MonitorServices services() { return {*m_scheduler, *m_runner, m_logger.get()}; }
    bool lands(const AgentSessionMonitor& monitor) {
        return QTest::qWaitFor([&] { return !monitor.isReading(); }, 5000);
    }

    std::unique_ptr<ManualClock> m_clock;
    std::unique_ptr<ManualScheduler> m_scheduler;
    std::unique_ptr<ProviderRunner> m_runner;
    std::unique_ptr<DiagnosticLogger> m_logger;
    int m_updates = 0;
};

void SessionMonitorsTest::init() {
    m_clock = std::make_unique<ManualClock>();
    m_scheduler = std::make_unique<ManualScheduler>(*m_clock);
    m_runner = std::make_unique<ProviderRunner>(2);
    m_logger = std::make_unique<DiagnosticLogger>(*m_clock, QTimeZone::utc(), nullptr);
    m_updates = 0;
}

void SessionMonitorsTest::cleanup() {
    m_runner.reset();
}

void SessionMonitorsTest::readingsReachTheStore() {
    auto source = std::make_shared<ScriptedSource>();
    source->script({QList{session(u"a"_s, 2), session(u"b"_s, 1)}, QList{session(u"c"_s, 3)}});
    SessionStore store;
    const auto monitor = SessionMonitoring::monitor("claudeSessions", MonitorPeriod::claudeSessions, source,
                                                    store, services(), [this] { ++m_updates; });
    monitor->start();
    QVERIFY(lands(*monitor));
    QCOMPARE(ids(store.sessions()), (QStringList{u"a"_s, u"b"_s}));
    QCOMPARE(m_updates, 1);
    QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(45));
    QVERIFY(m_scheduler->advanceToNext());
    QVERIFY(lands(*monitor));
    QCOMPARE(ids(store.sessions()), QStringList{u"c"_s});
    QCOMPARE(source->limits(),
             (QList<int>{SessionMonitoring::sessionLimit, SessionMonitoring::sessionLimit}));
    monitor->stop();
}

void SessionMonitorsTest::momentaryEmptinessIsSetAside() {
    auto source = std::make_shared<ScriptedSource>();
    const QList<AgentSession> one{session(u"a"_s, 1)};
    source->script({one, QList<AgentSession>{}, QList<AgentSession>{}, QList<AgentSession>{}});
    SessionStore store;
    const auto monitor = SessionMonitoring::monitor(
        "codexSessions", MonitorPeriod::codexSessions, source, store, services(), [this] { ++m_updates; }, 5);
    monitor->start();
    QVERIFY(lands(*monitor));
    for (int empty = 1; empty <= 2; ++empty) {
        QVERIFY(m_scheduler->advanceToNext());
        QVERIFY(lands(*monitor));
        QCOMPARE(ids(store.sessions()), QStringList{u"a"_s});
        QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(5));
    }
    // The third empty reading in a row is believed.
    QVERIFY(m_scheduler->advanceToNext());
    QVERIFY(lands(*monitor));
    QVERIFY(store.isEmpty());
    QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(120));
    QCOMPARE(source->limits().first(), 5);
    monitor->stop();
}

void SessionMonitorsTest::failureKeepsTheListAndRetriesSooner() {
    auto source = std::make_shared<ScriptedSource>();
    source->script(
        {QList{session(u"a"_s, 1)},
         SessionProviderError{DiagnosticValue::errorKind("AntigravityError", qint64(2)), u"locked"_s},
         QList{session(u"b"_s, 1)}});
    SessionStore store;
    const auto monitor = SessionMonitoring::monitor("antigravitySessions", MonitorPeriod::antigravitySessions,
                                                    source, store, services(), [this] { ++m_updates; });
    monitor->start();
    QVERIFY(lands(*monitor));
    QVERIFY(m_scheduler->advanceToNext());
    QVERIFY(lands(*monitor));
    QCOMPARE(ids(store.sessions()), QStringList{u"a"_s});
    QVERIFY(monitor->isRetrying());
    QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(5));
    const QString logged = m_logger->recentLines().join(u'\n');
    QVERIFY2(logged.contains(u"failed"_s) && logged.contains(u"AntigravityError#2"_s), qPrintable(logged));
    QVERIFY(!logged.contains(u"locked"_s));
    QVERIFY(m_scheduler->advanceToNext());
    QVERIFY(lands(*monitor));
    QCOMPARE(ids(store.sessions()), QStringList{u"b"_s});
    QVERIFY(!monitor->isRetrying());
    monitor->stop();
}

void SessionMonitorsTest::combinedSourcesThroughTheMonitor() {
    // The combined reading never fails for one of its sources: the monitor publishes the others.
    auto failing = std::make_shared<ScriptedSource>();
    failing->script({SessionProviderError{"OrcaError", u"bad JSON"_s}});
    auto transcripts = std::make_shared<ScriptedSource>();
    transcripts->script({QList{session(u"old"_s, 1), session(u"new"_s, 9)}});
    auto combined = std::make_shared<CombinedSessionProvider>(
        QList<std::shared_ptr<const SessionProvider>>{failing, transcripts}, m_logger.get());
    SessionStore store;
    const auto monitor = SessionMonitoring::monitor("claudeSessions", MonitorPeriod::claudeSessions, combined,
                                                    store, services(), [this] { ++m_updates; });
    monitor->start();
    QVERIFY(lands(*monitor));
    QCOMPARE(ids(store.sessions()), (QStringList{u"new"_s, u"old"_s}));
    QVERIFY(!monitor->isRetrying());
    QVERIFY(m_logger->recentLines().join(u'\n').contains(u"session.provider.failed"_s));
    monitor->stop();
}

QTEST_GUILESS_MAIN(SessionMonitorsTest)
#include "SessionMonitorsTest.moc"
