#include "spatial/workspace/ActiveDisplaySelector.h"
#include "spatial/workspace/CoordinateConverter.h"
#include "spatial/workspace/WindowFullscreenDetector.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

DisplaySnapshot display(const QString& id, QRectF frame, bool isMain = false) {
    DisplaySnapshot d;
    d.id = id;
    d.name = id;
    d.frame = frame;
    d.visibleFrame = frame.adjusted(0, 30, 0, 0);
    d.isMain = isMain;
    return d;
}

// A laptop on the left and a larger external display to its right, its top 200 higher.
std::vector<DisplaySnapshot> twoDisplays() {
    return {display(u"eDP-1"_s, QRectF(0, 0, 1440, 900), true),
            display(u"DP-1"_s, QRectF(1440, -200, 2560, 1440))};
}

std::optional<WindowSnapshot> windowAt(QRectF frame) {
    WindowSnapshot w;
    w.id = 7;
    w.frame = frame;
    return w;
}

} // namespace

class WorkspaceGeometryTest : public QObject {
    Q_OBJECT
private slots:
    void activeDisplay_data();
    void activeDisplay();
    void noDisplaysSelectsNone();
    void fullScreen_data();
    void fullScreen();
    void knownFullScreenStateDecides();
    void coordinatesFlipAroundTheMainDisplay_data();
    void coordinatesFlipAroundTheMainDisplay();
};

void WorkspaceGeometryTest::activeDisplay_data() {
    QTest::addColumn<std::optional<WindowSnapshot>>("activeWindow");
    QTest::addColumn<QPointF>("cursor");
    QTest::addColumn<bool>("mainIsSecond");
    QTest::addColumn<QString>("expected");
    const std::optional<WindowSnapshot> none;
    QTest::newRow("no active window: the display under the cursor")
        << none << QPointF(2000, 100) << false << u"DP-1"_s;
    QTest::newRow("window wholly on one display")
        << windowAt(QRectF(100, 100, 800, 600)) << QPointF(2000, 100) << false << u"eDP-1"_s;
    QTest::newRow("window across two displays: the larger share wins")
        << windowAt(QRectF(1000, 100, 1000, 600)) << QPointF(10, 10) << false << u"DP-1"_s;
    QTest::newRow("window across two displays, most on the left")
        << windowAt(QRectF(600, 100, 1000, 600)) << QPointF(2000, 10) << false << u"eDP-1"_s;
    QTest::newRow("window off every display: the cursor decides")
        << windowAt(QRectF(-5000, -5000, 100, 100)) << QPointF(2000, 100) << false << u"DP-1"_s;
    QTest::newRow("empty window frame: the cursor decides")
        << windowAt(QRectF(100, 100, 0, 0)) << QPointF(2000, 100) << false << u"DP-1"_s;
    QTest::newRow("cursor on the seam belongs to the right display")
        << none << QPointF(1440, 0) << false << u"DP-1"_s;
    QTest::newRow("cursor in the gap above the laptop: the main display")
        << none << QPointF(100, -100) << false << u"eDP-1"_s;
    QTest::newRow("cursor nowhere and the second display is main")
        << none << QPointF(-1, -1) << true << u"DP-1"_s;
}

void WorkspaceGeometryTest::activeDisplay() {
    QFETCH(std::optional<WindowSnapshot>, activeWindow);
    QFETCH(QPointF, cursor);
    QFETCH(bool, mainIsSecond);
    QFETCH(QString, expected);
    auto displays = twoDisplays();
    if (mainIsSecond) {
        displays[0].isMain = false;
        displays[1].isMain = true;
    }
    const auto selected = ActiveDisplaySelector::select(displays, activeWindow, cursor);
    QVERIFY(selected);
    QCOMPARE(selected->id, expected);
}

