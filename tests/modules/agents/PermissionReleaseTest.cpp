#include "modules/agents/permissions/AgentListRelease.h"
#include "modules/agents/permissions/HeldRequestRelease.h"
#include "modules/agents/permissions/PermissionHoldPolicy.h"
#include "modules/agents/permissions/TerminalApproval.h"
#include "platform/processes/fake/FakeAgentProcesses.h"

#include <QJsonDocument>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

// When a held request is over though nobody answered it on the card: the rules of hook events, the
// hold policy, and the sweep of the agent's processes for a command allowed in the terminal.
class PermissionReleaseTest : public QObject {
    Q_OBJECT
private slots:
    void holdPolicy_data();
    void holdPolicy();
    void eventRules_data();
    void eventRules();
    void toolEndReleasesOnlyTheOldestOfIdenticalCalls();
    void closedConnectionsReleaseExactlyTheirRequests();
    void shellWords_data();
    void shellWords();
    void commandMatchesProcess_data();
    void commandMatchesProcess();
    void sweepReleasesByRunningProcesses();
    void sweepSkipsWhatItCannotTell();
    void officialListWitnessesTerminalAnswers_data();
    void officialListWitnessesTerminalAnswers();
};

namespace {

const QDateTime nine = QDateTime(QDate(2026, 3, 1), QTime(9, 0), Qt::UTC);

QJsonObject object(const QByteArray& json) {
    return QJsonDocument::fromJson(json).object();
}

HeldRequestRelease::Held bashHeld(const QString& id, const QString& session, const QString& command,
                                  const QDateTime& askedAt, std::optional<qint32> pid = std::nullopt) {
    return HeldRequestRelease::Held::of(
        id, session, u"Bash"_s, {{u"command"_s, command}, {u"description"_s, u"Asked"_s}}, askedAt, pid);
}

HeldRequestRelease::Event hookEvent(const QByteArray& body) {
    return HeldRequestRelease::Event::fromHookBody(object(body));
}

} // namespace

void PermissionReleaseTest::holdPolicy_data() {
    QTest::addColumn<QString>("agent");
    QTest::addColumn<bool>("headless");
    QTest::addColumn<int>("deadline");
    QTest::addColumn<bool>("releases");
    QTest::addColumn<double>("lifetime");
    QTest::newRow("Claude Code") << u"claude"_s << false << 540 << false << 540.0;
    QTest::newRow("Codex hides its own question") << u"codex"_s << false << 45 << false << 1800.0;
    QTest::newRow("headless Claude Code") << u"claude"_s << true << 45 << true << -1.0;
    QTest::newRow("headless Codex") << u"codex"_s << true << 45 << true << -1.0;
}

void PermissionReleaseTest::holdPolicy() {
    QFETCH(QString, agent);
    QFETCH(bool, headless);
    QFETCH(int, deadline);
    QFETCH(bool, releases);
    QFETCH(double, lifetime);
    const auto policy = PermissionHoldPolicy::of(PermissionAgent::of(agent), headless);
    QCOMPARE(policy.deadline, deadline);
    QCOMPARE(policy.atDeadline == PermissionHoldPolicy::AtDeadline::release, releases);
    QCOMPARE(policy.unheldLifetime.value_or(-1.0), lifetime);
}

