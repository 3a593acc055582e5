#include "spatial/notch/CapsuleMetrics.h"
#include "spatial/notch/NotchMetrics.h"
#include "spatial/notch/RingMetrics.h"

#include <QTest>

using namespace tessary;

Q_DECLARE_METATYPE(RestingTabs)
Q_DECLARE_METATYPE(Edge)

class SurfaceMetricsTest : public QObject {
    Q_OBJECT
private slots:
    void notch_data();
    void notch();
    void notchCornerRadius();
    void notchBoxes();
    void capsule_data();
    void capsule();
    void rings_data();
    void rings();
};

void SurfaceMetricsTest::notch_data() {
    QTest::addColumn<QRectF>("notchFrame");
    QTest::addColumn<int>("widgetCount");
    QTest::addColumn<RestingTabs>("restingTabs");
    QTest::addColumn<int>("restingTabCount");
    QTest::addColumn<double>("restingSide");
    QTest::addColumn<double>("expandedSide");
    QTest::addColumn<double>("restingHeight");
    QTest::addColumn<double>("expandedHeight");
    QTest::addColumn<QRectF>("panel");

    // 1.75 * 32 = 56, 3.7 * 32 = 118.4 -> 119, 32 + 3.3 * 32 = 137.6 -> 138.
    QTest::newRow("32 high") << QRectF(620, 0, 200, 32) << 3 << RestingTabs::two << 2 << 56.0 << 119.0 << 32.0
                             << 138.0 << QRectF(501, 0, 438, 138);
    // 43.75 -> 44, 92.5 -> 93, 25 + 82.5 = 107.5 -> 108.
    QTest::newRow("25 high") << QRectF(620, 0, 200, 25) << 4 << RestingTabs::one << 1 << 44.0 << 93.0 << 25.0
                             << 108.0 << QRectF(527, 0, 386, 108);
    // 17.5 -> 18; 37 and 43 are whole and must stay so despite floating point.
    QTest::newRow("10 high") << QRectF(100, 5, 180, 10) << 1 << RestingTabs::two << 1 << 18.0 << 37.0 << 10.0
                             << 43.0 << QRectF(63, 5, 254, 43);
    // 65.625 -> 66, 138.75 -> 139, 37.5 -> 38, 161.25 -> 162.
    QTest::newRow("37.5 high") << QRectF(0, 0, 180, 37.5) << 0 << RestingTabs::two << 0 << 66.0 << 139.0
                               << 38.0 << 162.0 << QRectF(-139, 0, 458, 162);
}

void SurfaceMetricsTest::notch() {
    QFETCH(QRectF, notchFrame);
    QFETCH(int, widgetCount);
    QFETCH(RestingTabs, restingTabs);
    QFETCH(int, restingTabCount);
    QFETCH(double, restingSide);
    QFETCH(double, expandedSide);
    QFETCH(double, restingHeight);
    QFETCH(double, expandedHeight);
    QFETCH(QRectF, panel);
    const NotchMetrics metrics{notchFrame, widgetCount, restingTabs};
    QCOMPARE(metrics.restingTabCount(), restingTabCount);
    QCOMPARE(metrics.sideWidth(false), restingSide);
    QCOMPARE(metrics.sideWidth(true), expandedSide);
    QCOMPARE(metrics.height(false), restingHeight);
    QCOMPARE(metrics.height(true), expandedHeight);
    QCOMPARE(metrics.panelFrame(), panel);
    QCOMPARE(metrics.silhouetteSize(true), panel.size());
}

void SurfaceMetricsTest::notchCornerRadius() {
    QCOMPARE(NotchMetrics::cornerRadius(false), 10.0);
    QCOMPARE(NotchMetrics::cornerRadius(true), 20.0);
    QCOMPARE(NotchMetrics::cornerRadius(0.0), 10.0);
    QCOMPARE(NotchMetrics::cornerRadius(0.25), 12.5);
    QCOMPARE(NotchMetrics::cornerRadius(1.0), 20.0);
    QCOMPARE(NotchMetrics::cornerRadius(-1.0), 10.0);
    QCOMPARE(NotchMetrics::cornerRadius(3.0), 20.0);
}

void SurfaceMetricsTest::notchBoxes() {
    // Notch 200 by 32 at x 620: resting wings of 56, open wings of 119, panel 438 by 138 at x 501.
    const NotchMetrics two{QRectF(620, 0, 200, 32), 3, RestingTabs::two};
    QCOMPARE(two.tabBox(0, false), QRectF(564, 0, 56, 32));
    QCOMPARE(two.tabBox(1, false), QRectF(820, 0, 56, 32));
    QCOMPARE(two.tabBox(0, true), QRectF(501, 0, 119, 32));
    QCOMPARE(two.tabBox(1, true), QRectF(820, 0, 119, 32));
    QVERIFY(two.tabBox(2, false).isEmpty());
    QVERIFY(two.tabBox(-1, false).isEmpty());

    const NotchMetrics one{QRectF(620, 0, 200, 32), 3, RestingTabs::one};
    QCOMPARE(one.tabBox(0, false), QRectF(564, 0, 56, 32));
    QVERIFY(one.tabBox(1, false).isEmpty());

    // Below the notch, 10 in from each side, above a belly of 10: 418 by 138 - 32 - 10 = 96.
    QCOMPARE(two.detailBox(), QRectF(511, 32, 418, 96));
    // Three columns with 8 between them: (418 - 16) / 3 = 134.
    QCOMPARE(two.memberBox(0, 3), QRectF(511, 32, 134, 96));
    QCOMPARE(two.memberBox(2, 3), QRectF(795, 32, 134, 96));
    QCOMPARE(two.memberBox(0, 1), QRectF(511, 32, 418, 96));
    QVERIFY(two.memberBox(3, 3).isEmpty());
    QVERIFY(two.memberBox(0, 0).isEmpty());

    // At rest the shape spans both wings whenever a tab rests, and hugs the notch alone otherwise.
    QCOMPARE(two.silhouetteSize(false), QSizeF(312, 32));
    QCOMPARE(one.silhouetteSize(false), QSizeF(312, 32));
    QCOMPARE((NotchMetrics{QRectF(620, 0, 200, 32), 0, RestingTabs::two}.silhouetteSize(false)),
             QSizeF(200, 32));
}

