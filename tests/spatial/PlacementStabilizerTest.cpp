#include "spatial/engine/PlacementStabilizer.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tessary::PlacementMode)
Q_DECLARE_METATYPE(tessary::PlacementCandidate)
Q_DECLARE_METATYPE(tessary::LayoutDecisionReason)
Q_DECLARE_METATYPE(std::optional<tessary::SurfacePlacement>)
Q_DECLARE_METATYPE(std::optional<double>)

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

SurfacePlacement on(const QString& displayID, SurfaceKind kind, QRectF frame) {
    return {displayID, kind, frame, 1, true};
}

// The places of an empty 1920x1080 desktop, and a few others along the left edge. The previous
// left rail stands at midpoint (122, 540).
const SurfacePlacement rightRail = on(u"DP-1"_s, SurfaceKind::rightRail, {1688, 360, 220, 360});
const SurfacePlacement rightRailSlidUp = on(u"DP-1"_s, SurfaceKind::rightRail, {1688, 92, 220, 360});
const SurfacePlacement rightRailElsewhere = on(u"HDMI-1"_s, SurfaceKind::rightRail, {1688, 360, 220, 360});
const SurfacePlacement leftRail = on(u"DP-1"_s, SurfaceKind::leftRail, {12, 360, 220, 360});
const SurfacePlacement leftRailHigh = on(u"DP-1"_s, SurfaceKind::leftRail, {12, 12, 220, 292});   // 382 away
const SurfacePlacement leftRailLow = on(u"DP-1"_s, SurfaceKind::leftRail, {12, 620, 220, 292});   // 226 away
const SurfacePlacement leftRailAbove = on(u"DP-1"_s, SurfaceKind::leftRail, {12, 180, 220, 360}); // 180 away
const SurfacePlacement leftRailBelow = on(u"DP-1"_s, SurfaceKind::leftRail, {12, 540, 220, 360}); // 180 away
const SurfacePlacement island = on(u"DP-1"_s, SurfaceKind::topIsland, {790, 12, 340, 76});
const SurfacePlacement fallback{u"DP-1"_s, SurfaceKind::floatingChip, {1768, 12, 140, 140}, 0.1, false};

SpatialPlan planOf(const QList<PlacementCandidate>& candidates) {
    SpatialPlan plan;
    plan.activeDisplay.id = u"DP-1"_s;
    plan.freeRegions = {{12, 12, 100, 100}, {12, 200, 100, 100}, {300, 12, 100, 100}};
    plan.candidates.assign(candidates.begin(), candidates.end());
    return plan;
}

} // namespace

class PlacementStabilizerTest : public QObject {
    Q_OBJECT
private slots:
    void decide_data();
    void decide();
    void invalidStartCountsAsUnknown();
    void customThresholds();
};

