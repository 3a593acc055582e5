#include "services/monitoring/SessionMonitor.h"
#include "services/monitoring/UsageMonitor.h"
#include "support/MonitorHarness.h"

#include <QMutex>
#include <QSemaphore>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

struct Report {
    int percent = 0;
    bool operator==(const Report&) const = default;
};

ProviderFailure failure(const QString& kind) {
    return {DiagnosticValue::name(kind), u"failed: "_s + kind, false};
}

// A provider that answers from a script, on the runner's threads. With `gated` each call waits
// until the test releases it (or its reading is cancelled), so that a reading can be held out.
template <typename Value>
struct Script {
    QMutex lock;
    QList<ProviderResult<Value>> answers;
    ProviderResult<Value> fallback;
    bool throws = false;
    bool gated = false;
    QSemaphore gate;
    std::atomic_int calls{0};
    std::atomic_int running{0};
    std::atomic_int mostRunning{0};
    std::atomic_bool sawCancellation{false};

    explicit Script(ProviderResult<Value> standing)
        : fallback(std::move(standing)) {}

    Provider<Value> provider() {
        return [this](const CancellationToken& cancellation) -> ProviderResult<Value> {
            ++calls;
            const int now = ++running;
            int most = mostRunning.load();
            while (now > most && !mostRunning.compare_exchange_weak(most, now)) {
            }
            if (gated) {
                while (!gate.tryAcquire(1, 5)) {
                    if (cancellation.isCancelled()) {
                        sawCancellation = true;
                        break;
                    }
                }
            }
            --running;
            if (throws) {
                throw std::runtime_error("provider bug");
            }
            const QMutexLocker locker(&lock);
            return answers.isEmpty() ? fallback : answers.takeFirst();
        };
    }
    void script(std::initializer_list<ProviderResult<Value>> next) {
        const QMutexLocker locker(&lock);
        for (const auto& answer : next) {
            answers.append(answer);
        }
    }
};

using Sessions = QList<QString>;

} // namespace

class PolledMonitorTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void usageCadenceAfterSuccessAndFailure();
    void cancelledReadingIsNeverAFailure();
    void providerThatThrowsIsAFailure();
    void readingsNeverOverlap();
    void stopDropsTheReadingOut();
    void monitorDestroyedWhileReading();

    void emptyReadGuard_data();
    void emptyReadGuard();
    void sessionFailureLeavesTheStoreAlone();

private:
    // The messages of the monitor lines, without the monitor's name.
    QStringList loggedEvents() const {
        QStringList events;
        for (const QString& line : m_monitoring->logger.recentLines()) {
            QStringList parts = line.split(u' ');
            if (parts.size() < 4 || parts.at(1) != u"monitor"_s) {
                continue;
            }
            parts = parts.mid(3);
            parts.removeIf([](const QString& part) { return part.startsWith(u"monitor="_s); });
            events.append(parts.join(u' '));
        }
        return events;
    }

    std::unique_ptr<MonitorHarness> m_monitoring;
    int m_updates = 0;
};

void PolledMonitorTest::init() {
    m_monitoring = std::make_unique<MonitorHarness>(4);
    m_updates = 0;
}

void PolledMonitorTest::cleanup() {
    m_monitoring.reset();
}

void PolledMonitorTest::usageCadenceAfterSuccessAndFailure() {
    Script<Report> script(Report{40});
    script.script({Report{20}, failure(u"requestFailed"_s), failure(u"requestFailed"_s),
                   failure(u"unauthorized"_s), Report{30}});
    LatestValueStore<Report> store;
    UsageMonitor<Report> monitor("claudeUsage", MonitorPeriod::claudeUsage, script.provider(), store,
                                 m_monitoring->services(), [this] { ++m_updates; });
    monitor.start();
    // The first reading begins at once; a fast provider may already have delivered it by now.
    QVERIFY(MonitorHarness::lands(monitor));
    QCOMPARE(script.calls.load(), 1);
    QCOMPARE(store.latest(), std::optional<Report>(Report{20}));
    QCOMPARE(m_updates, 1);
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(120));

    m_monitoring->scheduler.advance(119.9);
    QCOMPARE(script.calls.load(), 1);
    m_monitoring->scheduler.advance(0.1);
    QVERIFY(MonitorHarness::lands(monitor));
    // A failure keeps the report on show, stores its text and retries after 10 seconds.
    QCOMPARE(store.latest(), std::optional<Report>(Report{20}));
    QCOMPARE(store.lastErrorDescription(), std::optional<QString>(u"failed: requestFailed"_s));
    QVERIFY(monitor.isRetrying());
    QCOMPARE(m_updates, 2);
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(10));

    for (int reading = 3; reading <= 5; ++reading) {
        QVERIFY(m_monitoring->scheduler.advanceToNext());
        QVERIFY(MonitorHarness::lands(monitor));
    }
    QCOMPARE(store.latest(), std::optional<Report>(Report{30}));
    QCOMPARE(store.lastErrorDescription(), std::nullopt);
    QVERIFY(!monitor.isRetrying());
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(120));
    QCOMPARE(m_updates, 5);
    // The same kind twice is logged once; a new kind is logged; the good reading recovers.
    QCOMPARE(loggedEvents(), (QStringList{u"start"_s, u"failed error=requestFailed"_s,
                                          u"failed error=unauthorized"_s, u"recovered"_s}));
    QVERIFY(m_monitoring->logger.recentLines().first().endsWith(u"monitor info start monitor=claudeUsage"_s));
    QVERIFY(m_monitoring->logger.recentLines().at(1).contains(u" monitor error failed "_s));

    monitor.stop();
    monitor.stop();
    QCOMPARE(loggedEvents().last(), u"stop"_s);
    QCOMPARE(loggedEvents().count(u"stop"_s), 1);
    QCOMPARE(m_monitoring->scheduler.pendingCount(), 0);
}

