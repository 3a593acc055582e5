#include "services/monitoring/AgentListCadence.h"

#include <QTest>

#include <optional>

using namespace tessary;

namespace {

const QDateTime origin = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

QDateTime at(double seconds) {
    return origin.addMSecs(static_cast<qint64>(seconds * 1000));
}

} // namespace

class AgentListCadenceTest : public QObject {
    Q_OBJECT
private slots:
    void firstReadingIsAtOnce();
    void nextReading_data();
    void nextReading();
    void changeDuringAReadingOutlivesIt();
    void burstOfChangesGivesOneReading();
};

void AgentListCadenceTest::firstReadingIsAtOnce() {
    AgentListCadence cadence;
    QVERIFY(cadence.nextReading() < at(-1'000'000'000));
    // A change before any reading doesn't hold the first one back.
    cadence.folderChanged(at(0));
    QVERIFY(cadence.nextReading() < at(-1'000'000'000));
}

// Times are seconds after `origin`; a negative change means none.
void AgentListCadenceTest::nextReading_data() {
    QTest::addColumn<double>("lastReading");
    QTest::addColumn<double>("change");
    QTest::addColumn<double>("expected");

    QTest::newRow("quiet: slow poll") << 0.0 << -1.0 << 30.0;
    QTest::newRow("change long after: settles") << 0.0 << 10.0 << 10.5;
    QTest::newRow("change right after: minimum gap") << 0.0 << 0.1 << 2.0;
    QTest::newRow("settled exactly at the gap") << 0.0 << 1.5 << 2.0;
    QTest::newRow("change near the poll: the poll comes first") << 0.0 << 29.8 << 30.0;
    QTest::newRow("overdue change: at once after the gap") << 100.0 << 40.0 << 102.0;
}

void AgentListCadenceTest::nextReading() {
    QFETCH(double, lastReading);
    QFETCH(double, change);
    QFETCH(double, expected);
    AgentListCadence cadence;
    cadence.lastReading = at(lastReading);
    if (change >= 0) {
        cadence.pendingChange = at(change);
    }
    QCOMPARE(cadence.nextReading(), at(expected));
}

void AgentListCadenceTest::changeDuringAReadingOutlivesIt() {
    AgentListCadence cadence;
    cadence.folderChanged(at(4.9));
    cadence.readingStarted(at(5));
    QCOMPARE(cadence.pendingChange, std::nullopt); // covered by the reading
    QCOMPARE(cadence.nextReading(), at(35));

    cadence.readingStarted(at(40));
    cadence.folderChanged(at(40.3)); // while the reading runs
    cadence.readingStarted(at(40));  // the same reading told again changes nothing
    QCOMPARE(cadence.pendingChange, std::optional<QDateTime>(at(40.3)));
    QCOMPARE(cadence.nextReading(), at(42));
}

void AgentListCadenceTest::burstOfChangesGivesOneReading() {
    AgentListCadence cadence;
    cadence.readingStarted(at(0));
    for (int i = 0; i < 10; ++i) {
        cadence.folderChanged(at(3 + i * 0.1));
    }
    QCOMPARE(cadence.nextReading(), at(3.9 + 0.5));
    cadence.readingStarted(cadence.nextReading());
    QCOMPARE(cadence.pendingChange, std::nullopt);
    QCOMPARE(cadence.nextReading(), at(4.4 + 30));
}

QTEST_GUILESS_MAIN(AgentListCadenceTest)
#include "AgentListCadenceTest.moc"
