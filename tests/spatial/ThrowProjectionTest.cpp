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
    void distance_data();
    void distance();
    void landing_data();
    void landing();
    void duration_data();
    void duration();
};

void ThrowProjectionTest::distance_data() {
    QTest::addColumn<double>("speed");
    QTest::addColumn<double>("expected");
    // 0.9975 / 0.0025 / 1000: 0.399 seconds of travel at the speed of release.
    QTest::newRow("1000 per second") << 1000.0 << 399.0;
    QTest::newRow("the threshold") << 180.0 << 71.82;
    QTest::newRow("backwards") << -500.0 << -199.5;
    QTest::newRow("standing still") << 0.0 << 0.0;
}

void ThrowProjectionTest::distance() {
    QFETCH(double, speed);
    QFETCH(double, expected);
    QCOMPARE(ThrowProjection().distance(speed) + 1, expected + 1); // fuzzy compare fails near zero
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

void ThrowProjectionTest::duration_data() {
    QTest::addColumn<QRectF>("to");
    QTest::addColumn<double>("speed");
    QTest::addColumn<double>("expected");
    QTest::newRow("a short throw lasts 0.22") << QRectF(10, 0, 100, 100) << 1000.0 << 0.22;
    QTest::newRow("not moving lasts 0.22") << QRectF(0, 0, 100, 100) << 1000.0 << 0.22;
    QTest::newRow("a very long throw lasts 1") << QRectF(3000, 0, 100, 100) << 500.0 << 1.0;
    QTest::newRow("500 at 2000 per second") << QRectF(300, 400, 100, 100) << 2000.0 << 0.525;
    QTest::newRow("no speed counts as 1 per second") << QRectF(0.2, 0, 100, 100) << 0.0 << 0.42;
}

void ThrowProjectionTest::duration() {
    QFETCH(QRectF, to);
    QFETCH(double, speed);
    QFETCH(double, expected);
    QCOMPARE(ThrowProjection::duration(QRectF(0, 0, 100, 100), to, speed), expected);
}

QTEST_GUILESS_MAIN(ThrowProjectionTest)
#include "ThrowProjectionTest.moc"
