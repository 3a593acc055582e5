// The card end to end on a real X server with a window manager: a real hook command (shell and
// curl) holds a request on the listener, the card shows it while another application's window has
// the focus, and Alt+Y, Alt+N and the accessibility bus answer it; the focus never moves.

#include "../../services/hooks/HookCommands.h"
#include "../AtSpiDriver.h"
#include "core/time/Clock.h"
#include "modules/agents/live/AgentEventStore.h"
#include "platform/keygrab/linux/X11ShortcutGrab.h"
#include "platform/panels/linux/X11PanelWindowTraits.h"
#include "services/hooks/HookListener.h"
#include "surfaces/card/PermissionCardController.h"
#include "surfaces/card/PermissionCardPanel.h"

#include <QApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

QByteArray bashRequest(const QString& session, const QString& command) {
    const QJsonObject body{
        {u"session_id"_s, session},
        {u"cwd"_s, u"/home/dev/project"_s},
        {u"hook_event_name"_s, u"PermissionRequest"_s},
        {u"tool_name"_s, u"Bash"_s},
        {u"tool_input"_s, QJsonObject{{u"command"_s, command}, {u"description"_s, u"Run it"_s}}}};
    return QJsonDocument(body).toJson(QJsonDocument::Compact);
}

QString run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

// The window that has the focus, as the window manager publishes it.
quint64 activeWindow() {
    return run(u"xdotool"_s, {u"getactivewindow"_s}).toULongLong();
}

void pressAlt(const QString& key) {
    run(u"xdotool"_s, {u"key"_s, u"--clearmodifiers"_s, u"alt+"_s + key});
}

// Another application's window, which holds the focus throughout.
class WorkWindow final : public QWidget {
public:
    WorkWindow() { setWindowTitle(u"Editor"_s); }
};

} // namespace

class PermissionCardX11Test : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void answersByKeysWithoutTakingTheFocus();
    void answersOverTheAccessibilityBus();
    void keysNotOfferedDoNothingAndReleasedRequestsLeave();

private:
    std::unique_ptr<QProcess> hold(const QByteArray& body, const QString& source = {});
    static QJsonObject outputOf(QProcess* process);

    SystemClock m_clock;
    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<AgentEventStore> m_store;
    std::unique_ptr<HookListener> m_listener;
    std::unique_ptr<X11PanelWindowTraits> m_traits;
    std::unique_ptr<X11ShortcutGrab> m_shortcuts;
    std::unique_ptr<PermissionCardController> m_card;
    std::unique_ptr<WorkWindow> m_work;
    quint64 m_workWindow = 0;
};

void PermissionCardX11Test::init() {
    m_home = std::make_unique<QTemporaryDir>();
    m_store = std::make_unique<AgentEventStore>();
    m_listener = std::make_unique<HookListener>(*m_store, m_clock, m_home->path());
    m_traits = std::make_unique<X11PanelWindowTraits>();
    m_shortcuts = std::make_unique<X11ShortcutGrab>();
    m_card = std::make_unique<PermissionCardController>(
        PermissionCardController::Dependencies{*m_traits, *m_shortcuts, m_clock, {}, {}});
    m_card->onDecide = [this](const PendingPermission& request, PermissionDecision decision) {
        m_listener->decide(request.id, decision, QString::fromLatin1(deniedByUserReason));
    };
    // The workspace loop's refresh, reduced to the card: every change of the stores shows the queue.
    const QRectF screen = QGuiApplication::primaryScreen()->availableGeometry();
    const PermissionCardController::Placement placement{
        QRectF(screen.center().x() - 90, screen.top(), 180, 0), false, 0, screen.height() - 40, 45};
    m_listener->onUpdate = [this, placement] { m_card->show(m_store->permissions(), placement); };
    QVERIFY(m_listener->start());

    m_work = std::make_unique<WorkWindow>();
    m_work->setGeometry(200, 200, 600, 400);
    m_work->show();
    m_work->activateWindow();
    m_workWindow = m_work->winId();
    QTRY_COMPARE_WITH_TIMEOUT(activeWindow(), m_workWindow, 5000);
}

void PermissionCardX11Test::cleanup() {
    m_card.reset();
    m_shortcuts.reset();
    m_listener.reset();
    m_store.reset();
    m_work.reset();
    m_home.reset();
}

std::unique_ptr<QProcess> PermissionCardX11Test::hold(const QByteArray& body, const QString& source) {
    auto process = HookCommands::start(m_home->path(), HookCommands::decisionCommand(source), body);
    if (process) {
        const bool settled = QTest::qWaitFor(
            [&] { return m_card->isShowing() || process->state() == QProcess::NotRunning; }, 10000);
        Q_UNUSED(settled); // the caller checks what it expects
    }
    return process;
}

