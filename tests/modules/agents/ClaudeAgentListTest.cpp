#include "modules/agents/live/ClaudeAgentList.h"

#include "modules/agents/live/ClaudeJobNeeds.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

using namespace tessary;
using namespace Qt::StringLiterals;

using Status = ClaudeAgentList::Status;
using WaitingFor = ClaudeAgentList::WaitingFor;
using State = ClaudeAgentList::BackgroundAgent::State;

Q_DECLARE_METATYPE(std::optional<ClaudeAgentList>)

namespace {

ClaudeAgentList::Session session(const QString& id, std::optional<Status> status,
                                 std::optional<WaitingFor> waitingFor = std::nullopt) {
    ClaudeAgentList::Session session;
    session.sessionID = id;
    session.status = status;
    session.waitingFor = waitingFor;
    return session;
}

ClaudeAgentList::BackgroundAgent background(const std::optional<QString>& id, const QString& sessionID,
                                            std::optional<State> state) {
    ClaudeAgentList::BackgroundAgent agent;
    agent.id = id;
    agent.sessionID = sessionID;
    agent.state = state;
    return agent;
}

} // namespace

class ClaudeAgentListTest : public QObject {
    Q_OBJECT

private slots:
    void parse_data();
    void parse();
    void realEntriesKeepEveryField();
    void waitingFor_data();
    void waitingFor();
    void needs_data();
    void needs();
};

void ClaudeAgentListTest::parse_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<std::optional<ClaudeAgentList>>("expected");

    QTest::newRow("no agents") << "[]"_ba << std::optional(ClaudeAgentList{});
    for (const QByteArray& damaged :
         {""_ba, "[{\"sessionId\":"_ba, "{}"_ba, "null"_ba, "\"[]\""_ba, "[] trailing"_ba}) {
        QTest::addRow("damaged %s", damaged.constData()) << damaged << std::optional<ClaudeAgentList>();
    }
    QTest::newRow("phrase of the current version")
        << R"([{"kind":"interactive","sessionId":"s1","status":"waiting","waitingFor":"permission prompt"}])"_ba
        << std::optional(ClaudeAgentList{{session(u"s1"_s, Status::waiting, WaitingFor::permission)}, {}});
    QTest::newRow("single word of an older version")
        << R"([{"kind":"interactive","sessionId":"s1","status":"waiting","waitingFor":"input"}])"_ba
        << std::optional(ClaudeAgentList{{session(u"s1"_s, Status::waiting, WaitingFor::input)}, {}});
    QTest::newRow("unknown words read unknown")
        << R"([{"kind":"interactive","sessionId":"s1","status":"thinking","waitingFor":"a coffee"},
               {"kind":"background","sessionId":"s2","id":"j2","state":"paused"}])"_ba
        << std::optional(ClaudeAgentList{{session(u"s1"_s, Status::unknown, WaitingFor::unknown)},
                                         {background(u"j2"_s, u"s2"_s, State::unknown)}});
    QTest::newRow("one broken entry keeps the others")
        << R"([{"kind":"interactive","status":"busy"}, 7, "text", null, [],
               {"kind":"interactive","sessionId":42,"status":"busy"},
               {"kind":"teammate","sessionId":"s0"},
               {"kind":"interactive","sessionId":"s1","status":"busy","pid":"12","cwd":5,"startedAt":"yesterday"},
               {"kind":"background","sessionId":"s2","id":"j2","state":"blocked","pid":-4}])"_ba
        << std::optional(ClaudeAgentList{{session(u"s1"_s, Status::busy)},
                                         {background(u"j2"_s, u"s2"_s, State::blocked)}});
    QTest::newRow("background without id or state")
        << R"([{"kind":"background","sessionId":"s2"}])"_ba
        << std::optional(ClaudeAgentList{{}, {background(std::nullopt, u"s2"_s, std::nullopt)}});
}

void ClaudeAgentListTest::parse() {
    QFETCH(QByteArray, json);
    QFETCH(std::optional<ClaudeAgentList>, expected);
    QCOMPARE(ClaudeAgentList::parse(json), expected);
}