void SurfaceMetricsTest::capsule_data() {
    QTest::addColumn<Edge>("edge");
    QTest::addColumn<int>("segments");
    QTest::addColumn<double>("base");
    QTest::addColumn<double>("expansion");
    QTest::addColumn<QSizeF>("open");
    QTest::addColumn<QSizeF>("closed");
    QTest::addColumn<QSizeF>("between");
    QTest::addColumn<double>("openRadius");

    // Open: across 0.736, along 0.9 per segment; closed: 0.3 and 0.45; radius 0.7 of across.
    QTest::newRow("three on the right, half open") << Edge::right << 3 << 100.0 << 0.5 << QSizeF(73.6, 270)
                                                   << QSizeF(30, 135) << QSizeF(51.8, 202.5) << 51.52;
    QTest::newRow("two on top, a quarter open") << Edge::top << 2 << 200.0 << 0.25 << QSizeF(360, 147.2)
                                                << QSizeF(180, 60) << QSizeF(225, 81.8) << 103.04;
    QTest::newRow("one on the left, over-expanded clamps open")
        << Edge::left << 1 << 100.0 << 4.0 << QSizeF(73.6, 90) << QSizeF(30, 45) << QSizeF(73.6, 90) << 51.52;
    QTest::newRow("one at the bottom, under-expanded clamps closed")
        << Edge::bottom << 1 << 100.0 << -2.0 << QSizeF(90, 73.6) << QSizeF(45, 30) << QSizeF(45, 30)
        << 51.52;
}

void SurfaceMetricsTest::capsule() {
    QFETCH(Edge, edge);
    QFETCH(int, segments);
    QFETCH(double, base);
    QFETCH(double, expansion);
    QFETCH(QSizeF, open);
    QFETCH(QSizeF, closed);
    QFETCH(QSizeF, between);
    QFETCH(double, openRadius);
    const CapsuleMetrics metrics{edge, segments, base};
    QCOMPARE(metrics.size(true), open);
    QCOMPARE(metrics.size(false), closed);
    QCOMPARE(metrics.size(expansion), between);
    QCOMPARE(metrics.size(1.0), open);
    QCOMPARE(metrics.size(0.0), closed);
    QCOMPARE(metrics.cornerRadius(true), openRadius);
    QCOMPARE(metrics.cornerRadius(false), 0.7 * metrics.across(false));
}

void SurfaceMetricsTest::rings_data() {
    QTest::addColumn<int>("band");
    QTest::addColumn<double>("expansion"); // -1: closed, 2: open, else the expansion itself
    QTest::addColumn<double>("inner");
    QTest::addColumn<double>("outer");
    // Base 100: closed 12 + 34 per band, open 13 + 55 per band.
    QTest::newRow("first band closed") << 0 << -1.0 << 12.0 << 46.0;
    QTest::newRow("third band closed") << 2 << -1.0 << 80.0 << 114.0;
    QTest::newRow("first band open") << 0 << 2.0 << 13.0 << 68.0;
    QTest::newRow("third band open") << 2 << 2.0 << 123.0 << 178.0;
    // a = 12.5, b = 44.5.
    QTest::newRow("second band half open") << 1 << 0.5 << 57.0 << 101.5;
    QTest::newRow("second band not open") << 1 << 0.0 << 46.0 << 80.0;
    QTest::newRow("second band fully open") << 1 << 1.0 << 68.0 << 123.0;
}

void SurfaceMetricsTest::rings() {
    QFETCH(int, band);
    QFETCH(double, expansion);
    QFETCH(double, inner);
    QFETCH(double, outer);
    const RingMetrics metrics{Corner::topLeft, 3, 100};
    const RingMetrics::Radii radii = expansion < 0   ? metrics.radii(band, false)
                                     : expansion > 1 ? metrics.radii(band, true)
                                                     : metrics.radii(band, expansion);
    QCOMPARE(radii.inner, inner);
    QCOMPARE(radii.outer, outer);
    // The rings fill a square as large as the outer radius of their last band.
    QCOMPARE(metrics.side(true), 178.0);
    QCOMPARE(metrics.side(false), 114.0);
    QCOMPARE(metrics.side(0.5), 146.0);
}

QTEST_GUILESS_MAIN(SurfaceMetricsTest)
#include "SurfaceMetricsTest.moc"
