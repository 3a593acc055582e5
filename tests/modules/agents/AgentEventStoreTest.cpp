#include "modules/agents/live/AgentEventStore.h"

#include <QJsonDocument>
#include <QSet>
#include <QTest>

#include <atomic>
#include <thread>

using namespace tessary;
using namespace Qt::StringLiterals;

using Status = ClaudeAgentList::Status;
using WaitingFor = ClaudeAgentList::WaitingFor;

class AgentEventStoreTest : public QObject {
    Q_OBJECT
private slots:
    void updateKeepsTheStartOfAnUnchangedState();
    void resumeTurnLeavesWorkAlone();
    void turnResultsKeepInterruptionAndTheLastFifty();
    void modelRemembersWhatItReplaced();
    void finishedToolKnowsItsWait_data();
    void finishedToolKnowsItsWait();
    void longRunningTimeLeavesOutTheWaitForTheUser();
    void promptEndsTheSessionsQuestions();
    void endingsAreCappedWithTheirAgents();
    void sessionStartRevivesAnEndedSession();
    void permissionQueueAndLapsedRequests();
    void unheldRequestsAreCappedPerSession();
    void statusLineRecordsFiguresAndKeepsLimits();
    void listReadingsMakeOfficialStates();
    void missingListSwitchesOfficialStatesOff();
    void listedPidsAndBackgroundAgents();
    void processScanIsSharedForASecond();
    void processesPlacedFromEveryWitness();
    void readersOnOtherThreads();
};

namespace {

const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

ToolCallFingerprint bash(const char* command) {
    return ToolCallFingerprint::of(u"Bash"_s, QJsonObject{{u"command"_s, QString::fromUtf8(command)}});
}

PendingPermission pending(const QString& id, const QString& session, int askedSecond) {
    PendingPermission request;
    request.id = id;
    request.sessionID = session;
    request.tool = u"Bash"_s;
    request.askedAt = t0.addSecs(askedSecond);
    return request;
}

HeldRequestRelease::Held heldFor(const PendingPermission& request) {
    return HeldRequestRelease::Held::of(request.id, request.sessionID, u"Bash"_s,
                                        QJsonObject{{u"command"_s, u"ls"_s}}, request.askedAt, 4242);
}

ClaudeAgentList::Reading reading(QList<ClaudeAgentList::Session> sessions,
                                 QList<ClaudeAgentList::BackgroundAgent> background = {}) {
    return {ClaudeAgentList{std::move(sessions), std::move(background)}, t0};
}

ClaudeAgentList::Session listed(const QString& id, Status status, std::optional<qint32> pid = std::nullopt) {
    ClaudeAgentList::Session session;
    session.sessionID = id;
    session.status = status;
    session.pid = pid;
    return session;
}

AgentSession session(const QString& id, const QString& directory) {
    AgentSession made;
    made.id = id;
    made.directory = directory;
    made.lastActivity = t0.addSecs(3600);
    return made;
}

// A process table of the test's making, counting its scans.
class TableScanner final : public AgentProcessScanning {
public:
    QList<AgentProcess> live(const QStringList& names) const override {
        ++scans;
        QList<AgentProcess> found;
        for (const AgentProcess& process : processes) {
            if (names.contains(process.agentName.value_or(QString()))) {
                found.append(process);
            }
        }
        return found;
    }
    bool exists(qint32 pid) const override {
        for (const AgentProcess& process : processes) {
            if (process.pid == pid) {
                return true;
            }
        }
        return running.contains(pid);
    }
    QList<AgentProcess> processes;
    QSet<qint32> running;
    mutable std::atomic_int scans{0};
};

} // namespace

void AgentEventStoreTest::updateKeepsTheStartOfAnUnchangedState() {
    AgentEventStore store;
    QVERIFY(store.update(u"s"_s, AgentActivity::working, u"Bash"_s, std::nullopt, t0));
    QVERIFY(!store.update(u"s"_s, AgentActivity::working, u"Bash"_s, std::nullopt, t0.addSecs(5)));
    QCOMPARE(store.live().value(u"s"_s).since, t0);
    QVERIFY(store.update(u"s"_s, AgentActivity::working, u"Read"_s, std::nullopt, t0.addSecs(6)));
    QCOMPARE(store.live().value(u"s"_s).since, t0.addSecs(6));
    QVERIFY(store.lastFailures().isEmpty());
    QVERIFY(store.update(u"s"_s, AgentActivity::failed, std::nullopt, u"rate_limit"_s, t0.addSecs(7)));
    QCOMPARE(store.lastFailures().value(u"s"_s), t0.addSecs(7));
    QCOMPARE(store.live().value(u"s"_s).failure, u"rate_limit"_s);
}

