// Under a real X server with openbox: windows of another process are opened, moved, stacked,
// minimized, made full screen and activated, and the reader must report exactly that.
#include "platform/workspace/linux/X11WorkspaceReader.h"

#include "platform/workspace/linux/ScreenOnlyWorkspaceReader.h"
#include "support/X11TestWindows.h"

#include <QCursor>
#include <QGuiApplication>
#include <QProcess>
#include <QScreen>
#include <QTest>
#include <QWindow>

#include <functional>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

const WindowSnapshot* find(const WorkspaceSnapshot& snapshot, xcb_window_t id) {
    for (const auto& window : snapshot.windows) {
        if (window.id == id) {
            return &window;
        }
    }
    return nullptr;
}

QList<xcb_window_t> order(const WorkspaceSnapshot& snapshot, const QList<xcb_window_t>& among) {
    QList<xcb_window_t> result;
    for (const auto& window : snapshot.windows) {
        if (among.contains(window.id)) {
            result.append(window.id);
        }
    }
    return result;
}

} // namespace

class X11WorkspaceReaderTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void displaysAndCursorComeFromQt();
    void windowsAreListedFrontFirstWithTheirOwners();
    void framesIncludeTheDecorationInRootCoordinates();
    void restackingChangesTheOrder();
    void minimizedAndOtherDesktopWindowsAreNotOnScreen();
    void fullScreenIsTheWindowManagersStateNotTheSize();
    void activeWindowIsTheFocusedOne();
    void ownWindowsAreLeftOut();
    void docksAndDesktopsAreLeftOut();
    void closedWindowsDisappearWithoutHarm();
    void damagedPropertiesAreReadSafely();
    void unchangedScreenKeepsItsTopology();
    void screenOnlyReaderHasDisplaysAndNoWindows();
    void logicalFrame_data();
    void logicalFrame();

private:
    // Reads until `holds` is true of the snapshot, as the window manager works asynchronously.
    bool readUntil(const std::function<bool(const WorkspaceSnapshot&)>& holds, int timeoutMs = 5000);
    // Reads until every window is managed: listed, framed, and reported where its frame stands.
    bool readUntilSettled(const QList<xcb_window_t>& windows);

    ManualClock m_clock;
    std::unique_ptr<X11WorkspaceReader> m_reader;
    std::unique_ptr<X11TestWindows> m_windows;
    QProcess m_otherProcess;
    std::uint32_t m_otherPID = 0;
    WorkspaceSnapshot m_last;
};

bool X11WorkspaceReaderTest::readUntil(const std::function<bool(const WorkspaceSnapshot&)>& holds,
                                       int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (true) {
        if (auto snapshot = m_reader->read()) {
            m_last = *snapshot;
            if (holds(m_last)) {
                return true;
            }
        }
        if (deadline.hasExpired()) {
            return false;
        }
        QTest::qWait(20);
    }
}

bool X11WorkspaceReaderTest::readUntilSettled(const QList<xcb_window_t>& windows) {
    return readUntil([&](const auto& s) {
        return std::all_of(windows.begin(), windows.end(), [&](xcb_window_t id) {
            const auto* w = find(s, id);
            const auto outer = m_windows->outerFrame(id);
            return w != nullptr && m_windows->isFramed(id) && outer && w->frame == QRectF(*outer);
        });
    });
}

void X11WorkspaceReaderTest::initTestCase() {
    QCOMPARE(QGuiApplication::platformName(), u"xcb"_s);
    // The windows belong to a real process other than this one.
    m_otherProcess.start(u"sleep"_s, {u"600"_s});
    QVERIFY(m_otherProcess.waitForStarted());
    m_otherPID = static_cast<std::uint32_t>(m_otherProcess.processId());
    m_reader = X11WorkspaceReader::connect(m_clock);
    QVERIFY(m_reader);
}

void X11WorkspaceReaderTest::cleanupTestCase() {
    m_otherProcess.kill();
    m_otherProcess.waitForFinished();
}

void X11WorkspaceReaderTest::init() {
    m_windows = std::make_unique<X11TestWindows>();
    QVERIFY(m_windows->isConnected());
}

void X11WorkspaceReaderTest::cleanup() {
    m_windows.reset();
    // Nothing of one case is left for the next.
    QVERIFY(readUntil([](const auto& s) { return s.windows.empty(); }));
}

