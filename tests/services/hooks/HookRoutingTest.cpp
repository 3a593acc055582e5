#include "core/diagnostics/DiagnosticLogger.h"
#include "modules/agents/live/AgentEventStore.h"
#include "platform/processes/fake/FakeAgentProcesses.h"
#include "services/hooks/HookListener.h"
#include "support/TestFiles.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

// How `handle` routes one request to the stores, and when it asks for an update and logs.
class HookRoutingTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void notificationSetsActivity_data();
    void notificationSetsActivity();
    void headersAreNoted_data();
    void headersAreNoted();
    void toolsAreShownByTheirLastName();
    void longRunningToolIsTheOnlyPostToolUseThatUpdates();
    void sessionStateEventsUpdateOnlyWhenTheyChangeSomething();
    void bodyWithoutEventNameIsNotedOnly();
    void modelsFollowStartAndSwitch();
    void updatesAreCoalesced();
    void tickDropsLapsedRequests();
    void unanswerableQuestions_data();
    void unanswerableQuestions();
    void hostedSessions();
    void captionsComeFromTheSessionList();
    void officialListReleasesWhatTheTerminalAnswered();

private:
    // Restarts the listener with a process table in which the agent has these arguments.
    void restartWithAgent(const QStringList& arguments);
    bool handle(const QByteArray& body, QHash<QString, QString> headers = {});
    int updatesAfterEvents();
    static bool logged(const QString& fragment);

    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<AgentEventStore> m_store;
    std::unique_ptr<HookListener> m_listener;
    ManualClock m_clock;
    FakeAgentProcesses m_processes;
    QString m_token;
    int m_updates = 0;
};

void HookRoutingTest::init() {
    m_home = std::make_unique<QTemporaryDir>();
    m_store = std::make_unique<AgentEventStore>();
    m_listener = std::make_unique<HookListener>(*m_store, m_clock, m_home->path());
    m_updates = 0;
    m_listener->onUpdate = [this] { ++m_updates; };
    QVERIFY(m_listener->start());
    m_token = QString::fromUtf8(tessary::testing::readFile(m_listener->files().tokenPath()));
}

void HookRoutingTest::cleanup() {
    m_listener.reset();
    m_store.reset();
}

bool HookRoutingTest::handle(const QByteArray& body, QHash<QString, QString> headers) {
    HookRequest request;
    request.headers = std::move(headers);
    if (!request.headers.contains(u"x-tessary-token"_s)) {
        request.headers.insert(u"x-tessary-token"_s, m_token);
    }
    request.json = QJsonDocument::fromJson(body).object();
    return m_listener->handle(request, nullptr);
}

int HookRoutingTest::updatesAfterEvents() {
    QCoreApplication::processEvents();
    const int count = m_updates;
    m_updates = 0;
    return count;
}

bool HookRoutingTest::logged(const QString& fragment) {
    const QStringList lines = DiagnosticLogger::shared().recentLines();
    return !lines.isEmpty() && lines.last().contains(fragment);
}

void HookRoutingTest::notificationSetsActivity_data() {
    QTest::addColumn<QString>("type");
    QTest::addColumn<std::optional<AgentActivity>>("activity");
    QTest::newRow("permission prompt") << u"permission_prompt"_s << std::optional(AgentActivity::blocked);
    QTest::newRow("elicitation") << u"elicitation_dialog"_s << std::optional(AgentActivity::blocked);
    QTest::newRow("elicitation url") << u"elicitation_url_dialog"_s << std::optional(AgentActivity::blocked);
    QTest::newRow("idle") << u"idle_prompt"_s << std::optional(AgentActivity::waiting);
    QTest::newRow("needs input") << u"agent_needs_input"_s << std::optional(AgentActivity::waiting);
    QTest::newRow("completed") << u"agent_completed"_s << std::optional(AgentActivity::waiting);
    QTest::newRow("unknown type") << u"auth_success"_s << std::optional<AgentActivity>();
}

