#include "modules/agents/changes/AgentChangeStore.h"

#include <QTest>
#include <QTimeZone>

using namespace tessary;
using namespace Qt::StringLiterals;

using WaitingFor = ClaudeAgentList::WaitingFor;
using State = ClaudeAgentList::BackgroundAgent::State;

Q_DECLARE_METATYPE(AgentChanges::Inputs)
Q_DECLARE_METATYPE(AgentChange::Kind)

namespace {

QDateTime at(int hour, int minute, int second = 0) {
    return QDateTime(QDate(2026, 3, 1), QTime(hour, minute, second), QTimeZone::utc());
}

ToolRun run(const QString& id, double seconds, bool failed) {
    ToolRun run;
    run.id = id;
    run.sessionID = u"s1"_s;
    run.tool = u"Bash"_s;
    run.summary = u"make"_s;
    run.startedAt = at(9, 50);
    run.endedAt = run.startedAt.addMSecs(static_cast<qint64>(seconds * 1000));
    run.failed = failed;
    run.wait = ToolRun::NotAsked{};
    return run;
}

BackgroundAgentState backgroundState(State state, bool isBaseline) {
    BackgroundAgentState agent;
    agent.agent.id = u"j1"_s;
    agent.agent.sessionID = u"bg1"_s;
    agent.agent.name = u"Nightly lint"_s;
    agent.agent.state = state;
    agent.since = at(9, 59);
    agent.isBaseline = isBaseline;
    return agent;
}

// Readings at two moments: a quiet one, then one with `inputs`, both taken at 10:00.
QList<AgentChange> raised(const AgentChanges::Inputs& inputs, bool inFront = false) {
    AgentChangeStore store;
    const auto front = [inFront](const QString&) { return inFront; };
    store.observe(AgentChanges::pending({}), front, at(9, 59, 50));
    store.observe(AgentChanges::pending(inputs), front, at(10, 0));
    return store.active();
}

} // namespace

class AgentChangesTest : public QObject {
    Q_OBJECT

private slots:
    void toolNotices_data();
    void toolNotices();
    void waits_data();
    void waits();
    void firstReadingOnlyRecords();
    void sessionInFrontGetsNoNotice();
    void noticeEnds_data();
    void noticeEnds();
    void texts_data();
    void texts();
    void clipped();
};

void AgentChangesTest::toolNotices_data() {
    QTest::addColumn<double>("seconds");
    QTest::addColumn<bool>("failed");
    QTest::addColumn<bool>("notice");
    QTest::newRow("179 s") << 179.0 << false << false;
    QTest::newRow("180 s") << 180.0 << false << true;
    QTest::newRow("failed after 2 s") << 2.0 << true << true;
}

void AgentChangesTest::toolNotices() {
    QFETCH(double, seconds);
    QFETCH(bool, failed);
    QFETCH(bool, notice);
    AgentChanges::Inputs inputs;
    inputs.toolRuns = {run(u"t1"_s, seconds, failed)};
    QCOMPARE(raised(inputs).size(), notice ? 1 : 0);
    // Without the hook that delivers it, no such notice is expected.
    inputs.sources = AgentChanges::Sources::hooks({u"PermissionRequest"_s});
    QVERIFY(raised(inputs).isEmpty());
}

