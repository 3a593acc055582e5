#include "surfaces/SurfaceCoordinator.h"

#include "SampleSnapshots.h"
#include "platform/panels/fake/FakePanelWindowTraits.h"
#include "surfaces/SurfacePanel.h"

#include <QApplication>
#include <QCursor>
#include <QMouseEvent>
#include <QTest>

#include <memory>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QRectF visible(0, 0, 1920, 1080);
const QRectF bubbleFrame(800, 400, 140, 140); // middle at 870, 470

SurfaceViewState bubbleState(const QRectF& frame = bubbleFrame) {
    SurfaceViewState state;
    state.modules = {samples::claudeUsage()};
    state.placement = {u"screen"_s, SurfaceKind::floatingChip, frame, 1, true};
    return state;
}

// Drives one coordinator through its panel as a pointer would, on the offscreen platform.
struct Harness {
    FakePanelWindowTraits traits;
    std::vector<std::pair<SurfacePlacement, QRectF>> moves;
    std::vector<bool> hovers;
    std::unique_ptr<SurfaceCoordinator> surface;

    Harness() {
        SurfaceCallbacks callbacks;
        callbacks.onUserMoved = [this](const SurfacePlacement& placement, const QRectF& frame) {
            moves.emplace_back(placement, frame);
        };
        callbacks.onHoverChanged = [this](bool hovering) { hovers.push_back(hovering); };
        surface = std::make_unique<SurfaceCoordinator>(
            u"claude.usage@screen"_s, std::move(callbacks),
            SurfaceEnvironment{traits, {}, [](const QString&) { return std::optional(visible); }});
    }

    SurfacePanel& panel() const { return surface->panel(); }

    void send(QEvent::Type type, const QPointF& global, Qt::MouseButton button,
              Qt::MouseButtons buttons) const {
        QCursor::setPos(global.toPoint());
        QMouseEvent event(type, global - panel().frame().topLeft(), global, button, buttons, Qt::NoModifier);
        QApplication::sendEvent(&panel(), &event);
    }
    void hoverAt(const QPointF& global) const { send(QEvent::MouseMove, global, Qt::NoButton, Qt::NoButton); }
    void press(const QPointF& global) const {
        send(QEvent::MouseButtonPress, global, Qt::LeftButton, Qt::LeftButton);
    }
    void dragTo(const QPointF& global) const {
        send(QEvent::MouseMove, global, Qt::NoButton, Qt::LeftButton);
    }
    void release(const QPointF& global) const {
        send(QEvent::MouseButtonRelease, global, Qt::LeftButton, Qt::NoButton);
    }
};

} // namespace

class SurfaceCoordinatorTest : public QObject {
    Q_OBJECT
private slots:
    void showPreparesAndShapesThePanel();
    void hideFadesOutAndAShowInBetweenWins();
    void hoverOnTheFormExpandsWithASpring();
    void hoverOffTheFormIsNotAHover();
    void leavingIsDelayedAndAReturnKeepsTheHover();
    void reducedMotionExpandsAtOnce();
    void aNewFactPulsesAFewBeatsThenStandsStill();
    void anUnchangedPictureIsNotPaintedAgain();
    void withoutHoverExpansionAClickOpens();
    void dropNearAnEdgeSnapsFlushAndTakesItsShape();
    void flickThrowsAndStaysOnTheScreen();
    void clickIsNoMove();
    void refreshWhileDraggingKeepsTheFrameUnderTheHand();
    void refreshMovesAVisiblePanel();
};

void SurfaceCoordinatorTest::showPreparesAndShapesThePanel() {
    Harness h;
    h.surface->show(bubbleState());
    QVERIFY(h.panel().isVisible());
    QCOMPARE(h.panel().frame(), bubbleFrame);
    const auto window = static_cast<quintptr>(h.panel().winId());
    QCOMPARE(h.traits.prepared.value(window), 1);
    QCOMPARE(h.traits.reasserted.value(window), 1);
    // The input region is the resting disc (diameter 92.4 of 140), not the panel's square.
    const auto region = h.traits.inputRegion(window);
    QVERIFY(region && !region->empty());
    QRect bounds;
    qint64 area = 0;
    for (const QRect& rect : *region) {
        bounds = bounds.united(rect);
        area += qint64(rect.width()) * rect.height();
    }
    QVERIFY2(bounds.width() >= 92 && bounds.width() <= 97, qPrintable(QString::number(bounds.width())));
    const double disc = 3.14159 * 46.2 * 46.2;
    QVERIFY2(area > disc * 0.95 && area < disc * 1.12, qPrintable(QString::number(area)));
    QCOMPARE(h.panel().accessibleName(), u"Claude, 42%"_s);

    h.surface->show(bubbleState()); // a second show prepares nothing again
    QCOMPARE(h.traits.prepared.value(window), 1);
}

