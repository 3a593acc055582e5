// Session files written by the real Codex CLI (from the npm registry, run offline against a stand-in
// model API by tests/support/agents-offline), read by the Codex session monitor into its store as the
// application reads them.
#include "modules/usage/codex/CodexRateLimitParser.h"
#include "services/sessions/CodexSessionMonitor.h"
#include "support/MonitorHarness.h"
#include "support/OfflineAgents.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

bool skippedForLackOfAgents = false;

// Every session file's path with its bytes, to tell that reading them wrote nothing.
QHash<QString, QByteArray> snapshot(const QString& folder) {
    QHash<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        if (file.open(QIODevice::ReadOnly)) {
            files.insert(file.fileName(), file.readAll());
        }
    }
    return files;
}

} // namespace

class CodexSessionsOfflineTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void execRunAndItsReviewer();
    void terminalRun();

private:
    void run(const QString& project, const QString& scenario);
    QList<AgentSession> monitored();
    [[nodiscard]] QString projectPath(const QString& name) const { return m_work.filePath(name); }

    QTemporaryDir m_home;
    QTemporaryDir m_work;
    QString m_version;
};

void CodexSessionsOfflineTest::initTestCase() {
    QVERIFY(m_home.isValid() && m_work.isValid());
    qunsetenv("CODEX_HOME");
    const OfflineAgents agents = installOfflineAgents();
    const QString codex = agents.codex;
    if (agents.status == 77 || codex.isEmpty()) {
        skippedForLackOfAgents = true;
        QSKIP("Codex cannot be installed: the npm registry is out of reach");
    }
    QCOMPARE(agents.status, 0);
    QProcess version;
    version.start(codex, {u"--version"_s});
    QVERIFY(version.waitForFinished(60'000));
    // "codex-cli 0.169.0"
    m_version = QString::fromUtf8(version.readAllStandardOutput()).trimmed().section(u' ', -1);
}

void CodexSessionsOfflineTest::run(const QString& project, const QString& scenario) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(agentsOfflineScript(), {u"codex"_s, m_home.path(), projectPath(project), scenario});
    QVERIFY(process.waitForFinished(6 * 60 * 1000));
    QCOMPARE(process.exitCode(), 0);
}

// One reading of the monitor the application runs, into its store.
QList<AgentSession> CodexSessionsOfflineTest::monitored() {
    MonitorHarness monitoring;
    monitoring.clock.set(QDateTime::currentDateTimeUtc());
    SessionStore store;
    const auto monitor = CodexSessionMonitoring::monitor(CodexSessionMonitoring::source(m_home.path()), store,
                                                         monitoring.services(), [] {});
    monitor->start();
    [&] { QVERIFY(MonitorHarness::lands(*monitor)); }();
    monitor->stop();
    return store.sessions();
}

void CodexSessionsOfflineTest::execRunAndItsReviewer() {
    run(u"atlas"_s, u"exec-tools"_s);
    const QString sessions = m_home.filePath(u".codex/sessions"_s);
    const QHash<QString, QByteArray> written = snapshot(m_home.filePath(u".codex"_s));
    // `--approve-for-me` adds the reviewer's thread beside the run's own.
    int files = 0;
    for (auto it = written.constBegin(); it != written.constEnd(); ++it) {
        files += it.key().startsWith(sessions) && it.key().endsWith(u".jsonl"_s) ? 1 : 0;
    }
    QCOMPARE(files, 2);

    const QList<AgentSession> found = monitored();
    QCOMPARE(found.size(), 1);
    const AgentSession& session = found.first();
    QCOMPARE(session.origin, u"exec"_s);
    QCOMPARE(session.agentName, u"codex"_s);
    QCOMPARE(session.toolName, u"Codex"_s);
    QCOMPARE(session.toolVersion, m_version);
    QCOMPARE(session.title, u"Run the scripted steps"_s);
    QCOMPARE(session.directory, QDir(projectPath(u"atlas"_s)).canonicalPath());
    QCOMPARE(session.project, u"atlas"_s);
    QCOMPARE(session.model, u"gpt-stand-in"_s);
    // The stand-in counts 100 input and 10 output tokens after its first answer.
    QCOMPARE(session.contextTokens, 110);
    QVERIFY(session.contextWindow && *session.contextWindow > 0);
    QVERIFY(session.lastTurnDuration && *session.lastTurnDuration > 0);
    QVERIFY(session.startedAt && *session.startedAt <= session.lastActivity);
    // The id is the one in its file's name, which Codex's hooks report too.
    QVERIFY(written.keys().join(u'\n').contains(session.id + u".jsonl"_s));

    // The stand-in reports the general limit while tools run and a model's own limit on the final
    // answer: the newest general record gives the plan's usage, the model's record after it doesn't.
    const auto usage = CodexSessionRateLimits::report(sessions, QDateTime::currentDateTimeUtc());
    QVERIFY(usage);
    QCOMPARE(usage->limits.size(), std::size_t{2});
    QCOMPARE(usage->limits.at(0).kind, UsageLimitKind{usage_kind::Session{}});
    QCOMPARE(usage->limits.at(0).percent, 24);
    QCOMPARE(usage->limits.at(1).kind, UsageLimitKind{usage_kind::WeeklyAll{}});
    QCOMPARE(usage->limits.at(1).percent, 41);
    QVERIFY(usage->capturedAt && *usage->capturedAt >= session.lastActivity.addSecs(-60));

    // Reading wrote nothing into Codex's folder.
    QCOMPARE(snapshot(m_home.filePath(u".codex"_s)), written);
}

void CodexSessionsOfflineTest::terminalRun() {
    // The terminal interface, then an exec run of its own: both show, newest first.
    run(u"beta"_s, u"terminal"_s);
    QList<AgentSession> found = monitored();
    QList<AgentSession> beta;
    for (const AgentSession& session : found) {
        if (session.directory == QDir(projectPath(u"beta"_s)).canonicalPath()) {
            beta.append(session);
        }
    }
    QCOMPARE(beta.size(), 2);
    QCOMPARE(beta.at(0).origin, u"exec"_s);
    QCOMPARE(beta.at(0).title, u"Answer"_s);
    QCOMPARE(beta.at(1).origin, u"CLI"_s);
    QCOMPARE(beta.at(1).title, u"Run the scripted steps"_s);
    QCOMPARE(beta.at(1).model, u"gpt-stand-in"_s);
    QVERIFY(beta.at(1).contextTokens > 0);
    QVERIFY(found.first().lastActivity >= found.last().lastActivity);
}

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    CodexSessionsOfflineTest test;
    const int status = QTest::qExec(&test, argc, argv);
    // Counted as skipped by CTest when Codex could not be had.
    return skippedForLackOfAgents && status == 0 ? 77 : status;
}

#include "CodexSessionsOfflineTest.moc"
