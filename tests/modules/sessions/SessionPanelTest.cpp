#include "modules/sessionpanel/SessionPanel.h"

#include "support/TestFiles.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

const QDateTime now = QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);

QDateTime ago(double seconds) {
    return now.addMSecs(static_cast<qint64>(-seconds * 1000));
}

using WaitingFor = ClaudeAgentList::WaitingFor;
using OptionalText = std::optional<QString>;
using OptionalWait = std::optional<WaitingFor>;
using OptionalLive = std::optional<AgentLiveState>;
using OptionalOfficial = std::optional<OfficialSessionState>;

AgentSession session(const QString& id, double secondsAgo, const QString& project = u"atlas"_s) {
    AgentSession made;
    made.id = id;
    made.project = project;
    made.lastActivity = ago(secondsAgo);
    made.contextTokens = 50'000;
    made.contextWindow = 200'000;
    made.toolName = u"Claude Code"_s;
    made.agentName = u"claude"_s;
    return made;
}

AgentLiveState live(AgentActivity activity, double secondsAgo, OptionalText tool = std::nullopt) {
    AgentLiveState state;
    state.activity = activity;
    state.since = ago(secondsAgo);
    state.tool = std::move(tool);
    return state;
}

OfficialSessionState official(ClaudeAgentList::Status status, double secondsAgo,
                              OptionalWait waitingFor = {}) {
    return {status, waitingFor, ago(secondsAgo), false};
}

SessionPanel::Context context() {
    return {u"claude-usage"_s, u"claude/"_s, now, Localization(), 300.0};
}

PendingPermission request(const QString& id, const QString& sessionID) {
    PendingPermission made;
    made.id = id;
    made.sessionID = sessionID;
    made.tool = u"Bash"_s;
    made.summary = u"rm -rf build"_s;
    made.askedAt = ago(30);
    return made;
}

} // namespace

Q_DECLARE_METATYPE(AgentActivity)
Q_DECLARE_METATYPE(OptionalText)
Q_DECLARE_METATYPE(OptionalWait)
Q_DECLARE_METATYPE(OptionalLive)
Q_DECLARE_METATYPE(OptionalOfficial)

class SessionPanelTest : public QObject {
    Q_OBJECT
private slots:
    void stateText_data();
    void stateText();
    void trusted_data();
    void trusted();
    void hookState_data();
    void hookState();
    void failureSubtitle();
    void orderPutsRequestsFirst();
    void sessionRow();
    void groupsByOrcaProject();
    void jumpCommandNamesTheSession();
    void backgroundAgents();
};