void HookRoutingTest::notificationSetsActivity() {
    QFETCH(QString, type);
    QFETCH(std::optional<AgentActivity>, activity);
    QVERIFY(!handle(R"({"session_id":"s","hook_event_name":"UserPromptSubmit"})"));
    updatesAfterEvents();
    const QStringList before = DiagnosticLogger::shared().recentLines();
    m_clock.advance(5);
    QVERIFY(!handle(R"({"session_id":"s","hook_event_name":"Notification","notification_type":")" +
                    type.toUtf8() + R"(","message":"Claude needs your permission"})"));
    const AgentLiveState state = m_store->live().value(u"s"_s);
    QCOMPARE(state.activity, activity.value_or(AgentActivity::working));
    QCOMPARE(state.since, activity ? m_clock.now() : m_clock.now().addSecs(-5));
    QCOMPARE(updatesAfterEvents(), activity ? 1 : 0);
    if (!activity) {
        QCOMPARE(DiagnosticLogger::shared().recentLines(), before);
    }
}

void HookRoutingTest::headersAreNoted_data() {
    QTest::addColumn<QString>("agentHeader");
    QTest::addColumn<QString>("sourceHeader");
    QTest::addColumn<std::optional<qint32>>("pid");
    QTest::addColumn<QString>("agent");
    QTest::newRow("claude with a pid")
        << u"4242"_s << QString() << std::optional<qint32>(4242) << u"claude"_s;
    QTest::newRow("codex") << u"77"_s << u"codex"_s << std::optional<qint32>(77) << u"codex"_s;
    QTest::newRow("pid not a number") << u"12ab"_s << QString() << std::optional<qint32>() << u"claude"_s;
    QTest::newRow("pid past 32 bits")
        << u"4294967296"_s << QString() << std::optional<qint32>() << u"claude"_s;
    QTest::newRow("empty source") << QString() << u""_s << std::optional<qint32>() << u"claude"_s;
}

void HookRoutingTest::headersAreNoted() {
    QFETCH(QString, agentHeader);
    QFETCH(QString, sourceHeader);
    QFETCH(std::optional<qint32>, pid);
    QFETCH(QString, agent);
    QHash<QString, QString> headers;
    if (!agentHeader.isNull()) {
        headers.insert(u"x-tessary-agent"_s, agentHeader);
    }
    if (!sourceHeader.isNull()) {
        headers.insert(u"x-tessary-source"_s, sourceHeader);
    }
    handle(R"({"session_id":"s","cwd":"","hook_event_name":"SessionStart","source":"startup"})", headers);
    QCOMPARE(m_store->agentPIDs().contains(u"s"_s), pid.has_value());
    if (pid) {
        QCOMPARE(m_store->agentPIDs().value(u"s"_s), *pid);
    }
    QCOMPARE(m_store->agent(u"s"_s), agent);
    // An empty directory counts as none.
    QVERIFY(!m_store->sessionProjects().contains(u"s"_s));
}

void HookRoutingTest::toolsAreShownByTheirLastName() {
    handle(R"({"session_id":"s","hook_event_name":"PreToolUse","tool_name":"mcp__github__create_issue",
               "tool_input":{"url":"https://github.invalid/o/r"},"tool_use_id":"toolu_1"})");
    QCOMPARE(m_store->live().value(u"s"_s).tool, u"create_issue"_s);
    QCOMPARE(m_store->toolStarts().value(u"toolu_1"_s).tool, u"create_issue"_s);
    // The fingerprint keeps the raw name, so that a later permission request of the call matches.
    QCOMPARE(m_store->toolStarts().value(u"toolu_1"_s).fingerprint->tool, u"mcp__github__create_issue"_s);
    QVERIFY(logged(u"hook event=PreToolUse session=s tool=mcp__github__create_issue"_s));

    // A call without a tool name or id still shows the session working.
    handle(R"({"session_id":"t","hook_event_name":"PreToolUse"})");
    QCOMPARE(m_store->live().value(u"t"_s).tool, std::nullopt);
    QCOMPARE(m_store->toolStarts().size(), 1);
}