void AgentEventStoreTest::resumeTurnLeavesWorkAlone() {
    AgentEventStore store;
    store.update(u"s"_s, AgentActivity::working, u"Bash"_s, std::nullopt, t0);
    store.resumeTurn(u"s"_s, t0.addSecs(10));
    QCOMPARE(store.live().value(u"s"_s),
             (AgentLiveState{AgentActivity::working, u"Bash"_s, std::nullopt, t0}));
    store.update(u"s"_s, AgentActivity::blocked, std::nullopt, std::nullopt, t0.addSecs(11));
    store.resumeTurn(u"s"_s, t0.addSecs(12));
    QCOMPARE(store.live().value(u"s"_s),
             (AgentLiveState{AgentActivity::working, std::nullopt, std::nullopt, t0.addSecs(12)}));
    store.resumeTurn(u"new"_s, t0.addSecs(13));
    QCOMPARE(store.live().value(u"new"_s).activity, AgentActivity::working);
}

void AgentEventStoreTest::turnResultsKeepInterruptionAndTheLastFifty() {
    AgentEventStore store;
    store.noteTurnResult(u"s"_s, u"t1"_s, AgentTurnResult::Kind::interrupted, t0);
    store.noteTurnResult(u"s"_s, u"t1"_s, AgentTurnResult::Kind::completed, t0.addSecs(1));
    QCOMPARE(store.turnResults().size(), 1);
    QCOMPARE(store.turnResults().first().kind, AgentTurnResult::Kind::interrupted);
    store.noteTurnResult(u"s"_s, u"t2"_s, AgentTurnResult::Kind::completed, t0.addSecs(2));
    store.noteTurnResult(u"s"_s, u"t2"_s, AgentTurnResult::Kind::interrupted, t0.addSecs(3));
    QCOMPARE(store.turnResults().last().kind, AgentTurnResult::Kind::interrupted);
    QCOMPARE(store.turnResults().last().id(), u"s:t2"_s);
    // Without turn ids, each time makes its own result.
    for (int i = 0; i < 60; ++i) {
        store.noteTurnResult(u"s"_s, std::nullopt, AgentTurnResult::Kind::completed, t0.addSecs(100 + i));
    }
    QCOMPARE(store.turnResults().size(), AgentEventStore::turnLimit);
    QCOMPARE(store.turnResults().last().at, t0.addSecs(159));
}

void AgentEventStoreTest::modelRemembersWhatItReplaced() {
    AgentEventStore store;
    store.noteModel(u"s"_s, u"opus"_s, std::nullopt, t0);
    store.noteModel(u"s"_s, u"opus"_s, u"ignored"_s, t0.addSecs(1));
    QCOMPARE(store.models().value(u"s"_s), (LiveModel{u"opus"_s, std::nullopt, t0}));
    store.noteModel(u"s"_s, u"sonnet"_s, u"what the hook says"_s, t0.addSecs(2));
    QCOMPARE(store.models().value(u"s"_s), (LiveModel{u"sonnet"_s, u"opus"_s, t0.addSecs(2)}));
    store.noteModel(u"t"_s, u"sonnet"_s, u"haiku"_s, t0.addSecs(3));
    QCOMPARE(store.models().value(u"t"_s).previous, u"haiku"_s);
}

void AgentEventStoreTest::finishedToolKnowsItsWait_data() {
    QTest::addColumn<bool>("asked");
    QTest::addColumn<bool>("answered");
    QTest::addColumn<bool>("askedBeforeTheCall");
    QTest::addColumn<QString>("wait");
    QTest::newRow("never asked") << false << false << false << u"notAsked"_s;
    QTest::newRow("asked and answered on the card") << true << true << false << u"answered"_s;
    QTest::newRow("asked, answered elsewhere") << true << false << false << u"unknown"_s;
    QTest::newRow("a question of an earlier call does not count") << true << true << true << u"notAsked"_s;
}

