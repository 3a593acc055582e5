// The real Claude Code CLI (from the npm registry, run offline against a stand-in model API on loopback
// by tests/support/agents-offline) in print mode, with the hooks the installer writes: its request to
// run a command that needs a permission is held by the listener until the test answers it as the card
// would, and the agent obeys the answer.
#include "core/diagnostics/DiagnosticLogger.h"
#include "modules/agents/installers/AgentHookInstaller.h"
#include "modules/agents/live/AgentEventStore.h"
#include "platform/processes/linux/LiveAgentProcesses.h"
#include "services/hooks/HookListener.h"
#include "support/OfflineAgents.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

bool skippedForLackOfAgents = false;

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class ClaudePermissionHoldTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void answerOnTheCard_data();
    void answerOnTheCard() const;

private:
    bool m_hasClaude = false;
};

void ClaudePermissionHoldTest::initTestCase() {
    const OfflineAgents agents = installOfflineAgents();
    if (agents.status == 77) {
        skippedForLackOfAgents = true;
        QSKIP("Claude Code cannot be installed: the npm registry is out of reach");
    }
    QCOMPARE(agents.status, 0);
    m_hasClaude = !agents.claude.isEmpty();
}

void ClaudePermissionHoldTest::answerOnTheCard_data() {
    QTest::addColumn<bool>("allow");
    QTest::newRow("allowed") << true;
    QTest::newRow("denied") << false;
}

void ClaudePermissionHoldTest::answerOnTheCard() const {
    QFETCH(bool, allow);
    if (!m_hasClaude) {
        skippedForLackOfAgents = true;
        QSKIP("Claude Code could not be installed");
    }
    QTemporaryDir sandbox;
    QVERIFY(sandbox.isValid());
    const QString home = sandbox.filePath(u"home"_s);
    const QString project = sandbox.filePath(u"project"_s);
    QVERIFY(QDir().mkpath(home + u"/.claude"_s));
    QSettings defaults(sandbox.filePath(u"Tessary.conf"_s), QSettings::IniFormat);

    SystemClock clock;
    const LiveAgentProcesses processes(clock);
    AgentEventStore store;
    HookListener listener(store, clock, home, &processes);
    QVERIFY(listener.start());
    const AgentHookInstaller installer = AgentHookInstaller::claude(home, &defaults);
    QVERIFY(installer.connectIfPossible());
    // The workspace loop's ticks, as in the application: deadlines and the process sweep run meanwhile.
    QTimer loop;
    connect(&loop, &QTimer::timeout, &listener, [&] { listener.tick(clock.now()); });
    loop.start(500);

    QProcess agent;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString apiLog = sandbox.filePath(u"api.jsonl"_s);
    environment.insert(u"STAND_IN_LOG"_s, apiLog);
    agent.setProcessEnvironment(environment);
    agent.setProcessChannelMode(QProcess::ForwardedChannels);
    agent.start(agentsOfflineScript(), {u"claude"_s, home, project, u"print-tools"_s});

    // The command that needs a permission is held: the card shows it and the agent waits.
    QTRY_VERIFY_WITH_TIMEOUT(!listener.heldRequests().isEmpty() || agent.state() == QProcess::NotRunning,
                             4 * 60 * 1000);
    QCOMPARE(listener.heldRequests().size(), 1);
    const PendingPermission pending = store.pendingPermissions(u"claude"_s).first();
    QCOMPARE(pending.tool, u"Bash"_s);
    QCOMPARE(pending.summary, u"touch needs-permission.txt"_s);
    QCOMPARE(pending.agentLabel, u"Claude Code"_s);
    QVERIFY(pending.directory->endsWith(u"/project/sub"_s));
    // Print mode has nobody at a terminal: the shorter hold of a headless session.
    const QStringList lines = DiagnosticLogger::shared().recentLines();
    QVERIFY(std::any_of(lines.cbegin(), lines.cend(), [](const QString& line) {
        return line.contains(u"permission.held"_s) && line.contains(u"deadline=45"_s);
    }));
    QTest::qWait(1500);
    QCOMPARE(listener.heldRequests().size(), 1);
    QVERIFY(!QFile::exists(project + u"/sub/needs-permission.txt"_s));

    QVERIFY(listener.decide(pending.id, allow ? PermissionDecision::allow : PermissionDecision::deny,
                            QString::fromLatin1(deniedByUserReason)));
    QTRY_VERIFY_WITH_TIMEOUT(agent.state() == QProcess::NotRunning, 4 * 60 * 1000);
    QCOMPARE(agent.exitCode(), 0);
    QVERIFY2(readAll(project + u".out"_s).contains("All steps are done."),
             readAll(project + u".err"_s).constData());
    QCOMPARE(QFile::exists(project + u"/sub/needs-permission.txt"_s), allow);
    // The refusal reached the model as the tool's result, in the words sent with it.
    QCOMPARE(readAll(apiLog).contains("Denied by the user on Tessary"), !allow);
    QVERIFY(listener.heldRequests().isEmpty());
    QVERIFY(store.pendingPermissions().isEmpty());
    listener.stop();
}

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    ClaudePermissionHoldTest test;
    const int status = QTest::qExec(&test, argc, argv);
    // Counted as skipped by CTest when the agent could not be had.
    return skippedForLackOfAgents && status == 0 ? 77 : status;
}

#include "ClaudePermissionHoldTest.moc"
