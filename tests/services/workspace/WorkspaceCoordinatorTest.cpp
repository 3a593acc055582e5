#include "services/workspace/WorkspaceCoordinator.h"

#include "platform/systemevents/fake/FakeSystemEventSource.h"
#include "platform/workspace/fake/FakeWorkspaceReader.h"
#include "services/workspace/SurfaceKey.h"

#include <QPromise>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// Answers every event with a snapshot of a fixed state and counts what it heard. Its commands finish
// when the test says so.
class TestModule final : public CorvaneModule {
public:
    TestModule(QString id, ModuleGroup group, ModuleState state, const Clock& clock)
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
    QFuture<void> perform(const DetailCommand& command) override {
        performed.append(command.id);
        promises.push_back(std::make_unique<QPromise<void>>());
        promises.back()->start();
        return promises.back()->future();
    }
    void finishAll() {
        for (auto& promise : promises) {
            promise->finish();
        }
        QCoreApplication::processEvents(); // continuations run on the coordinator's thread
    }
    QList<HostEvent> events;
    QStringList performed;
    std::vector<std::unique_ptr<QPromise<void>>> promises;

private:
    QString m_id;
    ModuleGroup m_group;
    ModuleState m_state;
    const Clock& m_clock;
};

class RecordingDetailPanel final : public DetailPanelLink {
public:
    void setLinkCallbacks(Callbacks given) override { callbacks = std::move(given); }
    void setRunningCommands(const QSet<QString>& ids) override { running = ids; }
    Callbacks callbacks;
    QSet<QString> running;
};

class RecordingNotchEditor final : public NotchEditor {
public:
    void setEditorCallbacks(Callbacks given) override { callbacks = std::move(given); }
    void showEditor(const Content& given) override { content = given; }
    void hideEditor() override { content.reset(); }
    Callbacks callbacks;
    std::optional<Content> content;
};

struct SurfaceLog {
    QMap<QString, SurfaceViewState> shown; // visible surfaces and their last state
    QMap<QString, SurfaceCallbacks> callbacks;
    QSet<QString> paused;
    int made = 0;
};

class RecordingSurface final : public Surface {
public:
    RecordingSurface(QString key, SurfaceLog& log)
        : m_key(std::move(key))
        , m_log(log) {}
    void setInteractionPaused(bool paused) override {
        if (paused) {
            m_log.paused.insert(m_key);
        } else {
            m_log.paused.remove(m_key);
        }
    }
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
    // A second rig on the first one's settings file is the program after a restart.
    explicit Rig(const QString& settingsFile = {})
        : defaults(settingsFile.isEmpty() ? dir.filePath(u"t.conf"_s) : settingsFile, QSettings::IniFormat) {}
    QTemporaryDir dir;
    QSettings defaults;
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
            [this](const QString& key, const SurfaceCallbacks& callbacks) {
                ++surfaces.made;
                surfaces.callbacks.insert(key, callbacks);
                return std::make_unique<RecordingSurface>(key, surfaces);
            }});
    }
    std::shared_ptr<TestModule> add(const QString& id, ModuleGroup group = ModuleGroup::none,
                                    ModuleState state = ModuleState::active) {
        auto module = std::make_shared<TestModule>(id, group, state, clock);
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
    void edit(const std::function<void(TessarySettings&)>& change) {
        TessarySettings s = settings.settings();
        change(s);
        settings.setSettings(s);
    }
    void setMode(PlacementMode mode) {
        edit([mode](TessarySettings& s) { s.placementMode = mode; });
    }
};

} // namespace

class WorkspaceCoordinatorTest : public QObject {
    Q_OBJECT
private slots:
    void modulesHearWhatChanged();
    void pinnedToAnotherDisplayHidesEverythingButModulesStillHear();
    void atMostSixBubblesAndSystemWidgetsDoNotCount();
    void automaticModeFusesEverythingIntoTheNotch();
    void automaticModeWithoutATopBandStandsClearOfTheWork();
    void displayLeavingTargetsLosesItsPlacement();
    void unreadableDisplaysHideAllAndSayWhy();
    void cadenceIsFastAfterAChangeThenIdles();
    void systemEventBurstGivesOneRefresh();
    void droppedSurfaceKeepsItsPlaceAcrossARestart();
    void fullScreenActiveWindowHidesWhenAsked();
    void disabledWidgetIsNotShown();
    void stopHidesEverything();
    void commandRouting_data();
    void commandRouting();
    void moduleCommandRunsUntilItEndsThenRefreshes();
    void systemWidgetsStandAsTheirOwnBubbles();
    void notchFollowsTheSavedArrangement();
    void notchEditingShowsTheEditorAndSavesEdits();
    void notchEditingEndsWhenTheNotchGoes();
};

