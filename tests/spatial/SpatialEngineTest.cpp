#include "spatial/engine/SpatialEngine.h"

#include "spatial/engine/PlacementStabilizer.h"

#include <QTest>

#include <limits>

using namespace tessary;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tessary::WorkspaceSnapshot)
Q_DECLARE_METATYPE(tessary::DisplaySnapshot)
Q_DECLARE_METATYPE(tessary::WindowSnapshot)
Q_DECLARE_METATYPE(tessary::PlacementMode)
Q_DECLARE_METATYPE(tessary::SpatialConfiguration)
Q_DECLARE_METATYPE(tessary::LayoutDecisionReason)
Q_DECLARE_METATYPE(std::optional<tessary::SurfacePlacement>)

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

DisplaySnapshot display(const QString& id, QRectF frame, QRectF visibleFrame) {
    DisplaySnapshot d;
    d.id = id;
    d.name = id;
    d.frame = frame;
    d.visibleFrame = visibleFrame;
    return d;
}

// 1920x1080 with nothing reserved: working area 12...1908 by 12...1068.
DisplaySnapshot plainDisplay() {
    return display(u"DP-1"_s, QRectF(0, 0, 1920, 1080), QRectF(0, 0, 1920, 1080));
}

// 1920x1080 under a 32-point top panel: working area 12...1908 by 44...1068.
DisplaySnapshot panelDisplay() {
    return display(u"DP-1"_s, QRectF(0, 0, 1920, 1080), QRectF(0, 32, 1920, 1048));
}

WindowSnapshot window(std::uint32_t id, QRectF frame) {
    WindowSnapshot w;
    w.id = id;
    w.ownerPID = static_cast<std::int32_t>(1000 + id);
    w.ownerName = u"app"_s;
    w.frame = frame;
    return w;
}

WorkspaceSnapshot desktop(const DisplaySnapshot& active, std::vector<WindowSnapshot> windows,
                          std::optional<std::size_t> activeWindowIndex = std::nullopt) {
    WorkspaceSnapshot workspace;
    workspace.displays = {active};
    workspace.activeDisplay = active;
    workspace.windows = std::move(windows);
    if (activeWindowIndex) {
        workspace.activeWindow = workspace.windows.at(*activeWindowIndex);
        workspace.activeWindow->isFocused = true;
    }
    workspace.capturedAt = now;
    return workspace;
}

SurfacePlacement placement(const QString& displayID, SurfaceKind kind, QRectF frame) {
    return {displayID, kind, frame, 1, true};
}

QString label(const PlacementCandidate& candidate) {
    return rawValue(candidate.placement.kind) +
           (candidate.placement.isOcclusionFree ? u""_s : u" overlapping"_s);
}

QStringList labels(const SpatialPlan& plan) {
    QStringList result;
    for (const PlacementCandidate& candidate : plan.candidates) {
        result.append(label(candidate));
    }
    return result;
}

SpatialPlan planFor(const WorkspaceSnapshot& workspace,
                    const std::optional<SurfacePlacement>& previous = std::nullopt) {
    return SpatialEngine().makePlan(workspace, workspace.activeDisplay, PlacementMode::automatic, previous);
}

double scoreOf(const SpatialPlan& plan, SurfaceKind kind) {
    for (const PlacementCandidate& candidate : plan.candidates) {
        if (candidate.placement.kind == kind) {
            return candidate.score;
        }
    }
    return -1;
}

} // namespace

class SpatialEngineTest : public QObject {
    Q_OBJECT
private slots:
    void plans_data();
    void plans();
    void focusedWindowDrawsCandidates();
    void formerPlaceIsFavouredByNearness();
    void whichWindowsTakeSpace_data();
    void whichWindowsTakeSpace();
};