void PolledMonitorTest::cancelledReadingIsNeverAFailure() {
    Script<Report> script(ProviderFailure::cancelled());
    LatestValueStore<Report> store;
    store.update(Report{50});
    UsageMonitor<Report> monitor("codexUsage", MonitorPeriod::codexUsage, script.provider(), store,
                                 m_monitoring->services(), [this] { ++m_updates; });
    monitor.start();
    QVERIFY(MonitorHarness::lands(monitor));
    QCOMPARE(m_updates, 0);
    QCOMPARE(store.lastErrorDescription(), std::nullopt);
    QVERIFY(!monitor.isRetrying());
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(90));
    QCOMPARE(loggedEvents(), QStringList{u"start"_s});
}

void PolledMonitorTest::providerThatThrowsIsAFailure() {
    Script<Report> script(Report{1});
    script.throws = true;
    LatestValueStore<Report> store;
    UsageMonitor<Report> monitor("claudeUsage", MonitorPeriod::claudeUsage, script.provider(), store,
                                 m_monitoring->services(), [this] { ++m_updates; });
    monitor.start();
    QVERIFY(MonitorHarness::lands(monitor));
    QVERIFY(store.lastErrorDescription().has_value());
    QVERIFY(monitor.isRetrying());
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(10));
    // The loop goes on after it.
    script.throws = false;
    QVERIFY(m_monitoring->scheduler.advanceToNext());
    QVERIFY(MonitorHarness::lands(monitor));
    QCOMPARE(store.latest(), std::optional<Report>(Report{1}));
}

void PolledMonitorTest::readingsNeverOverlap() {
    Script<Report> script(Report{10});
    script.gated = true;
    LatestValueStore<Report> store;
    UsageMonitor<Report> monitor("claudeUsage", MonitorPeriod::claudeUsage, script.provider(), store,
                                 m_monitoring->services(), [this] { ++m_updates; });
    monitor.start();
    QTRY_COMPARE(script.calls.load(), 1);
    // However long the reading takes, no second one begins beside it.
    m_monitoring->scheduler.advance(1000);
    QCOMPARE(m_monitoring->scheduler.pendingCount(), 0);
    // A restart cancels the reading out and waits for it before the next begins.
    monitor.start();
    QTRY_VERIFY(script.sawCancellation.load());
    QTRY_COMPARE(script.calls.load(), 2);
    script.gate.release();
    QVERIFY(MonitorHarness::lands(monitor));
    QCOMPARE(script.mostRunning.load(), 1);
    // The cancelled reading's answer was dropped; the second one's was stored once.
    QCOMPARE(m_updates, 1);
    QCOMPARE(store.latest(), std::optional<Report>(Report{10}));
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(120));
}

void PolledMonitorTest::stopDropsTheReadingOut() {
    Script<Report> script(Report{70});
    script.gated = true;
    LatestValueStore<Report> store;
    UsageMonitor<Report> monitor("claudeUsage", MonitorPeriod::claudeUsage, script.provider(), store,
                                 m_monitoring->services(), [this] { ++m_updates; });
    monitor.start();
    QTRY_COMPARE(script.calls.load(), 1);
    monitor.stop();
    QVERIFY(MonitorHarness::lands(monitor));
    QVERIFY(script.sawCancellation.load());
    QCOMPARE(store.latest(), std::nullopt);
    QCOMPARE(store.lastErrorDescription(), std::nullopt);
    QCOMPARE(m_updates, 0);
    QCOMPARE(m_monitoring->scheduler.pendingCount(), 0);
    QVERIFY(!monitor.isRunning());
    QCOMPARE(loggedEvents(), (QStringList{u"start"_s, u"stop"_s}));
}

void PolledMonitorTest::monitorDestroyedWhileReading() {
    Script<Report> script(Report{70});
    script.gated = true;
    LatestValueStore<Report> store;
    auto monitor = std::make_unique<UsageMonitor<Report>>(
        DiagnosticLiteral("claudeUsage"), MonitorPeriod::claudeUsage, script.provider(), store,
        m_monitoring->services(), [this] { ++m_updates; });
    monitor->start();
    QTRY_COMPARE(script.calls.load(), 1);
    monitor.reset();
    script.gate.release();
    QVERIFY(m_monitoring->runner.waitForIdle(5000));
    QTest::qWait(10); // let the result reach the main thread, where nobody takes it
    QCOMPARE(m_updates, 0);
    QCOMPARE(store.latest(), std::nullopt);
}