void HookRoutingTest::longRunningToolIsTheOnlyPostToolUseThatUpdates() {
    const QByteArray start = R"({"session_id":"s","hook_event_name":"PreToolUse","tool_name":"Bash",
                                 "tool_input":{"command":"make"},"tool_use_id":"short"})";
    handle(start);
    m_clock.advance(10);
    updatesAfterEvents();
    handle(R"({"session_id":"s","hook_event_name":"PostToolUse","tool_name":"Bash","tool_use_id":"short"})");
    QCOMPARE(updatesAfterEvents(), 0);
    QCOMPARE(m_store->finishedTools().size(), 1);

    handle(QByteArray(start).replace("\"short\"", "\"long\""));
    m_clock.advance(180);
    updatesAfterEvents();
    handle(
        R"({"session_id":"s","hook_event_name":"PostToolUseFailure","tool_name":"Bash","tool_use_id":"long",
               "error":"Exit code 2"})");
    QCOMPARE(updatesAfterEvents(), 1);
    QVERIFY(logged(u"hook event=PostToolUseFailure session=s tool=Bash"_s));
    QCOMPARE(m_store->finishedTools().last().error, u"Exit code 2"_s);
    QVERIFY(m_store->finishedTools().last().failed);

    // Without an id, or for a call never started, nothing happens.
    handle(R"({"session_id":"s","hook_event_name":"PostToolUse","tool_name":"Bash"})");
    handle(R"({"session_id":"s","hook_event_name":"PostToolUse","tool_use_id":"unknown"})");
    QCOMPARE(m_store->finishedTools().size(), 2);
    QCOMPARE(updatesAfterEvents(), 0);
}

void HookRoutingTest::sessionStateEventsUpdateOnlyWhenTheyChangeSomething() {
    const QByteArray start =
        R"({"session_id":"s","hook_event_name":"SubagentStart","agent_id":"a1b2c3d4e5"})";
    handle(start);
    QCOMPARE(updatesAfterEvents(), 1);
    QVERIFY(logged(u"hook event=SubagentStart session=s"_s));
    const QStringList before = DiagnosticLogger::shared().recentLines();
    // The same start again changes nothing but the start time... which is the same here.
    handle(start);
    QCOMPARE(updatesAfterEvents(), 0);
    QCOMPARE(DiagnosticLogger::shared().recentLines(), before);
    // An event unknown to the routing changes nothing and says nothing.
    handle(R"({"session_id":"s","hook_event_name":"InstructionsLoaded"})");
    QCOMPARE(updatesAfterEvents(), 0);
    QCOMPARE(DiagnosticLogger::shared().recentLines(), before);
}

void HookRoutingTest::bodyWithoutEventNameIsNotedOnly() {
    handle(R"({"session_id":"s","cwd":"/work/app"})", {{u"x-tessary-agent"_s, u"99"_s}});
    QCOMPARE(m_store->sessionProjects().value(u"s"_s), u"/work/app"_s);
    QCOMPARE(m_store->agentPIDs().value(u"s"_s), 99);
    QVERIFY(m_store->live().isEmpty());
    QCOMPARE(updatesAfterEvents(), 1);
    QVERIFY(logged(u"hook event=none session=s"_s));
    // Without a session nothing at all is noted.
    handle(R"({"cwd":"/elsewhere","hook_event_name":"Stop"})");
    QCOMPARE(m_store->sessionProjects().size(), 1);
    QCOMPARE(updatesAfterEvents(), 0);
}

void HookRoutingTest::modelsFollowStartAndSwitch() {
    handle(
        R"({"session_id":"s","hook_event_name":"SessionStart","source":"startup","model":"claude-opus-4-8"})");
    handle(
        R"({"session_id":"s","hook_event_name":"PostModelSwitch","from_model":"claude-opus-4-8","to_model":"claude-sonnet-5"})");
    QCOMPARE(m_store->models().value(u"s"_s),
             (LiveModel{u"claude-sonnet-5"_s, u"claude-opus-4-8"_s, m_clock.now()}));
    handle(R"({"session_id":"s","hook_event_name":"CwdChanged","new_cwd":"/tmp/sub"})");
    QCOMPARE(m_store->sessionProjects().value(u"s"_s), u"/tmp/sub"_s);
}

void HookRoutingTest::updatesAreCoalesced() {
    for (int i = 0; i < 20; ++i) {
        handle(R"({"session_id":"s)" + QByteArray::number(i) + R"(","hook_event_name":"UserPromptSubmit"})");
    }
    QCOMPARE(m_updates, 0);
    QCOMPARE(updatesAfterEvents(), 1);
    QCOMPARE(m_store->live().size(), 20);
}

