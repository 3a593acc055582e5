// The status icon on a real X server: a tray host that owns the system tray selection, as a panel's
// notification area does, receives the program's request to dock, also when it starts later; without
// one the program runs on, and every surface's context menu leads to the settings and to quitting.

#include "app/AppDelegate.h"
#include "app/StatusMenu.h"
#include "app/settings/SettingsWindow.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "services/monitoring/Scheduler.h"
#include "support/AppTestHarness.h"
#include "surfaces/AtSpiDriver.h"
#include "surfaces/SampleSnapshots.h"
#include "surfaces/SurfaceCoordinator.h"
#include "surfaces/SurfaceEnvironment.h"
#include "surfaces/SurfacePanel.h"
#include "surfaces/SurfaceX11Driver.h"

#include <QAccessible>
#include <QApplication>
#include <QDeadlineTimer>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTest>

#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

// An XEmbed tray host: owns _NET_SYSTEM_TRAY_S<screen>, says so to the root window, and hears the
// icons that ask to dock.
class X11TrayHost : public X11TestWindows {
public:
    bool claim() {
        if (!isConnected()) {
            return false;
        }
        xcb_connection_t* x = connection();
        const QByteArray selection = "_NET_SYSTEM_TRAY_S" + QByteArray::number(screenNumber());
        m_selection = atom(selection.constData());
        const xcb_window_t window = xcb_generate_id(x);
        xcb_create_window(x, XCB_COPY_FROM_PARENT, window, root(), 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                          XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_set_selection_owner(x, window, m_selection, XCB_CURRENT_TIME);
        xcb_client_message_event_t manager{};
        manager.response_type = XCB_CLIENT_MESSAGE;
        manager.format = 32;
        manager.window = root();
        manager.type = atom("MANAGER");
        manager.data.data32[0] = XCB_CURRENT_TIME;
        manager.data.data32[1] = m_selection;
        manager.data.data32[2] = window;
        xcb_send_event(x, 0, root(), XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&manager));
        xcb_flush(x);
        const auto owner = xcb_get_selection_owner_reply(x, xcb_get_selection_owner(x, m_selection), nullptr);
        const bool owned = owner != nullptr && owner->owner == window;
        std::free(owner);
        return owned;
    }

    // The window of the first icon that asks to dock, while Qt's loop turns; 0 when none asks in time.
    xcb_window_t waitForDockRequest(int milliseconds) {
        constexpr std::uint32_t requestDock = 0;
        const xcb_atom_t opcode = atom("_NET_SYSTEM_TRAY_OPCODE");
        const QDeadlineTimer deadline(milliseconds);
        while (!deadline.hasExpired()) {
            while (xcb_generic_event_t* event = xcb_poll_for_event(connection())) {
                xcb_window_t icon = 0;
                if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
                    const auto* message = reinterpret_cast<const xcb_client_message_event_t*>(event);
                    if (message->type == opcode && message->data.data32[1] == requestDock) {
                        icon = message->data.data32[2];
                    }
                }
                std::free(event);
                if (icon != 0) {
                    return icon;
                }
            }
            QTest::qWait(20);
        }
        return 0;
    }

private:
    xcb_atom_t m_selection = XCB_ATOM_NONE;
};

// One widget that always shows the same snapshot.
class FixedModule final : public CorvaneModule {
public:
    explicit FixedModule(ModuleSnapshot snapshot)
        : m_snapshot(std::move(snapshot)) {}
    QString id() const override { return m_snapshot.id; }
    QString displayName() const override { return m_snapshot.variants.compact.title; }
    QString summary() const override { return {}; }
    std::optional<ModuleSnapshot> handle(HostEvent, const ModuleContext&) override { return m_snapshot; }

private:
    ModuleSnapshot m_snapshot;
};

} // namespace

class TrayIconTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    // In this order: once a tray host has come, the X server remembers the selection's owners.
    void withoutATrayHostTheProgramRunsOn();
    void withoutATraySettingsAndQuitAreInASurfacesMenu();
    void theIconDocksWhenATrayStartsLater();
    void theIconDocksWhereATrayExists();

private:
    std::unique_ptr<AppDelegate> makeDelegate();

    std::unique_ptr<testing::AppTestHarness> m_app;
};

void TrayIconTest::init() {
    m_app = std::make_unique<testing::AppTestHarness>();
    m_app->skipFirstRun();
}

std::unique_ptr<AppDelegate> TrayIconTest::makeDelegate() {
    AppEnvironment environment = m_app->environment();
    environment.showsTrayIcon = true;
    return std::make_unique<AppDelegate>(environment);
}

