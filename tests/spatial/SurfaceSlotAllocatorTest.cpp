#include "spatial/slots/SurfaceSlotAllocator.h"

#include "SurfaceGroupText.h"

#include <QRandomGenerator>
#include <QTest>

#include <set>

using namespace tessary;
using namespace Qt::StringLiterals;
using tessary::testing::describe;

namespace {

// A display of 1440 by 900 with a menu bar of 25 and a notch of 200 by 25 in the middle.
const QRectF visible(0, 25, 1440, 875);
const QRectF notchArea(620, 0, 200, 25);
const QSizeF bubble(100, 100);
constexpr double base = 100;

QList<QRectF> times(int count, QRectF frame) {
    return QList<QRectF>(count, frame);
}

std::vector<QRectF> toVector(const QList<QRectF>& list) {
    return {list.begin(), list.end()};
}

DisplaySnapshot display(QRectF frame, QRectF visibleFrame, std::optional<QRectF> notch) {
    DisplaySnapshot d;
    d.id = u"display"_s;
    d.frame = frame;
    d.visibleFrame = visibleFrame;
    d.notchFrame = notch;
    return d;
}

} // namespace

Q_DECLARE_METATYPE(PlacementMode)
Q_DECLARE_METATYPE(DisplaySnapshot)
Q_DECLARE_METATYPE(std::optional<SurfacePlacement>)

class SurfaceSlotAllocatorTest : public QObject {
    Q_OBJECT
private slots:
    void defaultFrame_data();
    void defaultFrame();
    void sevenDefaultBubblesPileUpAndFuseAtTheBottomLeft();
    void requestedFrames_data();
    void requestedFrames();
    void touches_data();
    void touches();
    void grouped_data();
    void grouped();
    void stripRidersDockWithoutCounting_data();
    void stripRidersDockWithoutCounting();
    void separatedKeepsBubblesInside_data();
    void separatedKeepsBubblesInside();
    void groupingCoversEveryIndexOnce();
};

void SurfaceSlotAllocatorTest::defaultFrame_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<QRectF>("visibleFrame");
    QTest::addColumn<QRectF>("expected");
    // Seven bubbles of 100: the four corners, then below the bottom left slot, where the step of
    // height plus gap is capped at once at the bottom of the visible frame.
    QTest::newRow("1st top right") << 0 << visible << QRectF(1340, 25, 100, 100);
    QTest::newRow("2nd bottom right") << 1 << visible << QRectF(1340, 800, 100, 100);
    QTest::newRow("3rd top left") << 2 << visible << QRectF(0, 25, 100, 100);
    QTest::newRow("4th bottom left") << 3 << visible << QRectF(0, 800, 100, 100);
    QTest::newRow("5th and later capped at the bottom") << 4 << visible << QRectF(0, 800, 100, 100);
    QTest::newRow("second display, top right")
        << 0 << QRectF(1440, 0, 1920, 1080) << QRectF(3260, 0, 100, 100);
    QTest::newRow("second display, bottom left")
        << 3 << QRectF(1440, 0, 1920, 1080) << QRectF(1440, 980, 100, 100);
}

void SurfaceSlotAllocatorTest::defaultFrame() {
    QFETCH(int, index);
    QFETCH(QRectF, visibleFrame);
    QFETCH(QRectF, expected);
    QCOMPARE(SurfaceSlotAllocator().defaultFrame(index, bubble, visibleFrame), expected);
}

void SurfaceSlotAllocatorTest::sevenDefaultBubblesPileUpAndFuseAtTheBottomLeft() {
    const SurfaceSlotAllocator allocator;
    std::vector<QRectF> frames;
    frames.reserve(7);
    for (int index = 0; index < 7; ++index) {
        frames.push_back(allocator.defaultFrame(index, bubble, visible));
    }
    // Four rings: 100 * (0.13 + 0.55 * 4) = 233 on a side, in the bottom left corner.
    QCOMPARE(describe(allocator.grouped(frames, base, notchArea, visible)),
             u"bubble [0] 1340,25 100x100; bubble [1] 1340,800 100x100; bubble [2] 0,25 100x100; "
             "rings bottomLeft [3,4,5,6] 0,667 233x233"_s);
}

