#include "modules/sessions/CombinedSessionProvider.h"
#include "services/sessions/OrcaCLI.h"
#include "services/shell/Shell.h"
#include "support/ScriptedSessionProvider.h"
#include "support/TestFiles.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

// Orca's command line as the tests play it: each call is logged, and an argument list other than
// the two readings fails.
constexpr auto fakeOrca = R"(#!/bin/sh
echo "$*" >> "$0.calls"
folder=$(dirname "$0")
[ -f "$folder/hang" ] && exec sleep 30
case "$*" in
  "terminal list --json --limit 20") cat "$folder/terminals.json" ;;
  "worktree list --json") cat "$folder/worktrees.json" ;;
  *) echo "unexpected arguments: $*" >&2; exit 2 ;;
esac
)";

QByteArray terminal(const QString& handle, const QString& fields) {
    return u"{\"handle\":\"%1\",\"worktreePath\":\"/work/app\",\"lastOutputAt\":\"2026-03-01T10:00:00.500Z\"%2}"_s
        .arg(handle, fields)
        .toUtf8();
}

QByteArray answer(const QList<QByteArray>& terminals) {
    return "{\"result\":{\"terminals\":[" + terminals.join(',') + "]}}";
}

AgentSession transcript(const QString& id, int minute) {
    AgentSession made;
    made.id = id;
    made.project = u"app"_s;
    made.directory = u"/work/app"_s;
    made.agentName = u"claude"_s;
    made.lastActivity = QDateTime(QDate(2026, 3, 1), QTime(10, minute), Qt::UTC);
    return made;
}

} // namespace

class OrcaSessionsTest : public QObject {
    Q_OBJECT
private slots:
    void readsTerminals_data() {
        QTest::addColumn<QByteArray>("fields");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("branch");

        QTest::newRow("spinner before the title")
            << QByteArray(
                   R"(,"agentIdentity":"claude-code","title":" ⠋  Working ","branch":"refs/heads/main")")
            << true << u"Working"_s << u"main"_s;
        QTest::newRow("spinner alone: the project")
            << QByteArray(R"(,"agentIdentity":"claude-code","title":"⠙","worktreeId":"w1")") << true
            << u"App Repo"_s << QString();
        QTest::newRow("local execution host")
            << QByteArray(R"(,"agentIdentity":"claude","executionHostId":"local")") << true << u"App Repo"_s
            << QString();
        QTest::newRow("remote execution host")
            << QByteArray(R"(,"agentIdentity":"claude-code","executionHostId":"ssh-box")") << false
            << QString() << QString();
        QTest::newRow("orphaned") << QByteArray(R"(,"agentIdentity":"claude-code","orphaned":true)") << false
                                  << QString() << QString();
        QTest::newRow("another agent")
            << QByteArray(R"(,"agentIdentity":"codex")") << false << QString() << QString();
        QTest::newRow("no agent") << QByteArray() << false << QString() << QString();
    }
    void readsTerminals() {
        QFETCH(QByteArray, fields);
        QFETCH(bool, kept);
        QFETCH(QString, title);
        QFETCH(QString, branch);
        const auto parsed =
            OrcaSessionProvider::parse(answer({terminal(u"t1"_s, QString::fromUtf8(fields))}));
        const auto& terminals = std::get<QList<OrcaSessionProvider::Terminal>>(parsed);
        QCOMPARE(terminals.size(), 1);
        QCOMPARE(OrcaSessionProvider::suits(terminals[0], OrcaSessionProvider::Agent::claude), kept);
        if (!kept) {
            return;
        }
        const auto projects = OrcaSessionProvider::parseProjects(
            R"({"result":{"worktrees":[{"worktreeId":"w1","repo":"App Repo","path":"/work/app"}]}})");
        const AgentSession session = OrcaSessionProvider::session(terminals[0], projects);
        QCOMPARE(session.id, u"orca:t1"_s);
        QCOMPARE(session.title, title);
        QCOMPARE(session.branch.value_or(QString()), branch);
        QCOMPARE(session.hostProject, u"App Repo"_s);
        QCOMPARE(session.agentName, u"claude"_s);
    }

