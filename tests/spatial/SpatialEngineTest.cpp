#include "spatial/engine/SpatialEngine.h"

#include "spatial/engine/PlacementStabilizer.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// What a candidate of the plan must look like; its display is always the planned one.
struct ExpectedCandidate {
    SurfaceKind kind = SurfaceKind::floatingChip;
    QRectF frame;
    double score = 0;
    double confidence = 1;
    bool isOcclusionFree = true;
};

ExpectedCandidate fallbackChip(QRectF frame) {
    return {SurfaceKind::floatingChip, frame, 1, 0.1, false};
}

} // namespace

Q_DECLARE_METATYPE(ExpectedCandidate)
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

SpatialConfiguration withChip(BubbleSize size) {
    return SpatialConfiguration::forBubbleSize(size);
}

QString describe(const PlacementCandidate& candidate) {
    const QRectF& f = candidate.placement.frame;
    return u"%1 (%2,%3 %4x%5) score %6 confidence %7%8"_s.arg(rawValue(candidate.placement.kind))
        .arg(f.x())
        .arg(f.y())
        .arg(f.width())
        .arg(f.height())
        .arg(candidate.score, 0, 'g', 17)
        .arg(candidate.placement.confidence, 0, 'g', 17)
        .arg(candidate.placement.isOcclusionFree ? u""_s : u" overlapping"_s);
}

bool near(double a, double b) {
    return std::abs(a - b) < 1e-9;
}

} // namespace

class SpatialEngineTest : public QObject {
    Q_OBJECT
private slots:
    void plans_data();
    void plans();
    void whichWindowsTakeSpace_data();
    void whichWindowsTakeSpace();
    void chipFollowsBubbleSize_data();
    void chipFollowsBubbleSize();
    void candidatePlacementsKeepThePlanOrder();
};

