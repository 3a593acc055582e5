#include "AtSpiDriver.h"
#include "SampleSnapshots.h"
#include "SurfaceX11Driver.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "surfaces/SurfaceCoordinator.h"
#include "surfaces/SurfacePanel.h"
#include "surfaces/detail/DetailPanel.h"

#include <QApplication>
#include <QCursor>
#include <QScreen>
#include <QTest>
#include <QWindow>

#include <memory>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

const QRectF bubbleFrame(900, 400, 140, 140); // the drawn disc is around 970, 470

std::uint32_t windowId(const QWidget& widget) {
    return static_cast<std::uint32_t>(widget.winId());
}

// A command that asks for a name before it runs.
ModuleSnapshot withRenameCommand() {
    ModuleSnapshot snapshot = samples::localPortsWithDetail();
    DetailSection rename;
    rename.id = u"rename"_s;
    rename.title = u"API server"_s;
    DetailCommand command;
    command.id = u"rename:tcp:8080"_s;
    command.moduleID = snapshot.id;
    command.title = u"Rename"_s;
    command.inputPlaceholder = u"Name"_s;
    command.inputText = u"API"_s;
    rename.command = command;
    snapshot.variants.detail->sections = {rename};
    return snapshot;
}

} // namespace

class DetailPanelX11Test : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void hoverOpensTheDetailAndLeavingClosesIt();
    void destructiveCommandAsksFirst();
    void textFieldTakesTheFocusOnlyWhileInUse();

private:
    void showBubble(const ModuleSnapshot& module);
    void hoverBubble();

    X11Driver m_x11;
    X11PanelWindowTraits m_traits;
    std::unique_ptr<DetailPanel> m_detail;
    std::unique_ptr<SurfaceCoordinator> m_surface;
    QStringList m_opened;
    QList<DetailCommand> m_commands;
};

void DetailPanelX11Test::init() {
    QVERIFY(m_x11.isConnected());
    // Somewhere the pointer isn't yet: xdotool's --sync waits for a move.
    const QPoint away = QCursor::pos() == QPoint(5, 900) ? QPoint(6, 901) : QPoint(5, 900);
    QVERIFY(X11Driver::xdotool(
        {u"mousemove"_s, u"--sync"_s, QString::number(away.x()), QString::number(away.y())}));
    m_detail = std::make_unique<DetailPanel>(m_traits);
    m_opened.clear();
    m_commands.clear();
    m_detail->setLinkCallbacks({[this](const DetailCommand& command) { m_commands.append(command); },
                                [this](const QString& moduleID) { m_opened.append(moduleID); }});
    const QRectF visible = QGuiApplication::primaryScreen()->availableGeometry();
    m_surface = std::make_unique<SurfaceCoordinator>(
        u"local.services@screen"_s, SurfaceCallbacks{},
        SurfaceEnvironment{
            m_traits, {}, [visible](const QString&) { return std::optional(visible); }, m_detail.get()});
}

void DetailPanelX11Test::cleanup() {
    m_surface.reset();
    m_detail.reset();
}

void DetailPanelX11Test::showBubble(const ModuleSnapshot& module) {
    SurfaceViewState state;
    state.modules = {module};
    state.placement = {QGuiApplication::primaryScreen()->name(), SurfaceKind::floatingChip, bubbleFrame, 1,
                       true};
    m_surface->show(state);
    QTRY_VERIFY_WITH_TIMEOUT(m_x11.isViewable(windowId(m_surface->panel())), 5000);
    QTest::qWait(200);
}

void DetailPanelX11Test::hoverBubble() {
    QVERIFY(X11Driver::xdotool({u"mousemove"_s, u"--sync"_s, u"970"_s, u"470"_s}));
    QTRY_VERIFY(m_detail->isVisible());
}

