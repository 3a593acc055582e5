#include "modules/agents/hooks/SessionHookStore.h"
#include "modules/agents/hooks/TextClipping.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class SessionHookStateTest : public QObject {
    Q_OBJECT
private slots:
    void sessionStartBySource_data();
    void sessionStartBySource();
    void longAnswerIsClippedForDisplayAndKeptForTheModel();
    void failureKeepsCodeKindAndClippedDetails();
    void backgroundWaitComesOnlyFromTasks();
    void backgroundWaitEndsOnlyWhenTheMainAgentWakes();
    void subagentsAreTrackedAndPrunedAtStop_data();
    void subagentsAreTrackedAndPrunedAtStop();
    void subagentLimitDropsTheOldest();
    void tasksAreNotedByID();
    void promptClearsTasksOnlyWhenAllAreDone();
    void denialsKeepTheLastThreeOfTheTurn();
    void compactionIsFollowed();
    void sameAgent_data();
    void sameAgent();
    void clippingCountsCharactersNotCodeUnits();
    void fittingCutsAtLineEnds();
    void storeReportsChangesOnly();
    void storeEvictsTheLeastRecentlyTouched();
};

namespace {

const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

SessionHookEvent::Reading readingOf(const QByteArray& json) {
    return *SessionHookEvent::read(QJsonDocument::fromJson(json).object());
}

SessionHookState applied(std::initializer_list<QByteArray> events, SessionHookState state = {}) {
    int second = 0;
    for (const QByteArray& json : events) {
        state.apply(readingOf(json), t0.addSecs(second++));
    }
    return state;
}

QByteArray subagentStart(const char* id) {
    return QByteArray(R"({"hook_event_name":"SubagentStart","agent_type":"Explore","agent_id":")") + id +
           "\"}";
}

QByteArray stopWithTasks(const QByteArray& tasks) {
    return R"({"hook_event_name":"Stop","background_tasks":)" + tasks + "}";
}

QStringList subagentIDs(const SessionHookState& state) {
    QStringList ids;
    for (const auto& subagent : state.subagents) {
        ids.append(subagent.id);
    }
    return ids;
}

} // namespace

void SessionHookStateTest::sessionStartBySource_data() {
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<bool>("keepsSubagentsAndCompaction");
    QTest::addColumn<bool>("keepsAnswer");
    QTest::addColumn<bool>("hasResumeContext");

    QTest::newRow("compact keeps all")
        << QByteArray(R"({"hook_event_name":"SessionStart","source":"compact"})") << true << true << false;
    QTest::newRow("startup empties all")
        << QByteArray(R"({"hook_event_name":"SessionStart","source":"startup"})") << false << false << false;
    QTest::newRow("clear empties all")
        << QByteArray(R"({"hook_event_name":"SessionStart","source":"clear"})") << false << false << false;
    QTest::newRow("resume without tokens")
        << QByteArray(R"({"hook_event_name":"SessionStart","source":"resume"})") << false << true << false;
    QTest::newRow("resume with tokens")
        << QByteArray(R"({"hook_event_name":"SessionStart","source":"resume","context_tokens":5000})")
        << false << true << true;
    QTest::newRow("no source") << QByteArray(R"({"hook_event_name":"SessionStart"})") << false << true
                               << false;
}

void SessionHookStateTest::sessionStartBySource() {
    QFETCH(QByteArray, start);
    QFETCH(bool, keepsSubagentsAndCompaction);
    QFETCH(bool, keepsAnswer);
    QFETCH(bool, hasResumeContext);
    const SessionHookState before = applied({
        R"({"hook_event_name":"Stop","last_assistant_message":"Earlier answer"})",
        subagentStart("agent-0001"),
        R"({"hook_event_name":"PreCompact","trigger":"auto"})",
    });
    QVERIFY(before.compacting && before.lastAnswer && before.subagents.size() == 1);
    SessionHookState after = before;
    after.apply(readingOf(start), t0.addSecs(60));
    QCOMPARE(after.subagents.size() == 1 && after.compacting.has_value(), keepsSubagentsAndCompaction);
    QCOMPARE(after.lastAnswer.has_value(), keepsAnswer);
    QCOMPARE(after.resumeContext.has_value(), hasResumeContext);
    if (hasResumeContext) {
        QCOMPARE(after.resumeContext->tokens, 5000);
        QCOMPARE(after.resumeContext->at, t0.addSecs(60));
    }
}