void AgentEventStoreTest::finishedToolKnowsItsWait() {
    QFETCH(bool, asked);
    QFETCH(bool, answered);
    QFETCH(bool, askedBeforeTheCall);
    QFETCH(QString, wait);
    AgentEventStore store;
    if (asked) {
        store.notePermissionAsked(u"s"_s, bash("make"), askedBeforeTheCall ? t0.addSecs(-5) : t0.addSecs(1));
        if (answered) {
            store.notePermissionAnswered(u"s"_s, bash("make"), t0.addSecs(30));
        }
    }
    store.startTool(u"toolu_1"_s, u"s"_s, u"Bash"_s, u"make"_s, bash("make"), t0);
    const auto run = store.finishTool(u"toolu_1"_s, false, std::nullopt, t0.addSecs(40));
    QVERIFY(run);
    const QString seen = std::holds_alternative<ToolRun::Answered>(run->wait)   ? u"answered"_s
                         : std::holds_alternative<ToolRun::NotAsked>(run->wait) ? u"notAsked"_s
                                                                                : u"unknown"_s;
    QCOMPARE(seen, wait);
    QCOMPARE(store.toolStarts().size(), 0);
    QCOMPARE(store.finishedTools().size(), 1);
    // A second end of the same call finds nothing.
    QCOMPARE(store.finishTool(u"toolu_1"_s, false, std::nullopt, t0.addSecs(41)), std::nullopt);
    // The question taken by the call is gone; one of an earlier call stays.
    QCOMPARE(store.permissionAsks().size(), asked && askedBeforeTheCall ? 1 : 0);
}

void AgentEventStoreTest::longRunningTimeLeavesOutTheWaitForTheUser() {
    ToolRun run;
    run.startedAt = t0;
    run.endedAt = t0.addSecs(400);
    run.wait = ToolRun::NotAsked{};
    QCOMPARE(AgentChanges::longRunningTime(run), 400.0);
    run.wait = ToolRun::Answered{t0.addSecs(300)};
    QCOMPARE(run.runningTime(), 100.0);
    QCOMPARE(AgentChanges::longRunningTime(run), std::nullopt);
    run.wait = ToolRun::Answered{t0.addSecs(220)};
    QCOMPARE(AgentChanges::longRunningTime(run), 180.0);
    run.wait = ToolRun::Unknown{};
    QCOMPARE(AgentChanges::longRunningTime(run), std::nullopt);
}

void AgentEventStoreTest::promptEndsTheSessionsQuestions() {
    AgentEventStore store;
    store.notePermissionAsked(u"s"_s, bash("a"), t0);
    store.notePermissionAsked(u"other"_s, bash("a"), t0);
    store.update(u"s"_s, AgentActivity::blocked, std::nullopt, std::nullopt, t0);
    store.notePrompt(u"s"_s, t0.addSecs(5));
    QCOMPARE(store.permissionAsks().size(), 1);
    QCOMPARE(store.permissionAsks().first().sessionID, u"other"_s);
    QCOMPARE(store.lastPrompts().value(u"s"_s), t0.addSecs(5));
    QCOMPARE(store.live().value(u"s"_s).activity, AgentActivity::working);
}

void AgentEventStoreTest::endingsAreCappedWithTheirAgents() {
    AgentEventStore store;
    store.startTool(u"never-ended"_s, u"s0"_s, u"Bash"_s, {}, std::nullopt, t0);
    store.startTool(u"other"_s, u"elsewhere"_s, u"Bash"_s, {}, std::nullopt, t0);
    for (int i = 0; i < 55; ++i) {
        const QString session = u"s%1"_s.arg(i);
        store.noteAgent(session, u"codex"_s);
        store.update(session, AgentActivity::waiting, std::nullopt, std::nullopt, t0);
        store.note(session, 1000 + i);
        store.noteDirectory(session, u"/work/%1"_s.arg(i));
        store.end(session, t0.addSecs(i));
    }
    QCOMPARE(store.sessionEnds().size(), AgentEventStore::endingLimit);
    QVERIFY(!store.sessionEnds().contains(u"s4"_s));
    // The oldest endings go with all that was kept of their sessions.
    QCOMPARE(store.agent(u"s4"_s), u"claude"_s);
    QVERIFY(!store.live().contains(u"s4"_s));
    QVERIFY(!store.agentPIDs().contains(u"s4"_s));
    QCOMPARE(store.agent(u"s5"_s), u"codex"_s);
    QVERIFY(store.live().contains(u"s5"_s));
    QCOMPARE(store.live().size(), AgentEventStore::endingLimit);
    QVERIFY(store.sessionProjects().isEmpty());
    // A call of an ended session is not running any more.
    QCOMPARE(store.toolStarts().keys(), QList<QString>{u"other"_s});
}