QJsonObject PermissionCardX11Test::outputOf(QProcess* process) {
    const HookCommands::HookRun ran = HookCommands::finish(process, 10000);
    if (ran.exitCode != 0) {
        return {};
    }
    return QJsonDocument::fromJson(ran.output).object();
}

void PermissionCardX11Test::answersByKeysWithoutTakingTheFocus() {
    auto first = hold(bashRequest(u"s1"_s, u"npm test"_s));
    QVERIFY(first);
    QVERIFY(m_card->isShowing());
    QVERIFY(m_card->shortcutsActive());
    QCOMPARE(m_card->model().permission()->summary, u"npm test"_s);
    QTRY_VERIFY(m_card->panel()->isVisible());
    QTest::qWait(300);
    QCOMPARE(activeWindow(), m_workWindow);

    pressAlt(u"y"_s);
    const QJsonObject allowed = outputOf(first.get());
    QCOMPARE(allowed, QJsonDocument::fromJson(R"({"hookSpecificOutput":{"hookEventName":"PermissionRequest",)"
                                              R"("decision":{"behavior":"allow"}}})")
                          .object());
    QTRY_VERIFY(!m_card->isShowing());
    QVERIFY(m_shortcuts->grabbedKeys().isEmpty());
    QCOMPARE(activeWindow(), m_workWindow);

    auto second = hold(bashRequest(u"s2"_s, u"rm -rf dist"_s));
    QVERIFY(m_card->isShowing());
    pressAlt(u"n"_s);
    const QJsonObject denied = outputOf(second.get());
    QCOMPARE(denied, QJsonDocument::fromJson(R"({"hookSpecificOutput":{"hookEventName":"PermissionRequest",)"
                                             R"("decision":{"behavior":"deny",)"
                                             R"("message":"Denied by the user on Tessary"}}})")
                         .object());
    QTRY_VERIFY(!m_card->isShowing());
    QCOMPARE(activeWindow(), m_workWindow);
}

void PermissionCardX11Test::answersOverTheAccessibilityBus() {
    auto request = hold(bashRequest(u"s3"_s, u"git push"_s));
    QVERIFY(m_card->isShowing());
    QVERIFY2(testing::AtSpiDriver::waitFor(u"Always allow"_s, u"push button"_s),
             "the card's answers never showed up on the accessibility bus");
    QVERIFY(testing::AtSpiDriver::waitFor(u"Deny"_s, u"push button"_s));
    QVERIFY(testing::AtSpiDriver::press(u"Allow"_s, u"push button"_s));
    const QJsonObject allowed = outputOf(request.get());
    QCOMPARE(allowed.value(u"hookSpecificOutput"_s).toObject().value(u"decision"_s).toObject(),
             (QJsonObject{{u"behavior"_s, u"allow"_s}}));
    QTRY_VERIFY(!m_card->isShowing());
    QCOMPARE(activeWindow(), m_workWindow);
}

void PermissionCardX11Test::keysNotOfferedDoNothingAndReleasedRequestsLeave() {
    // Codex has no "always allow": Alt+A is not taken, and the request stays open.
    auto request = hold(bashRequest(u"c1"_s, u"cargo build"_s), u"codex"_s);
    QVERIFY(request);
    QVERIFY(m_card->isShowing());
    QVERIFY(!m_shortcuts->grabbedKeys().contains(u'a'));
    pressAlt(u"a"_s);
    QTest::qWait(800);
    QCOMPARE(request->state(), QProcess::Running);
    QVERIFY(m_card->isShowing());

    // The agent gives up waiting (its terminal answered): the card goes with the request.
    const QString shell = QString::number(request->processId());
    for (const QString& child :
         run(u"ps"_s, {u"--ppid"_s, shell, u"-o"_s, u"pid="_s}).split(u'\n', Qt::SkipEmptyParts)) {
        run(u"kill"_s, {child.trimmed()}); // curl, which holds the connection
    }
    request->waitForFinished(5000);
    QTRY_VERIFY_WITH_TIMEOUT(!m_card->isShowing(), 10000);
    QVERIFY(m_shortcuts->grabbedKeys().isEmpty());
    QCOMPARE(activeWindow(), m_workWindow);
}

int main(int argc, char** argv) {
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    QApplication app(argc, argv);
    PermissionCardX11Test test;
    return QTest::qExec(&test, argc, argv);
}

#include "PermissionCardX11Test.moc"