void SurfaceCoordinatorTest::hideFadesOutAndAShowInBetweenWins() {
    Harness h;
    h.surface->show(bubbleState());
    QTRY_COMPARE(h.panel().opacity(), 1.0);
    h.surface->hide();
    QVERIFY(h.surface->isDismissing());
    QVERIFY(h.panel().isVisible());
    QTRY_VERIFY(!h.panel().isVisible());
    QVERIFY(!h.surface->isDismissing());

    h.surface->show(bubbleState());
    QTRY_COMPARE(h.panel().opacity(), 1.0);
    h.surface->hide();
    QTest::qWait(SurfaceCoordinator::fadeOutMs / 3);
    h.surface->show(bubbleState()); // cancels the fade: its end, when it comes, belongs to an old number
    QVERIFY(!h.surface->isDismissing());
    QTest::qWait(SurfaceCoordinator::fadeOutMs * 2);
    QVERIFY(h.panel().isVisible());
    QCOMPARE(h.panel().opacity(), 1.0);
}

void SurfaceCoordinatorTest::hoverOnTheFormExpandsWithASpring() {
    Harness h;
    h.surface->show(bubbleState());
    h.hoverAt({870, 470});
    QVERIFY(h.surface->isHovering());
    QCOMPARE(h.hovers, std::vector<bool>{true});
    QCOMPARE(h.surface->hoveredModule(), std::optional(0));
    QVERIFY(h.surface->expansion() < 0.5); // it springs, it doesn't jump
    QTRY_COMPARE(h.surface->expansion(), 1.0);
    // Open, the form covers more of the panel, and so does the input region.
    QVERIFY(h.surface->currentHitTest().contains({808, 470}));
}

void SurfaceCoordinatorTest::hoverOffTheFormIsNotAHover() {
    Harness h;
    h.surface->show(bubbleState());
    h.hoverAt({803, 403}); // the panel's corner: clear, the pointer is over the window below
    QVERIFY(!h.surface->isHovering());
    QVERIFY(h.hovers.empty());
}

void SurfaceCoordinatorTest::leavingIsDelayedAndAReturnKeepsTheHover() {
    Harness h;
    h.surface->show(bubbleState());
    h.hoverAt({870, 470});
    QTRY_COMPARE(h.surface->expansion(), 1.0);

    h.hoverAt({802, 402}); // off the open form
    QTest::qWait(SurfaceCoordinator::hoverExitDelayMs / 2);
    QVERIFY(h.surface->isHovering());
    h.hoverAt({870, 470}); // back in time
    QTest::qWait(SurfaceCoordinator::hoverExitDelayMs);
    QVERIFY(h.surface->isHovering());
    QCOMPARE(h.hovers, std::vector<bool>{true});

    h.hoverAt({802, 402});
    QTRY_VERIFY(!h.surface->isHovering());
    QCOMPARE(h.hovers, (std::vector<bool>{true, false}));
    QTRY_COMPARE(h.surface->expansion(), 0.0);
}

void SurfaceCoordinatorTest::reducedMotionExpandsAtOnce() {
    Harness h;
    SurfaceViewState state = bubbleState();
    state.reducesMotion = true;
    h.surface->show(state);
    h.hoverAt({870, 470});
    QCOMPARE(h.surface->expansion(), 1.0);
}

