#include "surfaces/form/DetailPlacement.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {
const QRectF screen(0, 32, 1920, 1048); // a top panel of 32
const QSizeF panel(344, 400);
} // namespace

class DetailPlacementTest : public QObject {
    Q_OBJECT
private slots:
    void frame_data();
    void frame();
    void confirmation_data();
    void confirmation();
    void rowTexts();
};

void DetailPlacementTest::frame_data() {
    QTest::addColumn<QRectF>("anchor");
    QTest::addColumn<int>("side");
    QTest::addColumn<QRectF>("expected");
    QTest::addColumn<QSizeF>("size");
    const int beside = int(DetailPlacement::Side::beside);
    const int below = int(DetailPlacement::Side::below);
    QTest::newRow("beside, room on the right")
        << QRectF(100, 300, 120, 120) << beside << QRectF(230, 300, 344, 400) << panel;
    QTest::newRow("beside, against the right edge: to the left")
        << QRectF(1800, 300, 120, 120) << beside << QRectF(1446, 300, 344, 400) << panel;
    QTest::newRow("beside, low on the screen: lifted to stay on it")
        << QRectF(100, 900, 120, 120) << beside << QRectF(230, 680, 344, 400) << panel;
    QTest::newRow("below the notch, centred on it")
        << QRectF(660, 0, 600, 140) << below << QRectF(788, 150, 344, 400) << panel;
    QTest::newRow("below asked, no room below: beside instead")
        << QRectF(100, 800, 120, 120) << below << QRectF(230, 680, 344, 400) << panel;
    QTest::newRow("beside, a capsule across the width: below")
        << QRectF(0, 32, 1920, 90) << beside << QRectF(788, 132, 344, 400) << panel;
    QTest::newRow("a panel taller than the screen is cut to it")
        << QRectF(100, 300, 120, 120) << beside << QRectF(230, 32, 344, 1048) << QSizeF(344, 2000);
}

void DetailPlacementTest::frame() {
    QFETCH(QRectF, anchor);
    QFETCH(int, side);
    QFETCH(QRectF, expected);
    QFETCH(QSizeF, size);
    const QRectF placed =
        DetailPlacement::frame(anchor, size, screen, static_cast<DetailPlacement::Side>(side));
    QCOMPARE(placed, expected);
    QVERIFY(screen.contains(placed));
}

void DetailPlacementTest::confirmation_data() {
    QTest::addColumn<QString>("confirmation");
    QTest::addColumn<bool>("destructive");
    QTest::addColumn<QString>("expected"); // empty: runs at once
    QTest::newRow("its own question") << u"Stop web on :5173?"_s << true << u"Stop web on :5173?"_s;
    QTest::newRow("a question even when not destructive") << u"Rename all?"_s << false << u"Rename all?"_s;
    QTest::newRow("destructive without a question asks by its title") << QString() << true << u"Stop?"_s;
    QTest::newRow("a blank question counts as none") << u"  "_s << true << u"Stop?"_s;
    QTest::newRow("harmless runs at once") << QString() << false << QString();
}

void DetailPlacementTest::confirmation() {
    QFETCH(QString, confirmation);
    QFETCH(bool, destructive);
    QFETCH(QString, expected);
    DetailCommand command{u"stop:1"_s, u"ports"_s, u"Stop"_s};
    if (!confirmation.isNull()) {
        command.confirmation = confirmation;
    }
    command.isDestructive = destructive;
    QCOMPARE(DetailTexts::confirmation(command, Localization()).value_or(QString()), expected);
}

void DetailPlacementTest::rowTexts() {
    DetailSection row;
    row.title = u"checks"_s;
    row.badge = u"2/3"_s;
    row.subtitleRuns = {{u"build "_s, std::nullopt}, {u"lint"_s, std::nullopt}};
    row.activity = DetailSection::Activity::working;
    row.metrics = {{u"t"_s, u"Time"_s, u"4 min"_s, u"median 3 min"_s, std::nullopt}};
    row.steps = {{u"s1"_s, u"build"_s, DetailStep::State::failed, u"exit 1"_s, std::nullopt}};
    row.location = DetailLocation{u"github.com/o/r/pull/4"_s, QUrl(u"https://github.com/o/r/pull/4"_s)};
    row.footnote = u"re-run by you"_s;
    QCOMPARE(DetailTexts::rowName(row), u"checks, 2/3, build lint"_s);
    QCOMPARE(
        DetailTexts::rowDescription(row, Localization()),
        u"working; Time: 4 min (median 3 min); failed: build · exit 1; github.com/o/r/pull/4; re-run by you"_s);
    // A note's lines are its title, then its subtitle's lines.
    DetailSection note;
    note.title = u"Recent log"_s;
    note.subtitle = u"a\nb"_s;
    note.isNote = true;
    QCOMPARE(note.noteLines(), (QStringList{u"Recent log"_s, u"a"_s, u"b"_s}));
    QCOMPARE(DetailTexts::rowName(note), u"Recent log"_s);
}

QTEST_GUILESS_MAIN(DetailPlacementTest)
#include "DetailPlacementTest.moc"
