// One tick of the workspace loop with seven widgets, the screen read taken as given: the loop runs
// up to 2.5 times a second plus once per monitor update, so a tick must stay well under a
// millisecond. Measured quiet (nothing changed, the modules hear nothing) and with a monitor's
// update (every module answers), in the notch of the automatic mode and as bubbles.
#include "core/settings/SettingsStore.h"
#include "core/settings/SurfacePositionStore.h"
#include "platform/systemevents/fake/FakeSystemEventSource.h"
#include "platform/workspace/fake/FakeWorkspaceReader.h"
#include "services/workspace/WorkspaceCoordinator.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

class GaugeModule final : public CorvaneModule {
public:
    GaugeModule(QString id, ModuleGroup group, const Clock& clock)
        : m_id(std::move(id))
        , m_group(group)
        , m_clock(clock) {}
    QString id() const override { return m_id; }
    QString displayName() const override { return m_id; }
    QString summary() const override { return {}; }
    ModuleGroup group() const override { return m_group; }
    std::optional<ModuleSnapshot> handle(HostEvent, const ModuleContext&) override {
        ModuleSnapshot snapshot;
        snapshot.id = m_id;
        snapshot.state = ModuleState::active;
        snapshot.generatedAt = m_clock.now();
        snapshot.variants.compact = {m_id, u"42%"_s, u"gauge"_s};
        for (int g = 0; g < 3; ++g) {
            GaugeMetric gauge;
            gauge.id = QString::number(g);
            gauge.fraction = 0.2 * g;
            snapshot.variants.gauges.push_back(gauge);
        }
        return snapshot;
    }

private:
    QString m_id;
    ModuleGroup m_group;
    const Clock& m_clock;
};

// Keeps the last state, as a real surface would before drawing it.
class KeptSurface final : public Surface {
public:
    void show(const SurfaceViewState& state) override { m_state = state; }
    void hide() override { m_state.reset(); }
    void bringToFront() override {}
    void applyPresentation(const SurfacePresentation&) override {}

private:
    std::optional<SurfaceViewState> m_state;
};

// A 2560 by 1440 display with a top bar, an editor, a terminal and a browser.
WorkspaceSnapshot desk() {
    DisplaySnapshot display;
    display.id = u"DP-1"_s;
    display.name = u"DP-1"_s;
    display.frame = QRectF(0, 0, 2560, 1440);
    display.visibleFrame = QRectF(0, 32, 2560, 1408);
    display.scale = 2;
    display.isMain = true;
    WorkspaceSnapshot workspace;
    workspace.displays = {display};
    workspace.activeDisplay = display;
    const QRectF frames[] = {{0, 32, 1500, 1100}, {1500, 600, 1060, 840}, {200, 200, 1400, 1000}};
    for (int i = 0; i < 3; ++i) {
        WindowSnapshot window;
        window.id = static_cast<std::uint32_t>(10 + i);
        window.ownerName = u"app"_s;
        window.frame = frames[i];
        window.isOnScreen = true;
        workspace.windows.push_back(window);
    }
    workspace.activeWindow = workspace.windows.front();
    workspace.activeApplicationName = u"Editor"_s;
    workspace.cursorLocation = QPointF(700, 500);
    return workspace;
}

struct Loop {
    QTemporaryDir dir;
    QSettings defaults{dir.filePath(u"bench.conf"_s), QSettings::IniFormat};
    AppModel model;
    SettingsStore settings{defaults, {}};
    SurfacePositionStore positions{defaults};
    FakeWorkspaceReader reader{desk()};
    ModuleEventBus bus;
    FakeSystemEventSource events;
    ManualClock clock;
    ManualScheduler scheduler{clock};
    std::unique_ptr<WorkspaceCoordinator> coordinator;

    explicit Loop(PlacementMode mode) {
        const QString ids[] = {u"claude"_s, u"codex"_s, u"github"_s, u"ports"_s, u"gemini"_s};
        for (const QString& id : ids) {
            bus.registerModule(std::make_shared<GaugeModule>(id, ModuleGroup::code, clock));
        }
        bus.registerModule(std::make_shared<GaugeModule>(u"cpu"_s, ModuleGroup::system, clock));
        bus.registerModule(std::make_shared<GaugeModule>(u"memory"_s, ModuleGroup::system, clock));
        TessarySettings s = settings.settings();
        s.placementMode = mode;
        settings.setSettings(s);
        coordinator = std::make_unique<WorkspaceCoordinator>(WorkspaceCoordinator::Dependencies{
            model, settings, reader, positions, bus, events, clock, scheduler,
            [](const QString&, const SurfaceCallbacks&) { return std::make_unique<KeptSurface>(); }});
        coordinator->start();
    }
};

void quietRefresh(benchmark::State& state) {
    Loop loop(static_cast<PlacementMode>(state.range(0)));
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        loop.coordinator->refresh(false);
    }
}
BENCHMARK(quietRefresh)
    ->Arg(static_cast<int>(PlacementMode::automatic))
    ->Arg(static_cast<int>(PlacementMode::floatingChip))
    ->Unit(benchmark::kMicrosecond);

void refreshAfterAMonitorUpdate(benchmark::State& state) {
    Loop loop(static_cast<PlacementMode>(state.range(0)));
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        loop.clock.advance(0.1);
        loop.coordinator->moduleDataChanged();
    }
}
BENCHMARK(refreshAfterAMonitorUpdate)
    ->Arg(static_cast<int>(PlacementMode::automatic))
    ->Arg(static_cast<int>(PlacementMode::floatingChip))
    ->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
