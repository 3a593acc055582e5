#include "modules/agents/live/AgentEventStore.h"
#include "modules/agents/permissions/PermissionCommand.h"
#include "platform/processes/fake/FakeAgentProcesses.h"
#include "platform/processes/linux/LiveAgentProcesses.h"
#include "services/hooks/HookCommands.h"
#include "services/hooks/HookListener.h"
#include "services/hooks/HookWire.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <vector>

using namespace tessary;
using namespace Qt::StringLiterals;
using HookCommands::HookRun;
using HookCommands::logged;

// Permission requests held on their connection, as the agents make them: the installed decision command
// run by a real shell with real curl, over loopback, answered, released or expired by the listener.
class PermissionHoldTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void decisionBodies_data();
    void decisionBodies();
    void turnEnders_data();
    void turnEnders();
    void toolEndReleasesTheOlderOfTwoIdenticalRequests();
    void newPlanReplacesTheHeldPlan();
    void closedConnectionReleases();
    void deadlineExpiresAndTheEntryStaysForAWhile();
    void headlessSessionIsReleasedAtItsShorterDeadline();
    void runningCommandReleases();
    void hostedRequestIsShownWithoutHold();
    void lateAnswersSendNothing();
    void stoppingLeavesTheAgentsToTheirTerminals();

private:
    void startListener(const AgentProcessReading* processes = nullptr);
    // Runs the decision command and waits until the listener holds its request; the command runs on.
    std::shared_ptr<QProcess> hold(const QByteArray& body, const QString& source = {}, int curlLimit = 0);
    HookRun post(const QByteArray& body, const QString& source = {});

    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<AgentEventStore> m_store;
    std::unique_ptr<HookListener> m_listener;
    ManualClock m_clock;
    // Decision commands still running at the end of a test end with the listener.
    std::vector<std::shared_ptr<QProcess>> m_decisions;
};

namespace {

QByteArray compact(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray request(const QString& session, const QString& tool, const QJsonObject& input,
                   const QJsonObject& extra = {}) {
    QJsonObject body{{u"session_id"_s, session},
                     {u"cwd"_s, u"/home/dev/project"_s},
                     {u"hook_event_name"_s, u"PermissionRequest"_s},
                     {u"tool_name"_s, tool},
                     {u"tool_input"_s, input}};
    for (auto it = extra.begin(); it != extra.end(); ++it) {
        body.insert(it.key(), it.value());
    }
    return compact(body);
}

QByteArray bash(const QString& session, const QString& command, const QString& description = u"Run it"_s) {
    return request(session, u"Bash"_s, {{u"command"_s, command}, {u"description"_s, description}});
}

QJsonObject object(const char* json) {
    return QJsonDocument::fromJson(json).object();
}

// The decision command's output around a decision, as Claude Code and Codex read it.
QByteArray answer(const QByteArray& decision) {
    return R"({"hookSpecificOutput":{"decision":)" + decision + R"(,"hookEventName":"PermissionRequest"}})";
}

} // namespace

void PermissionHoldTest::init() {
    m_home = std::make_unique<QTemporaryDir>();
    QVERIFY(m_home->isValid());
    m_store = std::make_unique<AgentEventStore>();
    m_clock.set(QDateTime::currentDateTimeUtc());
    startListener();
}

void PermissionHoldTest::startListener(const AgentProcessReading* processes) {
    m_listener.reset();
    m_listener = std::make_unique<HookListener>(*m_store, m_clock, m_home->path(), processes);
    QVERIFY(m_listener->start());
}

void PermissionHoldTest::cleanup() {
    m_listener.reset();
    for (const auto& decision : m_decisions) {
        QCOMPARE(HookCommands::finish(decision.get(), 5000).exitCode, 0);
    }
    m_decisions.clear();
    m_store.reset();
    m_home.reset();
}

std::shared_ptr<QProcess> PermissionHoldTest::hold(const QByteArray& body, const QString& source,
                                                   int curlLimit) {
    const QStringList before = m_listener->heldRequests();
    std::shared_ptr<QProcess> process =
        HookCommands::start(m_home->path(), HookCommands::decisionCommand(source, curlLimit), body);
    if (!QTest::qWaitFor([&] { return m_listener->heldRequests() != before; }, 10000)) {
        qWarning("the request was not held");
    }
    m_decisions.push_back(process);
    return process;
}

HookRun PermissionHoldTest::post(const QByteArray& body, const QString& source) {
    const auto process = HookCommands::start(m_home->path(), HookCommands::eventCommand(source), body);
    return HookCommands::finish(process.get());
}

void PermissionHoldTest::decisionBodies_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("source");
    // "allow", "deny", "dontAsk", "answer", "approve", "acceptEdits", or "changes:<feedback>".
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QByteArray>("output");