void ClaudeAgentListTest::realEntriesKeepEveryField() {
    // The shape Claude Code 2.1 prints: an interactive session waiting, a background agent working.
    const auto list = ClaudeAgentList::parse(R"([
      {"pid":26384,"cwd":"/tmp/ap","kind":"interactive","startedAt":1795613028137,
       "sessionId":"f384c743-a9b3","name":"Fix the build","status":"waiting","waitingFor":"goal proposal"},
      {"pid":26390,"id":"8c137e8d","cwd":"/tmp/bg","kind":"background","startedAt":"2026-11-25T13:24:26.304Z",
       "sessionId":"8c137e8d-846f","name":"Run the steps","status":"idle","state":"working"}])"_ba);
    QVERIFY(list);
    QCOMPARE(list->sessions.size(), 1);
    const ClaudeAgentList::Session& waiting = list->sessions.first();
    QCOMPARE(waiting.pid, 26384);
    QCOMPARE(waiting.directory, u"/tmp/ap"_s);
    QCOMPARE(waiting.name, u"Fix the build"_s);
    QCOMPARE(waiting.startedAt, QDateTime::fromMSecsSinceEpoch(1795613028137, QTimeZone::utc()));
    QCOMPARE(waiting.waitingFor, WaitingFor::permission);
    QCOMPARE(list->background.size(), 1);
    const ClaudeAgentList::BackgroundAgent& agent = list->background.first();
    QCOMPARE(agent.key(), u"8c137e8d"_s);
    QCOMPARE(agent.directory, u"/tmp/bg"_s);
    QCOMPARE(agent.state, State::working);
    QCOMPARE(agent.startedAt, QDateTime(QDate(2026, 11, 25), QTime(13, 24, 26, 304), QTimeZone::utc()));
}

void ClaudeAgentListTest::waitingFor_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<WaitingFor>("expected");
    QTest::newRow("permission prompt") << u"permission prompt"_s << WaitingFor::permission;
    QTest::newRow("goal proposal") << u"goal proposal"_s << WaitingFor::permission;
    QTest::newRow("input needed") << u"input needed"_s << WaitingFor::input;
    QTest::newRow("sandbox request") << u"sandbox request"_s << WaitingFor::sandbox;
    QTest::newRow("worker request") << u"worker request"_s << WaitingFor::worker;
    QTest::newRow("dialog open") << u"dialog open"_s << WaitingFor::dialog;
    QTest::newRow("word, any case and spacing") << u"  Permission "_s << WaitingFor::permission;
    QTest::newRow("word dialog") << u"dialog"_s << WaitingFor::dialog;
    QTest::newRow("phrase not known") << u"permission granted"_s << WaitingFor::unknown;
    QTest::newRow("empty") << QString() << WaitingFor::unknown;
}

void ClaudeAgentListTest::waitingFor() {
    QFETCH(QString, text);
    QFETCH(WaitingFor, expected);
    QCOMPARE(ClaudeAgentList::waitingFor(text), expected);
}

void ClaudeAgentListTest::needs_data() {
    QTest::addColumn<QString>("jobID");
    QTest::addColumn<QByteArray>("state");
    QTest::addColumn<std::optional<QString>>("expected");
    QTest::newRow("needs") << u"j1"_s << R"({"state":"blocked","needs":"approve git push"})"_ba
                           << std::optional(u"approve git push"_s);
    QTest::newRow("blocked job's detail")
        << u"j1"_s << R"({"state":"blocked","detail":"Allow Bash?"})"_ba << std::optional(u"Allow Bash?"_s);
    QTest::newRow("working job's detail is no need")
        << u"j1"_s << R"({"state":"working","detail":"All steps are done."})"_ba << std::optional<QString>();
    QTest::newRow("damaged") << u"j1"_s << R"({"state":"blocked","needs":)"_ba << std::optional<QString>();
    QTest::newRow("not an object") << u"j1"_s << R"(["needs"])"_ba << std::optional<QString>();
    QTest::newRow("missing file") << u"j2"_s << QByteArray() << std::optional<QString>();
    QTest::newRow("id leading out") << u".."_s << QByteArray() << std::optional<QString>();
    QTest::newRow("id with a slash") << u"j1/../j1"_s << QByteArray() << std::optional<QString>();
}

void ClaudeAgentListTest::needs() {
    QFETCH(QString, jobID);
    QFETCH(QByteArray, state);
    QFETCH(std::optional<QString>, expected);
    const QTemporaryDir jobs;
    QVERIFY(QDir(jobs.path()).mkpath(u"j1"_s));
    QFile file(jobs.filePath(u"j1/state.json"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(state);
    file.close();
    // A state file above the jobs folder must never be read.
    QFile outside(jobs.filePath(u"state.json"_s));
    QVERIFY(outside.open(QIODevice::WriteOnly));
    outside.write(R"({"needs":"outside"})");
    outside.close();
    QCOMPARE(ClaudeJobNeeds::read(jobID, jobs.path()), expected);

    ClaudeAgentList list{{}, {background(jobID, u"s"_s, State::blocked)}};
    list.readNeeds(jobs.path());
    QCOMPARE(list.background.first().needs, expected);
}

QTEST_GUILESS_MAIN(ClaudeAgentListTest)
#include "ClaudeAgentListTest.moc"
