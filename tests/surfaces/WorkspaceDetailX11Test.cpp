#include "AtSpiDriver.h"
#include "SampleSnapshots.h"
#include "SurfaceX11Driver.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "platform/systemevents/fake/FakeSystemEventSource.h"
#include "platform/workspace/fake/FakeWorkspaceReader.h"
#include "platform/workspace/linux/ScreenOnlyWorkspaceReader.h"
#include "services/workspace/WorkspaceCoordinator.h"
#include "surfaces/SurfaceCoordinator.h"
#include "surfaces/SurfacePanel.h"
#include "surfaces/detail/DetailPanel.h"

#include <QApplication>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

// Local ports as the real widget publishes it, with a fact that wants attention.
class PortsModule final : public CorvaneModule {
public:
    explicit PortsModule(const Clock& clock)
        : m_clock(clock) {}
    QString id() const override { return u"local.services"_s; }
    QString displayName() const override { return u"Local ports"_s; }
    QString summary() const override { return {}; }
    ModuleGroup group() const override { return ModuleGroup::code; }
    std::optional<ModuleSnapshot> handle(HostEvent, const ModuleContext&) override {
        ModuleSnapshot snapshot = samples::localPortsWithDetail();
        snapshot.generatedAt = m_clock.now();
        snapshot.variants.signal =
            ChangeSignal::make({{u"stopped:6006"_s, ChangeSignal::Fact::Tone::attention,
                                 u"storybook on :6006 stopped"_s, m_clock.now()}});
        return snapshot;
    }

private:
    const Clock& m_clock;
};

WorkspaceSnapshot screenWorkspace() {
    DisplaySnapshot display;
    display.id = u"screen"_s;
    display.name = u"screen"_s;
    display.frame = QRectF(QGuiApplication::primaryScreen()->geometry());
    display.visibleFrame = QRectF(QGuiApplication::primaryScreen()->availableGeometry());
    display.isMain = true;
    WorkspaceSnapshot workspace;
    workspace.displays = {display};
    workspace.activeDisplay = display;
    workspace.cursorLocation = QPointF(5, 900);
    return workspace;
}

// The loop over real surfaces and the shared detail panel, with a new user's settings.
struct RealLoop {
    QTemporaryDir dir;
    QSettings defaults{dir.filePath(u"t.conf"_s), QSettings::IniFormat};
    AppModel model;
    SettingsStore settings{defaults, {}};
    SurfacePositionStore positions{defaults};
    ModuleEventBus bus;
    FakeSystemEventSource events;
    X11PanelWindowTraits traits;
    DetailPanel detail{traits};
    std::map<QString, SurfaceCoordinator*> made;
    std::unique_ptr<WorkspaceCoordinator> loop;

    void start(WorkspaceSnapshotReader& reader, Clock& clock, Scheduler& scheduler,
               std::function<std::optional<QRectF>(const QString&)> visibleFrame = {}) {
        const SurfaceFactory real =
            makeSurfaceFactory(SurfaceEnvironment{traits, {}, std::move(visibleFrame), &detail});
        loop = std::make_unique<WorkspaceCoordinator>(WorkspaceCoordinator::Dependencies{
            model, settings, reader, positions, bus, events, clock, scheduler,
            [this, real](const QString& key, SurfaceCallbacks callbacks) {
                auto surface = real(key, std::move(callbacks));
                made[key] = dynamic_cast<SurfaceCoordinator*>(surface.get());
                return surface;
            }});
        loop->setDetailPanel(&detail);
        loop->start();
    }
};

} // namespace

// The loop, real surfaces and the shared detail panel together under a real X server.
class WorkspaceDetailX11Test : public QObject {
    Q_OBJECT
private slots:
    void openingTheDetailAcknowledgesTheSignal();
    void automaticPlacementStaysClearOfALargeWorkingWindow();
};