void SpatialEngineTest::plans_data() {
    QTest::addColumn<WorkspaceSnapshot>("workspace");
    QTest::addColumn<PlacementMode>("mode");
    QTest::addColumn<std::optional<SurfacePlacement>>("previous");
    QTest::addColumn<SpatialConfiguration>("configuration");
    QTest::addColumn<QStringList>("kinds");           // of the candidates, best first
    QTest::addColumn<QRectF>("best");                 // the frame of the best candidate
    QTest::addColumn<LayoutDecisionReason>("reason"); // with no known age and the pointer elsewhere

    using K = SurfaceKind;
    using M = PlacementMode;
    using R = LayoutDecisionReason;
    const std::optional<SurfacePlacement> none;
    const SpatialConfiguration defaults;
    const QStringList everyKind{u"rightRail"_s, u"leftRail"_s, u"topIsland"_s, u"floatingChip"_s};
    const QStringList fallback{u"floatingChip overlapping"_s};
    const WorkspaceSnapshot empty = desktop(plainDisplay(), {});

    // Empty desktops: the whole working area is free and the rail on the preferred side wins,
    // centred on its edge.
    QTest::newRow("no windows") << empty << M::automatic << none << defaults << everyKind
                                << QRectF(1688, 360, 220, 360) << R::initialPlacement;
    SpatialConfiguration leftHanded;
    leftHanded.preferredRailSide = RailSide::left;
    QTest::newRow("no windows, left rail preferred")
        << empty << M::automatic << none << leftHanded
        << QStringList{u"leftRail"_s, u"rightRail"_s, u"topIsland"_s, u"floatingChip"_s}
        << QRectF(12, 360, 220, 360) << R::initialPlacement;
    WindowSnapshot panel = window(1, {0, 0, 1920, 32});
    panel.layer = 25;
    QTest::newRow("a top panel pushes the surfaces below it")
        << desktop(panelDisplay(), {panel}) << M::automatic << none << defaults << everyKind
        << QRectF(1688, 376, 220, 360) << R::initialPlacement;

    // Manual modes keep only their own kind.
    QTest::newRow("left rail mode") << empty << M::leftRail << none << defaults << QStringList{u"leftRail"_s}
                                    << QRectF(12, 360, 220, 360) << R::manuallySelected;
    QTest::newRow("island mode") << empty << M::topIsland << none << defaults << QStringList{u"topIsland"_s}
                                 << QRectF(790, 12, 340, 76) << R::manuallySelected;
    QTest::newRow("bubble mode, medium bubbles")
        << empty << M::floatingChip << none << SpatialConfiguration::forBubbleSize(BubbleSize::medium)
        << QStringList{u"floatingChip"_s} << QRectF(1628, 12, 280, 280) << R::manuallySelected;
    QTest::newRow("hidden mode") << empty << M::hidden << none << defaults << QStringList{} << QRectF()
                                 << R::hiddenByUser;

    // The free side wins, whichever side the user prefers.
    QTest::newRow("window on the right half")
        << desktop(plainDisplay(), {window(2, {960, 0, 960, 1080})}) << M::automatic << none << defaults
        << QStringList{u"leftRail"_s, u"floatingChip"_s} << QRectF(12, 360, 220, 360) << R::initialPlacement;
    QTest::newRow("window on the left half, left rail preferred")
        << desktop(plainDisplay(), {window(2, {0, 0, 960, 1080})}) << M::automatic << none << leftHanded
        << QStringList{u"rightRail"_s, u"floatingChip"_s} << QRectF(1688, 360, 220, 360)
        << R::initialPlacement;
    // A covered spot loses: a window at the top right moves the rail below it.
    QTest::newRow("window in the top right corner")
        << desktop(plainDisplay(), {window(2, {1500, 0, 420, 400})}) << M::automatic << none << defaults
        << QStringList{u"rightRail"_s, u"leftRail"_s,     u"leftRail"_s,
                       u"topIsland"_s, u"floatingChip"_s, u"floatingChip"_s}
        << QRectF(1688, 558, 220, 360) << R::initialPlacement;

    // A window filling the visible frame: only the overlapping fallback chip, top right.
    const WorkspaceSnapshot maximised = desktop(panelDisplay(), {window(2, {0, 32, 1920, 1048})}, 0);
    QTest::newRow("maximised editor") << maximised << M::automatic << none << defaults << fallback
                                      << QRectF(1768, 44, 140, 140) << R::collapsedFallback;
    QTest::newRow("maximised editor, large bubbles")
        << maximised << M::floatingChip << none << SpatialConfiguration::forBubbleSize(BubbleSize::large)
        << fallback << QRectF(1568, 44, 340, 340) << R::collapsedFallback;
    QTest::newRow("maximised editor, a rail or island mode has no fallback")
        << maximised << M::leftRail << none << defaults << QStringList{} << QRectF() << R::noSafeSpace;
    WindowSnapshot fullScreen = window(3, {0, 0, 1920, 1080});
    fullScreen.isFullScreen = true;
    QTest::newRow("full-screen window")
        << desktop(plainDisplay(), {fullScreen}, 0) << M::automatic << none << defaults << fallback
        << QRectF(1768, 12, 140, 140) << R::collapsedFallback;

    // A full-screen window on the second display neither takes space here nor draws the surface.
    const DisplaySnapshot side = display(u"HDMI-1"_s, {1920, 0, 2560, 1440}, {1920, 0, 2560, 1440});
    WindowSnapshot sideFullScreen = window(4, side.frame);
    sideFullScreen.isFullScreen = true;
    WorkspaceSnapshot twoDisplays = desktop(side, {sideFullScreen}, 0);
    twoDisplays.displays = {plainDisplay(), side};
    QTest::newRow("full-screen window on the other display")
        << twoDisplays << M::automatic << none << defaults << everyKind << QRectF(1688, 360, 220, 360)
        << R::initialPlacement;

    // Two windows side by side leave a 384-wide gap (768...1152): room for the island and a chip.
    const WorkspaceSnapshot sideBySide =
        desktop(panelDisplay(), {window(5, {0, 32, 760, 1048}), window(6, {1160, 32, 760, 1048})}, 0);
    QTest::newRow("two windows side by side")
        << sideBySide << M::automatic << none << defaults << QStringList{u"topIsland"_s, u"floatingChip"_s}
        << QRectF(790, 44, 340, 76) << R::initialPlacement;
    QTest::newRow("two windows side by side, right rail mode")
        << sideBySide << M::rightRail << none << defaults << QStringList{} << QRectF() << R::noSafeSpace;

    // An editor on the left two thirds and a terminal bottom right leave the top right free.
    const WorkspaceSnapshot editorAndTerminal =
        desktop(plainDisplay(), {window(7, {0, 0, 1280, 1080}), window(8, {1280, 540, 640, 540})});
    const QStringList railAndChip{u"rightRail"_s, u"floatingChip"_s};
    QTest::newRow("editor and terminal") << editorAndTerminal << M::automatic << none << defaults
                                         << railAndChip << QRectF(1688, 92, 220, 360) << R::initialPlacement;
    QTest::newRow("editor and terminal, rail there before")
        << editorAndTerminal << M::automatic
        << std::optional(placement(u"DP-1"_s, K::rightRail, {1688, 360, 220, 360})) << defaults << railAndChip
        << QRectF(1688, 92, 220, 360) << R::keptByHysteresis;
    QTest::newRow("editor and terminal, rail before on another display")
        << editorAndTerminal << M::automatic
        << std::optional(placement(u"HDMI-1"_s, K::rightRail, {1688, 360, 220, 360})) << defaults
        << railAndChip << QRectF(1688, 92, 220, 360) << R::currentPlacementUnsafe;
    QTest::newRow("editor and terminal, chip before far away")
        << editorAndTerminal << M::automatic
        << std::optional(placement(u"DP-1"_s, K::floatingChip, {12, 900, 140, 140})) << defaults
        << railAndChip << QRectF(1688, 92, 220, 360) << R::betterCandidate;

    // A browser across the middle leaves a top band too low for a rail; the rails shrink to the
    // bottom band.
    QTest::newRow("wide window across the middle")
        << desktop(plainDisplay(), {window(9, {0, 239, 1920, 500})}) << M::automatic << none << defaults
        << QStringList{u"rightRail"_s, u"leftRail"_s, u"topIsland"_s, u"floatingChip"_s, u"floatingChip"_s}
        << QRectF(1688, 747, 220, 321) << R::initialPlacement;

    // Small displays: the island shrinks to the working area, and below that only the fallback is left.
    const DisplaySnapshot tiny = display(u"tiny"_s, {0, 0, 200, 150}, {0, 0, 200, 150});
    QTest::newRow("tiny display") << desktop(tiny, {}) << M::automatic << none
                                  << SpatialConfiguration::forBubbleSize(BubbleSize::small)
                                  << QStringList{u"topIsland"_s} << QRectF(12, 12, 176, 76)
                                  << R::initialPlacement;
    const DisplaySnapshot tinier = display(u"tinier"_s, {0, 0, 100, 60}, {0, 0, 100, 60});
    QTest::newRow("display lower than the island")
        << desktop(tinier, {}) << M::automatic << none << defaults << fallback << QRectF(12, 12, 76, 36)
        << R::collapsedFallback;
    const DisplaySnapshot sliver = display(u"sliver"_s, {0, 0, 20, 10}, {0, 0, 20, 10});
    QTest::newRow("display smaller than its margins")
        << desktop(sliver, {}) << M::automatic << none << defaults << fallback << QRectF(10, 5, 0, 0)
        << R::collapsedFallback;

    // Fractional geometry, as on a scaled display: frames are widened to whole points.
    const DisplaySnapshot scaled = display(u"scaled"_s, {0, 0, 1001, 801}, {0.5, 0.25, 1000, 800});
    QTest::newRow("fractional visible frame")
        << desktop(scaled, {}) << M::automatic << none << defaults << everyKind << QRectF(768, 220, 221, 361)
        << R::initialPlacement;
}

