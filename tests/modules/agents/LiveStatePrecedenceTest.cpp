#include "modules/agents/live/LiveStatePrecedence.h"

#include "modules/agents/live/BackgroundAgentState.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

using Status = ClaudeAgentList::Status;
using WaitingFor = ClaudeAgentList::WaitingFor;
using State = ClaudeAgentList::BackgroundAgent::State;

Q_DECLARE_METATYPE(std::optional<AgentLiveState>)
Q_DECLARE_METATYPE(std::optional<OfficialSessionState>)

namespace {

QDateTime at(int hour, int minute, int second = 0) {
    return QDateTime(QDate(2026, 3, 1), QTime(hour, minute, second), Qt::UTC);
}

AgentLiveState hook(AgentActivity activity, std::optional<QString> tool, QDateTime since,
                    std::optional<QString> failure = std::nullopt) {
    return AgentLiveState{activity, std::move(tool), std::move(failure), std::move(since)};
}

AgentLiveState withWait(AgentLiveState state, std::optional<WaitingFor> waitingFor) {
    state.waitingFor = waitingFor;
    return state;
}

OfficialSessionState official(Status status, QDateTime since,
                              std::optional<WaitingFor> waitingFor = std::nullopt) {
    return OfficialSessionState{status, waitingFor, std::move(since), false};
}

ClaudeAgentList::Session listed(const QString& id, std::optional<Status> status,
                                std::optional<WaitingFor> waitingFor = std::nullopt) {
    ClaudeAgentList::Session session;
    session.sessionID = id;
    session.status = status;
    session.waitingFor = waitingFor;
    return session;
}

ClaudeAgentList::BackgroundAgent background(const QString& id, std::optional<State> state) {
    ClaudeAgentList::BackgroundAgent agent;
    agent.id = id;
    agent.sessionID = u"s"_s;
    agent.state = state;
    return agent;
}

} // namespace

class LiveStatePrecedenceTest : public QObject {
    Q_OBJECT
private slots:
    void resolve_data();
    void resolve();
    void resolveMapsKeepsEverySession();
    void firstReadingIsABaselineUnlessAHookAnchorsIt();
    void repeatedStateKeepsItsBeginning();
    void waitingWithoutAReasonIsUnknownAndStatuslessSessionsAreSkipped();
    void backgroundStates();
};

void LiveStatePrecedenceTest::resolve_data() {
    QTest::addColumn<std::optional<AgentLiveState>>("hookState");
    QTest::addColumn<std::optional<OfficialSessionState>>("officialState");
    QTest::addColumn<std::optional<AgentLiveState>>("expected");
    using Hook = std::optional<AgentLiveState>;
    using Official = std::optional<OfficialSessionState>;
    const AgentLiveState bashSince10 = hook(AgentActivity::working, u"Bash"_s, at(10, 0));

    QTest::newRow("no official, hook") << Hook(bashSince10) << Official() << Hook(bashSince10);
    QTest::newRow("nothing at all") << Hook() << Official() << Hook();
    QTest::newRow("official unknown, no hook")
        << Hook() << Official(official(Status::unknown, at(10, 1))) << Hook();
    QTest::newRow("official unknown, hook stands")
        << Hook(bashSince10) << Official(official(Status::unknown, at(10, 1))) << Hook(bashSince10);
    QTest::newRow("hook failure outlives a busy list")
        << Hook(hook(AgentActivity::failed, std::nullopt, at(9, 0), u"rate limit"_s))
        << Official(official(Status::busy, at(10, 1)))
        << Hook(hook(AgentActivity::failed, std::nullopt, at(9, 0), u"rate limit"_s));
    QTest::newRow("agreeing hook stands whole")
        << Hook(bashSince10) << Official(official(Status::busy, at(10, 1))) << Hook(bashSince10);
    QTest::newRow("list says waiting for permission")
        << Hook(bashSince10) << Official(official(Status::waiting, at(10, 2), WaitingFor::permission))
        << Hook(withWait(hook(AgentActivity::blocked, std::nullopt, at(10, 2)), WaitingFor::permission));
    QTest::newRow("blocked hook keeps its tool, the list its reason and time")
        << Hook(hook(AgentActivity::blocked, u"Bash"_s, at(10, 0)))
        << Official(official(Status::waiting, at(10, 3), WaitingFor::input))
        << Hook(withWait(hook(AgentActivity::blocked, u"Bash"_s, at(10, 3)), WaitingFor::input));
    QTest::newRow("a turn the list says is over is over")
        << Hook(bashSince10) << Official(official(Status::idle, at(10, 5)))
        << Hook(hook(AgentActivity::waiting, std::nullopt, at(10, 5)));
    QTest::newRow("list alone") << Hook() << Official(official(Status::busy, at(10, 6)))
                                << Hook(hook(AgentActivity::working, std::nullopt, at(10, 6)));
    QTest::newRow("idle list drops a stale waiting reason")
        << Hook(withWait(hook(AgentActivity::blocked, u"Bash"_s, at(10, 0)), WaitingFor::permission))
        << Official(official(Status::idle, at(10, 7)))
        << Hook(hook(AgentActivity::waiting, std::nullopt, at(10, 7)));
}

