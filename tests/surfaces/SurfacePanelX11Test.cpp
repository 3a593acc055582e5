#include "SampleSnapshots.h"
#include "SurfaceX11Driver.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "surfaces/SurfaceCoordinator.h"
#include "surfaces/SurfacePanel.h"

#include <QApplication>
#include <QMouseEvent>
#include <QScreen>
#include <QTest>
#include <QWidget>

#include <memory>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

const QRectF bubbleFrame(900, 400, 140, 140); // middle at 970, 470; drawn disc of radius 46

// An ordinary window of the user's: it records the presses that reach it.
class WorkWindow final : public QWidget {
public:
    explicit WorkWindow(const QRect& geometry) {
        setWindowTitle(u"work"_s);
        setGeometry(geometry);
    }
    std::vector<QPoint> presses;

protected:
    void mousePressEvent(QMouseEvent* event) override {
        presses.push_back(event->globalPosition().toPoint());
    }
};

std::uint32_t windowId(const QWidget& widget) {
    return static_cast<std::uint32_t>(widget.winId());
}

QString number(double value) {
    return QString::number(static_cast<int>(value));
}

} // namespace

class SurfacePanelX11Test : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void neverTakesTheFocus();
    void standsOnEveryDesktopOutOfTaskbarAndPager();
    void clickOutsideTheFormReachesTheWindowBelow();
    void dragMovesItAndReportsTheDrop();

private:
    void showBubble();
    void waitForMapped(const QWidget& widget);

    X11Driver m_x11;
    X11PanelWindowTraits m_traits;
    std::unique_ptr<SurfaceCoordinator> m_surface;
    std::vector<QRectF> m_drops;
    int m_hoverChanges = 0;
};

void SurfacePanelX11Test::init() {
    QVERIFY(m_x11.isConnected());
    QVERIFY(X11Driver::xdotool({u"mousemove"_s, u"--sync"_s, u"5"_s, u"5"_s}));
    SurfaceCallbacks callbacks;
    callbacks.onUserMoved = [this](const SurfacePlacement&, const QRectF& frame) {
        m_drops.push_back(frame);
    };
    callbacks.onHoverChanged = [this](bool) { ++m_hoverChanges; };
    const QRectF visible = QGuiApplication::primaryScreen()->availableGeometry();
    m_surface = std::make_unique<SurfaceCoordinator>(
        u"claude.usage@screen"_s, std::move(callbacks),
        SurfaceEnvironment{m_traits, {}, [visible](const QString&) { return std::optional(visible); }});
    m_drops.clear();
    m_hoverChanges = 0;
}

void SurfacePanelX11Test::cleanup() {
    m_surface.reset();
}

void SurfacePanelX11Test::waitForMapped(const QWidget& widget) {
    QTRY_VERIFY_WITH_TIMEOUT(m_x11.isViewable(windowId(widget)), 5000);
    QTest::qWait(200); // let the window manager settle its stacking
}

void SurfacePanelX11Test::showBubble() {
    SurfaceViewState state;
    state.modules = {samples::claudeUsage()};
    state.placement = {QGuiApplication::primaryScreen()->name(), SurfaceKind::floatingChip, bubbleFrame, 1,
                       true};
    m_surface->show(state);
    waitForMapped(m_surface->panel());
}

void SurfacePanelX11Test::neverTakesTheFocus() {
    WorkWindow work(QRect(100, 100, 500, 400));
    work.show();
    waitForMapped(work);
    QVERIFY(X11Driver::xdotool({u"windowactivate"_s, u"--sync"_s, QString::number(windowId(work))}));
    QTRY_COMPARE_WITH_TIMEOUT(m_x11.activeWindow(), std::optional(windowId(work)), 5000);

    showBubble();
    QTest::qWait(300);
    QCOMPARE(m_x11.activeWindow(), std::optional(windowId(work)));

    // Pointing at it and clicking it doesn't take the focus either.
    QVERIFY(X11Driver::xdotool({u"mousemove"_s, u"--sync"_s, u"970"_s, u"470"_s, u"click"_s, u"1"_s}));
    QTRY_VERIFY(m_surface->isHovering());
    QTest::qWait(300);
    QCOMPARE(m_x11.activeWindow(), std::optional(windowId(work)));
    QVERIFY(!m_surface->panel().isActiveWindow());
}

