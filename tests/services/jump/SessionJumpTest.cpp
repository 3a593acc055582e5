// The jump against real processes: a private tmux server with two windows and split panes, the
// agent's shell found by its terminal; plain processes whose window owner is above them or missing.

#include "services/jump/SessionJump.h"

#include "core/time/Clock.h"
#include "platform/processes/linux/LiveAgentProcesses.h"
#include "platform/sessionjump/fake/FakeWindowActivator.h"
#include "services/shell/Shell.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace tessary;
using namespace Qt::StringLiterals;

class SessionJumpTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void cleanup();
    void selectsTheTmuxPaneOfTheAgent();
    void raisesTheNearestWindowAbove();
    void nothingMovesWithoutAWindow();

private:
    QString tmux(const QStringList& arguments);

    SystemClock m_clock;
    Shell m_shell;
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_socket;
    std::unique_ptr<QProcess> m_child;
};

void SessionJumpTest::initTestCase() {
    if (QStandardPaths::findExecutable(u"tmux"_s).isEmpty()) {
        QFAIL("tmux is needed (scripts/install-deps)");
    }
}

void SessionJumpTest::cleanup() {
    if (!m_socket.isEmpty()) {
        tmux({u"kill-server"_s});
        m_socket.clear();
    }
    if (m_child) {
        m_child->kill();
        m_child->waitForFinished(3000);
        m_child.reset();
    }
    m_dir.reset();
}

QString SessionJumpTest::tmux(const QStringList& arguments) {
    QProcess process;
    process.start(u"tmux"_s, QStringList{u"-S"_s, m_socket} + arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

void SessionJumpTest::selectsTheTmuxPaneOfTheAgent() {
    m_dir = std::make_unique<QTemporaryDir>();
    m_socket = m_dir->filePath(u"tmux.sock"_s);
    tmux({u"-f"_s, u"/dev/null"_s, u"new-session"_s, u"-d"_s, u"-s"_s, u"work"_s, u"-x"_s, u"120"_s, u"-y"_s,
          u"40"_s});
    tmux({u"split-window"_s, u"-t"_s, u"work:0"_s});
    tmux({u"new-window"_s, u"-t"_s, u"work"_s});
    tmux({u"split-window"_s, u"-t"_s, u"work:1"_s});
    // The agent runs in the first pane of the first window, which is now in the background.
    const QString target =
        tmux({u"display-message"_s, u"-p"_s, u"-t"_s, u"work:0.0"_s, u"#{pane_id} #{pane_pid}"_s});
    const QString paneID = target.section(u' ', 0, 0);
    const qint32 agent = target.section(u' ', 1, 1).toInt();
    QVERIFY(agent > 1);
    QVERIFY(tmux({u"display-message"_s, u"-p"_s, u"-t"_s, u"work"_s, u"#{pane_id}"_s}) != paneID);

    LiveAgentProcesses processes(m_clock);
    FakeWindowActivator windows;
    SessionJump jump(processes, m_shell, windows);
    const SessionJump::Outcome outcome = jump.focus(agent);
    QCOMPARE(outcome.route, u"tmux"_s);
    QVERIFY(!outcome.activatedOwner); // no client attached, no terminal window to raise
    QCOMPARE(tmux({u"display-message"_s, u"-p"_s, u"-t"_s, u"work"_s, u"#{window_index}.#{pane_id}"_s}),
             u"0."_s + paneID);
}

void SessionJumpTest::raisesTheNearestWindowAbove() {
    // This test stands for the terminal: its child is the agent, and it owns a window.
    m_child = std::make_unique<QProcess>();
    m_child->start(u"sleep"_s, {u"30"_s});
    QVERIFY(m_child->waitForStarted());
    LiveAgentProcesses processes(m_clock);
    FakeWindowActivator windows;
    windows.owners = {static_cast<qint32>(::getppid()),
                      static_cast<qint32>(QCoreApplication::applicationPid())};
    SessionJump jump(processes, m_shell, windows);
    const SessionJump::Outcome outcome = jump.focus(static_cast<qint32>(m_child->processId()));
    QCOMPARE(outcome.route, u"window"_s);
    QCOMPARE(outcome.activatedOwner, static_cast<qint32>(QCoreApplication::applicationPid()));
    QCOMPARE(windows.activated, QList<qint32>{static_cast<qint32>(QCoreApplication::applicationPid())});
}

void SessionJumpTest::nothingMovesWithoutAWindow() {
    LiveAgentProcesses processes(m_clock);
    FakeWindowActivator windows;
    SessionJump jump(processes, m_shell, windows);
    QCOMPARE(jump.focus(static_cast<qint32>(QCoreApplication::applicationPid())).route, u"fallback"_s);
    // A process that has ended gives no owner either.
    QCOMPARE(jump.focus(999'999'99).route, u"fallback"_s);
    QVERIFY(windows.activated.isEmpty());
}

QTEST_GUILESS_MAIN(SessionJumpTest)
#include "SessionJumpTest.moc"
