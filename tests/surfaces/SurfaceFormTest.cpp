#include "spatial/notch/NotchMetrics.h"
#include "spatial/slots/SurfaceSlotAllocator.h"
#include "surfaces/form/SurfaceHitTest.h"

#include <QTest>

#include <cmath>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QRectF screen(0, 0, 1920, 1080);
const QRectF bubblePanel(100, 100, 140, 140); // middle at 170, 170; a resting disc of radius 46.2
const QRectF notchArea(870, 0, 180, 32);

ModuleSnapshot member(const QString& id, ModuleGroup group) {
    ModuleSnapshot s;
    s.id = id;
    s.group = group;
    return s;
}

// The forms the table below probes, by name.
SurfaceHitTest fixture(const QString& name) {
    SurfaceHitTest test;
    test.moduleCount = 1;
    test.panel = bubblePanel;
    if (name == u"circle"_s) {
        return test;
    }
    if (name == u"half moon right"_s) {
        test.chipShape = shape::HalfMoon{Edge::right};
        return test;
    }
    if (name == u"corner top right"_s) {
        test.chipShape = shape::InCorner{Corner::topRight};
        return test;
    }
    if (name == u"capsule right"_s) {
        test.moduleCount = 2;
        test.grouping = grouping::Capsule{Edge::right};
        test.panel =
            SurfaceSlotAllocator::capsuleFrame(Edge::right, 2, 140, QRectF(1800, 400, 140, 252), screen);
        return test;
    }
    if (name == u"capsule top"_s) {
        test.moduleCount = 3;
        test.grouping = grouping::Capsule{Edge::top};
        test.panel = SurfaceSlotAllocator::capsuleFrame(Edge::top, 3, 140, QRectF(400, 0, 378, 140), screen);
        return test;
    }
    if (name == u"rings top right"_s) {
        test.moduleCount = 2;
        test.grouping = grouping::Rings{Corner::topRight};
        test.panel = SurfaceSlotAllocator::ringsFrame(Corner::topRight, 2, 140, screen);
        return test;
    }
    if (name == u"rings bottom left"_s) {
        test.moduleCount = 3;
        test.grouping = grouping::Rings{Corner::bottomLeft};
        test.panel = SurfaceSlotAllocator::ringsFrame(Corner::bottomLeft, 3, 140, screen);
        return test;
    }
    test.grouping = grouping::Notch{notchArea};
    test.panel = NotchMetrics{notchArea, 3}.panelFrame();
    test.moduleCount = 3;
    test.notchTabs =
        NotchTabs::gather({member(u"agents"_s, ModuleGroup::agents), member(u"claude"_s, ModuleGroup::agents),
                           member(u"pr"_s, ModuleGroup::code)});
    if (name == u"notch hidden"_s) {
        test.isNotchHidden = true;
    } else if (name == u"notch one resting tab"_s) {
        test.notchRestingTabs = RestingTabs::one;
    } else if (name == u"notch with a signal-only chip"_s) {
        test.moduleCount = 1;
        test.signalOnlyCount = 1;
        test.notchTabs = NotchTabs::gather({member(u"agents"_s, ModuleGroup::agents)});
    }
    return test;
}

// A point `distance` from the corner of the screen, on the corner's diagonal into the screen.
QPointF diagonal(const QPointF& corner, double dx, double dy, double distance) {
    return corner + QPointF(dx, dy) * (distance / std::sqrt(2.0));
}

} // namespace

class SurfaceFormTest : public QObject {
    Q_OBJECT
private slots:
    void hit_data();
    void hit();
    void formsStayInsideTheirPanel_data();
    void formsStayInsideTheirPanel();
    void nothingToShowDrawsNothing();
    void roundedBoxClampsItsRadii();
    void quarterBandStaysOnTheScreenSide();
    void notchTabs();
};

