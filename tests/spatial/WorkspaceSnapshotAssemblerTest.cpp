#include "spatial/workspace/WorkspaceSnapshotAssembler.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

constexpr std::int32_t ownPID = 500;
constexpr std::int32_t editorPID = 600;
constexpr std::int32_t terminalPID = 700;

DisplaySnapshot display(const QString& id, QRectF frame, QRectF visibleFrame, bool isMain) {
    DisplaySnapshot d;
    d.id = id;
    d.name = id;
    d.frame = frame;
    d.visibleFrame = visibleFrame;
    d.isMain = isMain;
    return d;
}

ObservedWindow window(std::uint32_t id, std::int32_t pid, QRectF frame,
                      std::optional<bool> fullScreen = std::nullopt) {
    ObservedWindow observed;
    observed.window.id = id;
    observed.window.ownerPID = pid;
    observed.window.ownerName = QString::number(pid);
    observed.window.frame = frame;
    observed.fullScreenState = fullScreen;
    return observed;
}

// Two displays side by side; front to back: our own panel, the editor on the right display,
// a full-screen terminal and a minimized editor window on the left one.
WorkspaceReading reading() {
    WorkspaceReading r;
    r.displays = {display(u"left"_s, QRectF(0, 0, 1920, 1080), QRectF(0, 28, 1920, 1052), true),
                  display(u"right"_s, QRectF(1920, 0, 1920, 1080), QRectF(1920, 0, 1920, 1080), false)};
    r.windows = {
        window(1, ownPID, QRectF(100, 100, 200, 200)), window(2, editorPID, QRectF(2000, 100, 800, 600)),
        window(3, terminalPID, QRectF(0, 0, 1920, 1080)), window(4, editorPID, QRectF(50, 50, 800, 600))};
    r.windows[3].window.isMinimized = true;
    r.windows[3].window.isOnScreen = false;
    r.ownPID = ownPID;
    r.cursorLocation = QPointF(10, 10);
    r.capturedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
    return r;
}

QList<std::uint32_t> ids(const std::vector<WindowSnapshot>& windows) {
    QList<std::uint32_t> list;
    for (const auto& w : windows) {
        list.append(w.id);
    }
    return list;
}

} // namespace

class WorkspaceSnapshotAssemblerTest : public QObject {
    Q_OBJECT
private slots:
    void noDisplayGivesNoSnapshot();
    void ownWindowsAreLeftOutInOrder();
    void activeWindow_data();
    void activeWindow();
    void fullScreenStateOfEachWindow();
    void applicationNameFallsBackToTheLiteral();
    void effectiveNotchFrame_data();
    void effectiveNotchFrame();
    void topology_data();
    void topology();
};

void WorkspaceSnapshotAssemblerTest::noDisplayGivesNoSnapshot() {
    auto r = reading();
    r.displays.clear();
    QCOMPARE(WorkspaceSnapshotAssembler{}.assemble(r), std::nullopt);
    // No windows at all is not a failure.
    r = reading();
    r.windows.clear();
    const auto snapshot = WorkspaceSnapshotAssembler{}.assemble(r);
    QVERIFY(snapshot);
    QVERIFY(snapshot->windows.empty());
    QCOMPARE(snapshot->activeWindow, std::nullopt);
    QCOMPARE(snapshot->activeDisplay.id, u"left"_s);
    QCOMPARE(snapshot->capturedAt, r.capturedAt);
    QCOMPARE(snapshot->cursorLocation, QPointF(10, 10));
}

void WorkspaceSnapshotAssemblerTest::ownWindowsAreLeftOutInOrder() {
    const auto snapshot = WorkspaceSnapshotAssembler{}.assemble(reading());
    QVERIFY(snapshot);
    QCOMPARE(ids(snapshot->windows), QList<std::uint32_t>({2, 3, 4}));
}