void SurfaceSlotAllocatorTest::requestedFrames_data() {
    QTest::addColumn<DisplaySnapshot>("screen");
    QTest::addColumn<PlacementMode>("mode");
    QTest::addColumn<QList<QRectF>>("saved"); // a null rectangle stands for "nothing saved"
    QTest::addColumn<std::optional<SurfacePlacement>>("freeSpot");
    QTest::addColumn<QList<QRectF>>("expected");

    const auto notched = display(QRectF(0, 0, 1440, 900), visible, notchArea);
    // No notch and no top panel: the top centre (x 2310...2490) is where the user works.
    const auto plain = display(QRectF(1440, 0, 1920, 1080), QRectF(1440, 0, 1920, 1080), std::nullopt);
    // A desktop's top panel keeps a band of 28 along the top.
    const auto paneled = display(QRectF(1440, 0, 1920, 1080), QRectF(1440, 28, 1920, 1052), std::nullopt);
    const QRectF savedFrame(10, 300, 100, 100);
    const auto spot = [](SurfaceKind kind, const QRectF& frame) {
        return std::optional(SurfacePlacement{u"d"_s, kind, frame, 1, true});
    };
    const std::optional<SurfacePlacement> none;
    const auto rightRail = spot(SurfaceKind::rightRail, QRectF(3128, 400, 220, 360));

    QTest::newRow("automatic docks the unsaved under the notch, whatever the free spot")
        << notched << PlacementMode::automatic << QList<QRectF>{{}, savedFrame, {}} << rightRail
        << QList<QRectF>{{670, 25, 100, 100}, savedFrame, {670, 25, 100, 100}};
    QTest::newRow("a top panel's band holds the notch")
        << paneled << PlacementMode::automatic << QList<QRectF>{{}, {}} << rightRail
        << QList<QRectF>{{2350, 28, 100, 100}, {2350, 28, 100, 100}};
    QTest::newRow("without a band, against the edge of the free right rail, level with it")
        << plain << PlacementMode::automatic << QList<QRectF>{{}, {}} << rightRail
        << QList<QRectF>{{3260, 530, 100, 100}, {3260, 530, 100, 100}};
    QTest::newRow("without a band, against the edge of the free left rail")
        << plain << PlacementMode::automatic << QList<QRectF>{{}}
        << spot(SurfaceKind::leftRail, QRectF(1452, 12, 220, 360)) << QList<QRectF>{{1440, 142, 100, 100}};
    QTest::newRow("without a band, a free top centre still docks")
        << plain << PlacementMode::automatic << QList<QRectF>{{}}
        << spot(SurfaceKind::topIsland, QRectF(2230, 12, 340, 76)) << QList<QRectF>{{2350, 0, 100, 100}};
    QTest::newRow("without a band, on the free chip")
        << plain << PlacementMode::automatic << QList<QRectF>{{}}
        << spot(SurfaceKind::floatingChip, QRectF(2000, 100, 100, 100))
        << QList<QRectF>{{2000, 100, 100, 100}};
    QTest::newRow("without a band or a free spot, the first slot")
        << plain << PlacementMode::automatic << QList<QRectF>{{}} << none
        << QList<QRectF>{{3260, 0, 100, 100}};
    QTest::newRow("bubble mode takes the slots by index")
        << notched << PlacementMode::floatingChip << QList<QRectF>{{}, savedFrame, {}} << none
        << QList<QRectF>{{1340, 25, 100, 100}, savedFrame, {0, 25, 100, 100}};
    QTest::newRow("rail mode takes the slots too")
        << plain << PlacementMode::leftRail << QList<QRectF>{{}, {}} << rightRail
        << QList<QRectF>{{3260, 0, 100, 100}, {3260, 980, 100, 100}};
    QTest::newRow("nothing to place")
        << notched << PlacementMode::automatic << QList<QRectF>{} << none << QList<QRectF>{};
}

void SurfaceSlotAllocatorTest::requestedFrames() {
    QFETCH(DisplaySnapshot, screen);
    QFETCH(PlacementMode, mode);
    QFETCH(QList<QRectF>, saved);
    QFETCH(std::optional<SurfacePlacement>, freeSpot);
    QFETCH(QList<QRectF>, expected);
    std::vector<std::optional<QRectF>> savedFrames;
    for (const auto& frame : saved) {
        savedFrames.push_back(frame.isNull() ? std::nullopt : std::optional(frame));
    }
    const auto frames = SurfaceSlotAllocator().requestedFrames(savedFrames, bubble, mode, screen, freeSpot);
    QCOMPARE(QList<QRectF>(frames.begin(), frames.end()), expected);
}

