#include "spatial/workspace/SurfaceShapeResolver.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

QString describe(const SurfaceShape& shape) {
    if (const auto* moon = std::get_if<shape::HalfMoon>(&shape)) {
        return u"halfMoon "_s + rawValue(moon->edge);
    }
    if (const auto* corner = std::get_if<shape::InCorner>(&shape)) {
        return u"corner "_s + rawValue(corner->corner);
    }
    return u"circle"_s;
}

} // namespace

class SurfaceShapeResolverTest : public QObject {
    Q_OBJECT
private slots:
    void shape_data();
    void shape();
};

void SurfaceShapeResolverTest::shape_data() {
    QTest::addColumn<QRectF>("frame");
    QTest::addColumn<QString>("expected");
    // Visible frame: x 0...1440, y 30...900. Frames are 100 by 100.
    QTest::newRow("open space") << QRectF(600, 400, 100, 100) << u"circle"_s;
    QTest::newRow("flush top left") << QRectF(0, 30, 100, 100) << u"corner topLeft"_s;
    QTest::newRow("flush top right") << QRectF(1340, 30, 100, 100) << u"corner topRight"_s;
    QTest::newRow("flush bottom left") << QRectF(0, 800, 100, 100) << u"corner bottomLeft"_s;
    QTest::newRow("flush bottom right") << QRectF(1340, 800, 100, 100) << u"corner bottomRight"_s;
    QTest::newRow("left edge") << QRectF(0, 400, 100, 100) << u"halfMoon left"_s;
    QTest::newRow("right edge") << QRectF(1340, 400, 100, 100) << u"halfMoon right"_s;
    QTest::newRow("top edge") << QRectF(600, 30, 100, 100) << u"halfMoon top"_s;
    QTest::newRow("bottom edge") << QRectF(600, 800, 100, 100) << u"halfMoon bottom"_s;
    QTest::newRow("four points from the right is near") << QRectF(1336, 400, 100, 100) << u"halfMoon right"_s;
    QTest::newRow("five points from the right is not") << QRectF(1335, 400, 100, 100) << u"circle"_s;
    QTest::newRow("past the left edge still leans on it") << QRectF(-30, 400, 100, 100) << u"halfMoon left"_s;
    QTest::newRow("near top, five from left") << QRectF(5, 33, 100, 100) << u"halfMoon top"_s;
    QTest::newRow("full width at the top: left wins the tie")
        << QRectF(0, 30, 1440, 100) << u"corner topLeft"_s;
    QTest::newRow("nearly full width, nearer the right") << QRectF(3, 600, 1436, 100) << u"halfMoon right"_s;
    QTest::newRow("full height on the right: top wins the tie")
        << QRectF(1340, 30, 100, 870) << u"corner topRight"_s;
    QTest::newRow("as large as the visible frame") << QRectF(0, 30, 1440, 870) << u"corner topLeft"_s;
}

void SurfaceShapeResolverTest::shape() {
    QFETCH(QRectF, frame);
    QFETCH(QString, expected);
    const SurfaceShapeResolver resolver;
    QCOMPARE(describe(resolver.shape(frame, QRectF(0, 30, 1440, 870))), expected);
}

QTEST_GUILESS_MAIN(SurfaceShapeResolverTest)
#include "SurfaceShapeResolverTest.moc"