void SpatialEngineTest::plans() {
    QFETCH(WorkspaceSnapshot, workspace);
    QFETCH(PlacementMode, mode);
    QFETCH(std::optional<SurfacePlacement>, previous);
    QFETCH(SpatialConfiguration, configuration);
    QFETCH(QStringList, kinds);
    QFETCH(QRectF, best);
    QFETCH(LayoutDecisionReason, reason);

    const DisplaySnapshot& display = workspace.displays.front(); // the display planned for
    const SpatialPlan plan = SpatialEngine(configuration).makePlan(workspace, display, mode, previous);
    QCOMPARE(plan.activeDisplay, display);
    QCOMPARE(labels(plan), kinds);
    if (!kinds.isEmpty()) {
        QCOMPARE(plan.candidates.front().placement.frame, best);
    }

    // Whatever the desktop: the free space and every candidate that claims to be free stay inside
    // the working area and clear of every window, and the candidates come best first.
    const QRectF workingArea = display.visibleFrame.adjusted(12, 12, -12, -12);
    const QRectF widened = workingArea.adjusted(-1, -1, 1, 1); // frames are rounded outwards
    for (const QRectF& region : plan.freeRegions) {
        QVERIFY(workingArea.contains(region));
        for (const WindowSnapshot& occupied : plan.occupiedWindows) {
            QVERIFY(!region.intersects(occupied.frame));
        }
    }
    for (std::size_t i = 0; i < plan.candidates.size(); ++i) {
        const SurfacePlacement& candidate = plan.candidates[i].placement;
        QCOMPARE(candidate.displayID, display.id);
        if (i > 0) {
            QVERIFY(plan.candidates[i - 1].score >= plan.candidates[i].score);
        }
        // An overlapping fallback is flagged as a poor place.
        QVERIFY(candidate.isOcclusionFree ? candidate.confidence >= 0.25 && candidate.confidence <= 1
                                          : candidate.confidence < 0.25);
        if (candidate.isOcclusionFree) {
            QVERIFY2(widened.contains(candidate.frame), qPrintable(label(plan.candidates[i])));
            for (const WindowSnapshot& occupied : plan.occupiedWindows) {
                QVERIFY2(!candidate.frame.intersects(occupied.frame), qPrintable(label(plan.candidates[i])));
            }
        }
    }

    const LayoutDecision decision =
        PlacementStabilizer(configuration).decide(plan, mode, previous, std::nullopt, now, false);
    QCOMPARE(rawValue(decision.reason), rawValue(reason));
    QCOMPARE(decision.candidateCount, static_cast<int>(kinds.size()));
    QCOMPARE(decision.freeRegionCount, static_cast<int>(plan.freeRegions.size()));
}

