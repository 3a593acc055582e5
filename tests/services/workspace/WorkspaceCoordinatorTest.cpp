#include "services/workspace/WorkspaceCoordinator.h"

#include "platform/systemevents/fake/FakeSystemEventSource.h"
#include "platform/workspace/fake/FakeWorkspaceReader.h"
#include "services/workspace/SurfaceKey.h"

#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// Answers every event with a snapshot of a fixed state; counts what it heard.
class StaticModule final : public CorvaneModule {
public:
    StaticModule(QString id, ModuleGroup group, ModuleState state, const Clock& clock)
        : m_id(std::move(id))
        , m_group(group)
        , m_state(state)
        , m_clock(clock) {}
    QString id() const override { return m_id; }
    QString displayName() const override { return m_id; }
    QString summary() const override { return {}; }
    ModuleGroup group() const override { return m_group; }
    std::optional<ModuleSnapshot> handle(HostEvent event, const ModuleContext&) override {
        events.append(event);
        ModuleSnapshot snapshot;
        snapshot.id = m_id;
        snapshot.state = m_state;
        snapshot.generatedAt = m_clock.now();
        snapshot.variants.compact = {m_id, u"1"_s, u"circle"_s};
        return snapshot;
    }
    QList<HostEvent> events;

private:
    QString m_id;
    ModuleGroup m_group;
    ModuleState m_state;
    const Clock& m_clock;
};

struct SurfaceLog {
    QMap<QString, SurfaceViewState> shown; // visible surfaces and their last state
    QMap<QString, SurfaceCallbacks> callbacks;
    int made = 0;
};

class RecordingSurface final : public Surface {
public:
    RecordingSurface(QString key, SurfaceLog& log)
        : m_key(std::move(key))
        , m_log(log) {}
    void show(const SurfaceViewState& state) override { m_log.shown.insert(m_key, state); }
    void hide() override { m_log.shown.remove(m_key); }
    void bringToFront() override {}
    void applyPresentation(const SurfacePresentation&) override {}

private:
    QString m_key;
    SurfaceLog& m_log;
};

DisplaySnapshot display(const QString& id, const QRectF& frame) {
    DisplaySnapshot d;
    d.id = id;
    d.name = id;
    d.frame = frame;
    d.visibleFrame = frame.adjusted(0, 32, 0, 0);
    return d;
}

WorkspaceSnapshot workspaceOn(std::vector<DisplaySnapshot> displays, int active = 0) {
    WorkspaceSnapshot w;
    w.displays = std::move(displays);
    w.activeDisplay = w.displays[static_cast<size_t>(active)];
    w.activeApplicationName = u"Editor"_s;
    w.cursorLocation = w.activeDisplay.frame.center();
    return w;
}

struct Rig {
    QTemporaryDir dir;
    QSettings defaults{dir.filePath(u"t.conf"_s), QSettings::IniFormat};
    AppModel model;
    SettingsStore settings{defaults, {}};
    SurfacePositionStore positions{defaults};
    FakeWorkspaceReader reader{workspaceOn({display(u"A"_s, QRectF(0, 0, 2560, 1440))})};
    ModuleEventBus bus;
    FakeSystemEventSource events;
    ManualClock clock;
    ManualScheduler scheduler{clock};
    SurfaceLog surfaces;
    std::unique_ptr<WorkspaceCoordinator> coordinator;

    void make() {
        coordinator = std::make_unique<WorkspaceCoordinator>(WorkspaceCoordinator::Dependencies{
            model, settings, reader, positions, bus, events, clock, scheduler,
            [this](const QString& key, SurfaceCallbacks callbacks) {
                ++surfaces.made;
                surfaces.callbacks.insert(key, std::move(callbacks));
                return std::make_unique<RecordingSurface>(key, surfaces);
            }});
    }
    std::shared_ptr<StaticModule> add(const QString& id, ModuleGroup group = ModuleGroup::none,
                                      ModuleState state = ModuleState::active) {
        auto module = std::make_shared<StaticModule>(id, group, state, clock);
        bus.registerModule(module);
        return module;
    }
    QStringList bubbleModules() const {
        QStringList ids;
        for (const auto& state : surfaces.shown) {
            for (const auto& module : state.modules) {
                ids.append(module.id);
            }
        }
        ids.sort();
        return ids;
    }
    void setMode(PlacementMode mode) {
        TessarySettings s = settings.settings();
        s.placementMode = mode;
        settings.setSettings(s);
    }
};

} // namespace