void LiveStatePrecedenceTest::resolve() {
    QFETCH(std::optional<AgentLiveState>, hookState);
    QFETCH(std::optional<OfficialSessionState>, officialState);
    QFETCH(std::optional<AgentLiveState>, expected);
    QCOMPARE(LiveStatePrecedence::resolve(hookState, officialState), expected);
}

void LiveStatePrecedenceTest::resolveMapsKeepsEverySession() {
    const QHash<QString, AgentLiveState> hooks{
        {u"hook-only"_s, hook(AgentActivity::working, u"Read"_s, at(10, 0))},
        {u"both"_s, hook(AgentActivity::working, u"Bash"_s, at(10, 0))},
        {u"unknown-listed"_s, hook(AgentActivity::waiting, std::nullopt, at(9, 0))},
    };
    const QHash<QString, OfficialSessionState> listedStates{
        {u"both"_s, official(Status::idle, at(10, 5))},
        {u"list-only"_s, official(Status::busy, at(10, 6))},
        {u"unknown-listed"_s, official(Status::unknown, at(10, 6))},
        {u"unknown-only"_s, official(Status::unknown, at(10, 6))},
    };
    const auto resolved = LiveStatePrecedence::resolve(hooks, listedStates);
    QCOMPARE(resolved.size(), 4);
    QCOMPARE(resolved.value(u"hook-only"_s), hooks.value(u"hook-only"_s));
    QCOMPARE(resolved.value(u"both"_s).activity, AgentActivity::waiting);
    QCOMPARE(resolved.value(u"list-only"_s).activity, AgentActivity::working);
    QCOMPARE(resolved.value(u"unknown-listed"_s), hooks.value(u"unknown-listed"_s));
    QVERIFY(!resolved.contains(u"unknown-only"_s));
}

void LiveStatePrecedenceTest::firstReadingIsABaselineUnlessAHookAnchorsIt() {
    const QHash<QString, AgentLiveState> hooks{
        {u"anchored"_s, hook(AgentActivity::blocked, u"Bash"_s, at(9, 0))},
        {u"disagreeing"_s, hook(AgentActivity::working, u"Bash"_s, at(9, 0))},
        {u"future-hook"_s, hook(AgentActivity::blocked, u"Bash"_s, at(11, 0))},
    };
    const QList<ClaudeAgentList::Session> sessions{
        listed(u"plain"_s, Status::waiting, WaitingFor::input),
        listed(u"anchored"_s, Status::waiting, WaitingFor::permission),
        listed(u"disagreeing"_s, Status::idle),
        listed(u"future-hook"_s, Status::waiting, WaitingFor::permission),
    };
    const auto first = LiveStatePrecedence::observe(sessions, at(10, 0), {}, hooks, true);
    QCOMPARE(first.value(u"plain"_s),
             (OfficialSessionState{Status::waiting, WaitingFor::input, at(10, 0), true}));
    QCOMPARE(first.value(u"anchored"_s),
             (OfficialSessionState{Status::waiting, WaitingFor::permission, at(9, 0), false}));
    QCOMPARE(first.value(u"disagreeing"_s),
             (OfficialSessionState{Status::idle, std::nullopt, at(10, 0), true}));
    // A hook state that began after the reading can't anchor it.
    QCOMPARE(first.value(u"future-hook"_s).since, at(10, 0));

    // Later readings are never baselines.
    const auto later =
        LiveStatePrecedence::observe({listed(u"new"_s, Status::busy)}, at(10, 5), first, {}, false);
    QCOMPARE(later.value(u"new"_s), (OfficialSessionState{Status::busy, std::nullopt, at(10, 5), false}));
}