void SessionPanelTest::stateText_data() {
    QTest::addColumn<AgentActivity>("activity");
    QTest::addColumn<OptionalText>("tool");
    QTest::addColumn<OptionalWait>("waitingFor");
    QTest::addColumn<double>("age");
    QTest::addColumn<QString>("text");

    const OptionalText none;
    const OptionalText bash(u"Bash"_s);
    const OptionalWait noWait;
    QTest::newRow("working") << AgentActivity::working << none << noWait << 5000.0 << u"working"_s;
    QTest::newRow("empty tool") << AgentActivity::working << OptionalText(u""_s) << noWait << 5.0
                                << u"working"_s;
    QTest::newRow("tool at 119 s shows no time")
        << AgentActivity::working << bash << noWait << 119.0 << u"running Bash"_s;
    QTest::newRow("tool at 120 s does")
        << AgentActivity::working << bash << noWait << 120.0 << u"running Bash now"_s;
    QTest::newRow("tool for long") << AgentActivity::working << bash << noWait << 600.0
                                   << u"running Bash 10 min ago"_s;
    QTest::newRow("stopped under 300 s")
        << AgentActivity::waiting << none << noWait << 299.0 << u"stopped now"_s;
    QTest::newRow("stopped at 300 s")
        << AgentActivity::waiting << none << noWait << 300.0 << u"stopped 5 min ago"_s;
    QTest::newRow("permission") << AgentActivity::blocked << none << OptionalWait(WaitingFor::permission)
                                << 10.0 << u"waiting for permission now"_s;
    QTest::newRow("input") << AgentActivity::blocked << none << OptionalWait(WaitingFor::input) << 3700.0
                           << u"waiting for your answer 1 hr ago"_s;
    QTest::newRow("sandbox") << AgentActivity::blocked << none << OptionalWait(WaitingFor::sandbox) << 1.0
                             << u"waiting for sandbox approval now"_s;
    QTest::newRow("dialog") << AgentActivity::blocked << none << OptionalWait(WaitingFor::dialog) << 1.0
                            << u"waiting in a dialog now"_s;
    QTest::newRow("worker") << AgentActivity::blocked << none << OptionalWait(WaitingFor::worker) << 1.0
                            << u"waiting for a subagent now"_s;
    QTest::newRow("unknown") << AgentActivity::blocked << none << OptionalWait(WaitingFor::unknown) << 1.0
                             << u"waiting for you now"_s;
    QTest::newRow("hook asking for a tool")
        << AgentActivity::blocked << bash << noWait << 1.0 << u"waiting for permission now"_s;
    QTest::newRow("blocked, nothing known")
        << AgentActivity::blocked << none << noWait << 1.0 << u"waiting for you now"_s;
    QTest::newRow("failed") << AgentActivity::failed << none << noWait << 400.0
                            << u"stopped with an error 6 min ago"_s;
    QTest::newRow("a state from the future")
        << AgentActivity::waiting << none << noWait << -60.0 << u"stopped now"_s;
}

void SessionPanelTest::stateText() {
    QFETCH(AgentActivity, activity);
    QFETCH(OptionalText, tool);
    QFETCH(OptionalWait, waitingFor);
    QFETCH(double, age);
    QFETCH(QString, text);
    QCOMPARE(SessionPanel::stateText(activity, tool, waitingFor, ago(age), now, Localization()), text);
}

void SessionPanelTest::trusted_data() {
    QTest::addColumn<OptionalLive>("hook");
    QTest::addColumn<OptionalOfficial>("list");
    QTest::addColumn<OptionalLive>("believed");

    // The transcript was last written 100 s ago.
    const OptionalLive noHook;
    const OptionalOfficial noList;
    const AgentLiveState working = live(AgentActivity::working, 105, u"Bash"_s);
    QTest::newRow("nothing") << noHook << noList << noHook;
    QTest::newRow("hook 5 s older than the transcript")
        << OptionalLive(working) << noList << OptionalLive(working);
    QTest::newRow("hook 6 s older is ignored")
        << OptionalLive(live(AgentActivity::working, 106, u"Bash"_s)) << noList << noHook;
    QTest::newRow("hook newer than the transcript")
        << OptionalLive(live(AgentActivity::waiting, 20)) << noList
        << OptionalLive(live(AgentActivity::waiting, 20));
    QTest::newRow("stale hook, the list speaks")
        << OptionalLive(live(AgentActivity::waiting, 500))
        << OptionalOfficial(official(ClaudeAgentList::Status::busy, 400))
        << OptionalLive(live(AgentActivity::working, 400));
    QTest::newRow("list agrees: the hook's tool and time")
        << OptionalLive(working) << OptionalOfficial(official(ClaudeAgentList::Status::busy, 50))
        << OptionalLive(working);
    QTest::newRow("a failure the hook told stands")
        << OptionalLive(live(AgentActivity::failed, 50))
        << OptionalOfficial(official(ClaudeAgentList::Status::busy, 10))
        << OptionalLive(live(AgentActivity::failed, 50));
    QTest::newRow("list alone, stopped before the transcript moved")
        << noHook << OptionalOfficial(official(ClaudeAgentList::Status::idle, 106)) << noHook;
    QTest::newRow("list alone, stopped after it")
        << noHook << OptionalOfficial(official(ClaudeAgentList::Status::idle, 90))
        << OptionalLive(live(AgentActivity::waiting, 90));
    QTest::newRow("list alone, working for long")
        << noHook << OptionalOfficial(official(ClaudeAgentList::Status::busy, 3000))
        << OptionalLive(live(AgentActivity::working, 3000));
    AgentLiveState blocked = live(AgentActivity::blocked, 95);
    blocked.waitingFor = WaitingFor::permission;
    QTest::newRow("list says it waits for permission")
        << noHook << OptionalOfficial(official(ClaudeAgentList::Status::waiting, 95, WaitingFor::permission))
        << OptionalLive(blocked);
    AgentLiveState longBlocked = live(AgentActivity::blocked, 200);
    longBlocked.waitingFor = WaitingFor::input;
    QTest::newRow("blocked on the list while the transcript moved")
        << noHook << OptionalOfficial(official(ClaudeAgentList::Status::waiting, 200, WaitingFor::input))
        << OptionalLive(longBlocked);
    QTest::newRow("list of unknown status")
        << noHook << OptionalOfficial(official(ClaudeAgentList::Status::unknown, 1)) << noHook;
}