void TrayIconTest::withoutATrayHostTheProgramRunsOn() {
    QVERIFY(!QSystemTrayIcon::isSystemTrayAvailable());
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    QVERIFY(delegate->model().isMonitoring());
    QVERIFY(delegate->statusMenu());
    delegate->applicationWillTerminate();
}

void TrayIconTest::theIconDocksWhereATrayExists() {
    X11TrayHost host;
    QVERIFY(host.claim());
    QTRY_VERIFY(QSystemTrayIcon::isSystemTrayAvailable());
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    QVERIFY(host.waitForDockRequest(5000) != 0);
}

void TrayIconTest::theIconDocksWhenATrayStartsLater() {
    QVERIFY(!QSystemTrayIcon::isSystemTrayAvailable());
    auto delegate = makeDelegate();
    delegate->applicationDidFinishLaunching();
    QTest::qWait(300);
    X11TrayHost host;
    QVERIFY(host.claim());
    QVERIFY(host.waitForDockRequest(5000) != 0);
}

void TrayIconTest::withoutATraySettingsAndQuitAreInASurfacesMenu() {
    QVERIFY(!QSystemTrayIcon::isSystemTrayAvailable());
    AppEnvironment environment = m_app->environment();
    environment.showsTrayIcon = true;
    DisplaySnapshot screen = m_app->reader.snapshot->displays.front();
    screen.frame = QRectF(QGuiApplication::primaryScreen()->geometry());
    screen.visibleFrame = QRectF(QGuiApplication::primaryScreen()->availableGeometry());
    m_app->reader.snapshot->displays = {screen};
    m_app->reader.snapshot->activeDisplay = screen;
    X11PanelWindowTraits traits;
    AppDelegate* app = nullptr;
    std::map<QString, SurfaceCoordinator*> made;
    const SurfaceFactory real = makeSurfaceFactory(
        SurfaceEnvironment{traits,
                           {},
                           [&](const QString&) { return std::optional(screen.visibleFrame); },
                           nullptr,
                           [&app](QMenu& menu) { app->statusMenu()->addActionsTo(menu); }});
    environment.makeSurface = [&](const QString& key, SurfaceCallbacks callbacks) {
        auto surface = real(key, std::move(callbacks));
        made[key] = dynamic_cast<SurfaceCoordinator*>(surface.get());
        return surface;
    };
    AppDelegate delegate(environment);
    app = &delegate;
    auto module = std::make_shared<FixedModule>(samples::localPortsWithDetail());
    delegate.bus().registerModule(module);
    delegate.applicationDidFinishLaunching();
    QVERIFY(!made.empty());
    SurfaceCoordinator* surface = made.begin()->second;
    QTRY_VERIFY(surface->panel().isVisible());
    QTest::qWait(300);

    // The surface as a screen reader finds it, before its menu opens.
    QVERIFY(AtSpiDriver::waitFor(u"Local ports, 3 servers"_s));
    const QPoint middle = surface->currentHitTest().form().bounds().center().toPoint();
    QVERIFY(X11Driver::xdotool(
        {u"mousemove"_s, u"--sync"_s, QString::number(middle.x()), QString::number(middle.y())}));
    QVERIFY(X11Driver::xdotool({u"click"_s, u"3"_s}));
    QTRY_VERIFY(QApplication::activePopupWidget() != nullptr);
    // A popup menu is no child of the application in the accessible tree (screen readers follow it
    // by its events), so it is read and pressed through its own accessible interface.
    QAccessibleInterface* menu = QAccessible::queryAccessibleInterface(QApplication::activePopupWidget());
    QVERIFY(menu);
    QStringList items;
    QAccessibleInterface* settingsItem = nullptr;
    for (int index = 0; index < menu->childCount(); ++index) {
        QAccessibleInterface* item = menu->child(index);
        if (item->role() == QAccessible::MenuItem && !item->text(QAccessible::Name).isEmpty()) {
            items.append(item->text(QAccessible::Name));
            if (item->text(QAccessible::Name) == u"Settings…"_s) {
                settingsItem = item;
            }
        }
    }
    QVERIFY2(items.contains(u"Quit Tessary"_s), qPrintable(items.join(u", "_s)));
    QVERIFY(settingsItem && settingsItem->actionInterface());
    settingsItem->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QTRY_VERIFY(delegate.settingsWindow() && delegate.settingsWindow()->isVisible());
    delegate.applicationWillTerminate();
}

int main(int argc, char** argv) {
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    QApplication app(argc, argv);
    TrayIconTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "TrayIconTest.moc"