void PlacementStabilizerTest::decide_data() {
    QTest::addColumn<PlacementMode>("mode");
    QTest::addColumn<QList<PlacementCandidate>>("candidates");
    QTest::addColumn<std::optional<SurfacePlacement>>("previous");
    QTest::addColumn<std::optional<double>>("age"); // seconds since the previous placement began
    QTest::addColumn<bool>("pointerOver");
    QTest::addColumn<std::optional<SurfacePlacement>>("placement");
    QTest::addColumn<LayoutDecisionReason>("reason");

    using M = PlacementMode;
    using R = LayoutDecisionReason;
    using C = QList<PlacementCandidate>;
    const std::optional<SurfacePlacement> none;
    const std::optional<double> unknown;
    const auto p = [](const SurfacePlacement& placement) { return std::optional(placement); };
    const auto age = [](double seconds) { return std::optional(seconds); };

    QTest::newRow("hidden beats the pointer")
        << M::hidden << C{{rightRail, 125}} << p(rightRail) << age(0.2) << true << none << R::hiddenByUser;
    QTest::newRow("hidden with nothing")
        << M::hidden << C{} << none << unknown << false << none << R::hiddenByUser;

    QTest::newRow("pointer holds a place that has been covered")
        << M::automatic << C{} << p(leftRail) << age(10) << true << p(leftRail) << R::keptWhilePointerOver;
    QTest::newRow("pointer holds against a far better place")
        << M::automatic << C{{rightRail, 145}, {leftRail, 100}} << p(leftRail) << age(10) << true
        << p(leftRail) << R::keptWhilePointerOver;
    QTest::newRow("pointer holds over a fallback")
        << M::automatic << C{{fallback, 1}} << p(leftRail) << age(10) << true << p(leftRail)
        << R::keptWhilePointerOver;
    QTest::newRow("pointer holds in a manual mode")
        << M::rightRail << C{{rightRail, 125}} << p(leftRail) << age(10) << true << p(leftRail)
        << R::keptWhilePointerOver;
    QTest::newRow("pointer without a placement to hold")
        << M::automatic << C{{rightRail, 125}} << none << unknown << true << p(rightRail)
        << R::initialPlacement;

    QTest::newRow("no room") << M::automatic << C{} << p(leftRail) << age(10) << false << none
                             << R::noSafeSpace;
    QTest::newRow("no room in a manual mode")
        << M::leftRail << C{} << none << unknown << false << none << R::noSafeSpace;
    QTest::newRow("only the fallback") << M::automatic << C{{fallback, 1}} << p(rightRail) << age(0.2)
                                       << false << p(fallback) << R::collapsedFallback;
    QTest::newRow("fallback in bubble mode") << M::floatingChip << C{{fallback, 1}} << none << unknown
                                             << false << p(fallback) << R::collapsedFallback;

    QTest::newRow("manual mode moves at once, however young")
        << M::rightRail << C{{rightRail, 125}} << p(leftRail) << age(0.1) << false << p(rightRail)
        << R::manuallySelected;
    QTest::newRow("first placement") << M::automatic << C{{rightRail, 125}, {leftRail, 120}} << none
                                     << unknown << false << p(rightRail) << R::initialPlacement;

    QTest::newRow("previous kind has no place left")
        << M::automatic << C{{rightRail, 125}, {island, 98}} << p(leftRail) << age(10) << false
        << p(rightRail) << R::currentPlacementUnsafe;
    QTest::newRow("an unsafe place is left even when young")
        << M::automatic << C{{rightRail, 125}, {island, 98}} << p(leftRail) << age(0.1) << false
        << p(rightRail) << R::currentPlacementUnsafe;
    QTest::newRow("previous display has no place of its kind")
        << M::automatic << C{{rightRail, 125}} << p(rightRailElsewhere) << age(10) << false << p(rightRail)
        << R::currentPlacementUnsafe;

    QTest::newRow("already on the best")
        << M::automatic << C{{rightRail, 125}, {leftRail, 120}} << p(rightRail) << age(0.2) << false
        << p(rightRail) << R::keptByHysteresis;
    QTest::newRow("best is where the surface slid to")
        << M::automatic << C{{rightRailSlidUp, 125}, {leftRail, 120}} << p(rightRail) << age(0.2) << false
        << p(rightRailSlidUp) << R::keptByHysteresis;

    const C clearLead{{rightRail, 135}, {leftRail, 120}};
    QTest::newRow("young placement") << M::automatic << clearLead << p(leftRail) << age(0.5) << false
                                     << p(leftRail) << R::keptForMinimumResidence;
    QTest::newRow("just under the residence") << M::automatic << clearLead << p(leftRail) << age(1.499)
                                              << false << p(leftRail) << R::keptForMinimumResidence;
    QTest::newRow("exactly the residence") << M::automatic << clearLead << p(leftRail) << age(1.5) << false
                                           << p(rightRail) << R::betterCandidate;
    QTest::newRow("lead of exactly 10") << M::automatic << C{{rightRail, 130}, {leftRail, 120}} << p(leftRail)
                                        << age(5) << false << p(rightRail) << R::betterCandidate;
    QTest::newRow("lead of 9.99") << M::automatic << C{{rightRail, 129.99}, {leftRail, 120}} << p(leftRail)
                                  << age(5) << false << p(leftRail) << R::keptByHysteresis;
    QTest::newRow("unknown age, small lead")
        << M::automatic << C{{rightRail, 125}, {leftRail, 120}} << p(leftRail) << unknown << false
        << p(leftRail) << R::keptByHysteresis;
    QTest::newRow("unknown age, clear lead")
        << M::automatic << C{{rightRail, 131}, {leftRail, 120}} << p(leftRail) << unknown << false
        << p(rightRail) << R::betterCandidate;

    // The lead is measured against the nearest place of the same kind, not the best-scoring one.
    const C twoLeftRails{{rightRail, 120}, {leftRailHigh, 115}, {leftRailLow, 105}};
    QTest::newRow("lead over the nearest of the kind")
        << M::automatic << twoLeftRails << p(leftRail) << age(5) << false << p(rightRail)
        << R::betterCandidate;
    QTest::newRow("residence keeps the nearest of the kind")
        << M::automatic << twoLeftRails << p(leftRail) << age(0.5) << false << p(leftRailLow)
        << R::keptForMinimumResidence;
    QTest::newRow("hysteresis slides to the nearest, not to the best of the kind")
        << M::automatic << C{{leftRailHigh, 115}, {rightRail, 112}, {leftRailLow, 110}} << p(leftRail)
        << age(5) << false << p(leftRailLow) << R::keptByHysteresis;
    QTest::newRow("first of two equally near")
        << M::automatic << C{{rightRail, 125}, {leftRailBelow, 118}, {leftRailAbove, 118}} << p(leftRail)
        << age(0.5) << false << p(leftRailBelow) << R::keptForMinimumResidence;
}