void SessionPanelTest::trusted() {
    QFETCH(OptionalLive, hook);
    QFETCH(OptionalOfficial, list);
    QFETCH(OptionalLive, believed);
    QCOMPARE(SessionPanel::trusted(session(u"s"_s, 100), hook, list), believed);
}

void SessionPanelTest::hookState_data() {
    QTest::addColumn<AgentActivity>("activity");
    QTest::addColumn<SessionHookState>("hooks");
    QTest::addColumn<QStringList>("words");

    SessionHookState interrupted;
    interrupted.lastInterruption = SessionHookState::Interruption{u"t1"_s, ago(100)};
    QTest::newRow("interrupted now") << AgentActivity::waiting << interrupted
                                     << QStringList{u"interrupted now"_s};
    QTest::newRow("interruption while working") << AgentActivity::working << interrupted << QStringList();
    interrupted.lastInterruption->at = ago(1799);
    QTest::newRow("interruption at 1799 s")
        << AgentActivity::waiting << interrupted << QStringList{u"interrupted 29 min ago"_s};
    interrupted.lastInterruption->at = ago(1800);
    QTest::newRow("interruption at 1800 s") << AgentActivity::waiting << interrupted << QStringList();

    SessionHookState compacting;
    compacting.compacting = SessionHookState::Compaction{u"auto"_s, ago(299)};
    QTest::newRow("compacting") << AgentActivity::working << compacting << QStringList{u"compacting"_s};
    compacting.compacting->at = ago(300);
    QTest::newRow("compaction too old") << AgentActivity::working << compacting << QStringList();

    SessionHookState background;
    background.backgroundWait = SessionHookState::BackgroundWait{
        {SessionHookEvent::BackgroundTask{}, SessionHookEvent::BackgroundTask{}},
        {SessionHookEvent::SessionCron{}},
        ago(10)};
    QTest::newRow("background work") << AgentActivity::waiting << background
                                     << QStringList{u"waiting for 2 background tasks"_s,
                                                    u"scheduled wake-up"_s};
    QTest::newRow("background work, working") << AgentActivity::working << background << QStringList();

    SessionHookState tasks;
    tasks.tasks = {{u"1"_s, u"Build"_s, true}, {u"2"_s, u"Test"_s, false}, {u"3"_s, std::nullopt, false}};
    QTest::newRow("open tasks") << AgentActivity::working << tasks << QStringList{u"Tasks 1 of 3"_s};
    for (auto& task : tasks.tasks) {
        task.isCompleted = true;
    }
    QTest::newRow("all tasks done") << AgentActivity::working << tasks << QStringList();

    SessionHookState everything = background;
    everything.compacting = SessionHookState::Compaction{std::nullopt, ago(1)};
    everything.lastInterruption = SessionHookState::Interruption{std::nullopt, ago(400)};
    QTest::newRow("freshest first") << AgentActivity::waiting << everything
                                    << QStringList{u"compacting"_s, u"interrupted 6 min ago"_s,
                                                   u"waiting for 2 background tasks"_s,
                                                   u"scheduled wake-up"_s};
}

