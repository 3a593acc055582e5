#include "surfaces/SurfacePainter.h"

#include "SampleSnapshots.h"
#include "core/localization/Localization.h"
#include "spatial/notch/NotchMetrics.h"
#include "spatial/slots/SurfaceSlotAllocator.h"
#include "surfaces/SymbolIconCache.h"
#include "surfaces/form/SymbolCatalog.h"

#include <QFontMetricsF>
#include <QImage>
#include <QSvgRenderer>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QRectF screen(0, 0, 1920, 1080);

// A scene in the panel's own coordinates, as a coordinator hands it over.
SurfaceScene scene(const QString& form, double expansion) {
    SurfaceScene s;
    s.drawsShadow = false;
    SurfaceHitTest& g = s.geometry;
    g.expansion = expansion;
    QRectF panel(0, 0, 140, 140);
    if (form == u"bubble"_s || form == u"half moon"_s) {
        s.modules = {samples::claudeUsage()};
        if (form == u"half moon"_s) {
            g.chipShape = shape::HalfMoon{Edge::bottom};
        }
    } else if (form == u"capsule"_s) {
        s.modules = {samples::claudeUsage(), samples::codexUsage(), samples::pullRequest()};
        g.grouping = grouping::Capsule{Edge::left};
        panel = SurfaceSlotAllocator::capsuleFrame(Edge::left, 3, 140, QRectF(0, 300, 140, 140), screen);
    } else if (form == u"rings"_s) {
        s.modules = {samples::cpu(), samples::memory(), samples::localServers()};
        g.grouping = grouping::Rings{Corner::bottomRight};
        panel = SurfaceSlotAllocator::ringsFrame(Corner::bottomRight, 3, 140, screen);
    } else {
        s.modules = {samples::agentSessions(), samples::claudeUsage(), samples::pullRequest()};
        const QRectF notch(870, 0, 180, 32);
        panel = NotchMetrics{notch, 3}.panelFrame();
        g.grouping = grouping::Notch{notch.translated(-panel.topLeft())};
        g.notchTabs = NotchTabs::gather(s.modules);
    }
    g.panel = QRectF(QPointF(0, 0), panel.size());
    g.moduleCount = static_cast<int>(s.modules.size());
    return s;
}