    const QByteArray npmTest = bash(u"s"_s, u"npm test"_s);
    QTest::newRow("allow") << npmTest << QString() << u"allow"_s << answer(R"({"behavior":"allow"})");
    QTest::newRow("deny carries the reason")
        << npmTest << QString() << u"deny"_s
        << answer(R"({"behavior":"deny","message":"Denied by the user on Tessary"})");

    const QJsonObject offered = object(
        R"({"permission_suggestions":[{"type":"addDirectories","directories":["/home/dev/project/sub"],)"
        R"("destination":"session"},{"type":"addRules","rules":[{"toolName":"Bash",)"
        R"("ruleContent":"npm test"}],"behavior":"allow","destination":"localSettings"}]})");
    QTest::newRow("always allow takes the agent's own rule")
        << request(u"s"_s, u"Bash"_s, {{u"command"_s, u"npm test"_s}}, offered) << QString() << u"dontAsk"_s
        << answer(R"({"behavior":"allow","updatedPermissions":[{"behavior":"allow",)"
                  R"("destination":"localSettings","rules":[{"ruleContent":"npm test","toolName":"Bash"}],)"
                  R"("type":"addRules"}]})");
    const QJsonObject denyRulesOnly =
        object(R"({"permission_suggestions":[{"type":"addRules",)"
               R"("rules":[{"toolName":"Bash"}],"behavior":"deny","destination":"session"}]})");
    QTest::newRow("always allow without an allowing suggestion")
        << request(u"s"_s, u"Bash"_s, {{u"command"_s, u"npm test"_s}}, denyRulesOnly) << QString()
        << u"dontAsk"_s
        << answer(R"({"behavior":"allow","updatedPermissions":[{"behavior":"allow","destination":"session",)"
                  R"("rules":[{"toolName":"Bash"}],"type":"addRules"}]})");
    QTest::newRow("always allow without suggestions keeps the raw tool name")
        << request(u"s"_s, u"mcp__github__create_issue"_s, {{u"title"_s, u"Bug"_s}}) << QString()
        << u"dontAsk"_s
        << answer(R"({"behavior":"allow","updatedPermissions":[{"behavior":"allow","destination":"session",)"
                  R"("rules":[{"toolName":"mcp__github__create_issue"}],"type":"addRules"}]})");
    QTest::newRow("always allow is a plain allow for Codex")
        << npmTest << u"codex"_s << u"dontAsk"_s << answer(R"({"behavior":"allow"})");

    const QJsonObject question =
        object(R"({"questions":[{"question":"Which branch?","header":"Branch",)"
               R"("multiSelect":false,"options":[{"label":"main"},{"label":"dev"}]}]})");
    QTest::newRow("answers go back as the updated input")
        << request(u"s"_s, u"AskUserQuestion"_s, question) << QString() << u"answer"_s
        << answer(R"({"behavior":"allow","updatedInput":{"answers":{"Which branch?":"dev"},)"
                  R"("questions":[{"header":"Branch","multiSelect":false,"options":[{"label":"main"},)"
                  R"({"label":"dev"}],"question":"Which branch?"}]}})");
    QTest::newRow("answers are not sent to an agent that ignores them")
        << request(u"s"_s, u"AskUserQuestion"_s, question) << u"codex"_s << u"answer"_s
        << answer(R"({"behavior":"allow"})");