void SessionPanelTest::hookState() {
    QFETCH(AgentActivity, activity);
    QFETCH(SessionHookState, hooks);
    QFETCH(QStringList, words);
    QCOMPARE(SessionPanel::hookState(activity, hooks, now, Localization()), words);
}

void SessionPanelTest::failureSubtitle() {
    const Localization english;
    QCOMPARE(SessionPanel::failureSubtitle(ago(10), std::nullopt, nullptr, now, english),
             u"stopped with an error now"_s);
    QCOMPARE(SessionPanel::failureSubtitle(ago(10), u"E42"_s, nullptr, now, english), u"E42 · now"_s);
    SessionHookState hooks;
    hooks.lastFailure =
        SessionHookState::Failure{u"429"_s, std::nullopt, u"Too many requests"_s, ago(10), {}};
    QCOMPARE(SessionPanel::failureSubtitle(ago(600), u"E42"_s, &hooks, now, english),
             u"Too many requests · 10 min ago"_s);
    hooks.lastFailure->kind = StopFailureKind::rateLimit;
    QCOMPARE(SessionPanel::failureSubtitle(ago(10), std::nullopt, &hooks, now, english),
             AgentFailure::text(StopFailureCategory::rateLimit, english) + u" · now"_s);
}

void SessionPanelTest::orderPutsRequestsFirst() {
    const QList<AgentSession> sessions{session(u"old"_s, 900), session(u"new"_s, 10),
                                       session(u"prompted"_s, 800), session(u"asking"_s, 5000)};
    PendingPermission expired = request(u"r0"_s, u"old"_s);
    expired.isExpired = true;
    const QList<AgentSession> order = SessionPanel::ordered(
        sessions, {request(u"r1"_s, u"asking"_s), expired}, {}, {{u"prompted"_s, ago(1)}});
    QStringList found;
    for (const AgentSession& each : order) {
        found.append(each.id);
    }
    QCOMPARE(found, (QStringList{u"asking"_s, u"prompted"_s, u"new"_s, u"old"_s}));
}