    void answersThatAreNoTerminalList_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<bool>("invalid");
        QTest::addColumn<int>("terminals");
        QTest::newRow("not JSON") << QByteArray("Orca 1.2 is starting…") << true << 0;
        QTest::newRow("a cut answer") << answer({terminal(u"t"_s, {})}).chopped(3) << true << 0;
        QTest::newRow("a list, not an object") << QByteArray("[]") << true << 0;
        QTest::newRow("no result") << QByteArray("{}") << false << 0;
        QTest::newRow("required fields missing")
            << answer({R"({"handle":"a","lastOutputAt":"2026-03-01T10:00:00Z"})",
                       R"({"handle":"b","worktreePath":"/w"})", terminal(u"c"_s, {})})
            << false << 1;
        QTest::newRow("the list as the result itself")
            << QByteArray("{\"result\":[" + terminal(u"t"_s, {}) + "]}") << false << 1;
    }
    void answersThatAreNoTerminalList() {
        QFETCH(QByteArray, data);
        QFETCH(bool, invalid);
        QFETCH(int, terminals);
        const auto parsed = OrcaSessionProvider::parse(data);
        QCOMPARE(std::holds_alternative<OrcaSessionProvider::InvalidJSON>(parsed), invalid);
        if (!invalid) {
            QCOMPARE(std::get<QList<OrcaSessionProvider::Terminal>>(parsed).size(), terminals);
        }
    }

    // Two Claude sessions in one worktree and one terminal: only the newer is marked as hosted,
    // and the terminal adds no row of its own. The tool is found at its own place, not on the PATH.
    void marksTheNewestSessionOfItsWorktree() {
        writeTool();
        writeFile(m_folder.filePath(u"bin/terminals.json"_s),
                  answer({terminal(u"t1"_s, uR"(,"agentIdentity":"claude-code","worktreeId":"w1")"_s)}));
        writeFile(m_folder.filePath(u"bin/worktrees.json"_s),
                  R"({"result":{"worktrees":[{"worktreeId":"w1","repo":"App Repo","path":"/work/app"}]}})");
        const Shell shell;
        const OrcaCLI cli(shell, {m_folder.filePath(u"missing/orca"_s), m_tool});
        QCOMPARE(cli.executable(), m_tool);

        auto transcripts = std::make_shared<ScriptedSessionProvider>(
            QList<AgentSession>{transcript(u"newer"_s, 5), transcript(u"older"_s, 1)});
        const CombinedSessionProvider combined(
            {transcripts, orcaSessions(OrcaSessionProvider::Agent::claude, cli)});
        const auto sessions = std::get<QList<AgentSession>>(combined.fetchSessions(20));
        QCOMPARE(idsOf(sessions), (QStringList{u"newer"_s, u"older"_s}));
        QCOMPARE(sessions[0].hostItemID, u"t1"_s);
        QCOMPARE(sessions[0].hostOrigin, u"Orca"_s);
        QCOMPARE(sessions[0].hostProject, u"App Repo"_s);
        QCOMPARE(sessions[1].hostItemID, std::nullopt);
        QCOMPARE(readFile(m_tool + u".calls"_s),
                 QByteArray("terminal list --json --limit 20\nworktree list --json\n"));
    }

    void failuresOfTheCommandLine_data() {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("error");
        QTest::newRow("not installed") << u"none"_s << QString();
        QTest::newRow("failure status") << u"no list"_s << u"OrcaCLI.failed"_s;
        QTest::newRow("not JSON") << u"garbage"_s << u"OrcaSessionProvider.ParseError.invalidJSON"_s;
        QTest::newRow("hangs past its time-out") << u"hang"_s << u"OrcaCLI.failed"_s;
    }
    void failuresOfTheCommandLine() {
        QFETCH(QString, setup);
        QFETCH(QString, error);
        if (setup != u"none"_s) {
            writeTool();
        }
        if (setup == u"garbage"_s) {
            writeFile(m_folder.filePath(u"bin/terminals.json"_s), "Orca: starting\n{\"result\":");
        } else if (setup == u"hang"_s) {
            writeFile(m_folder.filePath(u"bin/hang"_s), {});
        }
        const Shell shell;
        const OrcaCLI cli(shell, {m_tool});
        const OrcaSessionProvider provider(OrcaSessionProvider::Agent::any, cli.runner(0.3));
        QElapsedTimer elapsed;
        elapsed.start();
        const auto result = provider.fetchSessions(20);
        QVERIFY(elapsed.elapsed() < 5000);
        if (error.isEmpty()) {
            QCOMPARE(std::get<QList<AgentSession>>(result), QList<AgentSession>{});
        } else {
            QCOMPARE(std::get<SessionProviderError>(result).kind.rendered(), error);
        }
    }

    void cleanup() {
        QDir(m_folder.path()).removeRecursively();
        QVERIFY(QDir().mkpath(m_folder.path()));
    }

private:
    void writeTool() {
        writeFile(m_tool, fakeOrca);
        QVERIFY(QFile::setPermissions(m_tool, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    QTemporaryDir m_folder;
    QString m_tool = m_folder.filePath(u"bin/orca"_s);
};

QTEST_GUILESS_MAIN(OrcaSessionsTest)
#include "OrcaSessionsTest.moc"