void SurfaceCoordinatorTest::aNewFactPulsesAFewBeatsThenStandsStill() {
    const QDateTime first = QDateTime::fromSecsSinceEpoch(1'800'000'000);
    const auto withFact = [](const QDateTime& since, bool reducesMotion = false) {
        SurfaceViewState state = bubbleState();
        state.reducesMotion = reducesMotion;
        state.modules.front().variants.signal = ChangeSignal::make(
            {{u"limit"_s, ChangeSignal::Fact::Tone::attention, u"near the limit"_s, since}});
        return state;
    };
    Harness h;
    h.surface->show(withFact(first));
    QVERIFY(h.surface->isPulsing());
    // The loop's refreshes hand the same fact again and again: its beats are not started over.
    QTest::qWait(SurfaceCoordinator::pulsePeriodMs);
    h.surface->show(withFact(first));
    QTRY_VERIFY_WITH_TIMEOUT(!h.surface->isPulsing(),
                             SurfaceCoordinator::pulsePeriodMs * (SurfaceCoordinator::pulseBeats - 1) + 1000);
    h.surface->show(withFact(first));
    QVERIFY(!h.surface->isPulsing());

    h.surface->show(withFact(first.addSecs(60))); // a newer fact gets its own beats
    QVERIFY(h.surface->isPulsing());
    h.surface->show(withFact(first.addSecs(120), true)); // none with reduced motion
    QVERIFY(!h.surface->isPulsing());
}

void SurfaceCoordinatorTest::anUnchangedPictureIsNotPaintedAgain() {
    // Counts the panel's paint events.
    struct PaintCounter final : QObject {
        int paints = 0;
        bool eventFilter(QObject*, QEvent* event) override {
            paints += event->type() == QEvent::Paint ? 1 : 0;
            return false;
        }
    } counter;
    Harness h;
    h.surface->show(bubbleState());
    QTRY_COMPARE(h.panel().opacity(), 1.0);
    h.panel().installEventFilter(&counter);
    // Until the window system has nothing more to expose.
    for (int settled = 0; settled < 10 && (settled == 0 || counter.paints > 0); ++settled) {
        counter.paints = 0;
        QTest::qWait(200);
    }
    counter.paints = 0;
    // The loop's idle refreshes: the same widgets, made again a moment later.
    for (int tick = 0; tick < 3; ++tick) {
        SurfaceViewState again = bubbleState();
        again.modules.front().generatedAt = QDateTime::currentDateTimeUtc().addSecs(tick);
        h.surface->show(again);
        QTest::qWait(50);
    }
    QCOMPARE(counter.paints, 0);
    SurfaceViewState changed = bubbleState();
    changed.modules.front().variants.compact.value = u"43%"_s;
    h.surface->show(changed);
    QTRY_VERIFY(counter.paints > 0);
}

void SurfaceCoordinatorTest::withoutHoverExpansionAClickOpens() {
    Harness h;
    h.surface->applyPresentation({false, false, NotchOpening::hover});
    h.surface->show(bubbleState());
    h.hoverAt({870, 470});
    QVERIFY(h.surface->isHovering());
    QTest::qWait(100);
    QCOMPARE(h.surface->expansion(), 0.0);
    h.press({870, 470});
    h.release({870, 470});
    QTRY_COMPARE(h.surface->expansion(), 1.0);
    QVERIFY(h.moves.empty());
}

void SurfaceCoordinatorTest::dropNearAnEdgeSnapsFlushAndTakesItsShape() {
    Harness h;
    h.surface->show(bubbleState());
    h.press({870, 470});
    h.dragTo({900, 470});
    h.dragTo({1820, 470}); // the frame's right side at 1890: 30 short of the edge
    QVERIFY(std::holds_alternative<shape::Circle>(h.surface->currentChipShape()));
    h.dragTo({1835, 470}); // 15 short: within reach of the edge
    QVERIFY(std::holds_alternative<shape::HalfMoon>(h.surface->currentChipShape()));
    QTest::qWait(150);
    h.release({1835, 470});
    QTRY_COMPARE(h.moves.size(), std::size_t{1});
    QCOMPARE(h.moves.front().second, QRectF(1780, 400, 140, 140));
    QCOMPARE(h.surface->currentChipShape(), SurfaceShape(shape::HalfMoon{Edge::right}));
}

void SurfaceCoordinatorTest::flickThrowsAndStaysOnTheScreen() {
    Harness h;
    h.surface->show(bubbleState());
    h.press({870, 470});
    for (int step = 1; step <= 6; ++step) {
        QTest::qWait(10);
        h.dragTo({870.0 - step * 40, 470.0 - step * 30}); // about 3000 points per second up and left
    }
    h.release({630, 290});
    QVERIFY(h.surface->isGliding());
    QTRY_COMPARE(h.moves.size(), std::size_t{1});
    QVERIFY(!h.surface->isGliding());
    // Thrown into the top left corner, and kept inside the visible frame there.
    QCOMPARE(h.moves.front().second, QRectF(0, 0, 140, 140));
}

void SurfaceCoordinatorTest::clickIsNoMove() {
    Harness h;
    h.surface->show(bubbleState());
    h.press({870, 470});
    h.dragTo({871, 470});
    h.release({871, 470});
    QTest::qWait(50);
    QVERIFY(h.moves.empty());
    QCOMPARE(h.panel().frame(), bubbleFrame);
}

void SurfaceCoordinatorTest::refreshWhileDraggingKeepsTheFrameUnderTheHand() {
    Harness h;
    h.surface->show(bubbleState());
    h.press({870, 470});
    h.dragTo({970, 470});
    SurfaceViewState refreshed = bubbleState(QRectF(0, 0, 140, 140));
    refreshed.modules.front().variants.compact.value = u"43%"_s;
    h.surface->show(refreshed);
    QCOMPARE(h.panel().frame(), bubbleFrame.translated(100, 0));
    QCOMPARE(h.panel().accessibleName(), u"Claude, 43%"_s); // the content follows all the same
}

void SurfaceCoordinatorTest::refreshMovesAVisiblePanel() {
    Harness h;
    h.surface->show(bubbleState());
    const QRectF elsewhere(100, 100, 140, 140);
    h.surface->show(bubbleState(elsewhere));
    QVERIFY(h.panel().frame() != elsewhere); // glides there
    QTRY_COMPARE(h.panel().frame(), elsewhere);

    SurfaceViewState still = bubbleState(bubbleFrame);
    still.reducesMotion = true;
    h.surface->show(still);
    QCOMPARE(h.panel().frame(), bubbleFrame); // no animated movement
}

QTEST_MAIN(SurfaceCoordinatorTest)
#include "SurfaceCoordinatorTest.moc"