void WorkspaceGeometryTest::noDisplaysSelectsNone() {
    QCOMPARE(ActiveDisplaySelector::select({}, windowAt(QRectF(0, 0, 10, 10)), QPointF()), std::nullopt);
    // Without a main display the first one is the last resort.
    auto displays = twoDisplays();
    displays[0].isMain = false;
    QCOMPARE(ActiveDisplaySelector::select(displays, std::nullopt, QPointF(-1, -1))->id, u"eDP-1"_s);
}

void WorkspaceGeometryTest::fullScreen_data() {
    QTest::addColumn<QRectF>("frame");
    QTest::addColumn<bool>("expected");
    QTest::newRow("exactly the laptop") << QRectF(0, 0, 1440, 900) << true;
    QTest::newRow("exactly the external display") << QRectF(1440, -200, 2560, 1440) << true;
    QTest::newRow("within a point of every edge") << QRectF(1, 1, 1438, 898) << true;
    QTest::newRow("two points over every edge") << QRectF(-2, -2, 1444, 904) << true;
    QTest::newRow("three points short on the left") << QRectF(3, 0, 1437, 900) << false;
    QTest::newRow("maximized below a 30 point menu bar") << QRectF(0, 30, 1440, 870) << false;
    QTest::newRow("maximized beside a dock") << QRectF(0, 0, 1380, 900) << false;
    QTest::newRow("half the screen") << QRectF(0, 0, 720, 900) << false;
    QTest::newRow("spanning both displays") << QRectF(0, -200, 4000, 1440) << false;
    QTest::newRow("empty frame") << QRectF(0, 0, 0, 0) << false;
    QTest::newRow("display-sized but shifted onto the seam") << QRectF(720, 0, 1440, 900) << false;
}

void WorkspaceGeometryTest::fullScreen() {
    QFETCH(QRectF, frame);
    QFETCH(bool, expected);
    const WindowFullscreenDetector detector;
    QCOMPARE(detector.isFullScreen(frame, twoDisplays(), std::nullopt), expected);
}

void WorkspaceGeometryTest::knownFullScreenStateDecides() {
    const WindowFullscreenDetector detector;
    QVERIFY(!detector.isFullScreen(QRectF(0, 0, 1440, 900), twoDisplays(), false));
    QVERIFY(detector.isFullScreen(QRectF(0, 0, 300, 200), twoDisplays(), true));
    QVERIFY(!detector.isFullScreen(QRectF(0, 0, 1440, 900), {}, std::nullopt));
}

void WorkspaceGeometryTest::coordinatesFlipAroundTheMainDisplay_data() {
    QTest::addColumn<QRectF>("topLeftSpace");
    QTest::addColumn<QRectF>("bottomLeftSpace");
    QTest::newRow("top left corner") << QRectF(0, 0, 100, 50) << QRectF(0, 850, 100, 50);
    QTest::newRow("bottom edge") << QRectF(20, 850, 100, 50) << QRectF(20, 0, 100, 50);
    QTest::newRow("above the main display") << QRectF(1500, -200, 300, 100) << QRectF(1500, 1000, 300, 100);
    QTest::newRow("negative size is standardized") << QRectF(100, 100, -100, -50) << QRectF(0, 800, 100, 50);
}

void WorkspaceGeometryTest::coordinatesFlipAroundTheMainDisplay() {
    QFETCH(QRectF, topLeftSpace);
    QFETCH(QRectF, bottomLeftSpace);
    double mainHeight = 900;
    const CoordinateConverter converter([&] { return mainHeight; });
    QCOMPARE(converter.toAppKit(topLeftSpace), bottomLeftSpace);
    QCOMPARE(converter.toQuartz(converter.toAppKit(topLeftSpace)), topLeftSpace.normalized());
    // The height is asked for on every conversion, so a change of displays is seen at once.
    mainHeight = 1000;
    QCOMPARE(converter.toAppKit(topLeftSpace).y(), bottomLeftSpace.y() + 100);
}

QTEST_GUILESS_MAIN(WorkspaceGeometryTest)
#include "WorkspaceGeometryTest.moc"
