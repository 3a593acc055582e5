// Transcripts written by the real Claude Code CLI (from the npm registry, run offline against a stand-in
// model API by tests/support/agents-offline), read by the session reader as the monitor would read them.
#include "core/time/Clock.h"
#include "modules/sessions/ClaudeSessionFileProvider.h"
#include "support/OfflineAgents.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

bool skippedForLackOfAgents = false;

QList<AgentSession> fetched(const ClaudeSessionFileProvider& provider) {
    SessionFetchResult result = provider.fetchSessions(20);
    return std::holds_alternative<QList<AgentSession>>(result) ? std::get<QList<AgentSession>>(result)
                                                               : QList<AgentSession>{};
}

} // namespace

class ClaudeTranscriptsOfflineTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void toolsAndSubagent();
    void compaction();
    void growingTranscriptOfALiveRun();

private:
    void run(const QString& project, const QString& scenario);
    [[nodiscard]] ClaudeSessionFileProvider provider() const {
        return {ClaudeSessionFileProvider::forHome(m_home.path()), m_clock};
    }
    [[nodiscard]] QString projectPath(const QString& name) const { return m_work.filePath(name); }

    QTemporaryDir m_home;
    QTemporaryDir m_work;
    SystemClock m_clock;
    QString m_version;
};

void ClaudeTranscriptsOfflineTest::initTestCase() {
    QVERIFY(m_home.isValid() && m_work.isValid());
    const OfflineAgents agents = installOfflineAgents();
    if (agents.status == 77) {
        skippedForLackOfAgents = true;
        QSKIP("Claude Code cannot be installed: the npm registry is out of reach");
    }
    QCOMPARE(agents.status, 0);
    const QString claude = agents.claude;
    if (claude.isEmpty()) {
        skippedForLackOfAgents = true;
        QSKIP("Claude Code cannot be installed: the npm registry is out of reach");
    }
    QProcess version;
    version.start(claude, {u"--version"_s});
    QVERIFY(version.waitForFinished(60'000));
    m_version = QString::fromUtf8(version.readAllStandardOutput()).section(u' ', 0, 0).trimmed();
}

void ClaudeTranscriptsOfflineTest::run(const QString& project, const QString& scenario) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(agentsOfflineScript(), {u"claude"_s, m_home.path(), projectPath(project), scenario});
    QVERIFY(process.waitForFinished(6 * 60 * 1000));
    QCOMPARE(process.exitCode(), 0);
}

void ClaudeTranscriptsOfflineTest::toolsAndSubagent() {
    run(u"atlas"_s, u"print-tools"_s);
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(sessions.size(), 1);
    const AgentSession& session = sessions.first();
    // Named by the transcript's file and by its lines alike.
    const QStringList files =
        QDir(m_home.filePath(u".claude/projects"_s)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    QCOMPARE(files.size(), 1);
    QVERIFY(QFile::exists(
        m_home.filePath(u".claude/projects/"_s + files.first() + u'/' + session.id + u".jsonl"_s)));
    // The scripted run changes into "sub": the last working directory names the project.
    QCOMPARE(session.project, u"sub"_s);
    QCOMPARE(session.directory, QDir(projectPath(u"atlas"_s)).canonicalPath() + u"/sub"_s);
    QVERIFY(session.model && session.model->startsWith(u"claude-"_s));
    // The stand-in reports 100 input tokens a request.
    QCOMPARE(session.contextTokens, 100);
    QCOMPARE(session.contextWindow, 200'000);
    QCOMPARE(session.toolName, u"Claude Code"_s);
    QCOMPARE(session.toolVersion, m_version);
    QVERIFY(session.startedAt && *session.startedAt <= session.lastActivity);
    QVERIFY(session.lastSpeaker.has_value());

    // The subagent that the scripted run starts, with the task it was launched with.
    QCOMPARE(session.subagents.size(), 1);
    const AgentSession::Subagent& subagent = session.subagents.first();
    QCOMPARE(subagent.description, u"Look around"_s);
    QCOMPARE(subagent.contextTokens, 100);
    QVERIFY(subagent.model.has_value());
}

void ClaudeTranscriptsOfflineTest::compaction() {
    run(u"beta"_s, u"print-compact"_s);
    const QList<AgentSession> sessions = fetched(provider());
    QCOMPARE(sessions.size(), 2);
    // The newest is the compacted one.
    const AgentSession& session = sessions.first();
    QCOMPARE(session.project, u"beta"_s);
    QVERIFY(session.compaction.has_value());
    QCOMPARE(session.compaction->trigger, u"manual"_s);
    QVERIFY(session.compaction->before > 0 && session.compaction->after > 0);
    QVERIFY(session.compaction->at <= session.lastActivity.addSecs(1));
}

void ClaudeTranscriptsOfflineTest::growingTranscriptOfALiveRun() {
    // A run read over and over while Claude Code writes it: each reading is whole or absent, never a
    // failure, and the last one sees the finished session.
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(agentsOfflineScript(),
                  {u"claude"_s, m_home.path(), projectPath(u"gamma"_s), u"print-tools"_s});
    QVERIFY(process.waitForStarted());
    const ClaudeSessionFileProvider reader = provider();
    int readings = 0;
    while (!process.waitForFinished(20)) {
        for (const AgentSession& session : fetched(reader)) {
            QVERIFY(session.contextTokens > 0);
        }
        ++readings;
        QVERIFY(readings < 20'000);
    }
    QCOMPARE(process.exitCode(), 0);
    const QList<AgentSession> sessions = fetched(reader);
    QCOMPARE(sessions.size(), 3);
    QCOMPARE(sessions.first().directory, QDir(projectPath(u"gamma"_s)).canonicalPath() + u"/sub"_s);
    QCOMPARE(sessions.first().subagents.size(), 1);
    qInfo("%d readings while the run wrote its transcript", readings);
}

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    ClaudeTranscriptsOfflineTest test;
    const int status = QTest::qExec(&test, argc, argv);
    // Counted as skipped by CTest when Claude Code could not be had.
    return skippedForLackOfAgents && status == 0 ? 77 : status;
}

#include "ClaudeTranscriptsOfflineTest.moc"