void WorkspaceCoordinatorTest::modulesHearWhatChanged() {
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

    // A monitor's update is told once.
    rig.coordinator->moduleDataChanged();
    QCOMPARE(module->events, QList<HostEvent>{HostEvent::moduleDataChanged});
    module->events.clear();
    rig.scheduler.advance(0.4);
    QVERIFY(!module->events.contains(HostEvent::moduleDataChanged));

    // A refresh the user asked for comes before what changed on the screen.
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

    rig.edit([](TessarySettings& s) { s.visibility = visibility::Pinned{u"B"_s}; });
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
    // The system widget is shown beside the six.
    QCOMPARE(shown, (QStringList{u"cpu"_s, u"m1"_s, u"m2"_s, u"m3"_s, u"m4"_s, u"m5"_s, u"m6"_s}));
    // None has a saved place: three corners hold a bubble each, and the fourth to seventh pile up
    // at the bottom left, where they fuse into rings.
    QCOMPARE(rig.surfaces.shown.size(), 4);
    int rings = 0;
    for (const SurfaceViewState& state : rig.surfaces.shown) {
        rings += std::holds_alternative<grouping::Rings>(state.grouping) ? 1 : 0;
    }
    QCOMPARE(rings, 1);
}

void WorkspaceCoordinatorTest::automaticModeFusesEverythingIntoTheNotch() {
    Rig rig;
    // Six widgets fill the notch; the two system widgets ride in its strip beyond the six.
    for (const QString& id : {u"claude"_s, u"codex"_s, u"gemini"_s, u"github"_s, u"ports"_s, u"docker"_s}) {
        rig.add(id, ModuleGroup::code);
    }
    rig.add(u"cpu"_s, ModuleGroup::system);
    rig.add(u"memory"_s, ModuleGroup::system);
    rig.make();
    rig.coordinator->start();
    QCOMPARE(rig.surfaces.shown.size(), 1);
    const QString key = rig.surfaces.shown.firstKey();
    QCOMPARE(key, u"fundido:claude|codex|cpu|docker|gemini|github|memory|ports@A"_s);
    const SurfaceViewState state = rig.surfaces.shown.first();
    QVERIFY(std::holds_alternative<grouping::Notch>(state.grouping));
    QCOMPARE(state.modules.size(), size_t(8));
    QCOMPARE(state.modules[6].id, u"cpu"_s);
    QCOMPARE(state.modules[7].id, u"memory"_s);
    QVERIFY(rig.model.hasDockedNotch());
    QCOMPARE(rig.model.notchDisplayID(), std::optional(u"A"_s));
}

void WorkspaceCoordinatorTest::automaticModeWithoutATopBandStandsClearOfTheWork() {
    // A desktop without a top panel, one large working window at the top left.
    Rig rig;
    DisplaySnapshot screen = display(u"A"_s, QRectF(0, 0, 1920, 1080));
    screen.visibleFrame = screen.frame;
    WorkspaceSnapshot workspace = workspaceOn({screen});
    WindowSnapshot work;
    work.id = 7;
    work.ownerName = u"Editor"_s;
    work.frame = QRectF(0, 0, 1100, 1000);
    work.isFocused = true;
    workspace.windows = {work};
    workspace.activeWindow = work;
    rig.reader.snapshot = workspace;
    for (const QString& id : {u"claude"_s, u"ports"_s}) {
        rig.add(id, ModuleGroup::code);
    }
    rig.add(u"cpu"_s, ModuleGroup::system);
    rig.add(u"memory"_s, ModuleGroup::system);
    rig.make();
    rig.coordinator->start();
    rig.scheduler.advance(3); // past the stabiliser's first residence

    QVERIFY(!rig.surfaces.shown.isEmpty());
    QCOMPARE(rig.bubbleModules(), (QStringList{u"claude"_s, u"cpu"_s, u"memory"_s, u"ports"_s}));
    for (const SurfaceViewState& state : std::as_const(rig.surfaces.shown)) {
        QVERIFY2(!state.placement.frame.intersects(work.frame), "a surface covers the working window");
        QVERIFY(!std::holds_alternative<grouping::Notch>(state.grouping));
    }
    QVERIFY(!rig.model.hasDockedNotch());

    // Once the window leaves the top centre free, the widgets may dock there again only if the
    // free space says so; the working window moving away to the bottom right keeps them clear too.
    work.frame = QRectF(820, 80, 1100, 1000);
    workspace.windows = {work};
    workspace.activeWindow = work;
    rig.reader.snapshot = workspace;
    rig.scheduler.advance(3);
    for (const SurfaceViewState& state : std::as_const(rig.surfaces.shown)) {
        QVERIFY2(!state.placement.frame.intersects(work.frame), "a surface covers the moved window");
    }
}