void SessionHookStateTest::longAnswerIsClippedForDisplayAndKeptForTheModel() {
    const QString message = u"  "_s + QString(301, u'x') + u"\n"_s;
    QJsonObject stop{{u"hook_event_name"_s, u"Stop"_s}, {u"last_assistant_message"_s, message}};
    SessionHookState state;
    state.apply(*SessionHookEvent::read(stop), t0);
    QVERIFY(state.lastAnswer);
    QCOMPARE(state.lastAnswer->text.size(), 300);
    QVERIFY(state.lastAnswer->text.endsWith(u'…'));
    QCOMPARE(state.lastAnswer->tail, QString(301, u'x'));

    // A later stop without text keeps the answer; a new prompt does too.
    state.apply(readingOf(R"({"hook_event_name":"Stop","last_assistant_message":"   "})"), t0.addSecs(5));
    state.apply(readingOf(R"({"hook_event_name":"UserPromptSubmit"})"), t0.addSecs(6));
    QCOMPARE(state.lastAnswer->at, t0);

    // The model's copy keeps the end of a very long answer.
    stop.insert(u"last_assistant_message"_s, QString(QString(2000, u'a') + u"\nthe conclusion"_s));
    state.apply(*SessionHookEvent::read(stop), t0.addSecs(7));
    QVERIFY(state.lastAnswer->tail.size() <= TextClipping::modelLimit);
    QVERIFY(state.lastAnswer->tail.endsWith(u"the conclusion"_s));
}

void SessionHookStateTest::failureKeepsCodeKindAndClippedDetails() {
    const QJsonObject failure{{u"hook_event_name"_s, u"StopFailure"_s},
                              {u"error"_s, u"overloaded"_s},
                              {u"error_details"_s, QString(u"first line\n"_s + QString(2000, u'd'))}};
    SessionHookState state = applied({R"({"hook_event_name":"Interrupt","turn_id":"t1"})"});
    QCOMPARE(state.lastInterruption->turnID, u"t1"_s);
    state.apply(*SessionHookEvent::read(failure), t0.addSecs(40));
    QVERIFY(!state.lastInterruption);
    QCOMPARE(state.lastFailure->code, u"overloaded"_s);
    QCOMPARE(state.lastFailure->kind, StopFailureKind::overloaded);
    QCOMPARE(state.lastFailure->at, t0.addSecs(40));
    QCOMPARE(state.lastFailure->details->size(), 300);
    // The model's copy keeps the start, cut back to a line end.
    QCOMPARE(state.lastFailure->rawDetails, u"first line"_s);
    // A new prompt does not clear it: readers judge it by its age.
    QVERIFY(applied({R"({"hook_event_name":"UserPromptSubmit"})"}, state).lastFailure);
}

void SessionHookStateTest::backgroundWaitComesOnlyFromTasks() {
    const SessionHookState cronsOnly = applied(
        {R"({"hook_event_name":"Stop","session_crons":[{"id":"c","schedule":"0 * * * *","recurring":true}]})"});
    QVERIFY(!cronsOnly.backgroundWait);

    const QString longDescription(400, u'q');
    QJsonObject stop{{u"hook_event_name"_s, u"Stop"_s},
                     {u"background_tasks"_s,
                      QJsonArray{QJsonObject{
                          {u"id"_s, u"b1"_s}, {u"type"_s, u"shell"_s}, {u"description"_s, longDescription}}}},
                     {u"session_crons"_s, QJsonArray{QJsonObject{{u"id"_s, u"c"_s}}}}};
    SessionHookState state;
    state.apply(*SessionHookEvent::read(stop), t0);
    QVERIFY(state.backgroundWait);
    QCOMPARE(state.backgroundWait->since, t0);
    QCOMPARE(state.backgroundWait->tasks.first().description->size(), 300);
    QCOMPARE(state.backgroundWait->crons.size(), 1);
}