void PlacementStabilizerTest::decide() {
    QFETCH(PlacementMode, mode);
    QFETCH(QList<PlacementCandidate>, candidates);
    QFETCH(std::optional<SurfacePlacement>, previous);
    QFETCH(std::optional<double>, age);
    QFETCH(bool, pointerOver);
    QFETCH(std::optional<SurfacePlacement>, placement);
    QFETCH(LayoutDecisionReason, reason);

    std::optional<QDateTime> since;
    if (age) {
        since = now.addMSecs(static_cast<qint64>(-*age * 1000));
    }
    const LayoutDecision decision =
        PlacementStabilizer().decide(planOf(candidates), mode, previous, since, now, pointerOver);
    QCOMPARE(rawValue(decision.reason), rawValue(reason));
    QVERIFY(decision.placement == placement);
    QCOMPARE(decision.candidateCount, static_cast<int>(candidates.size()));
    QCOMPARE(decision.freeRegionCount, 3);
}

void PlacementStabilizerTest::invalidStartCountsAsUnknown() {
    const PlacementStabilizer stabilizer;
    const SpatialPlan smallLead = planOf({{rightRail, 125}, {leftRail, 120}});
    const SpatialPlan clearLead = planOf({{rightRail, 131}, {leftRail, 120}});
    const auto reason = [&](const SpatialPlan& plan) {
        return stabilizer.decide(plan, PlacementMode::automatic, leftRail, QDateTime(), now, false).reason;
    };
    QCOMPARE(rawValue(reason(smallLead)), u"keptByHysteresis"_s);
    QCOMPARE(rawValue(reason(clearLead)), u"betterCandidate"_s);
}

void PlacementStabilizerTest::customThresholds() {
    SpatialConfiguration configuration;
    configuration.minimumResidenceDuration = 4;
    configuration.hysteresisScoreThreshold = 30;
    const PlacementStabilizer stabilizer(configuration);
    const SpatialPlan plan = planOf({{rightRail, 145}, {leftRail, 120}});
    const auto decideAt = [&](double age) {
        return stabilizer.decide(plan, PlacementMode::automatic, leftRail,
                                 now.addSecs(-static_cast<qint64>(age)), now, false);
    };
    QCOMPARE(rawValue(decideAt(3).reason), u"keptForMinimumResidence"_s);
    QCOMPARE(rawValue(decideAt(4).reason), u"keptByHysteresis"_s); // lead 25 is under 30
    QCOMPARE(decideAt(4).placement, std::optional(leftRail));
}

QTEST_GUILESS_MAIN(PlacementStabilizerTest)
#include "PlacementStabilizerTest.moc"