void AgentEventStoreTest::sessionStartRevivesAnEndedSession() {
    AgentEventStore store;
    store.end(u"s"_s, t0);
    QVERIFY(store.sessionEnds().contains(u"s"_s));
    store.startTool(u"a"_s, u"s"_s, u"Bash"_s, {}, std::nullopt, t0);
    store.noteSessionStart(u"s"_s, u"compact"_s);
    QVERIFY(store.sessionEnds().isEmpty());
    QCOMPARE(store.toolStarts().size(), 1);
    store.noteSessionStart(u"s"_s, u"resume"_s);
    QVERIFY(store.toolStarts().isEmpty());
}

void AgentEventStoreTest::permissionQueueAndLapsedRequests() {
    AgentEventStore store;
    store.noteAgent(u"codex-session"_s, u"codex"_s);
    const PendingPermission first = pending(u"p1"_s, u"s"_s, 0);
    const PendingPermission second = pending(u"p2"_s, u"codex-session"_s, 1);
    store.request(first);
    store.request(second);
    QCOMPARE(store.pendingPermissions(u"claude"_s), QList<PendingPermission>{first});
    QCOMPARE(store.pendingPermissions(u"codex"_s), QList<PendingPermission>{second});

    store.expirePermission(heldFor(first), t0.addSecs(540));
    QCOMPARE(store.permissions(), QList<PendingPermission>{second});
    const auto shown = store.pendingPermissions(u"claude"_s);
    QCOMPARE(shown.size(), 1);
    QVERIFY(shown.first().isExpired);
    QCOMPARE(store.unheldForRelease().size(), 1);
    QCOMPARE(store.unheldForRelease().first().command, u"ls"_s);

    QCOMPARE(store.dropLapsedPermissions(t0.addSecs(540 + 1799)), 0);
    QCOMPARE(store.dropLapsedPermissions(t0.addSecs(540 + 1800)), 1);
    QVERIFY(store.pendingPermissions(u"claude"_s).isEmpty());

    store.resolvePermission(u"p2"_s);
    QVERIFY(store.permissions().isEmpty());
}

void AgentEventStoreTest::unheldRequestsAreCappedPerSession() {
    AgentEventStore store;
    for (int i = 0; i < 5; ++i) {
        const PendingPermission request = pending(u"p%1"_s.arg(i), u"s"_s, i);
        store.requestUnheld(request, heldFor(request), t0.addSecs(3600));
    }
    const PendingPermission elsewhere = pending(u"q"_s, u"t"_s, 0);
    store.requestUnheld(elsewhere, heldFor(elsewhere), t0.addSecs(3600));
    const auto shown = store.pendingPermissions(u"claude"_s);
    QStringList ids;
    for (const auto& request : shown) {
        ids.append(request.id);
    }
    QCOMPARE(ids, (QStringList{u"q"_s, u"p2"_s, u"p3"_s, u"p4"_s}));
}

void AgentEventStoreTest::statusLineRecordsFiguresAndKeepsLimits() {
    AgentEventStore store;
    const auto payload = [](const char* text) { return QJsonDocument::fromJson(QByteArray(text)).object(); };
    QVERIFY(!store.statusLines().record(payload(R"({"model":{"display_name":"Opus"}})"), t0));
    QVERIFY(store.statusLines().record(
        payload(R"({"session_id":"s","context_window":{"used_percentage":8,"context_window_size":200000,
                "total_input_tokens":15500},"cost":{"total_lines_added":156,"total_lines_removed":23},
                "rate_limits":{"five_hour":{"used_percentage":23.5,"resets_at":1738425600},
                               "seven_day":{"used_percentage":41.2}}})"),
        t0));
    auto reading = store.statusLines().session(u"s"_s);
    QVERIFY(reading);
    QCOMPARE(reading->usedPercentage, 8.0);
    QCOMPARE(reading->contextWindowSize, 200000);
    QCOMPARE(reading->linesAdded, 156);
    QCOMPARE(reading->fiveHour->resetsAt, QDateTime::fromSecsSinceEpoch(1738425600, Qt::UTC));
    QCOMPARE(reading->sevenDay->resetsAt, std::nullopt);

    // The same figures again are no change; a payload without limits keeps the earlier ones.
    QVERIFY(!store.statusLines().record(
        payload(R"({"session_id":"s","context_window":{"used_percentage":8,"context_window_size":200000,
                "total_input_tokens":15500},"cost":{"total_lines_added":156,"total_lines_removed":23}})"),
        t0.addSecs(5)));
    QVERIFY(store.statusLines().record(
        payload(R"({"session_id":"s","context_window":{"used_percentage":9,"context_window_size":"big"}})"),
        t0.addSecs(6)));
    reading = store.statusLines().session(u"s"_s);
    QCOMPARE(reading->usedPercentage, 9.0);
    QCOMPARE(reading->contextWindowSize, std::nullopt);
    QCOMPARE(reading->fiveHour->usedPercentage, 23.5);
    QCOMPARE(reading->limitsAt, t0);

    QVERIFY(store.statusLines().record(
        payload(
            R"({"session_id":"s","columns":80,"tasks":[{"id":"a1","name":"explore","tokenCount":1200},{"name":"no id"},)"
            R"({"id":"a2","label":"Review","description":"Read the diff"},{"id":"a3","description":"Run tests"}]})"),
        t0));
    // Claude Code gives a subagent a label or a description, not a name.
    QStringList names;
    for (const auto& task : store.statusLines().subagents().value(u"s"_s).tasks) {
        names.append(task.name.value_or(u"-"_s));
    }
    QCOMPARE(names, (QStringList{u"explore"_s, u"Review"_s, u"Run tests"_s}));
}

