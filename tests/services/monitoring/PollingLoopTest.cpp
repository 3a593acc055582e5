#include "services/monitoring/PollingLoop.h"

#include <QTest>

#include <memory>

using namespace tessary;

namespace {

// A step that the test finishes by hand, recording when each step began.
struct HeldSteps {
    ManualClock* clock = nullptr;
    QDateTime start;
    QList<double> began;
    QList<CancellationToken> tokens;
    QList<PollingLoop::Finish> finishes;
    bool finishAtOnce = false;

    PollingLoop::Step step() {
        return [this](const CancellationToken& cancellation, PollingLoop::Finish finish) {
            began.append(secondsBetween(start, clock->now()));
            tokens.append(cancellation);
            if (finishAtOnce) {
                finish();
            } else {
                finishes.append(std::move(finish));
            }
        };
    }
    void finishOldest() { finishes.takeFirst()(); }
};

} // namespace

class PollingLoopTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void firstStepAtOnceThenTheIntervalAskedEachTime();
    void stepsNeverOverlap();
    void stopCancelsTheStepAndEndsTheLoop();
    void restartWaitsForTheCancelledStepThenBeginsAtOnce();
    void aSecondFinishChangesNothing();
    void lateFinishAfterTheLoopIsGoneIsHarmless();

private:
    std::unique_ptr<ManualClock> m_clock;
    std::unique_ptr<ManualScheduler> m_scheduler;
    HeldSteps m_steps;
};

void PollingLoopTest::init() {
    m_clock = std::make_unique<ManualClock>();
    m_scheduler = std::make_unique<ManualScheduler>(*m_clock);
    m_steps = HeldSteps{};
    m_steps.clock = m_clock.get();
    m_steps.start = m_clock->now();
}

void PollingLoopTest::firstStepAtOnceThenTheIntervalAskedEachTime() {
    m_steps.finishAtOnce = true;
    QList<double> intervals{10, 3, 7};
    int asked = 0;
    PollingLoop loop(
        *m_scheduler, [&] { return intervals.at(asked++ % intervals.size()); }, m_steps.step());
    loop.start();
    QCOMPARE(m_steps.began, QList<double>{0});
    QCOMPARE(asked, 1);
    m_scheduler->advance(30);
    // 0, then +10, +3, +7, +10 ...
    QCOMPARE(m_steps.began, (QList<double>{0, 10, 13, 20, 30}));
    QVERIFY(loop.isRunning());
}

void PollingLoopTest::stepsNeverOverlap() {
    PollingLoop loop(
        *m_scheduler, [] { return 5.0; }, m_steps.step());
    loop.start();
    QVERIFY(loop.isStepRunning());
    m_scheduler->advance(60);
    QCOMPARE(m_steps.began.size(), 1);
    QCOMPARE(m_scheduler->pendingCount(), 0);

    // The pause counts from the end of the step, not from its start.
    m_steps.finishOldest();
    QVERIFY(!loop.isStepRunning());
    QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(5));
    m_scheduler->advance(5);
    QCOMPARE(m_steps.began, (QList<double>{0, 65}));
}

void PollingLoopTest::stopCancelsTheStepAndEndsTheLoop() {
    PollingLoop loop(
        *m_scheduler, [] { return 5.0; }, m_steps.step());
    loop.start();
    QVERIFY(!m_steps.tokens.first().isCancelled());
    loop.stop();
    QVERIFY(m_steps.tokens.first().isCancelled());
    m_steps.finishOldest();
    QCOMPARE(m_scheduler->pendingCount(), 0);
    m_scheduler->advance(60);
    QCOMPARE(m_steps.began.size(), 1);

    // Stopping during the sleep cancels the sleep.
    m_steps.finishAtOnce = true;
    loop.start();
    QCOMPARE(m_scheduler->pendingCount(), 1);
    loop.stop();
    QCOMPARE(m_scheduler->pendingCount(), 0);
    QVERIFY(!loop.isRunning());
}

void PollingLoopTest::restartWaitsForTheCancelledStepThenBeginsAtOnce() {
    PollingLoop loop(
        *m_scheduler, [] { return 5.0; }, m_steps.step());
    loop.start();
    m_scheduler->advance(1);
    loop.start();
    QVERIFY(m_steps.tokens.first().isCancelled());
    QCOMPARE(m_steps.began.size(), 1); // not while the cancelled one is out
    m_scheduler->advance(1);
    m_steps.finishOldest();
    QCOMPARE(m_steps.began, (QList<double>{0, 2}));
    QVERIFY(!m_steps.tokens.last().isCancelled());
    m_steps.finishOldest();
    QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(5));

    // A restart during the sleep begins a step at once.
    loop.start();
    QCOMPARE(m_steps.began, (QList<double>{0, 2, 2}));
    QCOMPARE(m_scheduler->pendingCount(), 0);
}

void PollingLoopTest::aSecondFinishChangesNothing() {
    PollingLoop loop(
        *m_scheduler, [] { return 5.0; }, m_steps.step());
    loop.start();
    const PollingLoop::Finish first = m_steps.finishes.first();
    m_steps.finishOldest();
    m_scheduler->advance(5);
    QCOMPARE(m_steps.began.size(), 2);
    first(); // the first step's finish, again, while the second is out
    QVERIFY(loop.isStepRunning());
    QCOMPARE(m_scheduler->pendingCount(), 0);
}

void PollingLoopTest::lateFinishAfterTheLoopIsGoneIsHarmless() {
    auto loop = std::make_unique<PollingLoop>(
        *m_scheduler, [] { return 5.0; }, m_steps.step());
    loop->start();
    loop.reset();
    QVERIFY(m_steps.tokens.first().isCancelled());
    m_steps.finishOldest();
    QCOMPARE(m_scheduler->pendingCount(), 0);
}

QTEST_GUILESS_MAIN(PollingLoopTest)
#include "PollingLoopTest.moc"