void SessionHookStateTest::backgroundWaitEndsOnlyWhenTheMainAgentWakes() {
    const SessionHookState waiting = applied({stopWithTasks(R"([{"id":"b1","type":"shell"}])")});
    QVERIFY(waiting.backgroundWait);
    QVERIFY(
        applied({R"({"hook_event_name":"PreToolUse","agent_id":"sub-1234567"})"}, waiting).backgroundWait);
    QVERIFY(applied({R"({"hook_event_name":"Notification"})"}, waiting).backgroundWait);
    QVERIFY(!applied({R"({"hook_event_name":"PreToolUse"})"}, waiting).backgroundWait);
    QVERIFY(!applied({R"({"hook_event_name":"Interrupt"})"}, waiting).backgroundWait);
}

void SessionHookStateTest::subagentsAreTrackedAndPrunedAtStop_data() {
    QTest::addColumn<QByteArray>("tasks");
    QTest::addColumn<QStringList>("remaining");
    // Running: agent-aaaa1111, agent-bbbb2222, agent-cccc3333 (oldest first).
    QTest::newRow("no running tasks removes all") << QByteArray("[]") << QStringList{};
    QTest::newRow("a full id matches")
        << QByteArray(R"([{"id":"agent-bbbb2222","type":"subagent"}])") << QStringList{u"agent-bbbb2222"_s};
    QTest::newRow("a short form of eight characters matches")
        << QByteArray(R"([{"id":"agent-cc","type":"subagent"}])") << QStringList{u"agent-cccc3333"_s};
    QTest::newRow("tasks that are not subagents do not count")
        << QByteArray(R"([{"id":"agent-aaaa1111","type":"shell"}])") << QStringList{};
    QTest::newRow("a task without id keeps the newest unmatched")
        << QByteArray(R"([{"id":"agent-aaaa1111","type":"subagent"},{"type":"subagent"}])")
        << QStringList{u"agent-aaaa1111"_s, u"agent-cccc3333"_s};
    QTest::newRow("more tasks than subagents keeps all")
        << QByteArray(R"([{"type":"subagent"},{"type":"subagent"},{"type":"subagent"},{"type":"subagent"}])")
        << QStringList{u"agent-aaaa1111"_s, u"agent-bbbb2222"_s, u"agent-cccc3333"_s};
}

void SessionHookStateTest::subagentsAreTrackedAndPrunedAtStop() {
    QFETCH(QByteArray, tasks);
    QFETCH(QStringList, remaining);
    const SessionHookState running = applied(
        {subagentStart("agent-aaaa1111"), subagentStart("agent-bbbb2222"), subagentStart("agent-cccc3333")});
    QVERIFY(running.tracksSubagents);
    QCOMPARE(subagentIDs(applied({stopWithTasks(tasks)}, running)), remaining);
}

void SessionHookStateTest::subagentLimitDropsTheOldest() {
    SessionHookState state;
    for (int i = 0; i < 25; ++i) {
        state.apply(readingOf(subagentStart(qPrintable(u"agent-%1"_s.arg(i, 4, 10, QChar(u'0'))))),
                    t0.addSecs(i));
    }
    QCOMPARE(state.subagents.size(), SessionHookState::subagentLimit);
    QCOMPARE(state.subagents.first().id, u"agent-0005"_s);

    // A subagent started twice appears once, with the later start, at the end.
    state.apply(readingOf(subagentStart("agent-0010")), t0.addSecs(100));
    QCOMPARE(state.subagents.size(), SessionHookState::subagentLimit);
    QCOMPARE(state.subagents.last().id, u"agent-0010"_s);
    QCOMPARE(state.subagents.last().startedAt, t0.addSecs(100));
    QCOMPARE(subagentIDs(state).count(u"agent-0010"_s), 1);

    state.apply(readingOf(R"({"hook_event_name":"SubagentStop","agent_id":"agent-0010"})"), t0.addSecs(101));
    QVERIFY(!subagentIDs(state).contains(u"agent-0010"_s));
    QVERIFY(state.tracksSubagents);
}