void SpatialEngineTest::focusedWindowDrawsCandidates() {
    // The gap between two windows; its chip stands at the gap's right edge, nearer the right window.
    const std::vector<WindowSnapshot> windows{window(5, {0, 0, 760, 1080}), window(6, {1160, 0, 760, 1080})};
    const SpatialPlan unfocused = planFor(desktop(plainDisplay(), windows));
    const SpatialPlan leftFocused = planFor(desktop(plainDisplay(), windows, 0));
    const SpatialPlan rightFocused = planFor(desktop(plainDisplay(), windows, 1));
    QCOMPARE(labels(leftFocused), labels(unfocused));
    QVERIFY(scoreOf(leftFocused, SurfaceKind::topIsland) > scoreOf(unfocused, SurfaceKind::topIsland));
    QVERIFY(scoreOf(rightFocused, SurfaceKind::floatingChip) >
            scoreOf(leftFocused, SurfaceKind::floatingChip));
}

void SpatialEngineTest::formerPlaceIsFavouredByNearness() {
    const WorkspaceSnapshot workspace = desktop(plainDisplay(), {window(7, {0, 0, 1280, 1080})});
    const double fresh = scoreOf(planFor(workspace), SurfaceKind::rightRail);
    const auto formerRail = [&](double y) {
        return scoreOf(planFor(workspace, placement(u"DP-1"_s, SurfaceKind::rightRail, {1688, y, 220, 360})),
                       SurfaceKind::rightRail);
    };
    QVERIFY(formerRail(360) > formerRail(100)); // the new rail stands centred, at y 360
    QVERIFY(formerRail(100) > fresh);
    QCOMPARE(formerRail(-5000), fresh); // too far away to count
    QCOMPARE(
        scoreOf(planFor(workspace, placement(u"DP-1"_s, SurfaceKind::floatingChip, {1688, 360, 140, 140})),
                SurfaceKind::rightRail),
        fresh); // only the same kind carries on
}