QImage render(SurfacePainter& painter, const SurfaceScene& s, qreal ratio) {
    QImage image((s.geometry.panel.size() * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter p(&image);
    painter.paint(p, s);
    return image;
}

} // namespace

Q_DECLARE_METATYPE(tessary::AppLanguage)

class SurfacePainterTest : public QObject {
    Q_OBJECT
private slots:
    void paintedFormIsTheHitForm_data();
    void paintedFormIsTheHitForm();
    void shadowStaysOutsideTheForm();
    void everyBundledIconIsAValidSvg();
    void notchCaptionDropsAPartRatherThanCutIt_data();
    void notchCaptionDropsAPartRatherThanCutIt();
    void iconsTakeTheirColourAndFallBack();
};

void SurfacePainterTest::paintedFormIsTheHitForm_data() {
    QTest::addColumn<QString>("form");
    QTest::addColumn<double>("expansion");
    QTest::addColumn<qreal>("ratio");
    for (const QString& form : {u"bubble"_s, u"half moon"_s, u"capsule"_s, u"rings"_s, u"notch"_s}) {
        for (const double e : {0.0, 1.0}) {
            for (const qreal ratio : {1.0, 2.0}) {
                QTest::addRow("%s at %g, %gx", qPrintable(form), e, ratio) << form << e << ratio;
            }
        }
    }
}

void SurfacePainterTest::paintedFormIsTheHitForm() {
    // A point counts as on the surface exactly when it falls on what is drawn: away from the
    // antialiased rim, every point the hit test takes is painted, and every point it refuses is clear.
    QFETCH(QString, form);
    QFETCH(double, expansion);
    QFETCH(qreal, ratio);
    SurfacePainter painter;
    const SurfaceScene s = scene(form, expansion);
    const QImage image = render(painter, s, ratio);
    const SurfaceHitTest& hit = s.geometry;
    const double margin = 1.5;
    int checked = 0;
    for (double y = 0.5; y < hit.panel.height(); y += 2) {
        for (double x = 0.5; x < hit.panel.width(); x += 2) {
            const QPointF point(x, y);
            const bool on = hit.contains(point);
            bool clear = true;
            for (const QPointF& step :
                 {QPointF(margin, 0), QPointF(-margin, 0), QPointF(0, margin), QPointF(0, -margin)}) {
                clear = clear && hit.contains(point + step) == on;
            }
            if (!clear) {
                continue; // on the rim
            }
            const int alpha = qAlpha(image.pixel(static_cast<int>(x * ratio), static_cast<int>(y * ratio)));
            QVERIFY2(on ? alpha > 0 : alpha == 0, qPrintable(u"%1, %2: alpha %3"_s.arg(x).arg(y).arg(alpha)));
            ++checked;
        }
    }
    QVERIFY(checked > 500);
}

void SurfacePainterTest::shadowStaysOutsideTheForm() {
    SurfacePainter painter;
    SurfaceScene s = scene(u"bubble"_s, 0);
    s.drawsShadow = true;
    const QImage image = render(painter, s, 1);
    // The glass keeps its own alpha over its shadow, and the shadow fades out within the margin.
    const int inside = qAlpha(image.pixel(70, 40));
    s.drawsShadow = false;
    QCOMPARE(qAlpha(render(painter, s, 1).pixel(70, 40)), inside);
    QVERIFY(qAlpha(image.pixel(70, 70 + 48)) > 0); // just below the disc
    QCOMPARE(qAlpha(image.pixel(2, 2)), 0);
}

void SurfacePainterTest::everyBundledIconIsAValidSvg() {
    for (const QString& icon : SymbolCatalog::bundledIconNames()) {
        QSvgRenderer renderer(SymbolCatalog::resourcePath(icon));
        QVERIFY2(renderer.isValid(), qPrintable(icon));
    }
}

void SurfacePainterTest::iconsTakeTheirColourAndFallBack() {
    SymbolIconCache cache;
    const QColor red(255, 0, 0);
    const QImage& cpu = cache.icon(u"cpu"_s, 24, 2, red);
    QCOMPARE(cpu.size(), QSize(48, 48));
    bool sawRed = false;
    for (int y = 0; y < cpu.height() && !sawRed; ++y) {
        for (int x = 0; x < cpu.width() && !sawRed; ++x) {
            const QRgb pixel = cpu.pixel(x, y);
            sawRed = qAlpha(pixel) == 255 && qRed(pixel) == 255 && qGreen(pixel) == 0 && qBlue(pixel) == 0;
        }
    }
    QVERIFY(sawRed);
    const QImage& unknown = cache.icon(u"no.such.symbol"_s, 24, 1, red);
    const QImage& fallback = cache.icon(SymbolCatalog::fallbackIconName(), 24, 1, red);
    QCOMPARE(unknown, fallback);
    QVERIFY(!unknown.isNull());
    const qsizetype cached = cache.size();
    (void)cache.icon(u"cpu"_s, 24, 2, red);
    QCOMPARE(cache.size(), cached);
}

void SurfacePainterTest::notchCaptionDropsAPartRatherThanCutIt_data() {
    QTest::addColumn<AppLanguage>("language");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("value");
    // The widest leads a notch shows, in each language the program speaks.
    for (const AppLanguage language : {AppLanguage::english, AppLanguage::spanish, AppLanguage::portuguese}) {
        const QString code = rawValue(language);
        QTest::addRow("%s, Local ports, none", qPrintable(code))
            << language << u"Local ports"_s << u"no local servers"_s;
        QTest::addRow("%s, Claude, no limits", qPrintable(code)) << language << u"Claude"_s << u"no limits"_s;
        QTest::addRow("%s, Memory, no data", qPrintable(code)) << language << u"Memory"_s << u"no data"_s;
    }
}

void SurfacePainterTest::notchCaptionDropsAPartRatherThanCutIt() {
    QFETCH(AppLanguage, language);
    QFETCH(QString, title);
    QFETCH(QString, value);
    const Localization localization = Localization::forSetting(language);
    const CompactVariant lead{localization.text(title), localization.text(value), u"network"_s};
    // The notch of a display without a camera notch: 180 by 32, its text kept 12 from each side.
    const double width = 180 - 24;
    const RestingCaption caption = SurfacePainter::notchCaption(lead, width, 32);
    // Each part whole or not at all, never both dropped, and the reading kept before the title.
    QVERIFY(caption.title.isEmpty() || caption.title == lead.title);
    QVERIFY(caption.value.isEmpty() || caption.value == lead.value);
    QVERIFY2(!caption.value.isEmpty(), qPrintable(lead.value));
    QVERIFY(caption.pixelSize >= 10);
    QFont valueFont;
    valueFont.setPixelSize(static_cast<int>(std::lround(caption.pixelSize)));
    valueFont.setWeight(QFont::Bold);
    valueFont.setHintingPreference(QFont::PreferNoHinting);
    QVERIFY(QFontMetricsF(valueFont).horizontalAdvance(caption.value) <= width);
}

QTEST_MAIN(SurfacePainterTest)
#include "SurfacePainterTest.moc"
