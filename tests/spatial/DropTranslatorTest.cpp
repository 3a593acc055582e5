#include "spatial/slots/DropTranslator.h"

#include "SurfaceGroupText.h"
#include "spatial/slots/SurfaceShapes.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;
using tessary::testing::describe;

namespace {

// A display of 1440 by 900 with a menu bar of 25, a notch of 200 by 25 in the middle and bubble
// panels of 100.
const QRectF visible(0, 25, 1440, 875);
const QRectF notchArea(620, 0, 200, 25);
const DropTranslator::Geometry geometry{visible, notchArea, QSizeF(100, 100)};

QStringList modules(int count) {
    QStringList ids;
    for (int i = 0; i < count; ++i) {
        ids.append(u"module"_s + QString::number(i));
    }
    return ids;
}

} // namespace

Q_DECLARE_METATYPE(SurfaceShape)

class DropTranslatorTest : public QObject {
    Q_OBJECT
private slots:
    void equivalentBubble_data();
    void equivalentBubble();
    void snapped_data();
    void snapped();
    void positions_data();
    void positions();
    void shapesOfGroupings();
};

void DropTranslatorTest::equivalentBubble_data() {
    QTest::addColumn<QRectF>("dropped");
    QTest::addColumn<QRectF>("expected");
    QTest::newRow("in the open: centered") << QRectF(500, 400, 300, 80) << QRectF(600, 390, 100, 100);
    QTest::newRow("20 from the left: flush") << QRectF(20, 400, 73.6, 270) << QRectF(0, 485, 100, 100);
    QTest::newRow("21 from the left: centered, even past the edge")
        << QRectF(21, 400, 50, 50) << QRectF(-4, 375, 100, 100);
    QTest::newRow("a right capsule flush at the bottom")
        << QRectF(1366.4, 540, 73.6, 360) << QRectF(1340, 800, 100, 100);
    QTest::newRow("the notch panel above the visible frame")
        << QRectF(527, 0, 386, 108) << QRectF(670, 25, 100, 100);
    QTest::newRow("near both sides: the left wins") << QRectF(5, 400, 1430, 50) << QRectF(0, 375, 100, 100);
    QTest::newRow("20 from the bottom: flush") << QRectF(700, 780, 40, 100) << QRectF(670, 800, 100, 100);
}

void DropTranslatorTest::equivalentBubble() {
    QFETCH(QRectF, dropped);
    QFETCH(QRectF, expected);
    QCOMPARE(DropTranslator::equivalentBubble(dropped, QSizeF(100, 100), visible), expected);
}

void DropTranslatorTest::snapped_data() {
    QTest::addColumn<SurfaceShape>("shape");
    QTest::addColumn<QRectF>("expected");
    QTest::newRow("circle stays") << SurfaceShape(shape::Circle{}) << QRectF(600, 400, 100, 100);
    QTest::newRow("half moon on top")
        << SurfaceShape(shape::HalfMoon{Edge::top}) << QRectF(600, 25, 100, 100);
    QTest::newRow("half moon on the right")
        << SurfaceShape(shape::HalfMoon{Edge::right}) << QRectF(1340, 400, 100, 100);
    QTest::newRow("corner bottom left")
        << SurfaceShape(shape::InCorner{Corner::bottomLeft}) << QRectF(0, 800, 100, 100);
    QTest::newRow("corner top right")
        << SurfaceShape(shape::InCorner{Corner::topRight}) << QRectF(1340, 25, 100, 100);
}

void DropTranslatorTest::snapped() {
    QFETCH(SurfaceShape, shape);
    QFETCH(QRectF, expected);
    QCOMPARE(DropTranslator::snapped(QRectF(600, 400, 100, 100), shape, visible), expected);
}