void X11WorkspaceReaderTest::displaysAndCursorComeFromQt() {
    QCursor::setPos(123, 456);
    m_clock.advance(5);
    QVERIFY(readUntil([](const auto& s) { return s.cursorLocation == QPointF(123, 456); }));
    QCOMPARE(m_last.displays.size(), 1U);
    const DisplaySnapshot& display = m_last.displays.front();
    QCOMPARE(display.id, QGuiApplication::primaryScreen()->name());
    QCOMPARE(display.frame, QRectF(0, 0, 1920, 1080));
    QCOMPARE(display.visibleFrame, QRectF(QGuiApplication::primaryScreen()->availableGeometry()));
    QCOMPARE(display.scale, 1.0);
    QVERIFY(display.isMain);
    QCOMPARE(display.notchFrame, std::nullopt);
    QCOMPARE(m_last.activeDisplay, display);
    QVERIFY(m_last.hasAccessibilityAccess);
    QCOMPARE(m_last.capturedAt, m_clock.now());
}

void X11WorkspaceReaderTest::windowsAreListedFrontFirstWithTheirOwners() {
    const auto editor =
        m_windows->create(QRect(100, 100, 400, 300), "Editor", u"notes.md — Editor"_s, m_otherPID);
    const auto terminal =
        m_windows->create(QRect(300, 200, 500, 350), "Terminal", u"~/src: claude"_s, m_otherPID);
    const auto viewer = m_windows->create(QRect(900, 150, 300, 300), "Viewer", u"Café ☕ 日本"_s, m_otherPID);
    QVERIFY(readUntilSettled({editor, terminal, viewer}));

    // Front first: the window manager's stacking list, bottom to top, read backwards.
    auto stacking = m_windows->stacking();
    std::reverse(stacking.begin(), stacking.end());
    QCOMPARE(order(m_last, {editor, terminal, viewer}),
             QList<xcb_window_t>(stacking.begin(), stacking.end()));
    const WindowSnapshot* window = find(m_last, viewer);
    QCOMPARE(window->ownerPID, static_cast<std::int32_t>(m_otherPID));
    QCOMPARE(window->ownerName, u"Viewer"_s);
    QCOMPARE(window->title, std::optional(u"Café ☕ 日本"_s));
    QCOMPARE(window->layer, 0);
    QCOMPARE(window->alpha, 1.0);
    QVERIFY(window->isOnScreen);
    QVERIFY(!window->isMinimized);
    QVERIFY(!window->isFullScreen);
    QCOMPARE(find(m_last, terminal)->title, std::optional(u"~/src: claude"_s));
    QCOMPARE(find(m_last, editor)->ownerName, u"Editor"_s);
}

void X11WorkspaceReaderTest::framesIncludeTheDecorationInRootCoordinates() {
    const auto window = m_windows->create(QRect(200, 150, 400, 300), "Editor", u"frame"_s, m_otherPID);
    QVERIFY(readUntilSettled({window}));
    // The decoration adds to the client's 400 by 300.
    const QRectF frame = find(m_last, window)->frame;
    QVERIFY2(frame.width() > 400 && frame.height() > 300, qPrintable(QDebug::toString(frame)));

    m_windows->move(window, QPoint(640, 480));
    QVERIFY(readUntil([&](const auto& s) {
        const auto* w = find(s, window);
        return w != nullptr && w->frame.topLeft() == QPointF(640, 480);
    }));
    QCOMPARE(find(m_last, window)->frame, QRectF(QPointF(640, 480), frame.size()));
    QCOMPARE(find(m_last, window)->frame, QRectF(*m_windows->outerFrame(window)));
}

void X11WorkspaceReaderTest::restackingChangesTheOrder() {
    const auto a = m_windows->create(QRect(100, 100, 300, 200), "A", u"a"_s, m_otherPID);
    const auto b = m_windows->create(QRect(150, 150, 300, 200), "B", u"b"_s, m_otherPID);
    const auto c = m_windows->create(QRect(200, 200, 300, 200), "C", u"c"_s, m_otherPID);
    QVERIFY(readUntilSettled({a, b, c}));

    m_windows->raise(a);
    QVERIFY(readUntil([&](const auto& s) { return order(s, {a, b, c}).first() == a; }));
    m_windows->activate(b);
    QVERIFY(readUntil([&](const auto& s) {
        return order(s, {a, b, c}).mid(0, 2) == QList<xcb_window_t>({b, a});
    }));
    m_windows->raise(c);
    QVERIFY(readUntil([&](const auto& s) { return order(s, {a, b, c}) == QList<xcb_window_t>({c, b, a}); }));
}

