#include "spatial/slots/ThrowProjection.h"

#include <QTest>

using namespace tessary;

namespace {

const QRectF visible(0, 25, 1440, 875);
const QRectF start(600, 400, 100, 100);

} // namespace

class ThrowProjectionTest : public QObject {
    Q_OBJECT
private slots:
    void distance();
    void landing_data();
    void landing();
    void duration();
};

// As far as the speed of release carries it, either way: a flick of 1000 per second goes a few hundred
// points.
void ThrowProjectionTest::distance() {
    const ThrowProjection projection;
    QVERIFY(projection.distance(1000) > 300 && projection.distance(1000) < 500);
    QCOMPARE(projection.distance(-500), -projection.distance(500));
    QCOMPARE(projection.distance(1000), 2 * projection.distance(500));
    QCOMPARE(projection.distance(0) + 1, 1.0);
}

void ThrowProjectionTest::landing_data() {
    QTest::addColumn<QPointF>("velocity");
    QTest::addColumn<QRectF>("expected"); // null: no throw
    QTest::newRow("179 is a drop") << QPointF(179, 0) << QRectF();
    QTest::newRow("180 is a throw") << QPointF(180, 0) << QRectF(671.82, 400, 100, 100);
    QTest::newRow("180 on the diagonal is a throw")
        << QPointF(108, 144) << QRectF(643.092, 457.456, 100, 100);
    QTest::newRow("just under 180 on the diagonal is a drop") << QPointF(107.9, 144) << QRectF();
    QTest::newRow("upwards flick of 179 is a drop") << QPointF(0, -179) << QRectF();
    QTest::newRow("leftwards inside the screen") << QPointF(-1000, 0) << QRectF(201, 400, 100, 100);
    QTest::newRow("towards the top right corner ends clamped")
        << QPointF(3000, -3000) << QRectF(1340, 25, 100, 100);
    QTest::newRow("towards the bottom left corner ends clamped")
        << QPointF(-5000, 5000) << QRectF(0, 800, 100, 100);
}

void ThrowProjectionTest::landing() {
    QFETCH(QPointF, velocity);
    QFETCH(QRectF, expected);
    const auto landed = ThrowProjection().landing(start, velocity, visible);
    QCOMPARE(landed.has_value(), !expected.isNull());
    if (landed) {
        QCOMPARE(*landed, expected);
    }
}

// Longer for farther and slower throws, and never shorter than 0.22 nor longer than 1 second.
void ThrowProjectionTest::duration() {
    const QRectF from(0, 0, 100, 100);
    const auto lasts = [&](double distance, double speed) {
        return ThrowProjection::duration(from, from.translated(distance, 0), speed);
    };
    QCOMPARE(lasts(0, 1000), 0.22);
    QCOMPARE(lasts(10, 1000), 0.22);
    QCOMPARE(lasts(3000, 500), 1.0);
    QVERIFY(lasts(500, 2000) > lasts(100, 2000));
    QVERIFY(lasts(500, 1000) > lasts(500, 2000));
    // No speed is taken as a slow one, not as a division by zero: a tiny move still ends soon.
    QVERIFY(lasts(0.2, 0) > 0.22 && lasts(0.2, 0) < 1);
}

QTEST_GUILESS_MAIN(ThrowProjectionTest)
#include "ThrowProjectionTest.moc"