class WorkspaceCoordinatorTest : public QObject {
    Q_OBJECT
private slots:
    void firstTickRaisesHostStartedThenNothing();
    void monitorUpdateRaisesModuleDataChangedOnce();
    void userInitiatedRefreshComesFirst();
    void pinnedToAnotherDisplayHidesEverythingButModulesStillHear();
    void atMostSixBubblesAndSystemWidgetsDoNotCount();
    void automaticModeFusesEverythingIntoTheNotch();
    void displayLeavingTargetsLosesItsPlacement();
    void unreadableDisplaysHideAllAndSayWhy();
    void cadenceIsFastAfterAChangeThenIdles();
    void systemEventBurstGivesOneRefresh();
    void droppedSurfaceKeepsItsPlaceAcrossARestart();
    void fullScreenActiveWindowHidesWhenAsked();
    void disabledWidgetIsNotShown();
    void stopHidesEverything();
};

void WorkspaceCoordinatorTest::firstTickRaisesHostStartedThenNothing() {
    Rig rig;
    auto module = rig.add(u"github"_s, ModuleGroup::code);
    rig.make();
    rig.coordinator->start();
    QVERIFY(module->events.contains(HostEvent::hostStarted));
    QVERIFY(rig.model.isMonitoring());
    module->events.clear();
    rig.scheduler.advance(0.4);
    QCOMPARE(rig.reader.reads, 2);
    QVERIFY(module->events.isEmpty()); // nothing changed: the bus gets no event
}

void WorkspaceCoordinatorTest::monitorUpdateRaisesModuleDataChangedOnce() {
    Rig rig;
    auto module = rig.add(u"github"_s);
    rig.make();
    rig.coordinator->start();
    module->events.clear();
    rig.coordinator->moduleDataChanged();
    QCOMPARE(module->events, QList<HostEvent>{HostEvent::moduleDataChanged});
    module->events.clear();
    rig.scheduler.advance(0.4);
    QVERIFY(!module->events.contains(HostEvent::moduleDataChanged));
}

void WorkspaceCoordinatorTest::userInitiatedRefreshComesFirst() {
    Rig rig;
    auto module = rig.add(u"github"_s);
    rig.make();
    rig.coordinator->start();
    module->events.clear();
    WorkspaceSnapshot moved = *rig.reader.snapshot;
    moved.activeApplicationName = u"Terminal"_s;
    rig.reader.snapshot = moved;
    rig.coordinator->refresh(true);
    QCOMPARE(module->events.mid(0, 2),
             (QList<HostEvent>{HostEvent::refreshRequested, HostEvent::frontmostApplicationChanged}));
}

void WorkspaceCoordinatorTest::pinnedToAnotherDisplayHidesEverythingButModulesStillHear() {
    Rig rig;
    rig.reader.snapshot = workspaceOn(
        {display(u"A"_s, QRectF(0, 0, 1920, 1080)), display(u"B"_s, QRectF(1920, 0, 1920, 1080))});
    auto module = rig.add(u"github"_s);
    rig.make();
    rig.coordinator->start();
    QVERIFY(!rig.surfaces.shown.isEmpty());

    TessarySettings s = rig.settings.settings();
    s.visibility = visibility::Pinned{u"B"_s};
    rig.settings.setSettings(s);
    module->events.clear();
    rig.coordinator->settingsChanged();
    QVERIFY(rig.surfaces.shown.isEmpty());
    QVERIFY(module->events.contains(HostEvent::refreshRequested));
    QVERIFY(rig.coordinator->currentPlacements().isEmpty());
}