void PermissionReleaseTest::eventRules_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("releases");
    QTest::newRow("Stop of the session")
        << QByteArray(R"({"session_id":"s","hook_event_name":"Stop"})") << true;
    QTest::newRow("Stop of another session")
        << QByteArray(R"({"session_id":"t","hook_event_name":"Stop"})") << false;
    QTest::newRow("prompt typed in the terminal")
        << QByteArray(R"({"session_id":"s","hook_event_name":"UserPromptSubmit"})") << true;
    QTest::newRow("failed turn") << QByteArray(R"({"session_id":"s","hook_event_name":"StopFailure"})")
                                 << true;
    QTest::newRow("session ended") << QByteArray(R"({"session_id":"s","hook_event_name":"SessionEnd"})")
                                   << true;
    QTest::newRow("no session") << QByteArray(R"({"hook_event_name":"Stop"})") << false;
    QTest::newRow("no event name") << QByteArray(R"({"session_id":"s"})") << false;
    QTest::newRow("session of the wrong type")
        << QByteArray(R"({"session_id":7,"hook_event_name":"Stop"})") << false;
    QTest::newRow("the tool ran, description rewritten")
        << QByteArray(R"({"session_id":"s","hook_event_name":"PostToolUse","tool_name":"Bash",)"
                      R"("tool_input":{"command":"make","description":"Build it all"}})")
        << true;
    QTest::newRow("the tool failed") << QByteArray(
                                            R"({"session_id":"s","hook_event_name":"PostToolUseFailure",)"
                                            R"("tool_name":"Bash","tool_input":{"command":"make"}})")
                                     << true;
    QTest::newRow("another command ran")
        << QByteArray(R"({"session_id":"s","hook_event_name":"PostToolUse","tool_name":"Bash",)"
                      R"("tool_input":{"command":"make test"}})")
        << false;
    QTest::newRow("the tool ran without its input")
        << QByteArray(R"({"session_id":"s","hook_event_name":"PostToolUse","tool_name":"Bash"})") << false;
    QTest::newRow("the tool started") << QByteArray(R"({"session_id":"s","hook_event_name":"PreToolUse",)"
                                                    R"("tool_name":"Bash","tool_input":{"command":"make"}})")
                                      << false;
    QTest::newRow("a second Bash request")
        << QByteArray(R"({"session_id":"s","hook_event_name":"PermissionRequest","tool_name":"Bash",)"
                      R"("tool_input":{"command":"make"}})")
        << false;
    QTest::newRow("a notification") << QByteArray(R"({"session_id":"s","hook_event_name":"Notification"})")
                                    << false;
}

void PermissionReleaseTest::eventRules() {
    QFETCH(QByteArray, body);
    QFETCH(bool, releases);
    const QList<HeldRequestRelease::Held> held{bashHeld(u"r1"_s, u"s"_s, u"make"_s, nine)};
    QCOMPARE(HeldRequestRelease::requestsToRelease(held, hookEvent(body)),
             releases ? QStringList{u"r1"_s} : QStringList());
}

void PermissionReleaseTest::toolEndReleasesOnlyTheOldestOfIdenticalCalls() {
    // Listed young first, so that the order of the list is not what decides.
    const QList<HeldRequestRelease::Held> held{
        bashHeld(u"young"_s, u"s"_s, u"npm publish"_s, nine.addSecs(5)),
        bashHeld(u"old"_s, u"s"_s, u"npm publish"_s, nine),
        bashHeld(u"other"_s, u"t"_s, u"npm publish"_s, nine.addSecs(-5)),
    };
    const auto ran = hookEvent(R"({"session_id":"s","hook_event_name":"PostToolUse","tool_name":"Bash",)"
                               R"("tool_input":{"command":"npm publish"}})");
    QCOMPARE(HeldRequestRelease::requestsToRelease(held, ran), QStringList{u"old"_s});
    // A turn's end releases all of its session.
    QCOMPARE(HeldRequestRelease::requestsToRelease(
                 held, hookEvent(R"({"session_id":"s","hook_event_name":"Stop"})")),
             (QStringList{u"young"_s, u"old"_s}));

    // A new plan replaces the held plan; a plan does not replace a command.
    const QList<HeldRequestRelease::Held> plans{
        HeldRequestRelease::Held::of(u"plan"_s, u"s"_s, u"ExitPlanMode"_s, {{u"plan"_s, u"A"_s}}, nine,
                                     std::nullopt),
        bashHeld(u"cmd"_s, u"s"_s, u"ls"_s, nine)};
    QCOMPARE(HeldRequestRelease::requestsToRelease(
                 plans, hookEvent(R"({"session_id":"s","hook_event_name":"PermissionRequest","tool_name":)"
                                  R"("ExitPlanMode","tool_input":{"plan":"B"}})")),
             QStringList{u"plan"_s});
}