void SurfaceSlotAllocatorTest::touches_data() {
    QTest::addColumn<QRectF>("first");
    QTest::addColumn<QRectF>("second");
    QTest::addColumn<bool>("expected");
    // Frames of 100 draw 66 in the middle: x 517...583 and y 417...483 for the first one.
    const QRectF first(500, 400, 100, 100);
    QTest::newRow("side by side, 13 apart") << first << QRectF(579, 400, 100, 100) << true;
    QTest::newRow("side by side, 15 apart") << first << QRectF(581, 400, 100, 100) << false;
    QTest::newRow("stacked, 13 apart") << first << QRectF(500, 479, 100, 100) << true;
    QTest::newRow("stacked, 15 apart") << first << QRectF(500, 481, 100, 100) << false;
    QTest::newRow("diagonal, 13 apart on both axes") << first << QRectF(579, 479, 100, 100) << true;
    QTest::newRow("13 apart across, 15 along") << first << QRectF(579, 481, 100, 100) << false;
    QTest::newRow("on top of each other") << first << first << true;
    QTest::newRow("margins overlap, drawn parts far apart") << first << QRectF(590, 400, 100, 100) << false;
    // A bubble of 50 draws 33 in the middle: its right at 504 is 13 from 517, at 502 it is 15.
    QTest::newRow("a smaller bubble 13 to the left") << first << QRectF(462.5, 430, 50, 50) << true;
    QTest::newRow("a smaller bubble 15 to the left") << first << QRectF(460.5, 430, 50, 50) << false;
}

void SurfaceSlotAllocatorTest::touches() {
    QFETCH(QRectF, first);
    QFETCH(QRectF, second);
    QFETCH(bool, expected);
    const SurfaceSlotAllocator allocator;
    QCOMPARE(allocator.touches(first, second), expected);
    QCOMPARE(allocator.touches(second, first), expected);
    QCOMPARE(allocator.clusters({first, second}).size(), std::size_t{expected ? 1U : 2U});
}