void AgentEventStoreTest::listReadingsMakeOfficialStates() {
    AgentEventStore store;
    store.update(u"anchored"_s, AgentActivity::blocked, u"Bash"_s, std::nullopt, t0.addSecs(-600));
    QVERIFY(store.officialSessionStates().isEmpty());

    QVERIFY(store.noteAgentList(
        reading({listed(u"plain"_s, Status::waiting), listed(u"anchored"_s, Status::waiting)}), t0));
    const auto first = store.officialSessionStates();
    QVERIFY(first.value(u"plain"_s).isBaseline);
    QCOMPARE(first.value(u"plain"_s).waitingFor, WaitingFor::unknown);
    QCOMPARE(first.value(u"anchored"_s).since, t0.addSecs(-600));
    QVERIFY(!first.value(u"anchored"_s).isBaseline);

    // The same list again is no change and keeps every beginning; a new session is no baseline.
    QVERIFY(!store.noteAgentList(
        reading({listed(u"plain"_s, Status::waiting), listed(u"anchored"_s, Status::waiting)}),
        t0.addSecs(30)));
    QCOMPARE(store.officialSessionStates(), first);
    QVERIFY(store.noteAgentList(
        reading({listed(u"plain"_s, Status::waiting), listed(u"new"_s, Status::busy)}), t0.addSecs(60)));
    const auto second = store.officialSessionStates();
    QVERIFY(!second.value(u"new"_s).isBaseline);
    QVERIFY(!second.contains(u"anchored"_s));
}

void AgentEventStoreTest::missingListSwitchesOfficialStatesOff() {
    AgentEventStore store;
    QVERIFY(!store.noteAgentList(std::nullopt, t0));
    QVERIFY(store.noteAgentList(reading({listed(u"s"_s, Status::busy, 42)}), t0));
    QVERIFY(store.noteAgentList(std::nullopt, t0.addSecs(5)));
    QVERIFY(store.officialSessionStates().isEmpty());
    QVERIFY(store.officialPIDs().isEmpty());
    QVERIFY(!store.agentListReading());
    QVERIFY(!store.noteAgentList(std::nullopt, t0.addSecs(10)));
    // The states were kept: the next reading carries the beginning over, and is no baseline.
    QVERIFY(store.noteAgentList(reading({listed(u"s"_s, Status::busy, 42)}), t0.addSecs(20)));
    QCOMPARE(store.officialSessionStates().value(u"s"_s).since, t0);
    QVERIFY(store.officialSessionStates().value(u"s"_s).isBaseline);
    QVERIFY(store.noteAgentList(reading({listed(u"s2"_s, Status::busy)}), t0.addSecs(30)));
    QVERIFY(!store.officialSessionStates().value(u"s2"_s).isBaseline);
}

void AgentEventStoreTest::listedPidsAndBackgroundAgents() {
    AgentEventStore store;
    ClaudeAgentList::BackgroundAgent job;
    job.id = u"job-1"_s;
    job.sessionID = u"s"_s;
    job.state = ClaudeAgentList::BackgroundAgent::State::working;
    store.noteAgentList(reading({listed(u"s"_s, Status::busy, 42), listed(u"t"_s, Status::idle)}, {job}), t0);
    QCOMPARE(store.officialPIDs(), (QHash<QString, qint32>{{u"s"_s, 42}}));
    QCOMPARE(store.listedBackgroundAgents(), QList{job});
    QVERIFY(store.backgroundAgentStates().value(u"job-1"_s).isBaseline);
    QCOMPARE(store.agentListReading()->list.sessions.size(), 2);

    // A changed background list is a change on its own.
    job.state = ClaudeAgentList::BackgroundAgent::State::done;
    QVERIFY(store.noteAgentList(
        reading({listed(u"s"_s, Status::busy, 42), listed(u"t"_s, Status::idle)}, {job}), t0.addSecs(5)));
    QCOMPARE(store.backgroundAgentStates().value(u"job-1"_s).finishedAt, t0.addSecs(5));
}