void X11WorkspaceReaderTest::minimizedAndOtherDesktopWindowsAreNotOnScreen() {
    const auto minimized = m_windows->create(QRect(100, 100, 300, 200), "A", u"a"_s, m_otherPID);
    const auto elsewhere = m_windows->create(QRect(500, 100, 300, 200), "B", u"b"_s, m_otherPID);
    const auto stays = m_windows->create(QRect(900, 100, 300, 200), "C", u"c"_s, m_otherPID);
    QVERIFY(readUntilSettled({minimized, elsewhere, stays}));

    const QRectF before = find(m_last, minimized)->frame;
    m_windows->iconify(minimized);
    m_windows->moveToDesktop(elsewhere, 2);
    QVERIFY(readUntil(
        [&](const auto& s) { return find(s, minimized)->isMinimized && !find(s, elsewhere)->isOnScreen; }));
    QVERIFY(!find(m_last, minimized)->isOnScreen);
    QVERIFY(!find(m_last, elsewhere)->isMinimized);
    QVERIFY(find(m_last, stays)->isOnScreen);
    QVERIFY(!find(m_last, stays)->isMinimized);

    // Restored, it comes back where it was (the window manager animates on the way).
    m_windows->activate(minimized);
    QVERIFY(readUntil([&](const auto& s) {
        const auto* w = find(s, minimized);
        return w->isOnScreen && !w->isMinimized && w->frame == before;
    }));
}

void X11WorkspaceReaderTest::fullScreenIsTheWindowManagersStateNotTheSize() {
    const auto video = m_windows->create(QRect(100, 100, 640, 360), "Player", u"video"_s, m_otherPID);
    const auto maximized = m_windows->create(QRect(200, 200, 640, 360), "Editor", u"big"_s, m_otherPID);
    QVERIFY(readUntilSettled({video, maximized}));

    m_windows->setState(video, true, "_NET_WM_STATE_FULLSCREEN");
    // On this panel-less screen a maximized window covers the whole display, frame and all.
    m_windows->setState(maximized, true, "_NET_WM_STATE_MAXIMIZED_VERT", "_NET_WM_STATE_MAXIMIZED_HORZ");
    QVERIFY(readUntil([&](const auto& s) {
        return find(s, video)->isFullScreen && find(s, maximized)->frame == QRectF(0, 0, 1920, 1080);
    }));
    QCOMPARE(find(m_last, video)->frame, QRectF(0, 0, 1920, 1080));
    QVERIFY(!find(m_last, maximized)->isFullScreen);

    m_windows->setState(video, false, "_NET_WM_STATE_FULLSCREEN");
    QVERIFY(readUntil([&](const auto& s) {
        const auto* w = find(s, video);
        return !w->isFullScreen && w->frame.width() < 1920;
    }));
}

void X11WorkspaceReaderTest::activeWindowIsTheFocusedOne() {
    const auto left = m_windows->create(QRect(100, 100, 300, 200), "Editor", u"left"_s, m_otherPID);
    const auto right = m_windows->create(QRect(700, 100, 300, 200), "Terminal", u"right"_s, m_otherPID);
    QVERIFY(readUntilSettled({left, right}));

    m_windows->activate(left);
    QVERIFY(readUntil([&](const auto& s) { return s.activeWindow && s.activeWindow->id == left; }));
    QVERIFY(m_last.activeWindow->isFocused);
    QVERIFY(find(m_last, left)->isFocused);
    QVERIFY(!find(m_last, right)->isFocused);
    QCOMPARE(m_last.activeApplicationName, u"Editor"_s);

    m_windows->activate(right);
    QVERIFY(readUntil([&](const auto& s) { return s.activeWindow && s.activeWindow->id == right; }));
    QCOMPARE(m_last.activeApplicationName, u"Terminal"_s);
    QCOMPARE(*m_last.activeWindow, *find(m_last, right));
}

