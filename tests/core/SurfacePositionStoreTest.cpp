#include "core/settings/SurfacePositionStore.h"

#include "core/settings/SettingsStore.h"

#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class SurfacePositionStoreTest : public QObject {
    Q_OBJECT
private slots:
    void normalize_data();
    void normalize();
    void positionOnALargeDisplayLandsProportionallyOnASmallOne();
    void sizeLargerThanTheContainerIsClamped();
    void saveMergesPerDisplay();
    void damagedStoreReadsAsEmpty();
};

void SurfacePositionStoreTest::normalize_data() {
    QTest::addColumn<QRectF>("frame");
    QTest::addColumn<QRectF>("container");
    QTest::addColumn<double>("x");
    QTest::addColumn<double>("y");
    const QRectF screen(100, 50, 1000, 800);
    QTest::newRow("top left") << QRectF(100, 50, 200, 200) << screen << 0.0 << 0.0;
    QTest::newRow("bottom right") << QRectF(900, 650, 200, 200) << screen << 1.0 << 1.0;
    QTest::newRow("middle") << QRectF(500, 350, 200, 200) << screen << 0.5 << 0.5;
    QTest::newRow("as wide as the container") << QRectF(100, 350, 1000, 200) << screen << 0.0 << 0.5;
    QTest::newRow("wider than the container") << QRectF(50, 350, 1400, 200) << screen << 0.0 << 0.5;
    QTest::newRow("outside is clamped") << QRectF(-500, 2000, 200, 200) << screen << 0.0 << 1.0;
}

void SurfacePositionStoreTest::normalize() {
    QFETCH(QRectF, frame);
    QFETCH(QRectF, container);
    QFETCH(double, x);
    QFETCH(double, y);
    const auto position = SurfacePositionResolver::normalizedPosition(frame, container);
    QCOMPARE(position.x, x);
    QCOMPARE(position.y, y);
}

void SurfacePositionStoreTest::positionOnALargeDisplayLandsProportionallyOnASmallOne() {
    const QRectF large(0, 0, 3840, 2160);
    const QRectF small(3840, 0, 1280, 720);
    const QRectF saved(2730, 980, 200, 200); // 3/4 of the room across, 1/2 down
    const auto position = SurfacePositionResolver::normalizedPosition(saved, large);
    const QRectF restored = SurfacePositionResolver::frame(position, saved.size(), small);
    QCOMPARE(restored, QRectF(3840 + 0.75 * 1080, 0.5 * 520, 200, 200));
}

void SurfacePositionStoreTest::sizeLargerThanTheContainerIsClamped() {
    const QRectF restored =
        SurfacePositionResolver::frame({0.5, 0.5}, QSizeF(5000, -10), QRectF(0, 0, 800, 600));
    QCOMPARE(restored, QRectF(0, 300, 800, 0));
    // A position edited outside 0...1 still lands on the display.
    QCOMPARE(SurfacePositionResolver::frame({5, -2}, QSizeF(100, 100), QRectF(0, 0, 800, 600)),
             QRectF(700, 0, 100, 100));
}

void SurfacePositionStoreTest::saveMergesPerDisplay() {
    QTemporaryDir dir;
    QSettings defaults(dir.filePath(u"t.conf"_s), QSettings::IniFormat);
    SurfacePositionStore store(defaults);
    const QRectF screen(0, 0, 1000, 1000);
    store.save(QRectF(0, 0, 100, 100), screen, u"A"_s, u"cpu"_s);
    store.save(QRectF(900, 900, 100, 100), screen, u"A"_s, u"memory"_s);
    store.save(QRectF(450, 0, 100, 100), screen, u"B"_s, u"cpu"_s);
    QCOMPARE(store.position(u"A"_s, u"cpu"_s), std::optional(NormalizedSurfacePosition{0, 0}));
    QCOMPARE(store.position(u"A"_s, u"memory"_s), std::optional(NormalizedSurfacePosition{1, 1}));
    QCOMPARE(store.position(u"B"_s, u"cpu"_s), std::optional(NormalizedSurfacePosition{0.5, 0}));
    QCOMPARE(store.position(u"B"_s, u"memory"_s), std::nullopt);
    // What was saved is what the next start reads.
    const SurfacePositionStore reread(defaults);
    QCOMPARE(reread.positions(), store.positions());
}

void SurfacePositionStoreTest::damagedStoreReadsAsEmpty() {
    QTemporaryDir dir;
    QSettings defaults(dir.filePath(u"t.conf"_s), QSettings::IniFormat);
    defaults.setValue(QLatin1StringView(PreferenceKeys::surfacePositions),
                      QByteArray(R"({"A":{"cpu":{"x":"left"}}})"));
    SurfacePositionStore store(defaults);
    QVERIFY(store.positions().isEmpty());
    // Saving over a damaged value starts afresh instead of failing.
    store.save(QRectF(0, 0, 10, 10), QRectF(0, 0, 100, 100), u"A"_s, u"cpu"_s);
    QCOMPARE(store.positions().size(), 1);
}

QTEST_GUILESS_MAIN(SurfacePositionStoreTest)
#include "SurfacePositionStoreTest.moc"