void AgentEventStoreTest::processScanIsSharedForASecond() {
    AgentEventStore store;
    TableScanner scanner;
    scanner.processes = {{7, u"/w"_s, t0, u"claude"_s}};
    const QList<AgentSession> sessions{session(u"s"_s, u"/w"_s)};
    QCOMPARE(store.processes(sessions, scanner, t0), (QHash<QString, qint32>{{u"s"_s, 7}}));
    QCOMPARE(store.processes(sessions, scanner, t0.addMSecs(1000)).value(u"s"_s), 7);
    QCOMPARE(scanner.scans.load(), 1);
    QCOMPARE(store.lastProcessScan()->at, t0);
    store.processes(sessions, scanner, t0.addMSecs(1001));
    QCOMPARE(scanner.scans.load(), 2);
    // A clock set back makes a new scan.
    store.processes(sessions, scanner, t0.addSecs(-30));
    QCOMPARE(scanner.scans.load(), 3);

    // A scan handed in is used, and kept for the callers after it.
    const QList<AgentProcess> handed{{9, u"/w"_s, t0, u"claude"_s}};
    QCOMPARE(store.processes(sessions, handed, scanner, t0.addSecs(100)).value(u"s"_s), 9);
    QCOMPARE(store.processes(sessions, scanner, t0.addSecs(100)).value(u"s"_s), 9);
    QCOMPARE(scanner.scans.load(), 3);
}

void AgentEventStoreTest::processesPlacedFromEveryWitness() {
    AgentEventStore store;
    TableScanner scanner;
    scanner.processes = {
        {10, u"/a"_s, t0, u"claude"_s},     {11, u"/two"_s, t0, u"claude"_s},
        {12, u"/two"_s, t0, u"claude"_s},   {13, u"/a/b"_s, t0, u"claude"_s},
        {14, u"/hooked"_s, t0, u"codex"_s},
    };
    scanner.running = {50};
    store.noteAgentList(reading({listed(u"listed"_s, Status::busy, 50)}), t0);
    store.note(u"hooked"_s, 14);
    store.noteAgent(u"hooked"_s, u"codex"_s);
    AgentSession hooked = session(u"hooked"_s, u"/elsewhere"_s);
    hooked.agentName = u"codex"_s;
    const QList<AgentSession> sessions{session(u"listed"_s, u"/a"_s), hooked, session(u"pair"_s, u"/two"_s),
                                       session(u"nested"_s, u"/a/b/c"_s)};
    const auto placed = store.processes(sessions, scanner, t0);
    QCOMPARE(placed, (QHash<QString, qint32>{{u"listed"_s, 50}, {u"hooked"_s, 14}, {u"nested"_s, 13}}));
}

void AgentEventStoreTest::readersOnOtherThreads() {
    // Hooks, lists and scans arrive from several threads; every reading stays whole.
    AgentEventStore store;
    TableScanner scanner;
    scanner.processes = {{10, u"/a"_s, t0, u"claude"_s}};
    std::atomic_bool stop{false};
    std::thread writer([&] {
        for (int round = 0; !stop && round < 5000; ++round) {
            store.noteAgentList(reading({listed(u"s"_s, round % 2 == 0 ? Status::busy : Status::idle, 10)}),
                                t0.addSecs(round));
            store.update(u"s"_s, AgentActivity::working, std::nullopt, std::nullopt, t0.addSecs(round));
        }
    });
    for (int round = 0; round < 2000; ++round) {
        const auto states = store.officialSessionStates();
        QVERIFY(states.size() <= 1);
        const auto placed =
            store.processes({session(u"s"_s, u"/a"_s)}, scanner, t0.addSecs(qint64{round} * 2));
        QVERIFY(placed.value(u"s"_s) == 10);
    }
    stop = true;
    writer.join();
}

QTEST_GUILESS_MAIN(AgentEventStoreTest)
#include "AgentEventStoreTest.moc"