void X11WorkspaceReaderTest::ownWindowsAreLeftOut() {
    const auto other = m_windows->create(QRect(100, 100, 300, 200), "Editor", u"theirs"_s, m_otherPID);
    QWindow own;
    own.setTitle(u"ours"_s);
    own.setGeometry(600, 100, 300, 200);
    own.show();
    QVERIFY(QTest::qWaitForWindowExposed(&own));
    const auto ownID = static_cast<xcb_window_t>(own.winId());
    // The window manager lists our window; the reader leaves it out.
    QTRY_VERIFY_WITH_TIMEOUT(std::ranges::count(m_windows->stacking(), ownID) == 1, 5000);
    QVERIFY(readUntilSettled({other}));
    QCOMPARE(find(m_last, ownID), nullptr);
    for (const auto& window : m_last.windows) {
        QVERIFY(window.ownerPID != static_cast<std::int32_t>(QCoreApplication::applicationPid()));
    }

    // While our own window has the focus, no window of the user's is active.
    own.requestActivate();
    QVERIFY(readUntil([&](const auto& s) { return !s.activeWindow; }));
    QCOMPARE(m_last.activeDisplay.id, QGuiApplication::primaryScreen()->name());
    own.close();
}

void X11WorkspaceReaderTest::docksAndDesktopsAreLeftOut() {
    const auto dock = m_windows->create(QRect(0, 1040, 1920, 40), "Panel", u"panel"_s, m_otherPID,
                                        "_NET_WM_WINDOW_TYPE_DOCK");
    const auto desktop = m_windows->create(QRect(0, 0, 1920, 1080), "Files", u"desktop"_s, m_otherPID,
                                           "_NET_WM_WINDOW_TYPE_DESKTOP");
    const auto dialog = m_windows->create(QRect(400, 300, 300, 150), "Files", u"Copying"_s, m_otherPID,
                                          "_NET_WM_WINDOW_TYPE_DIALOG");
    QTRY_VERIFY_WITH_TIMEOUT(std::ranges::count(m_windows->stacking(), dock) == 1 &&
                                 std::ranges::count(m_windows->stacking(), desktop) == 1,
                             5000);
    QVERIFY(readUntilSettled({dialog}));
    QCOMPARE(order(m_last, {dock, desktop, dialog}), QList<xcb_window_t>({dialog}));
    QCOMPARE(find(m_last, dock), nullptr);
    QCOMPARE(find(m_last, desktop), nullptr);
}

void X11WorkspaceReaderTest::closedWindowsDisappearWithoutHarm() {
    std::vector<xcb_window_t> created;
    created.reserve(20);
    for (int i = 0; i < 20; ++i) {
        created.push_back(
            m_windows->create(QRect(20 * i, 20 * i, 200, 150), "Many", QString::number(i), m_otherPID));
    }
    QVERIFY(readUntil([&](const auto& s) { return s.windows.size() == 20; }));
    // Closing them while reading: a window gone between the list and its facts is skipped.
    for (const auto window : created) {
        m_windows->destroy(window);
        QVERIFY(m_reader->read());
    }
    QVERIFY(readUntil([](const auto& s) { return s.windows.empty(); }));
}

void X11WorkspaceReaderTest::damagedPropertiesAreReadSafely() {
    const auto window = m_windows->create(QRect(100, 100, 300, 200), "Odd", u"odd"_s, m_otherPID);
    QVERIFY(readUntilSettled({window}));
    // A process id written as text, a class with no terminator, a title that isn't UTF-8 and a
    // title far longer than anyone reads.
    m_windows->setProperty(window, "_NET_WM_PID", "CARDINAL", 8, "1234");
    m_windows->setProperty(window, "WM_CLASS", "STRING", 8, "justoneword");
    m_windows->setProperty(window, "_NET_WM_NAME", "UTF8_STRING", 8, "\xff\xfe ok");
    // The properties change one by one; the title changes last.
    QVERIFY(
        readUntil([&](const auto& s) { return find(s, window)->title == QString::fromUtf8("\xff\xfe ok"); }));
    QCOMPARE(find(m_last, window)->ownerName, u"justoneword"_s);
    QCOMPARE(find(m_last, window)->ownerPID, 0);

    m_windows->setProperty(window, "_NET_WM_NAME", "UTF8_STRING", 8, QByteArray(5000, 'x') + "\xe2\x98\x95");
    QVERIFY(readUntil([&](const auto& s) { return find(s, window)->title->size() > 100; }));
    QCOMPARE(find(m_last, window)->title, std::optional(QString(1024, u'x')));

    // Half transparent, and kept below the others: it takes no room a widget could use.
    m_windows->setProperty(window, "_NET_WM_WINDOW_OPACITY", "CARDINAL", 32,
                           QByteArray("\xff\xff\xff\x7f", 4));
    m_windows->setState(window, true, "_NET_WM_STATE_BELOW");
    QVERIFY(readUntil([&](const auto& s) { return find(s, window)->layer == -1; }));
    QVERIFY(readUntil([&](const auto& s) { return find(s, window)->alpha < 1; }));
    QCOMPARE(find(m_last, window)->alpha, 0x7FFFFFFF / double(0xFFFFFFFFU));
}