void DropTranslatorTest::positions_data() {
    QTest::addColumn<QRectF>("dropped");
    QTest::addColumn<int>("moduleCount");
    QTest::addColumn<bool>("hasGeometry");
    QTest::addColumn<QList<QRectF>>("expected");

    const QRectF open(500, 400, 300, 80);
    QTest::newRow("a single module keeps the dropped frame") << open << 1 << true << QList<QRectF>{open};
    QTest::newRow("without geometry all keep the dropped frame")
        << open << 2 << false << QList<QRectF>{open, open};
    QTest::newRow("no modules") << open << 0 << true << QList<QRectF>{};
    QTest::newRow("a capsule dropped on the right stays one")
        << QRectF(1366.4, 315, 73.6, 270) << 3 << true << QList<QRectF>(3, {1340, 400, 100, 100});
    // Centered on the small drop, the bubble would stick 5 past the edge; it is snapped flush.
    QTest::newRow("a small drop near the right snaps flush")
        << QRectF(1375, 400, 40, 40) << 2 << true << QList<QRectF>(2, {1340, 370, 100, 100});
    QTest::newRow("rings dropped top left")
        << QRectF(0, 25, 178, 178) << 3 << true << QList<QRectF>(3, {0, 25, 100, 100});
    QTest::newRow("near the bottom right corner makes rings")
        << QRectF(1330, 790, 100, 100) << 2 << true << QList<QRectF>(2, {1340, 800, 100, 100});
    QTest::newRow("the notch panel docks again")
        << QRectF(527, 0, 386, 108) << 2 << true << QList<QRectF>(2, {670, 25, 100, 100});
    QTest::newRow("near the notch docks centered under it")
        << QRectF(700, 30, 100, 100) << 4 << true << QList<QRectF>(4, {670, 25, 100, 100});
    QTest::newRow("seven near the notch become a capsule on top")
        << QRectF(700, 30, 100, 100) << 7 << true << QList<QRectF>(7, {700, 25, 100, 100});
    QTest::newRow("two dropped in the open fan apart")
        << QRectF(600, 400, 100, 100) << 2 << true
        << QList<QRectF>{{557.5, 400, 100, 100}, {642.5, 400, 100, 100}};
    QTest::newRow("three dropped in the open fan apart")
        << QRectF(600, 400, 100, 100) << 3 << true
        << QList<QRectF>{{515, 400, 100, 100}, {600, 400, 100, 100}, {685, 400, 100, 100}};
}

// The frames that come back are what is saved; laid out again they must give the surface that the
// drop made of the equivalent bubbles.
void DropTranslatorTest::positions() {
    QFETCH(QRectF, dropped);
    QFETCH(int, moduleCount);
    QFETCH(bool, hasGeometry);
    QFETCH(QList<QRectF>, expected);

    const DropTranslator translator;
    const QStringList ids = modules(moduleCount);
    const auto result =
        translator.positions(dropped, ids, hasGeometry ? std::optional(geometry) : std::nullopt);

    QStringList returnedIDs;
    QList<QRectF> frames;
    for (const auto& position : result) {
        returnedIDs.append(position.moduleID);
        frames.append(position.frame);
    }
    QCOMPARE(returnedIDs, ids);
    QCOMPARE(frames, expected);

    if (hasGeometry && moduleCount >= 2) {
        const QRectF bubble = DropTranslator::equivalentBubble(dropped, geometry.bubblePanelSize, visible);
        const std::vector<QRectF> bubbles(static_cast<std::size_t>(moduleCount), bubble);
        const auto intended = translator.allocator.grouped(bubbles, 100, notchArea, visible);
        const auto laidOut = translator.allocator.grouped(std::vector<QRectF>(frames.begin(), frames.end()),
                                                          100, notchArea, visible);
        QCOMPARE(describe(laidOut), describe(intended));
        QCOMPARE(laidOut, intended);
    }
}

void DropTranslatorTest::shapesOfGroupings() {
    QCOMPARE(anchoredEdges(shape::HalfMoon{Edge::left}), std::vector<Edge>{Edge::left});
    QCOMPARE(anchoredEdges(shape::InCorner{Corner::bottomRight}),
             (std::vector<Edge>{Edge::bottom, Edge::right}));
    QVERIFY(anchoredEdges(shape::Circle{}).empty());

    QCOMPARE(shapeOf(grouping::Capsule{Edge::top}), std::optional<SurfaceShape>(shape::HalfMoon{Edge::top}));
    QCOMPARE(shapeOf(grouping::Rings{Corner::topLeft}),
             std::optional<SurfaceShape>(shape::InCorner{Corner::topLeft}));
    QCOMPARE(shapeOf(grouping::Bubble{}), std::optional<SurfaceShape>(shape::Circle{}));
    QVERIFY(!shapeOf(grouping::Notch{notchArea}));

    QCOMPARE(cornerOf(Edge::bottom, Edge::left), Corner::bottomLeft);
    QCOMPARE(cornerOf(Edge::top, Edge::right), Corner::topRight);
}

QTEST_GUILESS_MAIN(DropTranslatorTest)
#include "DropTranslatorTest.moc"
