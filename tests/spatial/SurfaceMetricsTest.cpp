#include "spatial/notch/CapsuleMetrics.h"
#include "spatial/notch/NotchMetrics.h"
#include "spatial/notch/RingMetrics.h"

#include <QTest>

#include <cmath>

using namespace tessary;

Q_DECLARE_METATYPE(RestingTabs)
Q_DECLARE_METATYPE(Edge)

namespace {

bool isWhole(double value) {
    return std::floor(value) == value;
}

} // namespace

// What the drawing relies on: sizes in whole points, the notch's panel centred under the notch,
// boxes that fit inside one another, and an expansion between 0 and 1 that moves every size from
// closed to open without overshooting.
class SurfaceMetricsTest : public QObject {
    Q_OBJECT
private slots:
    void notch_data();
    void notch();
    void notchCornerRadius();
    void capsule_data();
    void capsule();
    void ringsNestAndGrowWhenOpen();
};

void SurfaceMetricsTest::notch_data() {
    QTest::addColumn<QRectF>("notchFrame");
    QTest::addColumn<int>("widgetCount");
    QTest::addColumn<RestingTabs>("restingTabs");
    QTest::addColumn<int>("restingTabCount");

    QTest::newRow("32 high, two tabs rest") << QRectF(620, 0, 200, 32) << 3 << RestingTabs::two << 2;
    QTest::newRow("25 high, one tab rests") << QRectF(620, 0, 200, 25) << 4 << RestingTabs::one << 1;
    QTest::newRow("10 high, one widget") << QRectF(100, 5, 180, 10) << 1 << RestingTabs::two << 1;
    QTest::newRow("37.5 high, no widgets") << QRectF(0, 0, 180, 37.5) << 0 << RestingTabs::two << 0;
}

void SurfaceMetricsTest::notch() {
    QFETCH(QRectF, notchFrame);
    QFETCH(int, widgetCount);
    QFETCH(RestingTabs, restingTabs);
    QFETCH(int, restingTabCount);
    const NotchMetrics metrics{notchFrame, widgetCount, restingTabs};
    QCOMPARE(metrics.restingTabCount(), restingTabCount);

    const double restingSide = metrics.sideWidth(false);
    const double openSide = metrics.sideWidth(true);
    const double restingHeight = metrics.height(false);
    const double openHeight = metrics.height(true);
    for (const double length : {restingSide, openSide, restingHeight, openHeight}) {
        QVERIFY2(isWhole(length), qPrintable(QString::number(length)));
    }
    QVERIFY(0 < restingSide && restingSide < openSide);
    QVERIFY(restingHeight >= notchFrame.height() && restingHeight < notchFrame.height() + 1);
    QVERIFY(openHeight > restingHeight);

    // The open panel hangs from the notch's top, centred on it, with an open wing either side.
    const QRectF panel = metrics.panelFrame();
    QCOMPARE(panel.top(), notchFrame.top());
    QCOMPARE(panel.center().x(), notchFrame.center().x());
    QCOMPARE(panel.width(), notchFrame.width() + 2 * openSide);
    QCOMPARE(panel.height(), openHeight);
    QCOMPARE(metrics.silhouetteSize(true), panel.size());
    // At rest the shape spans both wings whenever a tab rests, and hugs the notch alone otherwise.
    QCOMPARE(metrics.silhouetteSize(false), restingTabCount > 0
                                                ? QSizeF(notchFrame.width() + 2 * restingSide, restingHeight)
                                                : QSizeF(notchFrame.width(), restingHeight));

    // The tabs sit on the wings: the first left of the notch, the second right of it.
    for (const bool open : {false, true}) {
        const QRectF first = metrics.tabBox(0, open);
        if (restingTabCount == 0) {
            continue;
        }
        QCOMPARE(first.right(), notchFrame.left());
        QCOMPARE(first.width(), metrics.sideWidth(open));
        QCOMPARE(first.top(), notchFrame.top());
    }
    if (restingTabCount == 2) {
        QCOMPARE(metrics.tabBox(1, false).left(), notchFrame.right());
    }
    QVERIFY(metrics.tabBox(restingTabCount, false).isEmpty());
    QVERIFY(metrics.tabBox(-1, false).isEmpty());

    // The detail lies below the resting notch, inside the panel; its members split it into
    // equal columns, left to right, that never overlap.
    const QRectF detail = metrics.detailBox();
    QVERIFY(panel.contains(detail));
    QCOMPARE(detail.top(), notchFrame.top() + restingHeight);
    QCOMPARE(metrics.memberBox(0, 1), detail);
    for (int index = 0; index < 3; ++index) {
        const QRectF member = metrics.memberBox(index, 3);
        QVERIFY(detail.contains(member));
        QCOMPARE(member.width(), metrics.memberBox(0, 3).width());
        if (index > 0) {
            QVERIFY(member.left() > metrics.memberBox(index - 1, 3).right());
        }
    }
    QVERIFY(metrics.memberBox(3, 3).isEmpty());
    QVERIFY(metrics.memberBox(0, 0).isEmpty());
}

