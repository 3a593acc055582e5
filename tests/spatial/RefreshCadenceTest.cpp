#include "spatial/engine/RefreshCadence.h"

#include <QTest>

using namespace tessary;

Q_DECLARE_METATYPE(std::optional<double>)

class RefreshCadenceTest : public QObject {
    Q_OBJECT
private slots:
    void interval_data();
    void interval();
    void customIntervals();
};

void RefreshCadenceTest::interval_data() {
    QTest::addColumn<std::optional<double>>("secondsSinceChange");
    QTest::addColumn<double>("interval");
    QTest::newRow("no change on record") << std::optional<double>() << 0.4;
    QTest::newRow("change just now") << std::optional(0.0) << 0.4;
    QTest::newRow("just under five seconds") << std::optional(4.999) << 0.4;
    QTest::newRow("exactly five seconds") << std::optional(5.0) << 2.0;
    QTest::newRow("long quiet") << std::optional(3600.0) << 2.0;
    QTest::newRow("change stamped in the future") << std::optional(-30.0) << 0.4;
}

void RefreshCadenceTest::interval() {
    QFETCH(std::optional<double>, secondsSinceChange);
    QFETCH(double, interval);
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
    std::optional<QDateTime> lastChangeAt;
    if (secondsSinceChange) {
        lastChangeAt = now.addMSecs(static_cast<qint64>(-*secondsSinceChange * 1000));
    }
    QCOMPARE(RefreshCadence().interval(now, lastChangeAt), interval);
}

void RefreshCadenceTest::customIntervals() {
    const RefreshCadence cadence{0.1, 10, 1};
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
    QCOMPARE(cadence.interval(now, now.addMSecs(-999)), 0.1);
    QCOMPARE(cadence.interval(now, now.addSecs(-1)), 10.0);
}

QTEST_GUILESS_MAIN(RefreshCadenceTest)
#include "RefreshCadenceTest.moc"