void SurfaceFormTest::hit_data() {
    QTest::addColumn<QString>("form");
    QTest::addColumn<double>("expansion");
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<bool>("on");
    QTest::addColumn<int>("module"); // -1: none

    QTest::newRow("circle: middle") << u"circle"_s << 0.0 << QPointF(170, 170) << true << 0;
    QTest::newRow("circle: just inside the rim") << u"circle"_s << 0.0 << QPointF(216, 170) << true << 0;
    QTest::newRow("circle: just outside the rim") << u"circle"_s << 0.0 << QPointF(217, 170) << false << -1;
    QTest::newRow("circle: panel corner passes through")
        << u"circle"_s << 0.0 << QPointF(103, 103) << false << -1;
    QTest::newRow("circle: margin beside the disc") << u"circle"_s << 0.0 << QPointF(110, 170) << false << -1;
    QTest::newRow("open bubble: the same margin") << u"circle"_s << 1.0 << QPointF(110, 170) << true << 0;
    QTest::newRow("open bubble: its rounded corner")
        << u"circle"_s << 1.0 << QPointF(106, 106) << false << -1;
    QTest::newRow("half way open: between") << u"circle"_s << 0.5 << QPointF(116, 170) << true << 0;

    QTest::newRow("half moon: reaches the edge")
        << u"half moon right"_s << 0.0 << QPointF(239, 170) << true << 0;
    QTest::newRow("half moon: square on the edge")
        << u"half moon right"_s << 0.0 << QPointF(239, 125) << true << 0;
    QTest::newRow("half moon: round away from it")
        << u"half moon right"_s << 0.0 << QPointF(126, 126) << false << -1;
    QTest::newRow("corner: fills its corner")
        << u"corner top right"_s << 0.0 << QPointF(239, 101) << true << 0;
    QTest::newRow("corner: round across from it")
        << u"corner top right"_s << 0.0 << QPointF(126, 214) << false << -1;

    // Right capsule of two: panel x 1816.96...1920, y 400...652; at rest 42 thick, 126 long.
    QTest::newRow("capsule: first segment") << u"capsule right"_s << 0.0 << QPointF(1900, 500) << true << 0;
    QTest::newRow("capsule: second segment") << u"capsule right"_s << 0.0 << QPointF(1900, 560) << true << 1;
    QTest::newRow("capsule: off the thin rest form")
        << u"capsule right"_s << 0.0 << QPointF(1850, 500) << false << -1;
    QTest::newRow("capsule: on the open form")
        << u"capsule right"_s << 1.0 << QPointF(1850, 500) << true << 0;
    QTest::newRow("capsule: open, beyond the rest length")
        << u"capsule right"_s << 1.0 << QPointF(1900, 420) << true << 0;
    QTest::newRow("capsule: rest, beyond its length")
        << u"capsule right"_s << 0.0 << QPointF(1900, 420) << false << -1;
    QTest::newRow("top capsule: third segment") << u"capsule top"_s << 1.0 << QPointF(750, 20) << true << 2;

    // Rings of two at the top right: at rest the core to 16.8, bands to 64.4 and 112; open to 18.2,
    // 95.2 and 172.2.
    QTest::newRow("rings: the core") << u"rings top right"_s << 0.0 << diagonal({1920, 0}, -1, 1, 10) << true
                                     << -1;
    QTest::newRow("rings: inner band")
        << u"rings top right"_s << 0.0 << diagonal({1920, 0}, -1, 1, 40) << true << 0;
    QTest::newRow("rings: outer band")
        << u"rings top right"_s << 0.0 << diagonal({1920, 0}, -1, 1, 90) << true << 1;
    QTest::newRow("rings: beyond at rest")
        << u"rings top right"_s << 0.0 << diagonal({1920, 0}, -1, 1, 130) << false << -1;
    QTest::newRow("rings: the open outer band")
        << u"rings top right"_s << 1.0 << diagonal({1920, 0}, -1, 1, 130) << true << 1;
    QTest::newRow("rings: the far corner of the panel")
        << u"rings top right"_s << 1.0 << QPointF(1749, 171) << false << -1;
    QTest::newRow("rings bottom left: middle band")
        << u"rings bottom left"_s << 0.0 << diagonal({0, 1080}, 1, -1, 90) << true << 1;

    // The notch (870...1050 wide, 32 high) with wings of 56 at rest, chips of 20 from the notch out.
    QTest::newRow("notch: the notch itself") << u"notch"_s << 0.0 << QPointF(960, 16) << true << -1;
    QTest::newRow("notch: first chip") << u"notch"_s << 0.0 << QPointF(857, 16) << true << 0;
    QTest::newRow("notch: second chip of the tab") << u"notch"_s << 0.0 << QPointF(833, 16) << true << 1;
    QTest::newRow("notch: other tab, right wing") << u"notch"_s << 0.0 << QPointF(1063, 16) << true << 2;
    QTest::newRow("notch: under it at rest") << u"notch"_s << 0.0 << QPointF(960, 60) << false << -1;
    QTest::newRow("notch: beyond the wings") << u"notch"_s << 0.0 << QPointF(800, 16) << false << -1;
    QTest::newRow("notch: open, middle member") << u"notch"_s << 1.0 << QPointF(960, 80) << true << 1;
    QTest::newRow("notch: open, first member") << u"notch"_s << 1.0 << QPointF(800, 80) << true << 0;
    QTest::newRow("notch: open, rounded belly") << u"notch"_s << 1.0 << QPointF(752, 137) << false << -1;
    QTest::newRow("hidden notch: no wings") << u"notch hidden"_s << 0.0 << QPointF(857, 16) << false << -1;
    QTest::newRow("hidden notch: the notch stays")
        << u"notch hidden"_s << 0.0 << QPointF(960, 16) << true << -1;
    QTest::newRow("one resting tab: right wing is bare")
        << u"notch one resting tab"_s << 0.0 << QPointF(1063, 16) << true << -1;
    QTest::newRow("signal-only chip follows the tab")
        << u"notch with a signal-only chip"_s << 0.0 << QPointF(833, 16) << true << 1;
}