void WorkspaceCoordinatorTest::displayLeavingTargetsLosesItsPlacement() {
    Rig rig;
    rig.reader.snapshot = workspaceOn(
        {display(u"A"_s, QRectF(0, 0, 1920, 1080)), display(u"B"_s, QRectF(1920, 0, 1920, 1080))});
    rig.add(u"github"_s);
    rig.edit([](TessarySettings& s) { s.displays[u"B"_s].visibility = DisplaySettings::Visibility::always; });
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
    Rig restarted(rig.defaults.fileName());
    restarted.add(u"github"_s);
    restarted.make();
    restarted.coordinator->start();
    QCOMPARE(restarted.surfaces.shown.value(key).placement.frame.topLeft(), dropped.topLeft());
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

    rig.edit([](TessarySettings& s) { s.hidesWhenActiveWindowIsFullScreen = true; });
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

void WorkspaceCoordinatorTest::commandRouting_data() {
    QTest::addColumn<QString>("commandID");
    QTest::addColumn<bool>("toPermissions");
    QTest::newRow("a decision on a request") << u"permission:decide:allow:req-1"_s << true;
    QTest::newRow("an answer to a question") << u"permission:answer:2:req-1"_s << true;
    QTest::newRow("a module's own command") << u"stop:local-3000"_s << false;
    QTest::newRow("prefix only, not a permission command") << u"permissions-list"_s << false;
}

void WorkspaceCoordinatorTest::commandRouting() {
    QFETCH(QString, commandID);
    QFETCH(bool, toPermissions);
    Rig rig;
    auto module = rig.add(u"ports"_s);
    rig.make();
    QList<PermissionCommand> toCard;
    rig.coordinator->setPermissionCommandHandler(
        [&](const PermissionCommand& command) { toCard.append(command); });
    RecordingDetailPanel panel;
    rig.coordinator->setDetailPanel(&panel);
    rig.coordinator->start();

    panel.callbacks.onCommand(DetailCommand{commandID, u"ports"_s, u"Do"_s});
    QCOMPARE(toCard.size(), toPermissions ? 1 : 0);
    QCOMPARE(module->performed, toPermissions ? QStringList{} : QStringList{commandID});
    if (toPermissions) {
        QCOMPARE(toCard.first().text(), commandID);
        QVERIFY(panel.running.isEmpty()); // the card answers; nothing runs on the panel
    }
}

void WorkspaceCoordinatorTest::moduleCommandRunsUntilItEndsThenRefreshes() {
    Rig rig;
    auto module = rig.add(u"ports"_s);
    rig.make();
    RecordingDetailPanel panel;
    rig.coordinator->setDetailPanel(&panel);
    rig.coordinator->start();
    // Without a permission handler, a permission command is dropped rather than sent to a module.
    rig.coordinator->perform(DetailCommand{u"permission:decide:deny:r"_s, u"ports"_s, u"Deny"_s});
    QVERIFY(module->performed.isEmpty());

    rig.coordinator->perform(DetailCommand{u"stop:a"_s, u"ports"_s, u"Stop"_s});
    rig.coordinator->perform(DetailCommand{u"stop:b"_s, u"ports"_s, u"Stop"_s});
    QCOMPARE(panel.running, (QSet<QString>{u"stop:a"_s, u"stop:b"_s}));
    const int reads = rig.reader.reads;
    module->finishAll();
    QTRY_VERIFY(panel.running.isEmpty());
    QVERIFY(rig.reader.reads > reads); // the loop refreshed to show the outcome
}

void WorkspaceCoordinatorTest::systemWidgetsStandAsTheirOwnBubbles() {
    Rig rig;
    rig.add(u"local.services"_s, ModuleGroup::code);
    rig.add(u"system.cpu"_s, ModuleGroup::system, ModuleState::quiet);
    rig.add(u"system.memory"_s, ModuleGroup::system, ModuleState::quiet);
    rig.setMode(PlacementMode::floatingChip);
    rig.make();
    rig.coordinator->start();
    QStringList keys = rig.surfaces.shown.keys();
    keys.sort();
    QCOMPARE(keys, (QStringList{u"local.services@A"_s, u"system.cpu@A"_s, u"system.memory@A"_s}));
    for (const SurfaceViewState& state : rig.surfaces.shown) {
        QVERIFY(std::holds_alternative<grouping::Bubble>(state.grouping));
        QCOMPARE(state.modules.size(), size_t(1));
    }
}

void WorkspaceCoordinatorTest::notchFollowsTheSavedArrangement() {
    Rig rig;
    rig.add(u"claude"_s, ModuleGroup::agents, ModuleState::quiet);
    rig.add(u"codex"_s, ModuleGroup::agents, ModuleState::critical);
    rig.add(u"github"_s, ModuleGroup::code);
    rig.add(u"cpu"_s, ModuleGroup::system);
    rig.edit([](TessarySettings& s) {
        s.notch.tabOrder = {u"code"_s};
        s.notch.hiddenInNotch = {u"claude"_s};
    });
    rig.make();
    rig.coordinator->start();
    QCOMPARE(rig.surfaces.shown.size(), 1);
    QStringList ids;
    for (const ModuleSnapshot& module : rig.surfaces.shown.first().modules) {
        ids.append(module.id);
    }
    QCOMPARE(ids, (QStringList{u"github"_s, u"codex"_s, u"cpu"_s}));
    QCOMPARE(rig.model.notchArrivalOrder(), ids);
}

void WorkspaceCoordinatorTest::notchEditingShowsTheEditorAndSavesEdits() {
    Rig rig;
    rig.add(u"claude"_s, ModuleGroup::agents);
    rig.add(u"codex"_s, ModuleGroup::agents);
    rig.add(u"github"_s, ModuleGroup::code);
    rig.make();
    RecordingNotchEditor editor;
    rig.coordinator->setNotchEditor(&editor);
    rig.coordinator->start();
    const QString key = rig.surfaces.shown.firstKey();
    const SurfaceCallbacks callbacks = rig.surfaces.callbacks.value(key);
    QVERIFY(callbacks.canEditNotch());
    callbacks.onEditNotchRequested();

    QCOMPARE(rig.coordinator->editingNotchDisplayID(), std::optional(u"A"_s));
    QVERIFY(rig.surfaces.paused.contains(key));
    QVERIFY(editor.content);
    QCOMPARE(editor.content->tabs.size(), size_t(2));
    QCOMPARE(editor.content->titles.value(u"codex"_s), u"codex"_s);

    // Hiding a module in the editor saves it and the notch redraws without it; the editor keeps
    // listing it so that it can be shown again.
    editor.callbacks.onChange(NotchArrangement::togglingHidden(editor.content->preferences, u"codex"_s));
    QCOMPARE(rig.settings.settings().notch.hiddenInNotch, QSet<QString>{u"codex"_s});
    QCOMPARE(rig.surfaces.shown.first().modules.size(), size_t(2));
    QVERIFY(editor.content->tabs.front().ids.contains(u"codex"_s));

    editor.callbacks.onDone();
    QVERIFY(!rig.coordinator->editingNotchDisplayID());
    QVERIFY(!editor.content);
    QVERIFY(rig.surfaces.paused.isEmpty());
}

void WorkspaceCoordinatorTest::notchEditingEndsWhenTheNotchGoes() {
    Rig rig;
    rig.add(u"claude"_s, ModuleGroup::agents);
    rig.add(u"github"_s, ModuleGroup::code);
    rig.make();
    RecordingNotchEditor editor;
    rig.coordinator->setNotchEditor(&editor);
    rig.coordinator->start();
    rig.coordinator->beginNotchEditing(u"A"_s);
    QVERIFY(editor.content);
    // Bubbles in the corners are no notch: nothing to edit any more.
    rig.setMode(PlacementMode::floatingChip);
    rig.coordinator->settingsChanged();
    QVERIFY(!rig.coordinator->editingNotchDisplayID());
    QVERIFY(!editor.content);
    QVERIFY(!rig.surfaces.callbacks.first().canEditNotch());
}

QTEST_GUILESS_MAIN(WorkspaceCoordinatorTest)
#include "WorkspaceCoordinatorTest.moc"