void PermissionReleaseTest::closedConnectionsReleaseExactlyTheirRequests() {
    const QList<HeldRequestRelease::Held> held{bashHeld(u"a"_s, u"s"_s, u"x"_s, nine),
                                               bashHeld(u"b"_s, u"s"_s, u"x"_s, nine)};
    QCOMPARE(HeldRequestRelease::requestsToRelease(held, HeldRequestRelease::Event::closed({u"b"_s})),
             QStringList{u"b"_s});
    QCOMPARE(HeldRequestRelease::requestsToRelease(held, HeldRequestRelease::Event::closed({u"gone"_s})),
             QStringList());
    // No other rule applies to the watcher's event, whatever else it holds.
    auto closedWithName = HeldRequestRelease::Event::closed({u"a"_s});
    closedWithName.name = u"Stop"_s;
    closedWithName.sessionID = u"s"_s;
    QCOMPARE(HeldRequestRelease::requestsToRelease(held, closedWithName), QStringList{u"a"_s});
}

void PermissionReleaseTest::shellWords_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<bool>("parses");
    QTest::newRow("plain") << u"ls -la  /tmp"_s << QStringList{u"ls"_s, u"-la"_s, u"/tmp"_s} << true;
    QTest::newRow("quotes") << uR"(echo 'a b' "c \"d\" $e" f\ g)"_s
                            << QStringList{u"echo"_s, u"a b"_s, uR"(c "d" $e)"_s, u"f g"_s} << true;
    QTest::newRow("operators") << u"make&&make install|tee log;echo done"_s
                               << QStringList{u"make"_s, u"&&"_s,  u"make"_s, u"install"_s, u"|"_s,
                                              u"tee"_s,  u"log"_s, u";"_s,    u"echo"_s,    u"done"_s}
                               << true;
    QTest::newRow("empty quotes are a word")
        << u"grep '' file"_s << QStringList{u"grep"_s, QString(), u"file"_s} << true;
    QTest::newRow("comment") << u"ls # list\npwd"_s << QStringList{u"ls"_s, u"pwd"_s} << true;
    QTest::newRow("hash inside a word") << u"echo a#b"_s << QStringList{u"echo"_s, u"a#b"_s} << true;
    QTest::newRow("unfinished single quote") << u"echo 'oops"_s << QStringList() << false;
    QTest::newRow("unfinished double quote") << u"echo \"oops"_s << QStringList() << false;
    QTest::newRow("trailing backslash") << u"echo \\"_s << QStringList{u"echo"_s} << true;
}

void PermissionReleaseTest::shellWords() {
    QFETCH(QString, command);
    QFETCH(QStringList, words);
    QFETCH(bool, parses);
    const auto result = TerminalApproval::words(command);
    QCOMPARE(result.has_value(), parses);
    if (parses) {
        QCOMPARE(*result, words);
    }
}