void SurfaceSlotAllocatorTest::grouped_data() {
    QTest::addColumn<QList<QRectF>>("frames");
    QTest::addColumn<QRectF>("notch"); // null: no notch given
    QTest::addColumn<QRectF>("visibleFrame");
    QTest::addColumn<QString>("expected");

    // The notch panel for a notch 25 high: wings of ceil(3.7 * 25) = 93, height ceil(4.3 * 25) = 108.
    const QString panel = u"527,0 386x108"_s;

    QTest::newRow("a lone bubble") << times(1, {600, 400, 100, 100}) << notchArea << visible
                                   << u"bubble [0] 600,400 100x100"_s;
    QTest::newRow("two apart stay apart")
        << QList<QRectF>{{300, 400, 100, 100}, {700, 400, 100, 100}} << notchArea << visible
        << u"bubble [0] 300,400 100x100; bubble [1] 700,400 100x100"_s;
    QTest::newRow("three at the notch dock")
        << times(3, {670, 25, 100, 100}) << notchArea << visible << u"notch [0,1,2] "_s + panel;
    QTest::newRow("six at the notch dock")
        << times(6, {670, 25, 100, 100}) << notchArea << visible << u"notch [0,1,2,3,4,5] "_s + panel;
    // 0.9 * 100 * 7 = 630 long, centered on x 720.
    QTest::newRow("seven at the notch are a capsule on top")
        << times(7, {670, 25, 100, 100}) << notchArea << visible
        << u"capsule top [0,1,2,3,4,5,6] 405,25 630x73.6"_s;
    QTest::newRow("without a notch the top cluster is a capsule")
        << times(3, {670, 25, 100, 100}) << QRectF() << visible << u"capsule top [0,1,2] 585,25 270x73.6"_s;
    // Middles at 640 and 820, 80 and 100 from the notch's middle; their drawn parts are 114 apart.
    QTest::newRow("a second cluster at the notch doesn't dock")
        << (times(2, {590, 25, 100, 100}) + times(2, {770, 25, 100, 100})) << notchArea << visible
        << u"notch [0,1] "_s + panel + u"; capsule top [2,3] 730,25 180x73.6"_s;
    QTest::newRow("the first cluster by index docks")
        << (times(2, {770, 25, 100, 100}) + times(2, {590, 25, 100, 100})) << notchArea << visible
        << u"notch [0,1] "_s + panel + u"; capsule top [2,3] 550,25 180x73.6"_s;
    QTest::newRow("middle a notch width from the notch's middle docks")
        << times(2, {870, 25, 100, 100}) << notchArea << visible << u"notch [0,1] "_s + panel;
    QTest::newRow("one point farther is a capsule on top")
        << times(2, {871, 25, 100, 100}) << notchArea << visible << u"capsule top [0,1] 831,25 180x73.6"_s;
    QTest::newRow("top edge out of the notch's reach")
        << times(2, {1000, 25, 100, 100}) << notchArea << visible << u"capsule top [0,1] 960,25 180x73.6"_s;
    QTest::newRow("20 below the top still docks")
        << times(2, {670, 45, 100, 100}) << notchArea << visible << u"notch [0,1] "_s + panel;
    QTest::newRow("21 below the top touches nothing and fans apart")
        << times(2, {670, 46, 100, 100}) << notchArea << visible
        << u"bubble [0] 627.5,46 100x100; bubble [1] 712.5,46 100x100"_s;
    // 100 * (0.13 + 0.55 * 2) = 123 on a side.
    QTest::newRow("top and left make rings top left")
        << times(2, {0, 25, 100, 100}) << notchArea << visible << u"rings topLeft [0,1] 0,25 123x123"_s;
    QTest::newRow("near right and bottom make rings bottom right")
        << times(2, {1335, 790, 100, 100}) << notchArea << visible
        << u"rings bottomRight [0,1] 1317,777 123x123"_s;
    QTest::newRow("past the left edge still counts")
        << times(2, {-30, 500, 100, 100}) << notchArea << visible << u"capsule left [0,1] 0,460 73.6x180"_s;
    QTest::newRow("left edge capsule centered on the cluster")
        << times(3, {5, 400, 100, 100}) << notchArea << visible << u"capsule left [0,1,2] 0,315 73.6x270"_s;
    QTest::newRow("capsule kept above the bottom") << times(4, {1340, 770, 100, 100}) << notchArea << visible
                                                   << u"capsule right [0,1,2,3] 1366.4,540 73.6x360"_s;
    // 0.9 * 100 * 12 = 1080 would pass the 875 of the edge: the base shrinks to 875 / 10.8.
    QTest::newRow("a capsule longer than its edge shrinks onto the screen")
        << times(12, {1340, 400, 100, 100}) << notchArea << visible
        << u"capsule right [0,1,2,3,4,5,6,7,8,9,10,11] 1380.37037,25 59.62962963x875"_s;
    QTest::newRow("bottom edge capsule") << times(2, {300, 790, 100, 100}) << notchArea << visible
                                         << u"capsule bottom [0,1] 260,826.4 180x73.6"_s;
    // In a visible frame 160 wide, a cluster touches both sides: the nearer one wins.
    QTest::newRow("both sides touched: nearer left")
        << QList<QRectF>{{0, 300, 100, 100}, {55, 300, 100, 100}} << QRectF() << QRectF(0, 0, 160, 800)
        << u"capsule left [0,1] 0,260 73.6x180"_s;
    QTest::newRow("both sides touched: nearer right")
        << QList<QRectF>{{3, 300, 100, 100}, {60, 300, 100, 100}} << QRectF() << QRectF(0, 0, 160, 800)
        << u"capsule right [0,1] 86.4,260 73.6x180"_s;
    QTest::newRow("two fused in the open fan apart")
        << times(2, {600, 400, 100, 100}) << notchArea << visible
        << u"bubble [0] 557.5,400 100x100; bubble [1] 642.5,400 100x100"_s;
    QTest::newRow("fanned bubbles keep their indices, clusters by lowest index")
        << QList<QRectF>{{600, 400, 100, 100}, {200, 200, 100, 100}, {610, 405, 100, 100}} << notchArea
        << visible
        << u"bubble [0] 562.5,402.5 100x100; bubble [2] 647.5,402.5 100x100; bubble [1] 200,200 100x100"_s;
    // The first and second don't touch; the third touches both and joins them on a later pass.
    QTest::newRow("a chain fuses through its middle")
        << QList<QRectF>{{300, 400, 100, 100}, {440, 400, 100, 100}, {370, 400, 100, 100}} << notchArea
        << visible << u"bubble [0] 285,400 100x100; bubble [1] 370,400 100x100; bubble [2] 455,400 100x100"_s;
    QTest::newRow("a damaged frame stands alone and spoils nothing")
        << QList<QRectF>{{qQNaN(), qQNaN(), 100, 100}, {600, 400, 100, 100}, {600, 400, 100, 100}}
        << notchArea << visible
        << u"bubble [0] nan,nan 100x100; bubble [1] 557.5,400 100x100; bubble [2] 642.5,400 100x100"_s;
    QTest::newRow("nothing to group") << QList<QRectF>{} << notchArea << visible << QString();
}

void SurfaceSlotAllocatorTest::grouped() {
    QFETCH(QList<QRectF>, frames);
    QFETCH(QRectF, notch);
    QFETCH(QRectF, visibleFrame);
    QFETCH(QString, expected);
    const auto notchFrame = notch.isNull() ? std::nullopt : std::optional(notch);
    const auto groups = SurfaceSlotAllocator().grouped(toVector(frames), base, notchFrame, visibleFrame);
    QCOMPARE(describe(groups), expected);
}