void SpatialEngineTest::plans_data() {
    QTest::addColumn<WorkspaceSnapshot>("workspace");
    QTest::addColumn<DisplaySnapshot>("display");
    QTest::addColumn<PlacementMode>("mode");
    QTest::addColumn<std::optional<SurfacePlacement>>("previous");
    QTest::addColumn<SpatialConfiguration>("configuration");
    QTest::addColumn<QList<QRectF>>("freeRegions");
    QTest::addColumn<QList<ExpectedCandidate>>("candidates");
    QTest::addColumn<LayoutDecisionReason>("reason"); // with no known age and the pointer elsewhere

    using K = SurfaceKind;
    using M = PlacementMode;
    using R = LayoutDecisionReason;
    const std::optional<SurfacePlacement> none;
    const SpatialConfiguration defaults;
    const QList<ExpectedCandidate> emptyDesktop{{K::rightRail, {1688, 360, 220, 360}, 125},
                                                {K::leftRail, {12, 360, 220, 360}, 120},
                                                {K::topIsland, {790, 12, 340, 76}, 98},
                                                {K::floatingChip, {1768, 12, 140, 140}, 72}};

    // Empty desktops: the whole working area is free and the rail on the preferred side wins.
    QTest::newRow("no windows") << desktop(plainDisplay(), {}) << plainDisplay() << M::automatic << none
                                << defaults << QList<QRectF>{{12, 12, 1896, 1056}} << emptyDesktop
                                << R::initialPlacement;
    QTest::newRow("no windows, medium bubbles")
        << desktop(plainDisplay(), {}) << plainDisplay() << M::automatic << none
        << withChip(BubbleSize::medium) << QList<QRectF>{{12, 12, 1896, 1056}}
        << QList<ExpectedCandidate>{{K::rightRail, {1688, 360, 220, 360}, 125},
                                    {K::leftRail, {12, 360, 220, 360}, 120},
                                    {K::topIsland, {790, 12, 340, 76}, 98},
                                    {K::floatingChip, {1628, 12, 280, 280}, 72}}
        << R::initialPlacement;
    SpatialConfiguration leftHanded;
    leftHanded.preferredRailSide = RailSide::left;
    QTest::newRow("no windows, left rail preferred")
        << desktop(plainDisplay(), {}) << plainDisplay() << M::automatic << none << leftHanded
        << QList<QRectF>{{12, 12, 1896, 1056}}
        << QList<ExpectedCandidate>{{K::leftRail, {12, 360, 220, 360}, 125},
                                    {K::rightRail, {1688, 360, 220, 360}, 120},
                                    {K::topIsland, {790, 12, 340, 76}, 98},
                                    {K::floatingChip, {1768, 12, 140, 140}, 72}}
        << R::initialPlacement;
    WindowSnapshot panel = window(1, {0, 0, 1920, 32});
    panel.layer = 25;
    QTest::newRow("display with a top panel")
        << desktop(panelDisplay(), {panel}) << panelDisplay() << M::automatic << none << defaults
        << QList<QRectF>{{12, 44, 1896, 1024}}
        << QList<ExpectedCandidate>{{K::rightRail, {1688, 376, 220, 360}, 125},
                                    {K::leftRail, {12, 376, 220, 360}, 120},
                                    {K::topIsland, {790, 44, 340, 76}, 98},
                                    {K::floatingChip, {1768, 44, 140, 140}, 72}}
        << R::initialPlacement;

    // Manual modes keep only their own kind.
    QTest::newRow("left rail mode") << desktop(plainDisplay(), {}) << plainDisplay() << M::leftRail << none
                                    << defaults << QList<QRectF>{{12, 12, 1896, 1056}}
                                    << QList<ExpectedCandidate>{emptyDesktop[1]} << R::manuallySelected;
    QTest::newRow("right rail mode") << desktop(plainDisplay(), {}) << plainDisplay() << M::rightRail << none
                                     << defaults << QList<QRectF>{{12, 12, 1896, 1056}}
                                     << QList<ExpectedCandidate>{emptyDesktop[0]} << R::manuallySelected;
    QTest::newRow("island mode") << desktop(plainDisplay(), {}) << plainDisplay() << M::topIsland << none
                                 << defaults << QList<QRectF>{{12, 12, 1896, 1056}}
                                 << QList<ExpectedCandidate>{emptyDesktop[2]} << R::manuallySelected;
    QTest::newRow("bubble mode") << desktop(plainDisplay(), {}) << plainDisplay() << M::floatingChip << none
                                 << defaults << QList<QRectF>{{12, 12, 1896, 1056}}
                                 << QList<ExpectedCandidate>{emptyDesktop[3]} << R::manuallySelected;
    QTest::newRow("hidden mode still measures the free space")
        << desktop(plainDisplay(), {}) << plainDisplay() << M::hidden << none << defaults
        << QList<QRectF>{{12, 12, 1896, 1056}} << QList<ExpectedCandidate>{} << R::hiddenByUser;

    // A window filling the visible frame: only the overlapping fallback chip, top right.
    const WorkspaceSnapshot maximised = desktop(panelDisplay(), {window(2, {0, 32, 1920, 1048})}, 0);
    QTest::newRow("maximised editor")
        << maximised << panelDisplay() << M::automatic << none << defaults << QList<QRectF>{}
        << QList<ExpectedCandidate>{fallbackChip({1768, 44, 140, 140})} << R::collapsedFallback;
    QTest::newRow("maximised editor, large bubbles")
        << maximised << panelDisplay() << M::floatingChip << none << withChip(BubbleSize::large)
        << QList<QRectF>{} << QList<ExpectedCandidate>{fallbackChip({1568, 44, 340, 340})}
        << R::collapsedFallback;
    QTest::newRow("maximised editor, left rail mode has no fallback")
        << maximised << panelDisplay() << M::leftRail << none << defaults << QList<QRectF>{}
        << QList<ExpectedCandidate>{} << R::noSafeSpace;
    QTest::newRow("maximised editor, island mode has no fallback")
        << maximised << panelDisplay() << M::topIsland << none << defaults << QList<QRectF>{}
        << QList<ExpectedCandidate>{} << R::noSafeSpace;
    QTest::newRow("maximised editor, hidden")
        << maximised << panelDisplay() << M::hidden << none << defaults << QList<QRectF>{}
        << QList<ExpectedCandidate>{} << R::hiddenByUser;

    WindowSnapshot fullScreen = window(3, {0, 0, 1920, 1080});
    fullScreen.isFullScreen = true;
    QTest::newRow("full-screen window")
        << desktop(plainDisplay(), {fullScreen}, 0) << plainDisplay() << M::automatic << none
        << withChip(BubbleSize::medium) << QList<QRectF>{}
        << QList<ExpectedCandidate>{fallbackChip({1628, 12, 280, 280})} << R::collapsedFallback;

    // A full-screen window on the second display neither takes space here nor draws the surface.
    const DisplaySnapshot side = display(u"HDMI-1"_s, {1920, 0, 2560, 1440}, {1920, 0, 2560, 1440});
    WindowSnapshot sideFullScreen = window(4, side.frame);
    sideFullScreen.isFullScreen = true;
    WorkspaceSnapshot twoDisplays = desktop(side, {sideFullScreen}, 0);
    twoDisplays.displays = {plainDisplay(), side};
    QTest::newRow("full-screen window on the other display")
        << twoDisplays << plainDisplay() << M::automatic << none << defaults
        << QList<QRectF>{{12, 12, 1896, 1056}} << emptyDesktop << R::initialPlacement;

    // Two windows side by side leave a 384-wide gap (768...1152): room for the island and a chip.
    const std::vector<WindowSnapshot> sideBySide{window(5, {0, 32, 760, 1048}),
                                                 window(6, {1160, 32, 760, 1048})};
    QTest::newRow("two windows side by side")
        << desktop(panelDisplay(), sideBySide) << panelDisplay() << M::automatic << none << defaults
        << QList<QRectF>{{768, 44, 384, 1024}}
        << QList<ExpectedCandidate>{{K::topIsland, {790, 44, 340, 76}, 82.0506329113924},
                                    {K::floatingChip, {1012, 44, 140, 140}, 56.050632911392405}}
        << R::initialPlacement;
    // With the left window focused both are drawn towards its midpoint (380, 556).
    QTest::newRow("two windows side by side, left one active")
        << desktop(panelDisplay(), sideBySide, 0) << panelDisplay() << M::automatic << none << defaults
        << QList<QRectF>{{768, 44, 384, 1024}}
        << QList<ExpectedCandidate>{{K::topIsland, {790, 44, 340, 76}, 87.26974708446866},
                                    {K::floatingChip, {1012, 44, 140, 140}, 60.970853938225325}}
        << R::initialPlacement;
    QTest::newRow("two windows side by side, right rail mode")
        << desktop(panelDisplay(), sideBySide, 0) << panelDisplay() << M::rightRail << none << defaults
        << QList<QRectF>{{768, 44, 384, 1024}} << QList<ExpectedCandidate>{} << R::noSafeSpace;

    // An editor on the left two thirds and a terminal bottom right leave the top right free.
    const WorkspaceSnapshot editorAndTerminal =
        desktop(plainDisplay(), {window(7, {0, 0, 1280, 1080}), window(8, {1280, 540, 640, 540})});
    const QList<QRectF> topRight{{1288, 12, 620, 520}};
    QTest::newRow("editor and terminal")
        << editorAndTerminal << plainDisplay() << M::automatic << none << defaults << topRight
        << QList<ExpectedCandidate>{{K::rightRail, {1688, 92, 220, 360}, 108.22049610024294},
                                    {K::floatingChip, {1768, 12, 140, 140}, 55.22049610024293}}
        << R::initialPlacement;
    // The rail stood 268 lower on the empty desktop: continuity 12 - 268/40.
    QTest::newRow("editor and terminal, rail there before")
        << editorAndTerminal << plainDisplay() << M::automatic
        << std::optional(placement(u"DP-1"_s, K::rightRail, {1688, 360, 220, 360})) << defaults << topRight
        << QList<ExpectedCandidate>{{K::rightRail, {1688, 92, 220, 360}, 113.52049610024294},
                                    {K::floatingChip, {1768, 12, 140, 140}, 55.22049610024293}}
        << R::keptByHysteresis;
    QTest::newRow("editor and terminal, rail before on another display")
        << editorAndTerminal << plainDisplay() << M::automatic
        << std::optional(placement(u"HDMI-1"_s, K::rightRail, {1688, 360, 220, 360})) << defaults << topRight
        << QList<ExpectedCandidate>{{K::rightRail, {1688, 92, 220, 360}, 113.52049610024294},
                                    {K::floatingChip, {1768, 12, 140, 140}, 55.22049610024293}}
        << R::currentPlacementUnsafe;
    QTest::newRow("editor and terminal, chip before far away")
        << editorAndTerminal << plainDisplay() << M::automatic
        << std::optional(placement(u"DP-1"_s, K::floatingChip, {12, 900, 140, 140})) << defaults << topRight
        << QList<ExpectedCandidate>{{K::rightRail, {1688, 92, 220, 360}, 108.22049610024294},
                                    {K::floatingChip, {1768, 12, 140, 140}, 55.22049610024293}}
        << R::betterCandidate;

    // A window in the middle leaves two equal halves; the two chips tie and keep the order of
    // their regions.
    QTest::newRow("centred window")
        << desktop(plainDisplay(), {window(11, {760, 0, 400, 1080})}) << plainDisplay() << M::automatic
        << none << defaults << QList<QRectF>{{12, 12, 740, 1056}, {1168, 12, 740, 1056}}
        << QList<ExpectedCandidate>{{K::rightRail, {1688, 360, 220, 360}, 112.80590717299577},
                                    {K::leftRail, {12, 360, 220, 360}, 107.80590717299577},
                                    {K::floatingChip, {612, 12, 140, 140}, 59.80590717299578},
                                    {K::floatingChip, {1768, 12, 140, 140}, 59.80590717299578}}
        << R::initialPlacement;

    // A browser across the middle leaves a top band 219 high (too low for a rail) and a bottom
    // band 321 high.
    QTest::newRow("wide window across the middle")
        << desktop(plainDisplay(), {window(9, {0, 239, 1920, 500})}) << plainDisplay() << M::automatic << none
        << defaults << QList<QRectF>{{12, 12, 1896, 219}, {12, 747, 1896, 321}}
        << QList<ExpectedCandidate>{{K::rightRail, {1688, 747, 220, 321}, 111.07954545454545},
                                    {K::leftRail, {12, 747, 220, 321}, 106.07954545454545},
                                    {K::topIsland, {790, 12, 340, 76}, 82.14772727272727},
                                    {K::floatingChip, {1768, 747, 140, 140}, 58.07954545454545},
                                    {K::floatingChip, {1768, 12, 140, 140}, 56.14772727272727}}
        << R::initialPlacement;

    // Small displays: the island shrinks to the working area, and below that only the fallback is left.
    const DisplaySnapshot tiny = display(u"tiny"_s, {0, 0, 200, 150}, {0, 0, 200, 150});
    QTest::newRow("tiny display")
        << desktop(tiny, {}) << tiny << M::automatic << none << withChip(BubbleSize::small)
        << QList<QRectF>{{12, 12, 176, 126}}
        << QList<ExpectedCandidate>{{K::topIsland, {12, 12, 176, 76}, 98, 0.5526315789473685}}
        << R::initialPlacement;
    const DisplaySnapshot tinier = display(u"tinier"_s, {0, 0, 100, 60}, {0, 0, 100, 60});
    QTest::newRow("display lower than the island")
        << desktop(tinier, {}) << tinier << M::automatic << none << defaults
        << QList<QRectF>{{12, 12, 76, 36}} << QList<ExpectedCandidate>{fallbackChip({12, 12, 76, 36})}
        << R::collapsedFallback;
    const DisplaySnapshot sliver = display(u"sliver"_s, {0, 0, 20, 10}, {0, 0, 20, 10});
    QTest::newRow("display smaller than its margins")
        << desktop(sliver, {}) << sliver << M::automatic << none << defaults << QList<QRectF>{}
        << QList<ExpectedCandidate>{fallbackChip({10, 5, 0, 0})} << R::collapsedFallback;

    // Fractional geometry, as on a scaled display: frames are widened to whole points.
    const DisplaySnapshot scaled = display(u"scaled"_s, {0, 0, 1001, 801}, {0.5, 0.25, 1000, 800});
    QTest::newRow("fractional visible frame")
        << desktop(scaled, {}) << scaled << M::automatic << none << defaults
        << QList<QRectF>{{12.5, 12.25, 976, 776}}
        << QList<ExpectedCandidate>{{K::rightRail, {768, 220, 221, 361}, 125},
                                    {K::leftRail, {12, 220, 221, 361}, 120},
                                    {K::topIsland, {330, 12, 341, 77}, 98},
                                    {K::floatingChip, {848, 12, 141, 141}, 72}}
        << R::initialPlacement;
}