void PermissionReleaseTest::commandMatchesProcess_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("matches");
    QTest::newRow("the script of sh -c")
        << u"npm test"_s << QStringList{u"/bin/sh"_s, u"-c"_s, u"npm test"_s} << true;
    QTest::newRow("Claude Code's shell with eval")
        << u"touch needs-permission.txt"_s
        << QStringList{u"/bin/bash"_s, u"-c"_s, u"-l"_s,
                       u"source /home/u/.claude/shell-snapshots/snapshot-bash-1.sh && eval 'touch "
                       u"needs-permission.txt' < /dev/null && pwd -P >| /tmp/claude-1-cwd"_s}
        << true;
    QTest::newRow("grouped -lc") << u"make"_s << QStringList{u"zsh"_s, u"-lc"_s, u"  make  "_s} << true;
    QTest::newRow("a different script")
        << u"make"_s << QStringList{u"bash"_s, u"-c"_s, u"make install"_s} << false;
    QTest::newRow("the command itself") << u"sleep 30"_s << QStringList{u"sleep"_s, u"30"_s} << true;
    QTest::newRow("the command by its path")
        << u"git push origin main"_s << QStringList{u"/usr/bin/git"_s, u"push"_s, u"origin"_s, u"main"_s}
        << true;
    QTest::newRow("quoted words rebuilt")
        << uR"(git commit -m "two words")"_s << QStringList{u"git"_s, u"commit"_s, u"-m"_s, u"two words"_s}
        << true;
    QTest::newRow("inside a longer line")
        << u"cargo build"_s << QStringList{u"nice"_s, u"cargo"_s, u"build"_s, u"--release"_s} << true;
    QTest::newRow("ls only inside false") << u"ls"_s << QStringList{u"false"_s} << false;
    QTest::newRow("ls inside a word") << u"ls"_s << QStringList{u"lsof"_s, u"-i"_s} << false;
    QTest::newRow("another program") << u"rm -rf build"_s << QStringList{u"echo"_s, u"rm"_s} << false;
    QTest::newRow("blank command") << u"   "_s << QStringList{u"sh"_s} << false;
    QTest::newRow("no arguments") << u"ls"_s << QStringList() << false;
    QTest::newRow("unfinished quote") << u"echo 'x"_s << QStringList{u"echo"_s, u"x"_s} << false;
}

void PermissionReleaseTest::commandMatchesProcess() {
    QFETCH(QString, command);
    QFETCH(QStringList, arguments);
    QFETCH(bool, matches);
    QCOMPARE(TerminalApproval::matches(command, arguments), matches);
}

void PermissionReleaseTest::sweepReleasesByRunningProcesses() {
    FakeAgentProcesses processes;
    processes.add({100, 1, u"/usr/bin/claude"_s, {u"claude"_s}, {}, nine.addSecs(-600)});
    // Older than the requests: it proves nothing about them.
    processes.add({101, 100, u"/usr/bin/sleep"_s, {u"sleep"_s, u"60"_s}, {}, nine.addSecs(-1)});
    // The agent's shell running the command, and the command below it.
    processes.add({102, 100, u"/bin/bash"_s, {u"/bin/bash"_s, u"-c"_s, u"sleep 60"_s}, {}, nine.addSecs(3)});
    processes.add({103, 102, u"/usr/bin/sleep"_s, {u"sleep"_s, u"60"_s}, {}, nine.addSecs(3)});

    const QList<HeldRequestRelease::Held> held{
        bashHeld(u"second"_s, u"s"_s, u"sleep 60"_s, nine.addSecs(1), 100),
        bashHeld(u"first"_s, u"s"_s, u"sleep 60"_s, nine, 100)};
    const auto releases = TerminalApproval::releases(held, processes, {});
    // One run proves one approval: the oldest request, with both of its processes.
    QCOMPARE(releases.size(), 1);
    QCOMPARE(releases.first().requestID, u"first"_s);
    QCOMPARE(releases.first().processes,
             (QSet<RunningProcessIdentity>{{102, nine.addSecs(3)}, {103, nine.addSecs(3)}}));

    // Those processes released once: they do not release the second request.
    QVERIFY(TerminalApproval::releases({held[0]}, processes, releases.first().processes).isEmpty());
    // A fresh run of the same command does.
    processes.add({104, 100, u"/usr/bin/sleep"_s, {u"sleep"_s, u"60"_s}, {}, nine.addSecs(4)});
    const auto next = TerminalApproval::releases({held[0]}, processes, releases.first().processes);
    QCOMPARE(next.size(), 1);
    QCOMPARE(next.first().requestID, u"second"_s);
    QCOMPARE(next.first().processes, (QSet<RunningProcessIdentity>{{104, nine.addSecs(4)}}));
}