void SurfaceFormTest::hit() {
    QFETCH(QString, form);
    QFETCH(double, expansion);
    QFETCH(QPointF, point);
    QFETCH(bool, on);
    QFETCH(int, module);
    SurfaceHitTest test = fixture(form);
    test.expansion = expansion;
    QCOMPARE(test.contains(point), on);
    QCOMPARE(test.moduleHit(point), module < 0 ? std::nullopt : std::optional(module));
}

void SurfaceFormTest::formsStayInsideTheirPanel_data() {
    QTest::addColumn<QString>("form");
    for (const QString& name : {u"circle"_s, u"half moon right"_s, u"corner top right"_s, u"capsule right"_s,
                                u"capsule top"_s, u"rings top right"_s, u"rings bottom left"_s, u"notch"_s}) {
        QTest::newRow(qPrintable(name)) << name;
    }
}

void SurfaceFormTest::formsStayInsideTheirPanel() {
    // The panel is sized for the open form: no expansion may draw beyond it, springs' overshoot
    // included.
    QFETCH(QString, form);
    for (const double e : {0.0, 0.3, 1.0, 1.04, -0.1}) {
        SurfaceHitTest test = fixture(form);
        test.expansion = e;
        const QRectF bounds = test.form().bounds();
        QVERIFY2(test.panel.adjusted(-0.01, -0.01, 0.01, 0.01).contains(bounds),
                 qPrintable(u"expansion %1"_s.arg(e)));
    }
}

void SurfaceFormTest::nothingToShowDrawsNothing() {
    SurfaceHitTest test = fixture(u"circle"_s);
    test.moduleCount = 0;
    QCOMPARE(test.form().kind, SurfaceForm::Kind::none);
    QVERIFY(!test.contains({170, 170}));
    test = fixture(u"circle"_s);
    test.panel = QRectF();
    QVERIFY(!test.contains({0, 0}));
}

void SurfaceFormTest::roundedBoxClampsItsRadii() {
    const RoundedBox box{QRectF(0, 0, 100, 40), 500, std::nan(""), -3, 20};
    const RoundedBox clamped = box.clamped();
    QCOMPARE(clamped.topLeft, 20.0);
    QCOMPARE(clamped.topRight, 0.0);
    QCOMPARE(clamped.bottomRight, 0.0);
    QVERIFY(box.contains({50, 20}));
    QVERIFY(!box.contains({1, 1}));    // round top left
    QVERIFY(box.contains({99, 1}));    // square top right
    QVERIFY(!box.contains({101, 20})); // outside
}

void SurfaceFormTest::quarterBandStaysOnTheScreenSide() {
    const QuarterBand band{QPointF(0, 0), Corner::topLeft, 10, 50};
    QVERIFY(band.contains({20, 20}));
    QVERIFY(!band.contains({-20, 20})); // same distance, off the screen
    QVERIFY(!band.contains({5, 5}));    // inside the inner radius
    QCOMPARE((QuarterBand{{}, Corner::topRight}.startAngle()), 180.0);
    QCOMPARE((QuarterBand{{}, Corner::bottomLeft}.startAngle()), 0.0);
}

void SurfaceFormTest::notchTabs() {
    const NotchTabs tabs =
        NotchTabs::gather({member(u"claude"_s, ModuleGroup::agents), member(u"cpu"_s, ModuleGroup::system),
                           member(u"pr"_s, ModuleGroup::code), member(u"solo"_s, ModuleGroup::none),
                           member(u"codex"_s, ModuleGroup::agents), member(u"other"_s, ModuleGroup::none)});
    QCOMPARE(tabs.members, (std::vector<std::vector<int>>{{0, 4}, {2}, {3}, {5}}));
    QCOMPARE(tabs.strip, std::vector<int>{1});
    QCOMPARE(tabs.restingTabCount(RestingTabs::two), 2);
    QCOMPARE(tabs.restingTabCount(RestingTabs::one), 1);
    QCOMPARE(tabs.restingMembers(1), std::vector<int>{2});
    QCOMPARE(tabs.restingMembers(7), std::vector<int>{});

    const NotchTabs onlySystem = NotchTabs::gather({member(u"cpu"_s, ModuleGroup::system)});
    QCOMPARE(onlySystem.restingTabCount(RestingTabs::two), 1);
    QCOMPARE(onlySystem.restingMembers(0), std::vector<int>{0}); // the strip rests when there is no tab
    QCOMPARE(NotchTabs::gather({}).restingTabCount(RestingTabs::two), 1);
}

QTEST_GUILESS_MAIN(SurfaceFormTest)
#include "SurfaceFormTest.moc"
