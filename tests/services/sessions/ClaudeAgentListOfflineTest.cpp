// Claude Code's agent list from the real Claude Code, installed from the npm registry and run offline
// (tests/support/agents-offline): a permission prompt held by the hook listener and answered in the
// terminal is released by the list, and a background agent is listed with its job folder read.
#include "core/time/Clock.h"
#include "modules/agents/installers/AgentHookInstaller.h"
#include "modules/agents/live/AgentEventStore.h"
#include "modules/agents/live/ClaudeJobNeeds.h"
#include "services/hooks/HookListener.h"
#include "services/sessions/ClaudeAgentListProvider.h"
#include "services/shell/Shell.h"
#include "support/OfflineAgents.h"

#include <QDir>
#include <QFile>
#include <QFuture>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QtConcurrent/QtConcurrentRun>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

bool skippedForLackOfAgents = false;

} // namespace

class ClaudeAgentListOfflineTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void promptAnsweredInTheTerminalReleasesTheHeldRequest();
    void backgroundAgentIsListedWithItsJob();

private:
    // Runs the scenario while `poll` is called with each reading of the list, one at a time.
    void run(const QString& home, const QString& project, const QString& scenario,
             const std::function<bool(const std::optional<ClaudeAgentList>&)>& poll);

    QString m_claude;
    Shell m_shell;
};

void ClaudeAgentListOfflineTest::initTestCase() {
    const OfflineAgents agents = installOfflineAgents();
    if (agents.status == 77) {
        skippedForLackOfAgents = true;
        QSKIP("Claude Code cannot be installed: the npm registry is out of reach");
    }
    QCOMPARE(agents.status, 0);
    m_claude = agents.claude;
    if (m_claude.isEmpty()) {
        skippedForLackOfAgents = true;
        QSKIP("Claude Code cannot be installed");
    }
}

void ClaudeAgentListOfflineTest::run(const QString& home, const QString& project, const QString& scenario,
                                     const std::function<bool(const std::optional<ClaudeAgentList>&)>& poll) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(agentsOfflineScript(), {u"claude"_s, home, project, scenario});
    QVERIFY(process.waitForStarted());
    // The list is read as the monitor reads it, on a worker, with the scenario's HOME.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home);
    const ClaudeAgentListProvider provider(m_shell, {m_claude},
                                           ClaudeAgentListProvider::defaultJobsDirectory(home), environment);
    const auto read = [&provider] { return QtConcurrent::run([&provider] { return provider.read(); }); };
    bool more = true;
    while (more && process.state() != QProcess::NotRunning) {
        QFuture<std::optional<ClaudeAgentList>> reading = read();
        QTRY_VERIFY_WITH_TIMEOUT(reading.isFinished(), 10000);
        more = poll(reading.result());
        QTest::qWait(500);
    }
    QFile(project + u".stop"_s).open(QIODevice::WriteOnly);
    QTRY_VERIFY_WITH_TIMEOUT(process.state() == QProcess::NotRunning, 4 * 60 * 1000);
    QCOMPARE(process.exitCode(), 0);
}

void ClaudeAgentListOfflineTest::promptAnsweredInTheTerminalReleasesTheHeldRequest() {
    QTemporaryDir sandbox;
    const QString home = sandbox.filePath(u"home"_s);
    QVERIFY(QDir().mkpath(home));
    QSettings defaults(sandbox.filePath(u"Tessary.conf"_s), QSettings::IniFormat);
    AgentEventStore store;
    SystemClock clock;
    HookListener listener(store, clock, home);
    QVERIFY(listener.start());
    QVERIFY(AgentHookInstaller::claude(home, &defaults).install());

    // Claude Code 2.1 also ends the hook when the prompt is answered in the terminal, so the closed
    // connection may release the request before the list shows the answer: what matters to the user is
    // that no request is held once the list says the prompt is gone, and that the list alone, read as
    // it was, would have released it.
    std::optional<HeldRequestRelease::Held> heldRecord;
    QList<std::pair<ClaudeAgentList, QDateTime>> readings;
    bool sawWaitingWhileHeld = false;
    bool releasedOnceGone = false;
    run(home, sandbox.filePath(u"project"_s), u"terminal-answered"_s,
        [&](const std::optional<ClaudeAgentList>& list) {
            if (!list) {
                return true;
            }
            const QDateTime at = clock.now();
            readings.append({*list, at});
            const QList<PendingPermission> pending = store.pendingPermissions();
            if (!heldRecord && !pending.isEmpty()) {
                const PendingPermission& request = pending.first();
                heldRecord =
                    HeldRequestRelease::Held{request.id, request.sessionID, {}, request.askedAt, {}, {}};
            }
            bool waiting = false;
            for (const ClaudeAgentList::Session& session : list->sessions) {
                // The current version's phrase "permission prompt" reads as a wait for permission.
                waiting = waiting || (session.status == ClaudeAgentList::Status::waiting &&
                                      session.waitingFor == ClaudeAgentList::WaitingFor::permission);
            }
            sawWaitingWhileHeld = sawWaitingWhileHeld || (waiting && !listener.heldRequests().isEmpty());
            listener.agentListRead(*list, at);
            if (sawWaitingWhileHeld && !waiting && !list->sessions.isEmpty()) {
                releasedOnceGone = listener.heldRequests().isEmpty() && store.pendingPermissions().isEmpty();
                return false;
            }
            return true;
        });
    QVERIFY(sawWaitingWhileHeld);
    QVERIFY(releasedOnceGone);
    QVERIFY(heldRecord);
    AgentListRelease release;
    QStringList released;
    for (const auto& [list, at] : std::as_const(readings)) {
        released += release.observe(list, at, {*heldRecord});
    }
    QCOMPARE(released, QStringList{heldRecord->id});
    listener.stop();
}

void ClaudeAgentListOfflineTest::backgroundAgentIsListedWithItsJob() {
    QTemporaryDir sandbox;
    const QString home = sandbox.filePath(u"home"_s);
    QVERIFY(QDir().mkpath(home));
    const QString jobs = ClaudeAgentListProvider::defaultJobsDirectory(home);
    std::optional<ClaudeAgentList::BackgroundAgent> seen;
    int failedReadings = 0;
    run(home, sandbox.filePath(u"project"_s), u"background"_s,
        [&](const std::optional<ClaudeAgentList>& list) {
            failedReadings += list ? 0 : 1;
            if (list && !list->background.isEmpty()) {
                seen = list->background.first();
            }
            return !seen;
        });
    QVERIFY2(seen, qPrintable(u"failed readings: %1"_s.arg(failedReadings)));
    QVERIFY(seen->id && !seen->id->isEmpty());
    QVERIFY(!seen->sessionID.isEmpty());
    QVERIFY(seen->state && *seen->state != ClaudeAgentList::BackgroundAgent::State::unknown);
    // Its needs come from the job's state file, which stands where the provider reads it.
    const std::optional<QString> stateFile = ClaudeJobNeeds::stateFile(*seen->id, jobs);
    QVERIFY(stateFile && QFile::exists(*stateFile));
    QCOMPARE(seen->needs, ClaudeJobNeeds::read(*seen->id, jobs));
    if (seen->state == ClaudeAgentList::BackgroundAgent::State::blocked) {
        QVERIFY(seen->needs);
    }
}

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    ClaudeAgentListOfflineTest test;
    const int status = QTest::qExec(&test, argc, argv);
    // Counted as skipped by CTest when Claude Code could not be had.
    return skippedForLackOfAgents && status == 0 ? 77 : status;
}

#include "ClaudeAgentListOfflineTest.moc"