    const QByteArray plan =
        request(u"s"_s, u"ExitPlanMode"_s, {{u"plan"_s, u"# Plan\n1. Read \"the\" code"_s}});
    QTest::newRow("plan approved")
        << plan << QString() << u"approve"_s
        << answer(R"({"behavior":"allow","updatedInput":{"plan":"# Plan\n1. Read \"the\" code"}})");
    QTest::newRow("plan approved accepting edits")
        << plan << QString() << u"acceptEdits"_s
        << answer(
               R"({"behavior":"allow","updatedInput":{"plan":"# Plan\n1. Read \"the\" code"},)"
               R"("updatedPermissions":[{"destination":"session","mode":"acceptEdits","type":"setMode"}]})");
    QTest::newRow("changes requested, feedback quoted as it is")
        << plan << QString() << u"changes:  Use \"std::span\" \\ not pointers\n"_s
        << answer(
               R"({"behavior":"deny","message":"The user reviewed this plan in Tessary and requested )"
               R"(changes. The user's feedback: Use \"std::span\" \\ not pointers. Revise the plan and call )"
               R"(ExitPlanMode again."})");
    QTest::newRow("a blank note approves")
        << plan << QString() << u"changes: \n\t "_s
        << answer(R"({"behavior":"allow","updatedInput":{"plan":"# Plan\n1. Read \"the\" code"}})");
}

void PermissionHoldTest::decisionBodies() {
    QFETCH(QByteArray, body);
    QFETCH(QString, source);
    QFETCH(QString, answer);
    QFETCH(QByteArray, output);

    const auto decision = hold(body, source);
    QCOMPARE(m_listener->heldRequests().size(), 1);
    const QString id = m_listener->heldRequests().first();
    const PendingPermission pending = m_store->pendingPermissions().first();
    QCOMPARE(pending.id, id);
    bool sent = false;
    if (answer == u"answer"_s) {
        // The card's key for the second option, through the command the surface gives.
        const auto command = PermissionCommand::fromText(PermissionCommand::answer(id, 1).text());
        QVERIFY(command);
        const auto response = command->response(m_store->pendingPermissions());
        QVERIFY(response);
        sent = m_listener->decide(id, response->decision, QString::fromLatin1(deniedByUserReason),
                                  response->answers);
    } else if (answer == u"approve"_s) {
        sent = m_listener->review(id, PlanReview::approve());
    } else if (answer == u"acceptEdits"_s) {
        sent = m_listener->review(id, PlanReview::approveAcceptingEdits());
    } else if (answer.startsWith(u"changes:"_s)) {
        sent = m_listener->review(id, PlanReview::requestingChanges(answer.sliced(8)));
    } else {
        const auto decisionCase = enumFromRaw<PermissionDecision>(answer);
        QVERIFY(decisionCase);
        sent = m_listener->decide(id, *decisionCase, QString::fromLatin1(deniedByUserReason));
    }
    QVERIFY(sent);
    QCOMPARE(HookCommands::finish(decision.get()), (HookRun{0, output}));
    QVERIFY(m_listener->heldRequests().isEmpty());
    QVERIFY(m_store->pendingPermissions().isEmpty());
    // The agent goes on with the turn.
    QCOMPARE(m_store->live().value(u"s"_s).activity, AgentActivity::working);
}

void PermissionHoldTest::turnEnders_data() {
    QTest::addColumn<QByteArray>("event");
    QTest::addColumn<bool>("releases");
    QTest::newRow("Stop") << QByteArray(R"({"session_id":"s","hook_event_name":"Stop"})") << true;
    QTest::newRow("typed in the terminal")
        << QByteArray(R"({"session_id":"s","hook_event_name":"UserPromptSubmit","prompt":"no, do X"})")
        << true;
    QTest::newRow("StopFailure") << QByteArray(
                                        R"({"session_id":"s","hook_event_name":"StopFailure","error":"x"})")
                                 << true;
    QTest::newRow("SessionEnd") << QByteArray(R"({"session_id":"s","hook_event_name":"SessionEnd"})") << true;
    QTest::newRow("Stop of another session")
        << QByteArray(R"({"session_id":"other","hook_event_name":"Stop"})") << false;
    QTest::newRow("a notification") << QByteArray(R"({"session_id":"s","hook_event_name":"Notification",)"
                                                  R"("notification_type":"permission_prompt"})")
                                    << false;
}