void AgentChangesTest::waits_data() {
    QTest::addColumn<AgentChanges::Inputs>("inputs");
    QTest::addColumn<QString>("expected");

    AgentChanges::Inputs listed;
    listed.official.insert(u"s1"_s, OfficialSessionState{ClaudeAgentList::Status::waiting,
                                                         WaitingFor::permission, at(9, 59), false});
    QTest::newRow("list waits for permission") << listed << u"permission"_s;

    AgentChanges::Inputs baseline = listed;
    baseline.official[u"s1"_s].isBaseline = true;
    QTest::newRow("wait of unknown age") << baseline << QString();

    AgentChanges::Inputs confirmed = baseline;
    confirmed.hooks.insert(u"s1"_s, AgentLiveState{AgentActivity::blocked, u"Bash"_s, {}, at(9, 58), {}});
    QTest::newRow("baseline wait a hook confirms") << confirmed << u"permission"_s;

    AgentChanges::Inputs input = listed;
    input.official[u"s1"_s].waitingFor = WaitingFor::input;
    QTest::newRow("list waits for input") << input << u"question"_s;

    AgentChanges::Inputs dialog = listed;
    dialog.official[u"s1"_s].waitingFor = WaitingFor::dialog;
    QTest::newRow("list waits for a dialog") << dialog << u"waiting"_s;

    AgentChanges::Inputs asking;
    PendingPermission request;
    request.id = u"r1"_s;
    request.sessionID = u"s1"_s;
    request.askedAt = at(9, 59);
    asking.requests = {request};
    QTest::newRow("held request") << asking << u"permission"_s;

    AgentChanges::Inputs question = asking;
    question.requests[0].question = AgentQuestion{};
    QTest::newRow("held question") << question << u"question"_s;

    AgentChanges::Inputs failed;
    failed.hooks.insert(u"s1"_s, AgentLiveState{AgentActivity::failed, {}, u"rate limit"_s, at(9, 59), {}});
    QTest::newRow("failed turn") << failed << u"stopped"_s;

    AgentChanges::Inputs blocked;
    blocked.background.insert(u"j1"_s, backgroundState(State::blocked, false));
    QTest::newRow("background agent blocked") << blocked << u"background"_s;

    AgentChanges::Inputs blockedAtLaunch;
    blockedAtLaunch.background.insert(u"j1"_s, backgroundState(State::blocked, true));
    QTest::newRow("background agent blocked at launch") << blockedAtLaunch << QString();

    AgentChanges::Inputs stopped;
    stopped.background.insert(u"j1"_s, backgroundState(State::stopped, false));
    QTest::newRow("background agent stopped by the user") << stopped << QString();
}

void AgentChangesTest::waits() {
    QFETCH(AgentChanges::Inputs, inputs);
    QFETCH(QString, expected);
    const QList<AgentChange> active = raised(inputs);
    QCOMPARE(active.size(), expected.isEmpty() ? 0 : 1);
    if (!expected.isEmpty()) {
        QVERIFY2(active.first().id.startsWith(expected + u':'), qPrintable(active.first().id));
        QCOMPARE(active.first().since, at(10, 0));
    }
}

void AgentChangesTest::firstReadingOnlyRecords() {
    AgentChanges::Inputs inputs;
    inputs.toolRuns = {run(u"t1"_s, 600, false)};
    AgentChangeStore store;
    QVERIFY(!store.observe(AgentChanges::pending(inputs), {}, at(10, 0)));
    QVERIFY(!store.observe(AgentChanges::pending(inputs), {}, at(10, 1)));
    QVERIFY(store.active().isEmpty());
}

void AgentChangesTest::sessionInFrontGetsNoNotice() {
    AgentChanges::Inputs inputs;
    inputs.toolRuns = {run(u"t1"_s, 600, true)};
    QVERIFY(raised(inputs, true).isEmpty());
}

void AgentChangesTest::noticeEnds_data() {
    QTest::addColumn<QString>("what");
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<bool>("stands");
    QTest::newRow("nothing, 14 min later") << QString() << at(10, 14, 59) << true;
    QTest::newRow("nothing, 15 min later") << QString() << at(10, 15) << false;
    QTest::newRow("a prompt followed") << u"prompt"_s << at(10, 1) << false;
    QTest::newRow("the session ended") << u"end"_s << at(10, 1) << false;
    QTest::newRow("the session came to the front") << u"front"_s << at(10, 1) << false;
    QTest::newRow("the user answered") << u"answered"_s << at(10, 1) << false;
}