void SessionPanelTest::sessionRow() {
    AgentSession one = session(u"s1"_s, 30);
    one.role = u"reviewer"_s;
    one.roleColor = u"Purple"_s;
    one.model = u"claude-opus-4-6"_s;
    one.directory = u"/home/ana/work/atlas"_s;
    one.toolVersion = u"2.1.38"_s;
    one.pullRequest =
        AgentSession::PullRequest{7, u"ana/atlas"_s, QUrl(u"https://github.com/ana/atlas/pull/7"_s)};
    one.contextTokens = 190'000;
    AgentSession::Subagent helper;
    helper.id = u"abc12345"_s;
    helper.description = u"Read the docs"_s;
    helper.model = u"claude-haiku-4-5"_s;
    helper.lastActivity = ago(20);
    one.subagents = {helper};

    SessionHookState hooks;
    hooks.tasks = {{u"1"_s, u"Build"_s, true}, {u"2"_s, u"Test"_s, false}, {u"3"_s, u"Ship"_s, false}};
    hooks.denials = {{u"d1"_s, u"Bash"_s, u"curl evil.example"_s, u"network"_s, ago(50)}};
    hooks.subagents = {{u"abc12345-full"_s, u"Explore"_s, ago(20)}, {u"zzz999"_s, u"Plan"_s, ago(5)}};
    SessionPanel::Inputs inputs;
    inputs.sessions = {one};
    inputs.live.insert(u"s1"_s, live(AgentActivity::working, 25, u"Bash"_s));
    inputs.hooks.insert(u"s1"_s, hooks);
    PendingPermission network = request(u"r1"_s, u"s1"_s);
    network.networkTarget = u"example.com"_s;
    inputs.requests = {network, request(u"r2"_s, u"other"_s)};

    const DetailSection row = SessionPanel::section(one, inputs, context());
    QCOMPARE(row.id, u"claude/session/s1"_s);
    QCOMPARE(row.title, u"reviewer"_s);
    QCOMPARE(row.subtitle, u"atlas · running Bash · Tasks 1 of 3"_s);
    QCOMPARE(row.activity, DetailSection::Activity::working);
    QCOMPARE(row.swatch, RoleColor::purple);
    QCOMPARE(row.badge, u"95% · 2 subagents"_s);
    QVERIFY(row.badgeGauge);
    QCOMPARE(row.badgeGauge->tone, GaugeMetric::Tone::critical);
    QCOMPARE(row.location->url, QUrl::fromLocalFile(u"/home/ana/work/atlas"_s));
    QCOMPARE(row.footnote, u"Claude Code 2.1.38"_s);
    QCOMPARE(row.actions.size(), 1U);
    const auto* jump = std::get_if<action::Perform>(&*row.action);
    QVERIFY(jump);
    QCOMPARE(SessionPanel::jumpTarget(jump->command), u"s1"_s);
    QCOMPARE(jump->command.moduleID, u"claude-usage"_s);
    QVERIFY(std::any_of(row.metrics.cbegin(), row.metrics.cend(),
                        [](const DetailMetric& metric) { return metric.value == u"Opus 4.6"_s; }));

    // The transcript's subagent and the one only the hooks know of, then the request of this
    // session, its denial and its tasks.
    QCOMPARE(idsOf(row.children),
             (QStringList{u"claude/session/s1/subagent/abc12345"_s, u"claude/session/s1/subagent/zzz999"_s,
                          u"claude/session/s1/request/r1"_s, u"claude/session/s1/denial/d1"_s,
                          u"claude/session/s1/tasks"_s}));
    QCOMPARE(row.children.at(0).title, u"Read the docs"_s);
    QCOMPARE(row.children.at(0).subtitle, u"Haiku 4.5 · active now"_s);
    QCOMPARE(row.children.at(0).activity, std::nullopt);
    QCOMPARE(row.children.at(1).activity, DetailSection::Activity::working);
    QCOMPARE(row.children.at(2).title, u"Network access: example.com"_s);
    QCOMPARE(row.children.at(3).title, u"Denied: curl evil.example"_s);
    const std::vector<DetailStep>& steps = row.children.at(4).steps;
    QCOMPARE(steps.size(), 3U);
    QCOMPARE(steps.at(0).state, DetailStep::State::passed);
    QCOMPARE(steps.at(1).state, DetailStep::State::working);
    QCOMPARE(steps.at(2).state, DetailStep::State::pending);

    // Without any live state: how long it has been quiet, and no mark.
    inputs.live.clear();
    inputs.hooks.clear();
    one.subagents.clear();
    one.role.reset();
    const DetailSection quiet = SessionPanel::section(one, inputs, context());
    QCOMPARE(quiet.title, u"atlas"_s);
    QCOMPARE(quiet.subtitle, u"active now"_s);
    QCOMPARE(quiet.activity, std::nullopt);
    QCOMPARE(quiet.badge, u"95%"_s);
}

