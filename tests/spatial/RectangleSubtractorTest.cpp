#include "spatial/engine/RectangleSubtractor.h"

#include <QTest>

#include <algorithm>
#include <cstdint>

using namespace tessary;

namespace {

std::vector<QRectF> toVector(const QList<QRectF>& list) {
    return {list.begin(), list.end()};
}

QList<QRectF> toList(const std::vector<QRectF>& vector) {
    return {vector.begin(), vector.end()};
}

// A small deterministic generator, so that a failing case can be replayed from its seed.
class Lcg {
public:
    explicit Lcg(std::uint32_t seed)
        : m_state(seed) {}
    int below(int bound) {
        m_state = m_state * 1664525U + 1013904223U;
        return static_cast<int>((m_state >> 8) % static_cast<std::uint32_t>(bound));
    }

private:
    std::uint32_t m_state;
};

} // namespace

class RectangleSubtractorTest : public QObject {
    Q_OBJECT
private slots:
    void subtract_data();
    void subtract();
    void piecesTileExactlyWhatIsLeft_data();
    void piecesTileExactlyWhatIsLeft();
};

void RectangleSubtractorTest::subtract_data() {
    QTest::addColumn<QRectF>("outer");
    QTest::addColumn<QList<QRectF>>("subtrahends");
    QTest::addColumn<QList<QRectF>>("pieces");

    const QRectF square(0, 0, 100, 100);
    QTest::newRow("nothing to subtract") << square << QList<QRectF>{} << QList<QRectF>{square};
    QTest::newRow("disjoint") << square << QList<QRectF>{{200, 200, 10, 10}} << QList<QRectF>{square};
    QTest::newRow("touching the edge takes nothing")
        << square << QList<QRectF>{{100, 0, 50, 100}} << QList<QRectF>{square};
    QTest::newRow("hole: above, below, left, right")
        << square << QList<QRectF>{{40, 40, 20, 20}}
        << QList<QRectF>{{0, 0, 100, 40}, {0, 60, 100, 40}, {0, 40, 40, 20}, {60, 40, 40, 20}};
    QTest::newRow("covering everything") << square << QList<QRectF>{{-5, -5, 200, 200}} << QList<QRectF>{};
    QTest::newRow("overhanging a corner")
        << square << QList<QRectF>{{80, -10, 50, 50}} << QList<QRectF>{{0, 40, 100, 60}, {0, 0, 80, 40}};
    QTest::newRow("second cut splits each piece in list order")
        << square << QList<QRectF>{{40, 40, 20, 20}, {0, 0, 10, 100}}
        << QList<QRectF>{{10, 0, 90, 40}, {10, 60, 90, 40}, {10, 40, 30, 20}, {60, 40, 40, 20}};
    QTest::newRow("bands of half a point are dropped")
        << square << QList<QRectF>{{0, 0.5, 100, 99}} << QList<QRectF>{};
    QTest::newRow("bands of exactly one point stay")
        << square << QList<QRectF>{{0, 1, 100, 98}} << QList<QRectF>{{0, 0, 100, 1}, {0, 99, 100, 1}};
    QTest::newRow("a narrow side piece is dropped, the bands stay")
        << square << QList<QRectF>{{0.6, 30, 99.4, 40}} << QList<QRectF>{{0, 0, 100, 30}, {0, 70, 100, 30}};
    QTest::newRow("rectangles of negative size are standardized")
        << QRectF(100, 100, -100, -100) << QList<QRectF>{{60, 60, -20, -20}}
        << QList<QRectF>{{0, 0, 100, 40}, {0, 60, 100, 40}, {0, 40, 40, 20}, {60, 40, 40, 20}};
    QTest::newRow("an outer rectangle under one point is dropped")
        << QRectF(0, 0, 0.5, 100) << QList<QRectF>{} << QList<QRectF>{};
    QTest::newRow("an empty subtrahend takes nothing")
        << square << QList<QRectF>{{50, 50, 0, 0}} << QList<QRectF>{square};
    QTest::newRow("fractional cuts keep their fractions")
        << square << QList<QRectF>{{20.25, 30.5, 10, 10}}
        << QList<QRectF>{
               {0, 0, 100, 30.5}, {0, 40.5, 100, 59.5}, {0, 30.5, 20.25, 10}, {30.25, 30.5, 69.75, 10}};
}

void RectangleSubtractorTest::subtract() {
    QFETCH(QRectF, outer);
    QFETCH(QList<QRectF>, subtrahends);
    QFETCH(QList<QRectF>, pieces);
    QCOMPARE(toList(RectangleSubtractor::subtract(toVector(subtrahends), outer)), pieces);
}

void RectangleSubtractorTest::piecesTileExactlyWhatIsLeft_data() {
    QTest::addColumn<std::uint32_t>("seed");
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        QTest::addRow("seed %u", seed) << seed;
    }
}

// On whole coordinates no sliver is ever lost, so every unit cell of the outer rectangle must lie in
// exactly one piece when no subtrahend covers it, and in none when one does.
void RectangleSubtractorTest::piecesTileExactlyWhatIsLeft() {
    QFETCH(std::uint32_t, seed);
    Lcg random(seed);
    const QRectF outer(0, 0, 60, 40);
    std::vector<QRectF> subtrahends;
    const int count = 1 + random.below(8);
    subtrahends.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        subtrahends.emplace_back(random.below(70) - 5, random.below(50) - 5, 1 + random.below(25),
                                 1 + random.below(20));
    }
    const std::vector<QRectF> pieces = RectangleSubtractor::subtract(subtrahends, outer);

    for (const QRectF& piece : pieces) {
        QVERIFY(piece.width() >= 1 && piece.height() >= 1);
        QVERIFY(outer.contains(piece));
    }
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 60; ++x) {
            const QPointF cell(x + 0.5, y + 0.5);
            const bool covered = std::any_of(subtrahends.begin(), subtrahends.end(),
                                             [&](const QRectF& s) { return s.contains(cell); });
            const auto holding = std::count_if(pieces.begin(), pieces.end(),
                                               [&](const QRectF& p) { return p.contains(cell); });
            QVERIFY2(holding == (covered ? 0 : 1), qPrintable(QStringLiteral("cell %1,%2").arg(x).arg(y)));
        }
    }
}

QTEST_GUILESS_MAIN(RectangleSubtractorTest)
#include "RectangleSubtractorTest.moc"