void WorkspaceDetailX11Test::openingTheDetailAcknowledgesTheSignal() {
    X11Driver x11;
    QVERIFY(x11.isConnected());
    RealLoop rig;
    TessarySettings chosen = rig.settings.settings();
    chosen.placementMode = PlacementMode::floatingChip;
    rig.settings.setSettings(chosen);
    FakeWorkspaceReader reader(screenWorkspace());
    ManualClock clock;
    ManualScheduler scheduler(clock);
    rig.bus.registerModule(std::make_shared<PortsModule>(clock));
    const QRectF visible = QGuiApplication::primaryScreen()->availableGeometry();
    rig.start(reader, clock, scheduler, [visible](const QString&) { return std::optional(visible); });
    DetailPanel& detail = rig.detail;

    SurfaceCoordinator* ports = rig.made.at(u"local.services@screen"_s);
    QVERIFY(ports->currentState()->modules.front().variants.signal);
    QTRY_VERIFY_WITH_TIMEOUT(x11.isViewable(static_cast<std::uint32_t>(ports->panel().winId())), 5000);
    QTest::qWait(200);

    const QPoint middle = ports->panel().frame().center().toPoint();
    QVERIFY(X11Driver::xdotool(
        {u"mousemove"_s, u"--sync"_s, QString::number(middle.x()), QString::number(middle.y())}));
    QTRY_VERIFY(detail.isVisible());
    // The look is taken as seen: the mark leaves the surface and the status menu's snapshot, and
    // the fact stays listed in the open detail.
    QTRY_VERIFY(!ports->currentState()->modules.front().variants.signal);
    QVERIFY(!rig.model.moduleSnapshots().front().variants.signal);
    QVERIFY(AtSpiDriver::waitFor(u"storybook on :6006 stopped"_s));
    // The widget still says so: only what was seen is hidden.
    QVERIFY(rig.bus.latestSnapshots().value(u"local.services"_s).variants.signal);

    QVERIFY(X11Driver::xdotool({u"mousemove"_s, u"--sync"_s, u"5"_s, u"900"_s}));
    QTRY_VERIFY(!detail.isVisible());
    rig.loop->stop();
}

// A desktop without a top panel and one large working window at the top left, read for real: the
// widgets stand beside it, the window keeps the focus, and a hover opens the detail a screen reader reads.
void WorkspaceDetailX11Test::automaticPlacementStaysClearOfALargeWorkingWindow() {
    X11Driver x11;
    QVERIFY(x11.isConnected());
    QProcess work;
    work.start(u"xmessage"_s, {u"-geometry"_s, u"1100x1000+0+0"_s, u"-title"_s, u"Working window"_s,
                               u"The user works here."_s});
    QVERIFY(work.waitForStarted());
    QVERIFY(X11Driver::xdotool(
        {u"search"_s, u"--sync"_s, u"--name"_s, u"Working window"_s, u"windowactivate"_s, u"--sync"_s}));
    const std::optional<std::uint32_t> focused = x11.activeWindow();
    QVERIFY(focused);

    RealLoop rig; // automatic placement, as a new user has it
    SystemClock clock;
    QtScheduler scheduler;
    const std::unique_ptr<WorkspaceSnapshotReader> reader = makeLinuxWorkspaceReader(clock);
    rig.bus.registerModule(std::make_shared<PortsModule>(clock));
    rig.start(*reader, clock, scheduler);
    DetailPanel& detail = rig.detail;

    // The working window as the loop reads it.
    QRectF workFrame;
    QTRY_VERIFY([&] {
        const auto& workspace = rig.model.workspace();
        for (const WindowSnapshot& window : workspace ? workspace->windows : std::vector<WindowSnapshot>{}) {
            if (window.title == u"Working window"_s) {
                workFrame = window.frame;
            }
        }
        return workFrame.width() >= 1000;
    }());
    SurfaceCoordinator* ports = nullptr;
    QTRY_VERIFY([&] {
        for (const auto& [key, surface] : rig.made) {
            if (surface->panel().isVisible() && surface->currentState()) {
                ports = surface;
            }
        }
        return ports != nullptr;
    }());
    QTest::qWait(1000); // past the relocation and the stabiliser's first residence
    for (const auto& [key, surface] : rig.made) {
        if (surface->panel().isVisible()) {
            QVERIFY2(!surface->panel().frame().intersects(workFrame), qPrintable(key));
        }
    }
    QCOMPARE(x11.activeWindow(), focused);

    const SurfaceForm form = ports->currentHitTest().form();
    const QPoint onForm =
        (form.kind == SurfaceForm::Kind::none ? ports->panel().frame() : form.bounds()).center().toPoint();
    QVERIFY(X11Driver::xdotool(
        {u"mousemove"_s, u"--sync"_s, QString::number(onForm.x()), QString::number(onForm.y())}));
    QTRY_VERIFY(detail.isVisible());
    QVERIFY(AtSpiDriver::waitFor(u"storybook on :6006 stopped"_s));
    QVERIFY(!detail.frameGeometry().intersects(workFrame.toRect()));
    QCOMPARE(x11.activeWindow(), focused);

    rig.loop->stop();
    work.kill();
    work.waitForFinished();
}

int main(int argc, char** argv) {
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    QApplication app(argc, argv);
    WorkspaceDetailX11Test test;
    return QTest::qExec(&test, argc, argv);
}

#include "WorkspaceDetailX11Test.moc"
