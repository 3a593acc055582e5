// A plan is made for every target display on each refresh, up to 2.5 times a second while windows
// move, so one plan must stay well under half a millisecond even on a crowded desktop.
#include "spatial/engine/PlacementStabilizer.h"
#include "spatial/engine/SpatialEngine.h"

#include <benchmark/benchmark.h>
#include <cstdint>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

class Lcg {
public:
    explicit Lcg(std::uint32_t seed)
        : m_state(seed) {}
    int between(int low, int high) {
        m_state = m_state * 1664525U + 1013904223U;
        return low + static_cast<int>((m_state >> 8) % static_cast<std::uint32_t>(high - low + 1));
    }

private:
    std::uint32_t m_state;
};

DisplaySnapshot largeDisplay() {
    DisplaySnapshot display;
    display.id = u"DP-1"_s;
    display.name = u"DP-1"_s;
    display.frame = QRectF(0, 0, 2560, 1440);
    display.visibleFrame = QRectF(0, 32, 2560, 1408);
    display.isMain = true;
    return display;
}

enum class Crowd {
    allOnScreen,     // every window on this workspace, ordinary application sizes
    mostlyElsewhere, // one in five here, the rest on other workspaces or above the normal layer
    scatteredSmall,  // small windows strewn over the screen: the most fragmented free space
};

WorkspaceSnapshot crowdedDesktop(Crowd crowd, int windowCount) {
    Lcg random(20240611);
    WorkspaceSnapshot workspace;
    workspace.displays = {largeDisplay()};
    workspace.activeDisplay = workspace.displays.front();
    for (int i = 0; i < windowCount; ++i) {
        WindowSnapshot window;
        window.id = static_cast<std::uint32_t>(i + 1);
        window.ownerPID = 2000 + i % 40;
        window.ownerName = u"app"_s;
        if (crowd == Crowd::scatteredSmall) {
            window.frame = QRectF(random.between(0, 2500), random.between(32, 1400), random.between(40, 160),
                                  random.between(30, 120));
        } else {
            const int width = random.between(400, 1600);
            const int height = random.between(300, 1100);
            window.frame = QRectF(random.between(-100, 2560 - width + 100), random.between(32, 1440 - height),
                                  width, height);
        }
        if (crowd == Crowd::mostlyElsewhere) {
            window.isOnScreen = i % 5 == 0;
            window.layer = i % 17 == 3 ? 25 : 0;
        }
        workspace.windows.push_back(window);
    }
    workspace.activeWindow = workspace.windows.front();
    workspace.cursorLocation = QPointF(1280, 720);
    return workspace;
}

void makePlan(benchmark::State& state, Crowd crowd) {
    const WorkspaceSnapshot workspace = crowdedDesktop(crowd, static_cast<int>(state.range(0)));
    const SpatialEngine engine(SpatialConfiguration::forBubbleSize(BubbleSize::medium));
    const std::optional<SurfacePlacement> previous =
        SurfacePlacement{u"DP-1"_s, SurfaceKind::rightRail, QRectF(2328, 500, 220, 360), 1, true};
    std::size_t regions = 0;
    std::size_t candidates = 0;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        SpatialPlan plan =
            engine.makePlan(workspace, workspace.activeDisplay, PlacementMode::automatic, previous);
        regions = plan.freeRegions.size();
        candidates = plan.candidates.size();
        benchmark::DoNotOptimize(plan);
    }
    state.counters["freeRegions"] = static_cast<double>(regions);
    state.counters["candidates"] = static_cast<double>(candidates);
}

void planAllOnScreen(benchmark::State& state) {
    makePlan(state, Crowd::allOnScreen);
}
void planMostlyElsewhere(benchmark::State& state) {
    makePlan(state, Crowd::mostlyElsewhere);
}
void planScatteredSmall(benchmark::State& state) {
    makePlan(state, Crowd::scatteredSmall);
}
BENCHMARK(planAllOnScreen)->Arg(10)->Arg(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(planMostlyElsewhere)->Arg(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(planScatteredSmall)->Arg(200)->Unit(benchmark::kMicrosecond);

// The whole per-display step of a refresh: the plan and the decision on it.
void planAndDecide(benchmark::State& state) {
    const WorkspaceSnapshot workspace = crowdedDesktop(Crowd::mostlyElsewhere, 200);
    const SpatialConfiguration configuration = SpatialConfiguration::forBubbleSize(BubbleSize::medium);
    const SpatialEngine engine(configuration);
    const PlacementStabilizer stabilizer(configuration);
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
    std::optional<SurfacePlacement> previous;
    std::optional<QDateTime> since;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        const SpatialPlan plan =
            engine.makePlan(workspace, workspace.activeDisplay, PlacementMode::automatic, previous);
        const LayoutDecision decision =
            stabilizer.decide(plan, PlacementMode::automatic, previous, since, now, false);
        if (decision.placement != previous) {
            previous = decision.placement;
            since = now;
        }
        benchmark::DoNotOptimize(decision);
    }
}
BENCHMARK(planAndDecide)->Unit(benchmark::kMicrosecond);

} // namespace
BENCHMARK_MAIN();