void HookRoutingTest::tickDropsLapsedRequests() {
    PendingPermission request;
    request.id = u"p"_s;
    request.sessionID = u"s"_s;
    request.askedAt = m_clock.now();
    m_store->requestUnheld(
        request, HeldRequestRelease::Held::of(u"p"_s, u"s"_s, u"Bash"_s, {}, request.askedAt, std::nullopt),
        m_clock.now().addSecs(30));
    m_listener->tick(m_clock.now().addSecs(29));
    QCOMPARE(updatesAfterEvents(), 0);
    m_listener->tick(m_clock.now().addSecs(30));
    QCOMPARE(updatesAfterEvents(), 1);
    QVERIFY(logged(u"permission.lapsed count=1"_s));
    QVERIFY(m_store->unheldForRelease().isEmpty());
}

void HookRoutingTest::restartWithAgent(const QStringList& arguments) {
    m_listener.reset();
    m_processes.add(
        {4242, 1, u"/usr/local/bin/claude"_s, arguments, {}, m_clock.now().addSecs(-60), u"/dev/pts/1"_s});
    m_listener = std::make_unique<HookListener>(*m_store, m_clock, m_home->path(), &m_processes);
    m_listener->onUpdate = [this] { ++m_updates; };
    QVERIFY(m_listener->start());
}

void HookRoutingTest::unanswerableQuestions_data() {
    QTest::addColumn<QString>("source");
    QTest::addColumn<QStringList>("arguments");
    // Seconds the question stays on show; 0 for none.
    QTest::addColumn<int>("shownFor");
    QTest::newRow("Codex in a terminal") << u"codex"_s << QStringList{u"codex"_s} << 1800;
    QTest::newRow("headless Codex") << u"codex"_s << QStringList{u"codex"_s, u"--print"_s} << 0;
    QTest::newRow("Claude Code asks through its permission request")
        << QString() << QStringList{u"claude"_s} << 0;
}

void HookRoutingTest::unanswerableQuestions() {
    QFETCH(QString, source);
    QFETCH(QStringList, arguments);
    QFETCH(int, shownFor);
    restartWithAgent(arguments);
    QHash<QString, QString> headers{{u"x-tessary-agent"_s, u"4242"_s}};
    if (!source.isEmpty()) {
        headers.insert(u"x-tessary-source"_s, source);
    }
    handle(
        R"({"session_id":"q","hook_event_name":"PreToolUse","tool_name":"request_user_input","tool_use_id":"c1",)"
        R"("tool_input":{"questions":[{"question":"Which branch?","options":[{"label":"main"}]}]}})",
        headers);
    const QList<PendingPermission> shown = m_store->pendingPermissions();
    QVERIFY(m_listener->heldRequests().isEmpty());
    if (shownFor == 0) {
        QVERIFY(shown.isEmpty());
        return;
    }
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().id, u"c1"_s);
    QCOMPARE(shown.first().question->options.first().label, u"main"_s);
    QCOMPARE(m_store->live().value(u"q"_s).activity, AgentActivity::blocked);
    QVERIFY(logged(u"question.unanswerable"_s) || !m_store->pendingPermissions().isEmpty());
    // Nothing answers it on the card; it goes when its time is over.
    QVERIFY(!m_listener->decide(u"c1"_s, PermissionDecision::allow, {}));
    m_listener->tick(m_clock.now().addSecs(shownFor - 1));
    QCOMPARE(m_store->pendingPermissions().size(), 1);
    m_listener->tick(m_clock.now().addSecs(shownFor));
    QVERIFY(m_store->pendingPermissions().isEmpty());
}