void SurfaceSlotAllocatorTest::stripRidersDockWithoutCounting_data() {
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("stripFrom");
    QTest::addColumn<QString>("expected");
    QTest::newRow("six and two riders dock") << 8 << 6 << u"notch [0,1,2,3,4,5,6,7] 527,0 386x108"_s;
    QTest::newRow("seven and a rider are too many")
        << 8 << 7 << u"capsule top [0,1,2,3,4,5,6,7] 360,25 720x73.6"_s;
    QTest::newRow("eight without riders are too many")
        << 8 << 8 << u"capsule top [0,1,2,3,4,5,6,7] 360,25 720x73.6"_s;
}

void SurfaceSlotAllocatorTest::stripRidersDockWithoutCounting() {
    QFETCH(int, count);
    QFETCH(int, stripFrom);
    QFETCH(QString, expected);
    const auto groups =
        SurfaceSlotAllocator().grouped(toVector(times(count, {670, 25, 100, 100})), base, notchArea, visible,
                                       static_cast<std::size_t>(stripFrom));
    QCOMPARE(describe(groups), expected);
}

void SurfaceSlotAllocatorTest::separatedKeepsBubblesInside_data() {
    QTest::addColumn<QList<QRectF>>("frames");
    QTest::addColumn<QString>("expected");
    // Five in a row 85 apart around x 60 would start at -160: the first two are held at the left.
    QTest::newRow("against the left")
        << times(5, {10, 400, 100, 100})
        << u"bubble [0] 0,400 100x100; bubble [1] 0,400 100x100; bubble [2] 10,400 100x100; "
           "bubble [3] 95,400 100x100; bubble [4] 180,400 100x100"_s;
    QTest::newRow("below the bottom comes back up")
        << QList<QRectF>{{600, 880, 100, 100}, {600, 880, 60, 60}}
        << u"bubble [0] 557.5,800 100x100; bubble [1] 662.5,840 60x60"_s;
}

void SurfaceSlotAllocatorTest::separatedKeepsBubblesInside() {
    QFETCH(QList<QRectF>, frames);
    QFETCH(QString, expected);
    QCOMPARE(describe(SurfaceSlotAllocator().separated(toVector(frames), base, visible)), expected);
}

// Whatever the frames, each index comes out in exactly one group, members ascending, at most one
// cluster docks, and only a cluster of at most six.
void SurfaceSlotAllocatorTest::groupingCoversEveryIndexOnce() {
    QRandomGenerator random(20240611);
    const SurfaceSlotAllocator allocator;
    for (int round = 0; round < 2000; ++round) {
        const int count = random.bounded(0, 25);
        // Some rounds scatter over the whole display, others crowd a small area into big clusters.
        const double spread = random.bounded(2) == 0 ? 1540.0 : 300.0;
        const QPointF origin(random.bounded(1440.0) - 50, random.bounded(900.0) - 50);
        std::vector<QRectF> frames;
        for (int i = 0; i < count; ++i) {
            const double side = 20 + random.bounded(280.0);
            frames.emplace_back(origin.x() + random.bounded(spread) - spread / 2,
                                origin.y() + random.bounded(spread) - spread / 2, side,
                                random.bounded(4) == 0 ? side / 2 : side);
        }
        const auto notch = random.bounded(3) == 0 ? std::nullopt : std::optional(notchArea);
        const auto groups = allocator.grouped(frames, base, notch, visible);

        std::multiset<int> seen;
        int docked = 0;
        for (const auto& group : groups) {
            QVERIFY(!group.members.empty());
            QVERIFY(std::is_sorted(group.members.begin(), group.members.end()));
            seen.insert(group.members.begin(), group.members.end());
            if (std::holds_alternative<grouping::Notch>(group.grouping)) {
                ++docked;
                QVERIFY(group.members.size() <= 6);
            }
            if (std::holds_alternative<grouping::Bubble>(group.grouping)) {
                QCOMPARE(group.members.size(), std::size_t{1});
            }
        }
        QVERIFY(docked <= 1);
        QCOMPARE(seen.size(), frames.size());
        for (int index = 0; index < count; ++index) {
            QCOMPARE(seen.count(index), std::size_t{1});
        }

        std::multiset<int> clustered;
        for (const auto& cluster : allocator.clusters(frames)) {
            clustered.insert(cluster.begin(), cluster.end());
        }
        QCOMPARE(clustered, seen);
    }
}

QTEST_GUILESS_MAIN(SurfaceSlotAllocatorTest)
#include "SurfaceSlotAllocatorTest.moc"