void SessionPanelTest::groupsByOrcaProject() {
    SessionPanel::Inputs inputs;
    AgentSession hosted = session(u"h1"_s, 10);
    hosted.attachHost(u"Orca"_s, u"term-4"_s, u"Atlas"_s);
    AgentSession unnamed = session(u"h2"_s, 20);
    unnamed.attachHost(u"Orca"_s, u"term-5"_s, std::nullopt);
    inputs.sessions = {session(u"plain"_s, 5), hosted, unnamed};

    const std::vector<DetailSection> rows = SessionPanel::groupedSections(inputs, context());
    QCOMPARE(idsOf(rows), (QStringList{u"claude/orca/Atlas"_s, u"claude/session/h1"_s,
                                       u"claude/orca/ground"_s, u"claude/session/h2"_s,
                                       u"claude/sessions/outside-orca"_s, u"claude/session/plain"_s}));
    QVERIFY(rows.at(0).isHeading);
    QCOMPARE(rows.at(4).title, u"Other sessions"_s);
    QCOMPARE(rows.at(1).action, DetailAction(action::FocusAppItem{u"com.stablyai.orca"_s, u"term-4"_s}));
    QCOMPARE(rows.at(1).badge, u"25% · Orca"_s);

    // With no group there are no headings.
    inputs.sessions = {session(u"a"_s, 5), session(u"b"_s, 1)};
    QCOMPARE(idsOf(SessionPanel::groupedSections(inputs, context())),
             (QStringList{u"claude/session/b"_s, u"claude/session/a"_s}));
    inputs.sessions.clear();
    QVERIFY(SessionPanel::groupedSections(inputs, context()).empty());
}

void SessionPanelTest::jumpCommandNamesTheSession() {
    const DetailCommand command = SessionPanel::jumpCommand(session(u"a:b/c"_s, 1), context());
    QCOMPARE(SessionPanel::jumpTarget(command), u"a:b/c"_s);
    QCOMPARE(SessionPanel::jumpTarget(DetailCommand{u"session.jump:"_s}), std::nullopt);
    QCOMPARE(SessionPanel::jumpTarget(DetailCommand{u"github.open"_s}), std::nullopt);
}

void SessionPanelTest::backgroundAgents() {
    using State = ClaudeAgentList::BackgroundAgent::State;
    const auto agent = [](const char* id, State state, double since, std::optional<double> finished = {}) {
        BackgroundAgentState made;
        made.agent.id = QString::fromLatin1(id);
        made.agent.sessionID = u"session-"_s + QString::fromLatin1(id);
        made.agent.state = state;
        made.since = ago(since);
        if (finished) {
            made.finishedAt = ago(*finished);
        }
        return made;
    };
    QVERIFY(SessionPanel::backgroundSections({}, context()).empty());

    QHash<QString, BackgroundAgentState> agents{
        {u"a"_s, agent("a", State::working, 1000)},    {u"b"_s, agent("b", State::done, 50, 1799)},
        {u"c"_s, agent("c", State::failed, 50, 1800)}, // finished too long ago
        {u"d"_s, agent("d", State::blocked, 10)},      {u"e"_s, agent("e", State::working, 30)},
    };
    agents[u"d"_s].agent.needs = u"a review"_s;
    agents[u"e"_s].agent.name = u"nightly build"_s;
    const std::vector<DetailSection> rows = SessionPanel::backgroundSections(agents, context());
    QCOMPARE(idsOf(rows),
             (QStringList{u"claude/background"_s, u"claude/background/d"_s, u"claude/background/e"_s,
                          u"claude/background/a"_s, u"claude/background/b"_s}));
    QCOMPARE(rows.at(0).title, u"Background agents"_s);
    QCOMPARE(rows.at(1).subtitle, u"waiting for a review now"_s);
    QCOMPARE(rows.at(1).activity, DetailSection::Activity::waiting);
    QCOMPARE(rows.at(2).title, u"nightly build"_s);
    QCOMPARE(rows.at(2).subtitle, u"working"_s);
    QCOMPARE(rows.at(3).subtitle, u"working for 16m 40s"_s);
    QCOMPARE(rows.at(4).subtitle, u"done 29 min ago"_s);
    QCOMPARE(rows.at(4).activity, std::nullopt);
    const auto* jump = std::get_if<action::Perform>(&*rows.at(3).action);
    QVERIFY(jump);
    QCOMPARE(SessionPanel::jumpTarget(jump->command), u"session-a"_s);
}

QTEST_GUILESS_MAIN(SessionPanelTest)
#include "SessionPanelTest.moc"