void PermissionHoldTest::turnEnders() {
    QFETCH(QByteArray, event);
    QFETCH(bool, releases);
    const auto first = hold(bash(u"s"_s, u"rm -rf build"_s));
    const auto second = hold(bash(u"s"_s, u"rm -rf dist"_s));
    QCOMPARE(m_listener->heldRequests().size(), 2);
    QCOMPARE(post(event).exitCode, 0);
    if (releases) {
        // Every request of the turn is over; the agents get the empty answer.
        QCOMPARE(HookCommands::finish(first.get()), (HookRun{0, {}}));
        QCOMPARE(HookCommands::finish(second.get()), (HookRun{0, {}}));
        QVERIFY(m_listener->heldRequests().isEmpty());
        QVERIFY(m_store->pendingPermissions().isEmpty());
    } else {
        QTest::qWait(200);
        QCOMPARE(first->state(), QProcess::Running);
        QCOMPARE(m_listener->heldRequests().size(), 2);
        QCOMPARE(m_store->pendingPermissions().size(), 2);
    }
}

void PermissionHoldTest::toolEndReleasesTheOlderOfTwoIdenticalRequests() {
    // Claude Code's requests carry no call id; the agent rewrites the description in between.
    const auto older = hold(bash(u"s"_s, u"npm publish"_s, u"Publish"_s));
    m_clock.advance(1);
    const auto younger = hold(bash(u"s"_s, u"npm publish"_s, u"Publish again"_s));
    const QStringList ids = m_listener->heldRequests();
    QCOMPARE(ids.size(), 2);

    QCOMPARE(
        post(R"({"session_id":"s","hook_event_name":"PostToolUse","tool_name":"Bash",)"
             R"("tool_use_id":"toolu_1","tool_input":{"command":"npm publish","description":"Publish it"}})")
            .exitCode,
        0);
    QCOMPARE(HookCommands::finish(older.get()), (HookRun{0, {}}));
    QCOMPARE(m_listener->heldRequests(), QStringList{ids[1]});
    QCOMPARE(younger->state(), QProcess::Running);
    QVERIFY(logged(u"permission.released reason=PostToolUse"_s));

    // A different command's end leaves it; its own failure ends it.
    QCOMPARE(post(R"({"session_id":"s","hook_event_name":"PostToolUse","tool_name":"Bash",)"
                  R"("tool_input":{"command":"npm test"}})")
                 .exitCode,
             0);
    QCOMPARE(m_listener->heldRequests(), QStringList{ids[1]});
    QCOMPARE(post(R"({"session_id":"s","hook_event_name":"PostToolUseFailure","tool_name":"Bash",)"
                  R"("tool_input":{"command":"npm publish"},"error":"exit 1"})")
                 .exitCode,
             0);
    QCOMPARE(HookCommands::finish(younger.get()), (HookRun{0, {}}));
    QVERIFY(m_listener->heldRequests().isEmpty());
}

void PermissionHoldTest::newPlanReplacesTheHeldPlan() {
    const auto oldPlan = hold(request(u"s"_s, u"ExitPlanMode"_s, {{u"plan"_s, u"## First idea"_s}}));
    const QString oldID = m_listener->heldRequests().first();
    QCOMPARE(m_store->pendingPermissions().first().plan, u"## First idea"_s);
    QCOMPARE(m_store->pendingPermissions().first().summary, u"First idea"_s);
    const auto newPlan = hold(request(u"s"_s, u"ExitPlanMode"_s, {{u"plan"_s, u"## Better idea"_s}}));
    QCOMPARE(HookCommands::finish(oldPlan.get()), (HookRun{0, {}}));
    QCOMPARE(m_listener->heldRequests().size(), 1);
    QVERIFY(m_listener->heldRequests().first() != oldID);
    QCOMPARE(m_store->pendingPermissions().size(), 1);
    QCOMPARE(m_store->pendingPermissions().first().plan, u"## Better idea"_s);
    QCOMPARE(newPlan->state(), QProcess::Running);
    // A plan of another session is no replacement.
    const auto otherSession = hold(request(u"t"_s, u"ExitPlanMode"_s, {{u"plan"_s, u"x"_s}}));
    QCOMPARE(m_listener->heldRequests().size(), 2);
}