void AgentChangesTest::noticeEnds() {
    QFETCH(QString, what);
    QFETCH(QDateTime, now);
    QFETCH(bool, stands);
    AgentChanges::Inputs inputs;
    inputs.toolRuns = {run(u"t1"_s, 600, false)};
    inputs.official.insert(u"s2"_s, OfficialSessionState{ClaudeAgentList::Status::waiting,
                                                         WaitingFor::permission, at(9, 59), false});
    AgentChangeStore store;
    store.observe(AgentChanges::pending({}), {}, at(9, 59));
    store.observe(AgentChanges::pending(inputs), {}, at(10, 0));
    QCOMPARE(store.active().size(), 2);

    bool inFront = false;
    if (what == u"prompt"_s) {
        inputs.prompts = {{u"s1"_s, at(10, 0, 30)}, {u"s2"_s, at(10, 0, 30)}};
    } else if (what == u"end"_s) {
        inputs.sessionEnds = {{u"s1"_s, at(10, 0, 30)}, {u"s2"_s, at(10, 0, 30)}};
    } else if (what == u"front"_s) {
        inFront = true;
    } else if (what == u"answered"_s) {
        inputs.toolRuns.clear();
        inputs.official[u"s2"_s] =
            OfficialSessionState{ClaudeAgentList::Status::busy, {}, at(10, 0, 30), false};
    }
    store.observe(
        AgentChanges::pending(inputs), [&](const QString&) { return inFront; }, now);
    QCOMPARE(store.active().size(), stands ? 2 : 0);
}

void AgentChangesTest::texts_data() {
    QTest::addColumn<AppLanguage>("language");
    QTest::addColumn<AgentChange::Kind>("kind");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("expected");
    QTest::newRow("permission") << AppLanguage::english << AgentChange::Kind{AgentChange::Permission{}}
                                << u"Fix the build"_s << u"Needs permission · Fix the build"_s;
    QTest::newRow("permission, es") << AppLanguage::spanish << AgentChange::Kind{AgentChange::Permission{}}
                                    << u"Fix"_s << u"Necesita permiso · Fix"_s;
    QTest::newRow("permission, pt-BR")
        << AppLanguage::portuguese << AgentChange::Kind{AgentChange::Permission{}} << u"Fix"_s
        << u"Precisa de permissão · Fix"_s;
    QTest::newRow("stopped without reason")
        << AppLanguage::english << AgentChange::Kind{AgentChange::Stopped{}} << u"Fix"_s
        << u"Fix stopped: error"_s;
    QTest::newRow("background, named by the agent")
        << AppLanguage::english
        << AgentChange::Kind{AgentChange::Background{BackgroundTransition::blocked, u"Nightly lint"_s}}
        << QString() << u"Background agent needs you · Nightly lint"_s;
    QTest::newRow("no title: the session id")
        << AppLanguage::english << AgentChange::Kind{AgentChange::Completed{}} << QString()
        << u"0123abcd finished"_s;
}

void AgentChangesTest::texts() {
    QFETCH(AppLanguage, language);
    QFETCH(AgentChange::Kind, kind);
    QFETCH(QString, title);
    QFETCH(QString, expected);
    const AgentChange change{u"id"_s, kind, u"0123abcd-ef"_s, at(10, 0), at(10, 0)};
    QCOMPARE(change.text(title, Localization(language)), expected);
}

void AgentChangesTest::clipped() {
    QCOMPARE(AgentChange::clipped(u"  short \n title "_s), u"short title"_s);
    const QString clipped = AgentChange::clipped(QString(60, u'x'));
    QCOMPARE(clipped.size(), AgentChange::titleLimit);
    QVERIFY(clipped.endsWith(u'…'));
    // An emoji is never split before the ellipsis.
    const QString emoji = AgentChange::clipped(QString(38, u'a') + u"😀😀"_s, 40);
    QVERIFY(!emoji.at(emoji.size() - 2).isHighSurrogate());
}

QTEST_GUILESS_MAIN(AgentChangesTest)
#include "AgentChangesTest.moc"