void LiveStatePrecedenceTest::repeatedStateKeepsItsBeginning() {
    const auto first = LiveStatePrecedence::observe(
        {listed(u"s"_s, Status::waiting, WaitingFor::input), listed(u"gone"_s, Status::busy)}, at(10, 0), {},
        {}, true);
    // The hook changed meanwhile; the list repeats itself: nothing moves.
    const QHash<QString, AgentLiveState> hooks{{u"s"_s, hook(AgentActivity::blocked, u"Edit"_s, at(9, 30))}};
    const auto second = LiveStatePrecedence::observe({listed(u"s"_s, Status::waiting, WaitingFor::input)},
                                                     at(10, 1), first, hooks, false);
    QCOMPARE(second.value(u"s"_s), first.value(u"s"_s));
    // Gone from the list, gone at once.
    QVERIFY(!second.contains(u"gone"_s));
    // Another reason is another state.
    const auto third = LiveStatePrecedence::observe({listed(u"s"_s, Status::waiting, WaitingFor::permission)},
                                                    at(10, 2), second, {}, false);
    QCOMPARE(third.value(u"s"_s),
             (OfficialSessionState{Status::waiting, WaitingFor::permission, at(10, 2), false}));
}

void LiveStatePrecedenceTest::waitingWithoutAReasonIsUnknownAndStatuslessSessionsAreSkipped() {
    const auto observed = LiveStatePrecedence::observe({listed(u"w"_s, Status::waiting),
                                                        listed(u"busy"_s, Status::busy, WaitingFor::input),
                                                        listed(u"none"_s, std::nullopt)},
                                                       at(10, 0), {}, {}, false);
    QCOMPARE(observed.value(u"w"_s).waitingFor, WaitingFor::unknown);
    QVERIFY(!observed.value(u"busy"_s).waitingFor);
    QVERIFY(!observed.contains(u"none"_s));
    QCOMPARE(observed.value(u"w"_s).activity(), AgentActivity::blocked);
    QVERIFY(!OfficialSessionState::activityOf(Status::unknown));
}

void LiveStatePrecedenceTest::backgroundStates() {
    const auto first =
        BackgroundAgentState::observe({background(u"a"_s, State::working), background(u"b"_s, State::done),
                                       background(u"c"_s, std::nullopt)},
                                      at(10, 0), {}, true);
    QCOMPARE(first.size(), 3);
    QVERIFY(first.value(u"a"_s).isBaseline);
    QCOMPARE(first.value(u"b"_s).finishedAt, at(10, 0));
    QVERIFY(first.value(u"c"_s).isUnrecognized);

    // "a" keeps its state and its beginning; "b" is missing for a moment and is kept.
    auto second = BackgroundAgentState::observe(
        {background(u"a"_s, State::working), background(u"c"_s, State::failed)}, at(10, 0, 1), first, false);
    QCOMPARE(second.value(u"a"_s).since, at(10, 0));
    QVERIFY(second.value(u"a"_s).isBaseline);
    QVERIFY(second.contains(u"b"_s));
    QCOMPARE(second.value(u"c"_s).since, at(10, 0, 1));
    QCOMPARE(second.value(u"c"_s).finishedAt, at(10, 0, 1));
    QVERIFY(!second.value(u"c"_s).isBaseline);
    QVERIFY(!second.value(u"c"_s).isUnrecognized);

    // Two seconds after it was last listed, it goes.
    const auto third =
        BackgroundAgentState::observe({background(u"a"_s, State::blocked)}, at(10, 0, 2), second, false);
    QVERIFY(!third.contains(u"b"_s));
    QVERIFY(third.contains(u"c"_s));
    QCOMPARE(third.value(u"a"_s).since, at(10, 0, 2));
    QVERIFY(!third.value(u"a"_s).finishedAt);

    // An agent without an id is known by its session.
    ClaudeAgentList::BackgroundAgent anonymous = background(u"x"_s, State::working);
    anonymous.id.reset();
    QVERIFY(BackgroundAgentState::observe({anonymous}, at(10, 0), {}, false).contains(u"s"_s));
}

QTEST_GUILESS_MAIN(LiveStatePrecedenceTest)
#include "LiveStatePrecedenceTest.moc"