void PermissionHoldTest::closedConnectionReleases() {
    // curl's own time limit ends the hook (as would the agent being killed): the request is over at once.
    const auto decision = hold(bash(u"s"_s, u"make install"_s), {}, 1);
    QCOMPARE(m_store->pendingPermissions().size(), 1);
    QVERIFY(QTest::qWaitFor([&] { return m_listener->heldRequests().isEmpty(); }, 4000));
    QVERIFY(m_store->pendingPermissions().isEmpty());
    QVERIFY(logged(u"permission.released reason=hook connection closed"_s));
    QCOMPARE(HookCommands::finish(decision.get()), (HookRun{0, {}}));
    QTest::qWait(50);
    QCOMPARE(m_listener->openConnections(), 0);
}

void PermissionHoldTest::deadlineExpiresAndTheEntryStaysForAWhile() {
    const auto decision = hold(bash(u"s"_s, u"terraform apply"_s));
    const QString id = m_listener->heldRequests().first();
    m_clock.advance(539);
    m_listener->tick(m_clock.now());
    QCOMPARE(m_listener->heldRequests().size(), 1);
    m_clock.advance(1);
    m_listener->tick(m_clock.now());
    QCOMPARE(HookCommands::finish(decision.get()), (HookRun{0, {}}));
    QVERIFY(m_listener->heldRequests().isEmpty());
    QVERIFY(logged(u"permission.expired"_s));
    // On show, expired: a click now answers nothing and sends nothing.
    const QList<PendingPermission> shown = m_store->pendingPermissions();
    QCOMPARE(shown.size(), 1);
    QVERIFY(shown.first().isExpired);
    QCOMPARE(PermissionCommand::decide(id, PermissionDecision::allow).response(shown), std::nullopt);
    QVERIFY(!m_listener->decide(id, PermissionDecision::allow, {}));
    // Gone once its time on show is over.
    m_clock.advance(AgentEventStore::expiredLifetime);
    m_listener->tick(m_clock.now());
    QVERIFY(m_store->pendingPermissions().isEmpty());
}

void PermissionHoldTest::headlessSessionIsReleasedAtItsShorterDeadline() {
    FakeAgentProcesses processes;
    // The agent of the decision command is this test's process ($PPID of the hook's shell).
    processes.add({static_cast<qint32>(QCoreApplication::applicationPid()), 1, u"/usr/bin/claude"_s,
                   QStringList{u"claude"_s, u"--output-format=stream-json"_s, u"-p"_s, u"go"_s}});
    startListener(&processes);
    const auto decision = hold(bash(u"s"_s, u"deploy"_s));
    m_clock.advance(44);
    m_listener->tick(m_clock.now());
    QCOMPARE(m_listener->heldRequests().size(), 1);
    m_clock.advance(1);
    m_listener->tick(m_clock.now());
    QCOMPARE(HookCommands::finish(decision.get()), (HookRun{0, {}}));
    // Nobody sits at a headless session: the entry goes rather than staying expired.
    QVERIFY(m_store->pendingPermissions().isEmpty());
    QVERIFY(logged(u"permission.released reason=headless session, card time over"_s));
    m_listener.reset();
}

