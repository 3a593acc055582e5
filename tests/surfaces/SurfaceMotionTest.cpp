#include "surfaces/form/ReleaseVelocity.h"
#include "surfaces/form/SpringCurve.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace tessary;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(SpringTiming)

class SurfaceMotionTest : public QObject {
    Q_OBJECT
private slots:
    void springSettles();
    void hoverInOvershootsOnce();
    void hoverOutNeverOvershoots();
    void springValues_data();
    void springValues();
    void unusableSpringJumps();
    void releaseVelocity_data();
    void releaseVelocity();
    void releaseVelocityForgetsOldSamples();
};

// Each spring comes to rest within about a second and, past that moment, never strays from its end
// again; a damping above the critical one only takes longer.
void SurfaceMotionTest::springSettles() {
    const auto settles = [](SpringTiming timing) {
        const SpringCurve curve(timing);
        const double settled = curve.settlingDuration();
        for (double t = settled; t < settled + 2; t += 0.005) {
            if (std::abs(1 - curve.value(t)) > 0.001 + 1e-9) {
                return -1.0;
            }
        }
        return settled;
    };
    const double in = settles(SpringTiming::hoverIn());
    const double out = settles(SpringTiming::hoverOut());
    const double overDamped = settles(SpringTiming{0.28, 2.0});
    QVERIFY2(in > 0 && in < 1 && out > 0 && out < 1, qPrintable(u"%1 %2"_s.arg(in).arg(out)));
    QVERIFY2(overDamped > out && overDamped < 1.5, qPrintable(QString::number(overDamped)));
}

void SurfaceMotionTest::hoverInOvershootsOnce() {
    // Past its end by a few per cent, enough to be seen and no more.
    const SpringCurve curve(SpringTiming::hoverIn());
    double peak = 0;
    for (double t = 0; t < 1; t += 0.001) {
        peak = std::max(peak, curve.value(t));
    }
    QVERIFY2(peak > 1.01 && peak < 1.05, qPrintable(QString::number(peak, 'f', 4)));
}

void SurfaceMotionTest::hoverOutNeverOvershoots() {
    const SpringCurve curve(SpringTiming::hoverOut());
    double previous = 0;
    for (double t = 0; t < 1; t += 0.001) {
        const double value = curve.value(t);
        QVERIFY(value >= previous - 1e-12);
        QVERIFY(value <= 1);
        previous = value;
    }
}

void SurfaceMotionTest::springValues_data() {
    QTest::addColumn<SpringTiming>("timing");
    QTest::addColumn<double>("seconds");
    QTest::addColumn<double>("expected");
    QTest::newRow("starts at 0") << SpringTiming::hoverIn() << 0.0 << 0.0;
    QTest::newRow("before the start") << SpringTiming::hoverIn() << -1.0 << 0.0;
    QTest::newRow("long after") << SpringTiming::hoverIn() << 10.0 << 1.0;
    QTest::newRow("not a time") << SpringTiming::hoverOut() << std::nan("") << 0.0;
}

void SurfaceMotionTest::springValues() {
    QFETCH(SpringTiming, timing);
    QFETCH(double, seconds);
    QFETCH(double, expected);
    QVERIFY(std::abs(SpringCurve(timing).value(seconds) - expected) < 1e-4);
}

void SurfaceMotionTest::unusableSpringJumps() {
    for (const SpringTiming timing :
         {SpringTiming{0, 0.74}, SpringTiming{-1, 1}, SpringTiming{0.4, 0},
          SpringTiming{std::numeric_limits<double>::infinity(), 1}, SpringTiming{0.4, std::nan("")}}) {
        const SpringCurve curve(timing);
        QCOMPARE(curve.value(0.01), 1.0);
        QCOMPARE(curve.settlingDuration(), 0.0);
    }
}

void SurfaceMotionTest::releaseVelocity_data() {
    QTest::addColumn<QList<QPointF>>("points");
    QTest::addColumn<QList<double>>("times");
    QTest::addColumn<double>("releasedAt");
    QTest::addColumn<QPointF>("expected");

    QTest::newRow("steady 1000 per second to the right")
        << QList<QPointF>{{0, 0}, {16, 0}, {32, 0}, {48, 0}, {64, 0}}
        << QList<double>{0, 0.016, 0.032, 0.048, 0.064} << 0.064 << QPointF(1000, 0);
    QTest::newRow("only the last 100 ms count: slow, then a flick up")
        << QList<QPointF>{{0, 0}, {1, 0}, {2, 0}, {2, 0}, {2, -50}, {2, -100}}
        << QList<double>{0, 0.2, 0.4, 0.45, 0.5, 0.55} << 0.55 << QPointF(0, -1000);
    QTest::newRow("held still before letting go")
        << QList<QPointF>{{0, 0}, {100, 0}, {200, 0}} << QList<double>{0, 0.05, 0.1} << 0.25 << QPointF(0, 0);
    QTest::newRow("one sample in the window reaches back one")
        << QList<QPointF>{{0, 0}, {60, 80}} << QList<double>{0, 0.2} << 0.21 << QPointF(300, 400);
    QTest::newRow("a single sample") << QList<QPointF>{{5, 5}} << QList<double>{1} << 1.0 << QPointF(0, 0);
    QTest::newRow("a burst within one frame")
        << QList<QPointF>{{0, 0}, {40, 0}} << QList<double>{1, 1.002} << 1.002 << QPointF(0, 0);
    QTest::newRow("the clock went backwards")
        << QList<QPointF>{{0, 0}, {100, 0}, {300, 0}} << QList<double>{5, 5.05, 1} << 1.0 << QPointF(0, 0);
    QTest::newRow("not a number is ignored") << QList<QPointF>{{0, 0}, {std::nan(""), 0}, {50, 0}}
                                             << QList<double>{0, 0.02, 0.05} << 0.05 << QPointF(1000, 0);
}

void SurfaceMotionTest::releaseVelocity() {
    QFETCH(QList<QPointF>, points);
    QFETCH(QList<double>, times);
    QFETCH(double, releasedAt);
    QFETCH(QPointF, expected);
    ReleaseVelocity velocity;
    for (qsizetype i = 0; i < points.size(); ++i) {
        velocity.add(points[i], times[i]);
    }
    const QPointF measured = velocity.at(releasedAt);
    QVERIFY2(std::abs(measured.x() - expected.x()) < 1e-6 && std::abs(measured.y() - expected.y()) < 1e-6,
             qPrintable(QStringLiteral("%1, %2").arg(measured.x()).arg(measured.y())));
}

void SurfaceMotionTest::releaseVelocityForgetsOldSamples() {
    // A long drag keeps only a few hundred milliseconds of positions.
    ReleaseVelocity velocity;
    for (int i = 0; i < 10'000; ++i) {
        velocity.add(QPointF(i, 0), i * 0.008);
    }
    QVERIFY(velocity.sampleCount() < 50);
    QCOMPARE(velocity.at(9'999 * 0.008).x(), 125.0);
}

QTEST_GUILESS_MAIN(SurfaceMotionTest)
#include "SurfaceMotionTest.moc"