void SessionHookStateTest::tasksAreNotedByID() {
    SessionHookState state = applied({
        R"({"hook_event_name":"TaskCreated","task_id":"1","task_subject":"Write the parser"})",
        R"({"hook_event_name":"TaskCompleted","task_id":"1"})",
        R"({"hook_event_name":"TaskCompleted","task_id":"2","task_subject":"Done before it was created"})",
        R"({"hook_event_name":"TaskCreated","task_id":"2","task_subject":"Renamed"})",
    });
    QCOMPARE(state.tasks.size(), 2);
    QCOMPARE(state.tasks[0].subject, u"Write the parser"_s);
    QVERIFY(state.tasks[0].isCompleted);
    QCOMPARE(state.tasks[1].subject, u"Renamed"_s);
    QVERIFY(state.tasks[1].isCompleted);
    QCOMPARE(state.completedTaskCount(), 2);

    for (int i = 0; i < 60; ++i) {
        state.apply(
            readingOf("{\"hook_event_name\":\"TaskCreated\",\"task_id\":\"n" + QByteArray::number(i) + "\"}"),
            t0);
    }
    QCOMPARE(state.tasks.size(), SessionHookState::taskLimit);
    QCOMPARE(state.tasks.first().id, u"n10"_s);
}

void SessionHookStateTest::promptClearsTasksOnlyWhenAllAreDone() {
    const QByteArray prompt = R"({"hook_event_name":"UserPromptSubmit"})";
    const SessionHookState oneOpen = applied({
        R"({"hook_event_name":"TaskCreated","task_id":"1"})",
        R"({"hook_event_name":"TaskCreated","task_id":"2"})",
        R"({"hook_event_name":"TaskCompleted","task_id":"1"})",
    });
    QVERIFY(oneOpen.hasOpenTasks());
    QCOMPARE(applied({prompt}, oneOpen).tasks.size(), 2);
    const SessionHookState allDone =
        applied({R"({"hook_event_name":"TaskCompleted","task_id":"2"})"}, oneOpen);
    QVERIFY(applied({prompt}, allDone).tasks.isEmpty());
}

void SessionHookStateTest::denialsKeepTheLastThreeOfTheTurn() {
    SessionHookState state;
    for (int i = 0; i < 5; ++i) {
        QJsonObject denial{{u"hook_event_name"_s, u"PermissionDenied"_s},
                           {u"tool_use_id"_s, u"t%1"_s.arg(i)},
                           {u"tool_name"_s, u"Bash"_s},
                           {u"tool_input"_s, QJsonObject{{u"command"_s, u"rm -rf build"_s}}},
                           {u"reason"_s, QString(500, u'r')}};
        state.apply(*SessionHookEvent::read(denial), t0.addSecs(i));
    }
    QCOMPARE(state.denials.size(), SessionHookState::denialLimit);
    QCOMPARE(state.denials.first().id, u"t2"_s);
    QCOMPARE(state.denials.first().summary, u"rm -rf build"_s);
    QCOMPARE(state.denials.first().reason->size(), 300);
    QVERIFY(applied({R"({"hook_event_name":"UserPromptSubmit"})"}, state).denials.isEmpty());
}

void SessionHookStateTest::compactionIsFollowed() {
    SessionHookState state = applied({R"({"hook_event_name":"PreCompact","trigger":"auto"})"});
    QCOMPARE(state.compacting->trigger, u"auto"_s);
    state = applied({R"({"hook_event_name":"PostCompact","trigger":"auto"})"}, state);
    QVERIFY(!state.compacting);
    QCOMPARE(state.lastCompaction->trigger, u"auto"_s);
    // A compaction that never reported its end is over once the turn is.
    state = applied({R"({"hook_event_name":"PreCompact"})", R"({"hook_event_name":"Stop"})"}, state);
    QVERIFY(!state.compacting);
    QVERIFY(state.lastCompaction);
    QVERIFY(applied({R"({"hook_event_name":"SessionEnd"})"}, state).isEmpty());
}