void PermissionHoldTest::runningCommandReleases() {
    SystemClock systemClock;
    const LiveAgentProcesses processes(systemClock);
    startListener(&processes);
    // A command that already ran before the request is no proof of an answer to it. (Start times from
    // /proc are exact to a second only, hence the pauses.)
    QProcess before;
    before.start(u"sleep"_s, {u"31.25"_s});
    QVERIFY(before.waitForStarted());
    QTest::qWait(1100);
    const QDateTime askedAt = QDateTime::currentDateTimeUtc();
    m_clock.set(askedAt);
    const auto early = hold(bash(u"s"_s, u"sleep 31.25"_s));
    m_listener->tick(askedAt.addSecs(1));
    QCOMPARE(m_listener->heldRequests().size(), 1);

    // The agent (this test's process, the parent of the hook's shell) runs the command of a held
    // request: it was allowed in the terminal.
    const auto held = hold(bash(u"s"_s, u"sleep 32.25"_s));
    QTest::qWait(1100);
    QProcess allowed;
    allowed.start(u"sleep"_s, {u"32.25"_s});
    QVERIFY(allowed.waitForStarted());
    // Paced: within a second of the last sweep nothing is read.
    m_listener->tick(askedAt.addMSecs(1500));
    QCOMPARE(m_listener->heldRequests().size(), 2);
    m_listener->tick(askedAt.addSecs(2));
    QCOMPARE(HookCommands::finish(held.get()), (HookRun{0, {}}));
    QCOMPARE(m_listener->heldRequests().size(), 1);
    QVERIFY(logged(u"permission.released reason=approved command is running"_s));

    // The same long command does not release a later identical request.
    const auto later = hold(bash(u"s"_s, u"sleep 32.25"_s));
    m_listener->tick(askedAt.addSecs(3));
    QCOMPARE(m_listener->heldRequests().size(), 2);
    QCOMPARE(later->state(), QProcess::Running);
    QCOMPARE(early->state(), QProcess::Running);

    before.kill();
    allowed.kill();
    before.waitForFinished();
    allowed.waitForFinished();
    m_listener.reset();
}

void PermissionHoldTest::hostedRequestIsShownWithoutHold() {
    m_listener->isDesktopSession = [](const QString& session) { return session == u"desktop"_s; };
    const auto process =
        HookCommands::start(m_home->path(), HookCommands::decisionCommand({}), bash(u"desktop"_s, u"ls"_s));
    // Another application answers it: the hook gets the empty answer at once.
    QCOMPARE(HookCommands::finish(process.get()), (HookRun{0, {}}));
    QVERIFY(m_listener->heldRequests().isEmpty());
    const QList<PendingPermission> shown = m_store->pendingPermissions();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().host, PermissionHost::claudeDesktop);
    QCOMPARE(PermissionCommand::decide(shown.first().id, PermissionDecision::allow).response(shown),
             std::nullopt);
    QVERIFY(logged(u"permission.unheld reason=hostingApp"_s));
    // Its turn's end clears it.
    QCOMPARE(post(R"({"session_id":"desktop","hook_event_name":"Stop"})").exitCode, 0);
    QVERIFY(m_store->pendingPermissions().isEmpty());
    QVERIFY(logged(u"permission.cleared reason=Stop"_s));
}

void PermissionHoldTest::lateAnswersSendNothing() {
    QVERIFY(!m_listener->decide(u"never-held"_s, PermissionDecision::allow, {}));
    QVERIFY(!m_listener->review(u"never-held"_s, PlanReview::approve()));
    const auto decision = hold(bash(u"s"_s, u"ls"_s));
    const QString id = m_listener->heldRequests().first();
    QVERIFY(m_listener->decide(id, PermissionDecision::deny, QString::fromLatin1(deniedByUserReason)));
    // A second click, or a review of the same id, changes nothing.
    QVERIFY(!m_listener->decide(id, PermissionDecision::allow, {}));
    QVERIFY(!m_listener->review(id, PlanReview::approve()));
    QVERIFY(HookCommands::finish(decision.get()).output.contains(R"("behavior":"deny")"));
}

void PermissionHoldTest::stoppingLeavesTheAgentsToTheirTerminals() {
    const auto first = hold(bash(u"s"_s, u"make"_s));
    const auto second = hold(request(u"t"_s, u"ExitPlanMode"_s, {{u"plan"_s, u"# P"_s}}));
    m_listener->stop();
    // The connections close with the listener: the hooks print nothing and exit 0, and the agents ask
    // in their terminals. Nothing is left on show that nobody waits for.
    QCOMPARE(HookCommands::finish(first.get()), (HookRun{0, {}}));
    QCOMPARE(HookCommands::finish(second.get()), (HookRun{0, {}}));
    QVERIFY(m_listener->heldRequests().isEmpty());
    QVERIFY(m_store->pendingPermissions().isEmpty());
}

QTEST_GUILESS_MAIN(PermissionHoldTest)
#include "PermissionHoldTest.moc"