void SurfacePanelX11Test::standsOnEveryDesktopOutOfTaskbarAndPager() {
    WorkWindow work(QRect(100, 100, 300, 200));
    work.show();
    waitForMapped(work);
    showBubble();
    const std::uint32_t panel = windowId(m_surface->panel());
    QTRY_COMPARE(m_x11.desktopOf(panel), std::optional<std::uint32_t>(0xFFFFFFFF));
    // Openbox shows a window on every desktop by that desktop number alone, and keeps no sticky state.
    if (m_x11.supports("_NET_WM_STATE_STICKY")) {
        QVERIFY(m_x11.hasState(panel, "_NET_WM_STATE_STICKY"));
    }
    QVERIFY(m_x11.hasState(panel, "_NET_WM_STATE_SKIP_TASKBAR"));
    QVERIFY(m_x11.hasState(panel, "_NET_WM_STATE_SKIP_PAGER"));
    QVERIFY(m_x11.hasState(panel, "_NET_WM_STATE_ABOVE"));

    QVERIFY(X11Driver::xdotool({u"set_desktop"_s, u"1"_s}));
    QTRY_COMPARE(m_x11.currentDesktop(), std::optional<std::uint32_t>(1));
    // The ordinary window stayed behind on its desktop; the surface came along.
    QTRY_VERIFY(!m_x11.isViewable(windowId(work)));
    QVERIFY(m_x11.isViewable(panel));
    QVERIFY(X11Driver::xdotool({u"set_desktop"_s, u"0"_s}));
    QTRY_COMPARE(m_x11.currentDesktop(), std::optional<std::uint32_t>(0));
}

void SurfacePanelX11Test::clickOutsideTheFormReachesTheWindowBelow() {
    WorkWindow below(QRect(850, 350, 300, 300));
    below.show();
    waitForMapped(below);
    showBubble();

    // The panel's top left corner is clear: the click goes through to the window underneath.
    QVERIFY(X11Driver::xdotool({u"mousemove"_s, u"--sync"_s, u"906"_s, u"406"_s, u"click"_s, u"1"_s}));
    QTRY_COMPARE(below.presses.size(), std::size_t{1});
    QCOMPARE(below.presses.front(), QPoint(906, 406));
    QVERIFY(!m_surface->isHovering());

    // On the drawn disc the surface takes it, and the window below hears nothing.
    QVERIFY(X11Driver::xdotool({u"mousemove"_s, u"--sync"_s, u"970"_s, u"470"_s, u"click"_s, u"1"_s}));
    QTRY_VERIFY(m_surface->isHovering());
    QTest::qWait(200);
    QCOMPARE(below.presses.size(), std::size_t{1});
}

void SurfacePanelX11Test::dragMovesItAndReportsTheDrop() {
    showBubble();
    QVERIFY(X11Driver::xdotool({u"mousemove"_s, u"--sync"_s, u"970"_s, u"470"_s, u"mousedown"_s, u"1"_s}));
    for (int step = 1; step <= 10; ++step) {
        QVERIFY(X11Driver::xdotool(
            {u"mousemove"_s, u"--sync"_s, number(970 + step * 20), number(470 + step * 10)}));
        QTest::qWait(15);
    }
    QTRY_VERIFY(m_surface->isUserDragging());
    QTest::qWait(200); // rest before letting go: a drop, not a throw
    QVERIFY(X11Driver::xdotool({u"mouseup"_s, u"1"_s}));
    QTRY_COMPARE(m_drops.size(), std::size_t{1});
    QCOMPARE(m_drops.front(), bubbleFrame.translated(200, 100));
    QTRY_COMPARE(m_surface->panel().frame(), bubbleFrame.translated(200, 100));
    QVERIFY(!m_surface->isUserDragging());
}

QTEST_MAIN(SurfacePanelX11Test)
#include "SurfacePanelX11Test.moc"