void WorkspaceCoordinatorTest::atMostSixBubblesAndSystemWidgetsDoNotCount() {
    Rig rig;
    // Ranked by state: critical first ... quiet last; ids say their rank.
    const ModuleState states[] = {ModuleState::critical,  ModuleState::critical, ModuleState::attention,
                                  ModuleState::attention, ModuleState::active,   ModuleState::active,
                                  ModuleState::quiet,     ModuleState::quiet};
    for (int i = 0; i < 8; ++i) {
        rig.add(u"m%1"_s.arg(i + 1), ModuleGroup::code, states[i]);
    }
    rig.add(u"cpu"_s, ModuleGroup::system, ModuleState::critical);
    rig.setMode(PlacementMode::floatingChip);
    rig.make();
    rig.coordinator->start();
    const QStringList shown = rig.bubbleModules();
    QCOMPARE(shown, (QStringList{u"m1"_s, u"m2"_s, u"m3"_s, u"m4"_s, u"m5"_s, u"m6"_s}));
}

void WorkspaceCoordinatorTest::automaticModeFusesEverythingIntoTheNotch() {
    Rig rig;
    rig.add(u"claude"_s, ModuleGroup::agents);
    rig.add(u"github"_s, ModuleGroup::code);
    rig.add(u"cpu"_s, ModuleGroup::system);
    rig.make();
    rig.coordinator->start();
    QCOMPARE(rig.surfaces.shown.size(), 1);
    const QString key = rig.surfaces.shown.firstKey();
    QCOMPARE(key, u"fundido:claude|github@A"_s);
    const SurfaceViewState state = rig.surfaces.shown.first();
    QVERIFY(std::holds_alternative<grouping::Notch>(state.grouping));
    QCOMPARE(state.modules.size(), size_t(3)); // the system widget joins the notch
    QVERIFY(rig.model.hasDockedNotch());
    QCOMPARE(rig.model.notchDisplayID(), std::optional(u"A"_s));
}

void WorkspaceCoordinatorTest::displayLeavingTargetsLosesItsPlacement() {
    Rig rig;
    rig.reader.snapshot = workspaceOn(
        {display(u"A"_s, QRectF(0, 0, 1920, 1080)), display(u"B"_s, QRectF(1920, 0, 1920, 1080))});
    rig.add(u"github"_s);
    TessarySettings s = rig.settings.settings();
    s.displays[u"B"_s].visibility = DisplaySettings::Visibility::always;
    rig.settings.setSettings(s);
    rig.make();
    rig.coordinator->start();
    QVERIFY(rig.coordinator->currentPlacements().contains(u"B"_s));

    rig.reader.snapshot = workspaceOn({display(u"A"_s, QRectF(0, 0, 1920, 1080))});
    rig.coordinator->refresh(false);
    QVERIFY(!rig.coordinator->currentPlacements().contains(u"B"_s));
    QVERIFY(std::none_of(rig.surfaces.shown.keyBegin(), rig.surfaces.shown.keyEnd(),
                         [](const QString& key) { return key.endsWith(u"@B"_s); }));
}

void WorkspaceCoordinatorTest::unreadableDisplaysHideAllAndSayWhy() {
    Rig rig;
    rig.add(u"github"_s);
    rig.make();
    rig.coordinator->start();
    QVERIFY(!rig.surfaces.shown.isEmpty());
    rig.reader.snapshot.reset();
    rig.coordinator->refresh(false);
    QVERIFY(rig.surfaces.shown.isEmpty());
    QCOMPARE(rig.model.lastError(), std::optional(u"Could not read the displays."_s));
    rig.reader.snapshot = workspaceOn({display(u"A"_s, QRectF(0, 0, 2560, 1440))});
    rig.scheduler.advance(2);
    QCOMPARE(rig.model.lastError(), std::nullopt);
}

void WorkspaceCoordinatorTest::cadenceIsFastAfterAChangeThenIdles() {
    Rig rig;
    rig.add(u"github"_s);
    rig.make();
    rig.coordinator->start(); // a start counts as a change
    const int afterStart = rig.reader.reads;
    rig.scheduler.advance(4.9);
    QCOMPARE(rig.reader.reads - afterStart, 12); // every 0.4 s
    rig.scheduler.advance(10);
    const int idleStart = rig.reader.reads;
    rig.scheduler.advance(10);
    QCOMPARE(rig.reader.reads - idleStart, 5); // every 2 s

    // A moved window is a change of topology: fast again.
    WorkspaceSnapshot changed = *rig.reader.snapshot;
    WindowSnapshot window;
    window.id = 7;
    window.frame = QRectF(100, 100, 800, 600);
    changed.windows.push_back(window);
    rig.reader.snapshot = changed;
    rig.scheduler.advance(2);
    const int fastAgain = rig.reader.reads;
    rig.scheduler.advance(2);
    QCOMPARE(rig.reader.reads - fastAgain, 5);
}