void SessionHookStateTest::sameAgent_data() {
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<bool>("same");
    QTest::newRow("seven characters are not a short form") << u"abcdefg"_s << u"abcdefgh1234"_s << false;
    QTest::newRow("eight characters are") << u"abcdefgh"_s << u"abcdefgh1234"_s << true;
    QTest::newRow("either order") << u"abcdefgh1234"_s << u"abcdefgh"_s << true;
    QTest::newRow("short and equal") << u"abc"_s << u"abc"_s << true;
    QTest::newRow("different") << u"abcdefgh"_s << u"abcdefgX1234"_s << false;
    QTest::newRow("empty") << QString() << QString() << true;
}

void SessionHookStateTest::sameAgent() {
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(bool, same);
    QCOMPARE(SessionHookState::sameAgent(a, b), same);
}

void SessionHookStateTest::clippingCountsCharactersNotCodeUnits() {
    // 301 family emoji, each several code units long.
    const QString family = u"👨‍👩‍👧"_s;
    QString text;
    for (int i = 0; i < 301; ++i) {
        text += family;
    }
    const auto clipped = TextClipping::clipped(text);
    QVERIFY(clipped);
    QCOMPARE(TextClipping::characterCount(*clipped, 1000), 300);
    QVERIFY(clipped->startsWith(family));
    QVERIFY(clipped->chopped(1).endsWith(family));
    QCOMPARE(TextClipping::clipped(QString(300, u'y')), QString(300, u'y'));
    QCOMPARE(TextClipping::clipped(u" \n\t "_s), std::nullopt);
    QCOMPARE(TextClipping::clipped(std::nullopt), std::nullopt);
}

void SessionHookStateTest::fittingCutsAtLineEnds() {
    using TextClipping::Edge;
    QCOMPARE(TextClipping::fitting(u"abc"_s, 0, Edge::start), QString());
    QCOMPARE(TextClipping::fitting(u"abc"_s, 3, Edge::start), u"abc"_s);
    QCOMPARE(TextClipping::fitting(u"one\ntwo three"_s, 8, Edge::start), u"one"_s);
    QCOMPARE(TextClipping::fitting(u"one two\nthree"_s, 8, Edge::end), u"three"_s);
    QCOMPARE(TextClipping::fitting(u"abcdefghij"_s, 4, Edge::start), u"abcd"_s);
    QCOMPARE(TextClipping::fitting(u"abcdefghij"_s, 4, Edge::end), u"ghij"_s);
    QCOMPARE(TextClipping::fitting(u"first\u2028second line"_s, 12, Edge::end), u"second line"_s);
}

void SessionHookStateTest::storeReportsChangesOnly() {
    SessionHookStore store;
    QVERIFY(!store.record(readingOf(R"({"hook_event_name":"SessionEnd"})"), u"unknown"_s, t0));
    QVERIFY(store.states().isEmpty());
    QVERIFY(store.record(readingOf(R"({"hook_event_name":"PreCompact"})"), u"s"_s, t0));
    QVERIFY(!store.record(readingOf(R"({"hook_event_name":"CwdChanged","new_cwd":"/x"})"), u"s"_s, t0));
    QVERIFY(store.state(u"s"_s)->compacting);
    QVERIFY(store.record(readingOf(R"({"hook_event_name":"SessionEnd"})"), u"s"_s, t0));
    QCOMPARE(store.state(u"s"_s), std::nullopt);
}

void SessionHookStateTest::storeEvictsTheLeastRecentlyTouched() {
    SessionHookStore store;
    const auto compacting = readingOf(R"({"hook_event_name":"PreCompact","trigger":"auto"})");
    for (int i = 0; i < 50; ++i) {
        QVERIFY(store.record(compacting, u"s%1"_s.arg(i), t0.addSecs(i)));
    }
    // s0 gets an event that changes nothing: it is touched all the same.
    QVERIFY(!store.record(readingOf(R"({"hook_event_name":"Notification"})"), u"s0"_s, t0.addSecs(60)));
    QVERIFY(store.record(compacting, u"s50"_s, t0.addSecs(61)));
    const auto states = store.states();
    QCOMPARE(states.size(), SessionHookStore::sessionLimit);
    QVERIFY(states.contains(u"s0"_s));
    QVERIFY(!states.contains(u"s1"_s));
    QVERIFY(states.contains(u"s50"_s));
}

QTEST_GUILESS_MAIN(SessionHookStateTest)
#include "SessionHookStateTest.moc"