void WorkspaceSnapshotAssemblerTest::activeWindow_data() {
    QTest::addColumn<std::optional<std::uint32_t>>("focusedWindowID");
    QTest::addColumn<std::optional<std::int32_t>>("frontmostPID");
    QTest::addColumn<std::optional<std::uint32_t>>("expectedWindow");
    QTest::addColumn<QString>("expectedDisplay");
    using W = std::optional<std::uint32_t>;
    using P = std::optional<std::int32_t>;
    QTest::newRow("nothing focused: the display under the cursor") << W() << P() << W() << u"left"_s;
    QTest::newRow("focused window on the right display") << W(2) << P(editorPID) << W(2) << u"right"_s;
    QTest::newRow("focused window named without a process") << W(3) << P() << W(3) << u"left"_s;
    QTest::newRow("focused window unknown: the process's front window")
        << W(99) << P(editorPID) << W(2) << u"right"_s;
    QTest::newRow("only a process: its front window") << W() << P(terminalPID) << W(3) << u"left"_s;
    QTest::newRow("our own window is focused: none is active") << W(1) << P(ownPID) << W() << u"left"_s;
    QTest::newRow("process without windows") << W() << P(12345) << W() << u"left"_s;
}

void WorkspaceSnapshotAssemblerTest::activeWindow() {
    QFETCH(std::optional<std::uint32_t>, focusedWindowID);
    QFETCH(std::optional<std::int32_t>, frontmostPID);
    QFETCH(std::optional<std::uint32_t>, expectedWindow);
    QFETCH(QString, expectedDisplay);
    auto r = reading();
    r.focusedWindowID = focusedWindowID;
    r.frontmostPID = frontmostPID;
    const auto snapshot = WorkspaceSnapshotAssembler{}.assemble(r);
    QVERIFY(snapshot);
    QCOMPARE(snapshot->activeDisplay.id, expectedDisplay);
    if (!expectedWindow) {
        QCOMPARE(snapshot->activeWindow, std::nullopt);
        return;
    }
    QVERIFY(snapshot->activeWindow);
    QCOMPARE(snapshot->activeWindow->id, *expectedWindow);
    // The window system's focus marks the window in the list too; a guessed front window isn't focused.
    const bool focused = focusedWindowID == expectedWindow;
    QCOMPARE(snapshot->activeWindow->isFocused, focused);
    for (const auto& w : snapshot->windows) {
        QCOMPARE(w.isFocused, focused && w.id == *expectedWindow);
    }
}

void WorkspaceSnapshotAssemblerTest::fullScreenStateOfEachWindow() {
    auto r = reading();
    r.windows.push_back(
        window(5, terminalPID, QRectF(0, 0, 1920, 1080), false)); // maximized, not full screen
    r.windows.push_back(window(6, terminalPID, QRectF(1920, 0, 640, 480), true)); // the window system says so
    r.windows.push_back(window(7, terminalPID, QRectF(1919, 0, 1922, 1081)));     // covers the right display
    const auto snapshot = WorkspaceSnapshotAssembler{}.assemble(r);
    QVERIFY(snapshot);
    QList<std::uint32_t> fullScreen;
    for (const auto& w : snapshot->windows) {
        if (w.isFullScreen) {
            fullScreen.append(w.id);
        }
    }
    QCOMPARE(fullScreen, QList<std::uint32_t>({3, 6, 7}));
}

void WorkspaceSnapshotAssemblerTest::applicationNameFallsBackToTheLiteral() {
    auto r = reading();
    QCOMPARE(WorkspaceSnapshotAssembler{}.assemble(r)->activeApplicationName, u"Aplicativo ativo"_s);
    r.frontmostApplicationName = u"Alacritty"_s;
    QCOMPARE(WorkspaceSnapshotAssembler{}.assemble(r)->activeApplicationName, u"Alacritty"_s);
}