void DetailPanelX11Test::hoverOpensTheDetailAndLeavingClosesIt() {
    QWidget work;
    work.setGeometry(100, 100, 500, 400);
    work.show();
    QTRY_VERIFY_WITH_TIMEOUT(m_x11.isViewable(windowId(work)), 5000);
    QVERIFY(X11Driver::xdotool({u"windowactivate"_s, u"--sync"_s, QString::number(windowId(work))}));
    QTRY_COMPARE_WITH_TIMEOUT(m_x11.activeWindow(), std::optional(windowId(work)), 5000);

    showBubble(samples::localPortsWithDetail());
    QVERIFY(!m_detail->isVisible());
    hoverBubble();
    QCOMPARE(m_opened, QStringList{u"local.services"_s}); // opening it is what acknowledges its signal
    QCOMPARE(m_detail->moduleID(), std::optional(u"local.services"_s));
    // It hangs beside the bubble, on the screen, and the focus stays where it was.
    QVERIFY(!m_detail->geometry().intersects(bubbleFrame.adjusted(20, 20, -20, -20).toRect()));
    QVERIFY(QGuiApplication::primaryScreen()->geometry().contains(m_detail->geometry()));
    QTest::qWait(300);
    QCOMPARE(m_x11.activeWindow(), std::optional(windowId(work)));

    // The way over into the panel keeps it open: it counts as part of the surface.
    const QPoint inside = m_detail->geometry().center();
    QVERIFY(X11Driver::xdotool(
        {u"mousemove"_s, u"--sync"_s, QString::number(inside.x()), QString::number(inside.y())}));
    QTest::qWait(SurfaceCoordinator::hoverExitDelayMs + 300);
    QVERIFY(m_detail->isVisible());
    QVERIFY(m_surface->isHovering());

    // Leaving both closes it.
    QVERIFY(X11Driver::xdotool({u"mousemove"_s, u"--sync"_s, u"5"_s, u"900"_s}));
    QTRY_VERIFY(!m_detail->isVisible());
    QVERIFY(!m_surface->isHovering());
    QCOMPARE(m_opened.size(), 1);
}

void DetailPanelX11Test::destructiveCommandAsksFirst() {
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    showBubble(samples::localPortsWithDetail());
    hoverBubble();
    // The rows read as list items with their port and what they are.
    const auto row = AtSpiDriver::waitFor(u"API server, :8080, Node.js · ~/code/api-server · Claude Code"_s);
    QVERIFY2(row, "the API server's row never showed up on the accessibility bus");
    QCOMPARE(row->value(u"role"_s).toString(), u"list item"_s);
    QVERIFY(row->value(u"description"_s).toString().contains(u"http://localhost:8080"_s));

    QVERIFY(AtSpiDriver::press(u"Stop"_s, u"push button"_s));
    const auto question = AtSpiDriver::waitFor(u"Stop API server on :8080?"_s);
    QVERIFY2(question, "pressing Stop didn't ask first");
    QVERIFY(m_commands.isEmpty());
    QVERIFY(m_detail->isEngaged());

    // Cancel keeps the server; asking again and confirming sends the command once.
    QVERIFY(AtSpiDriver::press(u"Cancel"_s, u"push button"_s));
    QTRY_VERIFY(!m_detail->isEngaged());
    QVERIFY(m_commands.isEmpty());
    QVERIFY(AtSpiDriver::press(u"Stop"_s, u"push button"_s));
    QTRY_VERIFY(m_detail->isEngaged());
    QVERIFY(AtSpiDriver::press(u"Stop"_s, u"push button"_s, u"Stop API server on :8080?"_s));
    QTRY_COMPARE(m_commands.size(), 1);
    QCOMPARE(m_commands.front().id, u"stop:tcp:8080"_s);
    QVERIFY(!m_detail->isEngaged());

    // While it runs, its button waits.
    m_detail->setRunningCommands({u"stop:tcp:8080"_s});
    QVERIFY(!AtSpiDriver::press(u"Stop"_s, u"push button"_s, u"running"_s));
}

void DetailPanelX11Test::textFieldTakesTheFocusOnlyWhileInUse() {
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    showBubble(withRenameCommand());
    hoverBubble();
    QVERIFY(m_detail->windowHandle()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
    QVERIFY(AtSpiDriver::press(u"Rename"_s, u"push button"_s));
    QTRY_VERIFY(m_detail->isEngaged());
    QVERIFY(!m_detail->windowHandle()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
    QTRY_COMPARE_WITH_TIMEOUT(m_x11.activeWindow(), std::optional(windowId(*m_detail)), 5000);

    QVERIFY(X11Driver::xdotool({u"key"_s, u"--clearmodifiers"_s, u"ctrl+a"_s}));
    QVERIFY(X11Driver::xdotool({u"type"_s, u"--delay"_s, u"20"_s, u"Billing API"_s}));
    QVERIFY(X11Driver::xdotool({u"key"_s, u"Return"_s}));
    QTRY_COMPARE(m_commands.size(), 1);
    QCOMPARE(m_commands.front().id, u"rename:tcp:8080"_s);
    QCOMPARE(m_commands.front().inputText, std::optional(u"Billing API"_s));
    // Done typing: the panel gives the keyboard back.
    QTRY_VERIFY(m_detail->windowHandle()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
    QVERIFY(!m_detail->isEngaged());
}

int main(int argc, char** argv) {
    // Qt serves AT-SPI only when an assistive technology asks for it, or when told to always.
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    QApplication app(argc, argv);
    DetailPanelX11Test test;
    return QTest::qExec(&test, argc, argv);
}

#include "DetailPanelX11Test.moc"