void PermissionReleaseTest::sweepSkipsWhatItCannotTell() {
    FakeAgentProcesses processes;
    processes.add({200, 1, u"/usr/bin/claude"_s, {u"claude"_s}, {}, nine.addSecs(-600)});
    processes.add({201, 200, u"/usr/bin/make"_s, {u"make"_s}, {}, nine.addSecs(2)});
    // No pid, no command, a request of another agent's tree, a process of a vanished agent.
    const QList<HeldRequestRelease::Held> held{
        bashHeld(u"no-pid"_s, u"s"_s, u"make"_s, nine),
        HeldRequestRelease::Held::of(u"no-command"_s, u"s"_s, u"Write"_s, {{u"file_path"_s, u"make"_s}}, nine,
                                     200),
        bashHeld(u"elsewhere"_s, u"s"_s, u"make"_s, nine, 999),
    };
    QVERIFY(TerminalApproval::releases(held, processes, {}).isEmpty());
    QCOMPARE(held[1].command, std::nullopt);
}

void PermissionReleaseTest::officialListWitnessesTerminalAnswers_data() {
    // The session's status in readings made every ten seconds ("gone": not in the list), and when the
    // request was asked, in seconds after the first reading.
    QTest::addColumn<QStringList>("statuses");
    QTest::addColumn<int>("askedAfter");
    QTest::addColumn<bool>("released");
    QTest::newRow("waiting, then busy") << QStringList{u"waiting"_s, u"busy"_s} << -5 << true;
    QTest::newRow("waiting, then idle") << QStringList{u"waiting"_s, u"waiting"_s, u"idle"_s} << -5 << true;
    QTest::newRow("never waiting") << QStringList{u"busy"_s, u"idle"_s} << -5 << false;
    QTest::newRow("still waiting") << QStringList{u"busy"_s, u"waiting"_s} << -5 << false;
    QTest::newRow("asked after the wait was seen") << QStringList{u"waiting"_s, u"busy"_s} << 5 << false;
    QTest::newRow("an unknown status changes nothing")
        << QStringList{u"waiting"_s, u"unknown"_s, u"busy"_s} << -5 << true;
    QTest::newRow("gone from the list in between")
        << QStringList{u"waiting"_s, u"gone"_s, u"busy"_s} << -5 << false;
}

void PermissionReleaseTest::officialListWitnessesTerminalAnswers() {
    QFETCH(QStringList, statuses);
    QFETCH(int, askedAfter);
    QFETCH(bool, released);
    const QList<HeldRequestRelease::Held> held{
        bashHeld(u"mine"_s, u"s"_s, u"make"_s, nine.addSecs(askedAfter)),
        bashHeld(u"theirs"_s, u"t"_s, u"make"_s, nine.addSecs(-60))};
    AgentListRelease witness;
    QStringList releasedIDs;
    for (qsizetype i = 0; i < statuses.size(); ++i) {
        ClaudeAgentList list;
        // Another session, busy all along with a request of its own, is never touched.
        list.sessions.append({u"t"_s, 2, {}, {}, {}, ClaudeAgentList::Status::busy, {}});
        if (statuses[i] != u"gone"_s) {
            list.sessions.append(
                {u"s"_s, 1, {}, {}, {}, enumFromRaw<ClaudeAgentList::Status>(statuses[i]), {}});
        }
        const QStringList now = witness.observe(list, nine.addSecs(10 * i), held);
        if (i + 1 < statuses.size()) {
            QVERIFY(now.isEmpty());
        }
        releasedIDs = now;
    }
    QCOMPARE(releasedIDs, released ? QStringList{u"mine"_s} : QStringList());
}

QTEST_GUILESS_MAIN(PermissionReleaseTest)
#include "PermissionReleaseTest.moc"