void HookRoutingTest::hostedSessions() {
    // A session driven by another program that answers its own prompts.
    restartWithAgent({u"claude"_s, u"--permission-prompt-tool"_s, u"mcp__host__ask"_s, u"-p"_s, u"x"_s});
    const QHash<QString, QString> agent{{u"x-tessary-agent"_s, u"4242"_s}};
    // Its plan review is left to the host altogether: the empty answer at once.
    const bool planHeld =
        handle(R"({"session_id":"h","hook_event_name":"PermissionRequest","tool_name":"ExitPlanMode",)"
               R"("tool_input":{"plan":"# P"}})",
               agent);
    QVERIFY(!planHeld);
    QVERIFY(logged(u"plan.hostingApp"_s));
    QVERIFY(m_store->pendingPermissions().isEmpty());
    QVERIFY(m_store->permissionAsks().isEmpty());
    // Its other requests are shown, not held, for the host's lifetime.
    const bool commandAnswered =
        handle(R"({"session_id":"h","hook_event_name":"PermissionRequest","tool_name":"Bash",)"
               R"("tool_input":{"command":"ls"}})",
               agent);
    QVERIFY(commandAnswered);
    QVERIFY(m_listener->heldRequests().isEmpty());
    const QList<PendingPermission> shown = m_store->pendingPermissions();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().host, PermissionHost::unknownApp);
    m_listener->tick(m_clock.now().addSecs(qint64(HookListener::hostedLifetime) - 1));
    QCOMPARE(m_store->pendingPermissions().size(), 1);
    m_listener->tick(m_clock.now().addSecs(qint64(HookListener::hostedLifetime)));
    QVERIFY(m_store->pendingPermissions().isEmpty());
}

void HookRoutingTest::captionsComeFromTheSessionList() {
    m_listener->describeSession = [](const QString& session) {
        return HookListener::SessionCaption{u"Title of "_s + session, u"tessary"_s, u"purple"_s};
    };
    const bool firstHeld =
        handle(R"({"session_id":"c","hook_event_name":"PermissionRequest","tool_name":"mcp__gh__merge",)"
               R"("tool_use_id":"toolu_7","cwd":"","tool_input":{"url":"https://x"}})");
    QVERIFY(firstHeld);
    const PendingPermission pending = m_store->pendingPermissions().first();
    QCOMPARE(pending.id, u"toolu_7"_s);
    QCOMPARE(pending.tool, u"merge"_s);
    QCOMPARE(pending.summary, u"https://x"_s);
    QCOMPARE(pending.sessionTitle, u"Title of c"_s);
    QCOMPARE(pending.project, u"tessary"_s);
    QCOMPARE(pending.sessionColor, u"purple"_s);
    QCOMPARE(pending.directory, std::nullopt);
    QCOMPARE(pending.askedAt, m_clock.now());
    QCOMPARE(m_listener->heldRequests(), QStringList{u"toolu_7"_s});

    // A session not listed yet goes by its folder's name.
    m_listener->describeSession = [](const QString&) { return HookListener::SessionCaption{}; };
    const bool secondHeld =
        handle(R"({"session_id":"d","hook_event_name":"PermissionRequest","tool_name":"Bash",)"
               R"("tool_use_id":"toolu_8","cwd":"/home/me/work/api","tool_input":{"command":"make"}})");
    QVERIFY(secondHeld);
    QCOMPARE(m_store->pendingPermissions().last().project, u"api"_s);
}

void HookRoutingTest::officialListReleasesWhatTheTerminalAnswered() {
    const bool held = handle(R"({"session_id":"s","hook_event_name":"PermissionRequest","tool_name":"Bash",)"
                             R"("tool_input":{"command":"make"}})");
    QVERIFY(held);
    const auto reading = [](ClaudeAgentList::Status status) {
        ClaudeAgentList list;
        list.sessions.append({u"s"_s, 4242, {}, {}, {}, status, ClaudeAgentList::WaitingFor::permission});
        return list;
    };
    m_listener->agentListRead(reading(ClaudeAgentList::Status::waiting), m_clock.now().addSecs(2));
    QCOMPARE(m_listener->heldRequests().size(), 1);
    m_listener->agentListRead(reading(ClaudeAgentList::Status::busy), m_clock.now().addSecs(47));
    QVERIFY(m_listener->heldRequests().isEmpty());
    QVERIFY(m_store->pendingPermissions().isEmpty());
    QVERIFY(logged(u"reason=official list: waiting, then busy or idle"_s));
}

QTEST_GUILESS_MAIN(HookRoutingTest)
#include "HookRoutingTest.moc"