// Each reading's list, as a count of sessions (0 = empty); the store starts with one session
// when `storeStartsFull`.
void PolledMonitorTest::emptyReadGuard_data() {
    QTest::addColumn<bool>("storeStartsFull");
    QTest::addColumn<QList<int>>("readings");
    QTest::addColumn<QList<int>>("storedAfterEach");
    QTest::addColumn<QList<double>>("pauseAfterEach");
    QTest::addColumn<QStringList>("logged");

    QTest::newRow("a real emptying takes three reads")
        << true << QList<int>{0, 0, 0} << QList<int>{1, 1, 0} << QList<double>{5, 5, 45}
        << QStringList{u"start"_s, u"empty.retrying"_s};
    QTest::newRow("one empty read changes nothing")
        << true << QList<int>{0, 2} << QList<int>{1, 2} << QList<double>{5, 45}
        << QStringList{u"start"_s, u"empty.retrying"_s, u"recovered"_s};
    QTest::newRow("empty over an empty store is published")
        << false << QList<int>{0, 0} << QList<int>{0, 0} << QList<double>{45, 45} << QStringList{u"start"_s};
    QTest::newRow("the count starts over after a good read")
        << true << QList<int>{0, 3, 0, 0, 0} << QList<int>{1, 3, 3, 3, 0} << QList<double>{5, 45, 5, 5, 45}
        << QStringList{u"start"_s, u"empty.retrying"_s, u"recovered"_s, u"empty.retrying"_s};
}

void PolledMonitorTest::emptyReadGuard() {
    QFETCH(bool, storeStartsFull);
    QFETCH(QList<int>, readings);
    QFETCH(QList<int>, storedAfterEach);
    QFETCH(QList<double>, pauseAfterEach);
    QFETCH(QStringList, logged);

    Script<Sessions> script(Sessions{});
    for (const int count : readings) {
        Sessions sessions;
        for (int i = 0; i < count; ++i) {
            sessions.append(u"session-"_s + QString::number(i));
        }
        script.script({sessions});
    }
    LatestValueStore<Sessions> store;
    if (storeStartsFull) {
        store.update(Sessions{u"kept"_s});
    }
    SessionMonitor<Sessions> monitor("claudeSessions", MonitorPeriod::claudeSessions, script.provider(),
                                     store, m_monitoring->services(), [this] { ++m_updates; });
    int expectedUpdates = 0;
    int previousStored = storeStartsFull ? 1 : 0;
    monitor.start();
    for (qsizetype i = 0; i < readings.size(); ++i) {
        if (i > 0) {
            QVERIFY(m_monitoring->scheduler.advanceToNext());
        }
        QVERIFY(MonitorHarness::lands(monitor));
        const qsizetype stored = store.latestOr({}).size();
        QCOMPARE(stored, storedAfterEach.at(i));
        // Only a reading that reaches the store rings the coordinator.
        const bool published = readings.at(i) == storedAfterEach.at(i) &&
                               (readings.at(i) > 0 || previousStored == 0 || stored == 0);
        expectedUpdates += published ? 1 : 0;
        QCOMPARE(m_updates, expectedUpdates);
        QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(pauseAfterEach.at(i)));
        previousStored = static_cast<int>(stored);
    }
    QCOMPARE(loggedEvents(), logged);
}

void PolledMonitorTest::sessionFailureLeavesTheStoreAlone() {
    Script<Sessions> script(Sessions{u"b"_s});
    script.script({failure(u"unreadable"_s), failure(u"unreadable"_s)});
    LatestValueStore<Sessions> store;
    store.update(Sessions{u"a"_s});
    SessionMonitor<Sessions> monitor("codexSessions", MonitorPeriod::codexSessions, script.provider(), store,
                                     m_monitoring->services(), [this] { ++m_updates; });
    monitor.start();
    QVERIFY(MonitorHarness::lands(monitor));
    QCOMPARE(store.latest(), std::optional<Sessions>(Sessions{u"a"_s}));
    QCOMPARE(store.lastErrorDescription(), std::nullopt);
    QCOMPARE(m_updates, 0);
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(5));
    QVERIFY(m_monitoring->scheduler.advanceToNext());
    QVERIFY(MonitorHarness::lands(monitor));
    QVERIFY(m_monitoring->scheduler.advanceToNext());
    QVERIFY(MonitorHarness::lands(monitor));
    QCOMPARE(store.latest(), std::optional<Sessions>(Sessions{u"b"_s}));
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(120));
    QCOMPARE(loggedEvents(), (QStringList{u"start"_s, u"failed error=unreadable"_s, u"recovered"_s}));
}

QTEST_GUILESS_MAIN(PolledMonitorTest)
#include "PolledMonitorTest.moc"