void SpatialEngineTest::whichWindowsTakeSpace_data() {
    QTest::addColumn<WindowSnapshot>("window");
    QTest::addColumn<bool>("takesSpace");

    const WindowSnapshot ordinary = window(10, {400, 300, 400, 300});
    QTest::newRow("ordinary window") << ordinary << true;
    WindowSnapshot w = ordinary;
    w.isOnScreen = false;
    QTest::newRow("on another workspace") << w << false;
    w = ordinary;
    w.layer = 3;
    QTest::newRow("above the normal layer") << w << false;
    w = ordinary;
    w.layer = -1;
    QTest::newRow("below the normal layer") << w << false;
    w = ordinary;
    w.alpha = 0.05;
    QTest::newRow("alpha 0.05") << w << false;
    w.alpha = 0.051;
    QTest::newRow("alpha 0.051") << w << true;
    w = ordinary;
    w.isMinimized = true;
    QTest::newRow("minimized but reported on screen") << w << true;
    w = ordinary;
    w.frame = QRectF(800, 600, -400, -300);
    QTest::newRow("frame of negative size") << w << true;
    w.frame = QRectF(1910, 1070, 10, 10);
    QTest::newRow("inside the display margin") << w << false;
    w.frame = QRectF(0, 0, 12, 1080);
    QTest::newRow("touching the working area") << w << false;
    w.frame = QRectF(2000, 0, 500, 500);
    QTest::newRow("on another display") << w << false;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    w.frame = QRectF(nan, 300, 400, 300);
    QTest::newRow("broken frame") << w << false;
    w.frame = QRectF(400, 300, std::numeric_limits<double>::infinity(), 300);
    QTest::newRow("endless frame") << w << false;
}

void SpatialEngineTest::whichWindowsTakeSpace() {
    QFETCH(WindowSnapshot, window);
    QFETCH(bool, takesSpace);
    const SpatialPlan plan = SpatialEngine().makePlan(desktop(plainDisplay(), {window}), plainDisplay(),
                                                      PlacementMode::automatic, {});
    const QList<QRectF> regions(plan.freeRegions.begin(), plan.freeRegions.end());
    if (takesSpace) {
        QCOMPARE(plan.occupiedWindows, std::vector<WindowSnapshot>{window});
        // The window 400,300 400x300 grown by 8: x 392...808, y 292...608.
        QCOMPARE(regions,
                 (QList<QRectF>{
                     {12, 12, 1896, 280}, {12, 608, 1896, 460}, {12, 292, 380, 316}, {808, 292, 1100, 316}}));
    } else {
        QVERIFY(plan.occupiedWindows.empty());
        QCOMPARE(regions, QList<QRectF>{QRectF(12, 12, 1896, 1056)});
    }
}

QTEST_GUILESS_MAIN(SpatialEngineTest)
#include "SpatialEngineTest.moc"
