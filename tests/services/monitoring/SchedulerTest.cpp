#include "services/monitoring/Scheduler.h"

#include <QElapsedTimer>
#include <QTest>

#include <cmath>
#include <limits>

using namespace tessary;

class SchedulerTest : public QObject {
    Q_OBJECT
private slots:
    void delayMilliseconds_data();
    void delayMilliseconds();
    void manualSchedulerRunsCallsInTimeOrderAtTheirTime();
    void manualSchedulerRunsCallsScheduledOnTheWay();
    void cancelledOrDroppedCallsNeverRun();
    void qtSchedulerFiresInOrderAndHonoursCancel();
};

void SchedulerTest::delayMilliseconds_data() {
    QTest::addColumn<double>("seconds");
    QTest::addColumn<qint64>("expected");
    QTest::newRow("zero") << 0.0 << qint64(0);
    QTest::newRow("negative") << -3.0 << qint64(0);
    QTest::newRow("nan") << std::numeric_limits<double>::quiet_NaN() << qint64(0);
    QTest::newRow("settle") << 0.5 << qint64(500);
    QTest::newRow("sub-millisecond rounding") << 0.3 << qint64(300);
    QTest::newRow("infinite is capped")
        << std::numeric_limits<double>::infinity() << qint64(std::numeric_limits<int>::max());
}

void SchedulerTest::delayMilliseconds() {
    QFETCH(double, seconds);
    QFETCH(qint64, expected);
    QCOMPARE(tessary::delayMilliseconds(seconds), expected);
}

void SchedulerTest::manualSchedulerRunsCallsInTimeOrderAtTheirTime() {
    ManualClock clock;
    const QDateTime start = clock.now();
    ManualScheduler scheduler(clock);
    QList<QPair<int, double>> fired;
    auto record = [&](int id) { return [&, id] { fired.append({id, secondsBetween(start, clock.now())}); }; };
    const ScheduledCall late = scheduler.callAfter(3, record(3));
    const ScheduledCall early = scheduler.callAfter(1, record(1));
    const ScheduledCall tie = scheduler.callAfter(1, record(2));
    QCOMPARE(scheduler.pendingCount(), 3);
    QCOMPARE(scheduler.secondsUntilNext(), std::optional<double>(1.0));

    scheduler.advance(0.999);
    QVERIFY(fired.isEmpty());
    scheduler.advance(5);
    const QList<QPair<int, double>> expected{{1, 1.0}, {2, 1.0}, {3, 3.0}};
    QCOMPARE(fired, expected);
    QCOMPARE(secondsBetween(start, clock.now()), 5.999);
    QCOMPARE(scheduler.pendingCount(), 0);
    QVERIFY(!scheduler.advanceToNext());
}

void SchedulerTest::manualSchedulerRunsCallsScheduledOnTheWay() {
    ManualClock clock;
    const QDateTime start = clock.now();
    ManualScheduler scheduler(clock);
    QList<double> ticks;
    ScheduledCall next;
    std::function<void()> tick = [&] {
        ticks.append(secondsBetween(start, clock.now()));
        next = scheduler.callAfter(2, tick);
    };
    next = scheduler.callAfter(0, tick);
    scheduler.runDue();
    QCOMPARE(ticks, QList<double>{0.0});
    scheduler.advance(7);
    QCOMPARE(ticks, (QList<double>{0, 2, 4, 6}));
    QVERIFY(scheduler.advanceToNext());
    QCOMPARE(ticks.last(), 8.0);
}

void SchedulerTest::cancelledOrDroppedCallsNeverRun() {
    ManualClock clock;
    ManualScheduler scheduler(clock);
    int runs = 0;
    ScheduledCall cancelled = scheduler.callAfter(1, [&] { ++runs; });
    cancelled.cancel();
    {
        const ScheduledCall dropped = scheduler.callAfter(1, [&] { ++runs; });
    }
    ScheduledCall moved = scheduler.callAfter(1, [&] { runs += 10; });
    ScheduledCall target;
    target = std::move(moved);
    QCOMPARE(scheduler.pendingCount(), 1);
    scheduler.advance(2);
    QCOMPARE(runs, 10);
    target.cancel(); // after it ran: nothing happens
}

void SchedulerTest::qtSchedulerFiresInOrderAndHonoursCancel() {
    QtScheduler scheduler;
    QStringList fired;
    const ScheduledCall second = scheduler.callAfter(0.03, [&] { fired.append(QStringLiteral("second")); });
    const ScheduledCall first = scheduler.callAfter(0, [&] { fired.append(QStringLiteral("first")); });
    ScheduledCall cancelled = scheduler.callAfter(0.01, [&] { fired.append(QStringLiteral("cancelled")); });
    QVERIFY(fired.isEmpty()); // never inside callAfter
    cancelled.cancel();
    QElapsedTimer elapsed;
    elapsed.start();
    QTRY_COMPARE(fired, (QStringList{QStringLiteral("first"), QStringLiteral("second")}));
    QVERIFY(elapsed.elapsed() >= 29);
    QCOMPARE(scheduler.pendingCount(), 0);
}

QTEST_GUILESS_MAIN(SchedulerTest)
#include "SchedulerTest.moc"