void SpatialEngineTest::plans() {
    QFETCH(WorkspaceSnapshot, workspace);
    QFETCH(DisplaySnapshot, display);
    QFETCH(PlacementMode, mode);
    QFETCH(std::optional<SurfacePlacement>, previous);
    QFETCH(SpatialConfiguration, configuration);
    QFETCH(QList<QRectF>, freeRegions);
    QFETCH(QList<ExpectedCandidate>, candidates);
    QFETCH(LayoutDecisionReason, reason);

    const SpatialPlan plan = SpatialEngine(configuration).makePlan(workspace, display, mode, previous);
    QCOMPARE(plan.activeDisplay, display);
    QCOMPARE(QList<QRectF>(plan.freeRegions.begin(), plan.freeRegions.end()), freeRegions);

    QStringList actual;
    for (const PlacementCandidate& candidate : plan.candidates) {
        actual.append(describe(candidate));
    }
    const QString listing = actual.join(u"\n  "_s);
    QVERIFY2(plan.candidates.size() == static_cast<std::size_t>(candidates.size()), qPrintable(listing));
    for (qsizetype i = 0; i < candidates.size(); ++i) {
        const PlacementCandidate& got = plan.candidates.at(static_cast<std::size_t>(i));
        const ExpectedCandidate& want = candidates.at(i);
        QVERIFY2(got.placement.kind == want.kind && got.placement.frame == want.frame &&
                     near(got.score, want.score) && near(got.placement.confidence, want.confidence) &&
                     got.placement.isOcclusionFree == want.isOcclusionFree,
                 qPrintable(u"candidate %1 differs; plan:\n  %2"_s.arg(i).arg(listing)));
        QCOMPARE(got.placement.displayID, display.id);
    }

    const LayoutDecision decision =
        PlacementStabilizer(configuration).decide(plan, mode, previous, std::nullopt, now, false);
    QCOMPARE(rawValue(decision.reason), rawValue(reason));
    QCOMPARE(decision.candidateCount, static_cast<int>(candidates.size()));
    QCOMPARE(decision.freeRegionCount, static_cast<int>(freeRegions.size()));
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

void SpatialEngineTest::chipFollowsBubbleSize_data() {
    QTest::addColumn<int>("size");
    QTest::addColumn<double>("side");
    QTest::newRow("small") << int(BubbleSize::small) << 220.0;
    QTest::newRow("medium") << int(BubbleSize::medium) << 280.0;
    QTest::newRow("large") << int(BubbleSize::large) << 340.0;
}

void SpatialEngineTest::chipFollowsBubbleSize() {
    QFETCH(int, size);
    QFETCH(double, side);
    SpatialConfiguration expected;
    expected.chipWidth = side;
    expected.chipHeight = side;
    QCOMPARE(SpatialConfiguration::forBubbleSize(static_cast<BubbleSize>(size)), expected);
}

void SpatialEngineTest::candidatePlacementsKeepThePlanOrder() {
    const SpatialPlan plan =
        SpatialEngine().makePlan(desktop(plainDisplay(), {}), plainDisplay(), PlacementMode::automatic, {});
    const std::vector<SurfacePlacement> placements = plan.candidatePlacements();
    QCOMPARE(placements.size(), plan.candidates.size());
    for (std::size_t i = 0; i < placements.size(); ++i) {
        QCOMPARE(placements[i], plan.candidates[i].placement);
    }
}

QTEST_GUILESS_MAIN(SpatialEngineTest)
#include "SpatialEngineTest.moc"