void SurfaceMetricsTest::notchCornerRadius() {
    QCOMPARE(NotchMetrics::cornerRadius(0.0), NotchMetrics::cornerRadius(false));
    QCOMPARE(NotchMetrics::cornerRadius(1.0), NotchMetrics::cornerRadius(true));
    QVERIFY(NotchMetrics::cornerRadius(false) < NotchMetrics::cornerRadius(true));
    QCOMPARE(NotchMetrics::cornerRadius(0.5),
             (NotchMetrics::cornerRadius(false) + NotchMetrics::cornerRadius(true)) / 2);
    QCOMPARE(NotchMetrics::cornerRadius(-1.0), NotchMetrics::cornerRadius(false));
    QCOMPARE(NotchMetrics::cornerRadius(3.0), NotchMetrics::cornerRadius(true));
}

void SurfaceMetricsTest::capsule_data() {
    QTest::addColumn<Edge>("edge");
    QTest::addColumn<int>("segments");
    QTest::addColumn<double>("base");
    QTest::newRow("three on the right") << Edge::right << 3 << 100.0;
    QTest::newRow("two on top") << Edge::top << 2 << 200.0;
    QTest::newRow("one on the left") << Edge::left << 1 << 100.0;
    QTest::newRow("one at the bottom") << Edge::bottom << 1 << 100.0;
}

void SurfaceMetricsTest::capsule() {
    QFETCH(Edge, edge);
    QFETCH(int, segments);
    QFETCH(double, base);
    const CapsuleMetrics metrics{edge, segments, base};
    const QSizeF open = metrics.size(true);
    const QSizeF closed = metrics.size(false);
    QVERIFY(open.width() > closed.width() && open.height() > closed.height());

    // Across the edge it is as thick as `across`, and along it each segment adds its share.
    const bool upright = edge == Edge::left || edge == Edge::right;
    const CapsuleMetrics oneSegment{edge, 1, base};
    for (const bool isOpen : {false, true}) {
        const QSizeF size = metrics.size(isOpen);
        QCOMPARE(upright ? size.width() : size.height(), metrics.across(isOpen));
        QCOMPARE(upright ? size.height() : size.width(), metrics.along(isOpen));
        QCOMPARE(metrics.along(isOpen), segments * oneSegment.along(isOpen));
    }

    QCOMPARE(metrics.size(0.0), closed);
    QCOMPARE(metrics.size(1.0), open);
    QCOMPARE(metrics.size(-2.0), closed);
    QCOMPARE(metrics.size(4.0), open);
    const QSizeF half = metrics.size(0.5);
    QVERIFY(closed.width() < half.width() && half.width() < open.width());
    QVERIFY(closed.height() < half.height() && half.height() < open.height());
    QVERIFY(metrics.cornerRadius(false) < metrics.cornerRadius(0.5));
    QVERIFY(metrics.cornerRadius(0.5) < metrics.cornerRadius(true));
}

void SurfaceMetricsTest::ringsNestAndGrowWhenOpen() {
    const RingMetrics metrics{Corner::topLeft, 3, 100};
    for (const double expansion : {0.0, 0.25, 0.5, 1.0}) {
        // Each band starts where the one inside it ends, and the rings fill a square as large as
        // the outer radius of their last band.
        for (int band = 0; band < 2; ++band) {
            QCOMPARE(metrics.radii(band, expansion).outer, metrics.radii(band + 1, expansion).inner);
        }
        QVERIFY(metrics.radii(0, expansion).inner > 0);
        QCOMPARE(metrics.side(expansion), metrics.radii(2, expansion).outer);
    }
    for (int band = 0; band < 3; ++band) {
        QCOMPARE(metrics.radii(band, 0.0), metrics.radii(band, false));
        QCOMPARE(metrics.radii(band, 1.0), metrics.radii(band, true));
        const double closedWidth = metrics.radii(band, false).outer - metrics.radii(band, false).inner;
        const double halfWidth = metrics.radii(band, 0.5).outer - metrics.radii(band, 0.5).inner;
        const double openWidth = metrics.radii(band, true).outer - metrics.radii(band, true).inner;
        QVERIFY(closedWidth < halfWidth && halfWidth < openWidth);
    }
    QCOMPARE(metrics.side(false), metrics.radii(2, false).outer);
    QCOMPARE(metrics.side(true), metrics.radii(2, true).outer);
}

QTEST_GUILESS_MAIN(SurfaceMetricsTest)
#include "SurfaceMetricsTest.moc"