void X11WorkspaceReaderTest::unchangedScreenKeepsItsTopology() {
    const auto window = m_windows->create(QRect(100, 100, 300, 200), "Editor", u"still"_s, m_otherPID);
    QVERIFY(readUntil([&](const auto& s) {
        const auto* w = find(s, window);
        return w != nullptr && w->frame == QRectF(*m_windows->outerFrame(window));
    }));
    QTest::qWait(200);
    const auto first = m_reader->read();
    m_clock.advance(2);
    const auto second = m_reader->read();
    QVERIFY(first && second);
    QVERIFY(first->hasSameTopology(*second));
    m_windows->move(window, QPoint(101, 100));
    QVERIFY(readUntil([&](const auto& s) { return !s.hasSameTopology(*second); }));
}

void X11WorkspaceReaderTest::screenOnlyReaderHasDisplaysAndNoWindows() {
    const auto window = m_windows->create(QRect(100, 100, 300, 200), "Editor", u"unseen"_s, m_otherPID);
    QVERIFY(readUntilSettled({window}));
    ScreenOnlyWorkspaceReader reader(m_clock);
    QCursor::setPos(1000, 500);
    QTRY_COMPARE_WITH_TIMEOUT(reader.read()->cursorLocation, QPointF(1000, 500), 3000);
    const auto snapshot = reader.read();
    QCOMPARE(snapshot->displays, m_last.displays);
    QVERIFY(snapshot->windows.empty());
    QCOMPARE(snapshot->activeWindow, std::nullopt);
    QCOMPARE(snapshot->activeDisplay.id, m_last.displays.front().id);
    QCOMPARE(snapshot->activeApplicationName, u"Aplicativo ativo"_s);
}

void X11WorkspaceReaderTest::logicalFrame_data() {
    QTest::addColumn<QRectF>("native");
    QTest::addColumn<QRectF>("logical");
    // A 2x laptop of 3000 by 2000 pixels at the origin, a 1x display of 1920 by 1080 to its right.
    QTest::newRow("on the scaled display") << QRectF(200, 100, 800, 600) << QRectF(100, 50, 400, 300);
    QTest::newRow("on the unscaled display") << QRectF(3100, 100, 800, 600) << QRectF(3100, 100, 800, 600);
    QTest::newRow("middle on the unscaled side") << QRectF(2800, 0, 800, 600) << QRectF(2800, 0, 800, 600);
    QTest::newRow("middle off every display, mostly scaled")
        << QRectF(2000, 1900, 800, 400) << QRectF(1000, 950, 400, 200);
    QTest::newRow("nowhere: the first display") << QRectF(-900, -900, 100, 100) << QRectF(-450, -450, 50, 50);
}

void X11WorkspaceReaderTest::logicalFrame() {
    QFETCH(QRectF, native);
    QFETCH(QRectF, logical);
    DisplaySnapshot laptop;
    laptop.frame = QRectF(0, 0, 1500, 1000);
    laptop.scale = 2;
    DisplaySnapshot external;
    external.frame = QRectF(3000, 0, 1920, 1080);
    QCOMPARE(X11WorkspaceReader::logicalFrame(native, {laptop, external}), logical);
    // Without scaling nothing moves.
    laptop.scale = 1;
    QCOMPARE(X11WorkspaceReader::logicalFrame(native, {laptop, external}), native);
}

QTEST_MAIN(X11WorkspaceReaderTest)
#include "X11WorkspaceReaderTest.moc"