void WorkspaceCoordinatorTest::systemEventBurstGivesOneRefresh() {
    Rig rig;
    rig.add(u"github"_s);
    rig.make();
    rig.coordinator->start();
    rig.scheduler.advance(30); // idle: a tick every 2 s
    const int before = rig.reader.reads;
    for (int i = 0; i < 5; ++i) {
        rig.events.emitEvent(SystemEventKind::activeSpaceChanged);
        rig.scheduler.advance(0.02);
    }
    QCOMPARE(rig.reader.reads, before);
    rig.scheduler.advance(0.1);
    QCOMPARE(rig.reader.reads, before + 1);
}

void WorkspaceCoordinatorTest::droppedSurfaceKeepsItsPlaceAcrossARestart() {
    Rig rig;
    rig.add(u"github"_s);
    rig.setMode(PlacementMode::floatingChip);
    rig.make();
    rig.coordinator->start();
    QCOMPARE(rig.surfaces.shown.size(), 1);
    const QString key = rig.surfaces.shown.firstKey();
    const SurfaceViewState before = rig.surfaces.shown.first();
    const QRectF dropped(1000, 600, before.placement.frame.width(), before.placement.frame.height());
    rig.surfaces.callbacks.value(key).onUserMoved(before.placement, dropped);
    QCOMPARE(rig.surfaces.shown.value(key).placement.frame.topLeft(), dropped.topLeft());

    rig.coordinator.reset();
    rig.surfaces.shown.clear();
    rig.make();
    rig.coordinator->start();
    QCOMPARE(rig.surfaces.shown.value(key).placement.frame.topLeft(), dropped.topLeft());
}

void WorkspaceCoordinatorTest::fullScreenActiveWindowHidesWhenAsked() {
    Rig rig;
    rig.add(u"github"_s);
    WorkspaceSnapshot w = *rig.reader.snapshot;
    WindowSnapshot video;
    video.id = 3;
    video.frame = w.activeDisplay.frame;
    video.isFullScreen = true;
    w.windows.push_back(video);
    w.activeWindow = video;
    rig.reader.snapshot = w;
    rig.make();
    rig.coordinator->start();
    QVERIFY(!rig.surfaces.shown.isEmpty()); // the setting is off by default

    TessarySettings s = rig.settings.settings();
    s.hidesWhenActiveWindowIsFullScreen = true;
    rig.settings.setSettings(s);
    rig.coordinator->settingsChanged();
    QVERIFY(rig.surfaces.shown.isEmpty());
}

void WorkspaceCoordinatorTest::disabledWidgetIsNotShown() {
    Rig rig;
    rig.add(u"github"_s);
    rig.add(u"claude"_s, ModuleGroup::agents);
    rig.setMode(PlacementMode::floatingChip);
    rig.settings.setWidgetEnabled(u"claude"_s, false, u"A"_s);
    rig.make();
    rig.coordinator->start();
    QCOMPARE(rig.bubbleModules(), QStringList{u"github"_s});
    QCOMPARE(rig.model.moduleSnapshots().size(), size_t(1));
}

void WorkspaceCoordinatorTest::stopHidesEverything() {
    Rig rig;
    rig.add(u"github"_s);
    rig.make();
    rig.coordinator->start();
    rig.coordinator->stop();
    QVERIFY(rig.surfaces.shown.isEmpty());
    QVERIFY(!rig.model.isMonitoring());
    const int reads = rig.reader.reads;
    rig.scheduler.advance(10);
    QCOMPARE(rig.reader.reads, reads);
}

QTEST_GUILESS_MAIN(WorkspaceCoordinatorTest)
#include "WorkspaceCoordinatorTest.moc"
