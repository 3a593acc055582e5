#include "services/workspace/SystemEventObserver.h"

#include "platform/systemevents/fake/FakeSystemEventSource.h"

#include <QTest>

using namespace tessary;

class SystemEventObserverTest : public QObject {
    Q_OBJECT
private slots:
    void burstGivesOneCallAfterTheLastEvent();
    void separateEventsGiveSeparateCalls();
    void stopCancelsThePendingCall();
};

void SystemEventObserverTest::burstGivesOneCallAfterTheLastEvent() {
    ManualClock clock;
    ManualScheduler scheduler(clock);
    FakeSystemEventSource source;
    QList<QDateTime> calls;
    SystemEventObserver observer(source, scheduler, [&] { calls.append(clock.now()); });
    observer.start();
    const QDateTime begin = clock.now();
    for (const auto kind : {SystemEventKind::activeSpaceChanged, SystemEventKind::activeSpaceChanged,
                            SystemEventKind::applicationActivated, SystemEventKind::screenParametersChanged,
                            SystemEventKind::activeSpaceChanged}) {
        source.emitEvent(kind);
        scheduler.advance(0.05);
    }
    // The last event came at 0.2 s; the call comes 0.1 s later, once.
    scheduler.advance(1);
    QCOMPARE(calls.size(), 1);
    QCOMPARE(begin.msecsTo(calls.front()), 300);
}

void SystemEventObserverTest::separateEventsGiveSeparateCalls() {
    ManualClock clock;
    ManualScheduler scheduler(clock);
    FakeSystemEventSource source;
    int calls = 0;
    SystemEventObserver observer(source, scheduler, [&] { ++calls; });
    observer.start();
    source.emitEvent(SystemEventKind::didWake);
    scheduler.advance(0.1);
    QCOMPARE(calls, 1);
    source.emitEvent(SystemEventKind::applicationActivated);
    scheduler.advance(0.099);
    QCOMPARE(calls, 1);
    scheduler.advance(0.001);
    QCOMPARE(calls, 2);
}

void SystemEventObserverTest::stopCancelsThePendingCall() {
    ManualClock clock;
    ManualScheduler scheduler(clock);
    FakeSystemEventSource source;
    int calls = 0;
    SystemEventObserver observer(source, scheduler, [&] { ++calls; });
    observer.start();
    source.emitEvent(SystemEventKind::didWake);
    observer.stop();
    QVERIFY(!source.running);
    scheduler.advance(1);
    QCOMPARE(calls, 0);
}

QTEST_GUILESS_MAIN(SystemEventObserverTest)
#include "SystemEventObserverTest.moc"