void WorkspaceSnapshotAssemblerTest::effectiveNotchFrame_data() {
    QTest::addColumn<QRectF>("frame");
    QTest::addColumn<QRectF>("visibleFrame");
    QTest::addColumn<std::optional<QRectF>>("notch");
    QTest::addColumn<QRectF>("expected");
    const std::optional<QRectF> none;
    QTest::newRow("no notch: 180 by the menu bar, centered")
        << QRectF(0, 0, 1440, 900) << QRectF(0, 24, 1440, 876) << none << QRectF(630, 0, 180, 24);
    QTest::newRow("no menu bar: 32 high")
        << QRectF(0, 0, 1440, 900) << QRectF(0, 0, 1440, 850) << none << QRectF(630, 0, 180, 32);
    QTest::newRow("panel at the bottom only: 32 high")
        << QRectF(1920, 0, 1920, 1080) << QRectF(1920, 0, 1920, 1040) << none << QRectF(2790, 0, 180, 32);
    QTest::newRow("display above the main one")
        << QRectF(-100, -1080, 1920, 1080) << QRectF(-100, -1050, 1920, 1050) << none
        << QRectF(770, -1080, 180, 30);
    QTest::newRow("display narrower than the area")
        << QRectF(0, 0, 120, 600) << QRectF(0, 20, 120, 580) << none << QRectF(0, 0, 120, 20);
    QTest::newRow("a real notch is kept")
        << QRectF(0, 0, 1512, 982) << QRectF(0, 38, 1512, 944) << std::optional(QRectF(662, 0, 188, 38))
        << QRectF(662, 0, 188, 38);
}

void WorkspaceSnapshotAssemblerTest::effectiveNotchFrame() {
    QFETCH(QRectF, frame);
    QFETCH(QRectF, visibleFrame);
    QFETCH(std::optional<QRectF>, notch);
    QFETCH(QRectF, expected);
    const auto d = DisplaySnapshot{u"d"_s, u"d"_s, frame, visibleFrame, 1, true, notch};
    QCOMPARE(d.effectiveNotchFrame(), expected);
}

void WorkspaceSnapshotAssemblerTest::topology_data() {
    QTest::addColumn<int>("change");
    QTest::addColumn<bool>("same");
    QTest::newRow("identical read") << 0 << true;
    QTest::newRow("later read, cursor moved, other app name") << 1 << true;
    QTest::newRow("window moved by a point") << 2 << false;
    QTest::newRow("window closed") << 3 << false;
    QTest::newRow("stacking order changed") << 4 << false;
    QTest::newRow("cursor took the active display along") << 5 << false;
    QTest::newRow("display rescaled") << 6 << false;
    QTest::newRow("window retitled, as a terminal does all the time") << 7 << true;
    QTest::newRow("focus moved to another window") << 8 << false;
}

void WorkspaceSnapshotAssemblerTest::topology() {
    QFETCH(int, change);
    QFETCH(bool, same);
    auto r = reading();
    const auto first = WorkspaceSnapshotAssembler{}.assemble(r);
    switch (change) {
    case 1:
        r.capturedAt = r.capturedAt.addSecs(2);
        r.cursorLocation = QPointF(500, 500);
        r.frontmostApplicationName = u"Other"_s;
        break;
    case 2:
        r.windows[1].window.frame.translate(1, 0);
        break;
    case 3:
        r.windows.pop_back();
        break;
    case 4:
        std::swap(r.windows[1], r.windows[2]);
        break;
    case 5:
        r.cursorLocation = QPointF(2500, 500);
        break;
    case 6:
        r.displays[1].scale = 2;
        break;
    case 7:
        r.windows[1].window.title = u"README.md"_s;
        break;
    case 8:
        r.focusedWindowID = r.windows[r.focusedWindowID == r.windows[2].window.id ? 1 : 2].window.id;
        break;
    default:
        break;
    }
    const auto second = WorkspaceSnapshotAssembler{}.assemble(r);
    QVERIFY(first && second);
    QCOMPARE(first->hasSameTopology(*second), same);
    QCOMPARE(second->hasSameTopology(*first), same);
}

QTEST_GUILESS_MAIN(WorkspaceSnapshotAssemblerTest)
#include "WorkspaceSnapshotAssemblerTest.moc"
