#include "services/hooks/HookListener.h"

#include "modules/agents/live/AgentEventStore.h"
#include "services/hooks/HookCommands.h"
#include "services/hooks/HookWire.h"
#include "support/TestFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

using HookCommands::decisionCommand;
using HookCommands::eventCommand;
using HookCommands::finish;
using HookCommands::HookRun;
using HookCommands::logged;
using tessary::testing::readFile;
using tessary::testing::testData;
using tessary::testing::writeFile;

// The listener as agents reach it: through the exact commands that the installers write into their
// settings, run by a real shell with real curl, with bodies that the real Claude Code CLI sent.
class HookListenerTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void filesArePrivateAndTheTokenIsKept();
    void commandsDoNothingWhileTheListenerIsStopped();
    void socketsRunOnTheirOwnThread();
    void claudeToolSession();
    void claudeCompaction();
    void claudeFailures_data();
    void claudeFailures();
    void claudePermissionInTheTerminal();
    void thirdPartyRequestsAreHeldAndShown();
    void codexEveryEvent();
    void statusLineEnvelope();
    void refusedTokens_data();
    void refusedTokens();
    void garbageBodies_data();
    void garbageBodies();
    void repliesOnTheWire();
    void brokenRequestsAreDroppedWithoutReply_data();
    void brokenRequestsAreDroppedWithoutReply();
    void peerClosingEarlyLeavesNothing();
    void stalledConnectionsAreDropped();
    void connectionsAreCapped();
    void hugeToolResponseLeavesNoTrace();

private:
    void restartWith(HookSocketServer::Limits limits);
    std::unique_ptr<QProcess> start(const QString& command, const QByteArray& body);
    HookRun run(const QString& command, const QByteArray& body);
    // Runs the decision command and waits until its request is held; the command is left running.
    std::unique_ptr<QProcess> startDecision(const QByteArray& body, const QString& source = {});
    HookRun postEvent(const QByteArray& body, const QString& source = {});
    HookRun postDecision(const QByteArray& body, const QString& source = {});
    QList<QByteArray> capturedBodies(const QString& scenario);
    // Posts every body of a captured scenario; the decision commands are left running, in `m_decisions`.
    QString replay(const QString& scenario);
    QString token() const;
    // A request with the listener's token and a body of the given length.
    QByteArray withToken(const QByteArray& head, const QByteArray& body = {}) const;
    QByteArray rawExchange(const QByteArray& request, int waitMilliseconds = 3000);

    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<AgentEventStore> m_store;
    std::unique_ptr<HookListener> m_listener;
    ManualClock m_clock;
    int m_updates = 0;
    std::vector<std::unique_ptr<QProcess>> m_decisions;
};

namespace {

// The status-line envelope around a user's command that prints its input.
const QString statusLineCommand =
    uR"cmd(tessary_in=$(cat; printf x); tessary_in=${tessary_in%x}; ( ( d="$HOME/.tessary"; [ -r "$d/hook-endpoint" ] && printf '%s' "$tessary_in" | curl -s -m 1 -X POST -H "X-Tessary-Token: $(cat "$d/hook-token")" -H "X-Tessary-StatusLine: 1" --data-binary @- "$(cat "$d/hook-endpoint")" ) </dev/null >/dev/null 2>&1 & ); printf '%s' "$tessary_in" 2>/dev/null | eval 'wc -c')cmd"_s;

QByteArray json(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject codexBody(const QString& event, const QJsonObject& extra = {}) {
    QJsonObject body{{u"session_id"_s, u"019c8a4d-8f45-7010-8b5d-7fad920aa6f9"_s},
                     {u"transcript_path"_s, u"/home/dev/.codex/sessions/2026/02/23/rollout.jsonl"_s},
                     {u"cwd"_s, u"/home/dev/project"_s},
                     {u"hook_event_name"_s, event},
                     {u"model"_s, u"gpt-5.3-codex"_s},
                     {u"permission_mode"_s, u"default"_s},
                     {u"turn_id"_s, u"turn-7"_s}};
    for (auto it = extra.begin(); it != extra.end(); ++it) {
        body.insert(it.key(), it.value());
    }
    return body;
}

QString sessionOf(const QByteArray& body) {
    return QJsonDocument::fromJson(body).object().value(u"session_id"_s).toString();
}

} // namespace

void HookListenerTest::init() {
    m_home = std::make_unique<QTemporaryDir>();
    QVERIFY(m_home->isValid());
    m_store = std::make_unique<AgentEventStore>();
    HookSocketServer::Limits limits;
    limits.headTimeout = std::chrono::milliseconds(600);
    limits.requestTimeout = std::chrono::milliseconds(1500);
    limits.maximumConnections = 8;
    m_listener = std::make_unique<HookListener>(*m_store, m_clock, m_home->path(), limits);
    m_updates = 0;
    m_listener->onUpdate = [this] { ++m_updates; };
    QVERIFY(m_listener->start());
}

void HookListenerTest::restartWith(HookSocketServer::Limits limits) {
    m_listener = std::make_unique<HookListener>(*m_store, m_clock, m_home->path(), limits);
    m_listener->onUpdate = [this] { ++m_updates; };
    QVERIFY(m_listener->start());
}

void HookListenerTest::cleanup() {
    m_listener.reset();
    m_decisions.clear();
    m_store.reset();
    m_home.reset();
}

std::unique_ptr<QProcess> HookListenerTest::start(const QString& command, const QByteArray& body) {
    return HookCommands::start(m_home->path(), command, body);
}

HookRun HookListenerTest::run(const QString& command, const QByteArray& body) {
    const auto process = start(command, body);
    return finish(process.get());
}

std::unique_ptr<QProcess> HookListenerTest::startDecision(const QByteArray& body, const QString& source) {
    const qsizetype before = m_listener->heldRequests().size();
    auto process = start(decisionCommand(source), body);
    // Held once the listener has it; a request answered at once (shown without a hold) ends the command.
    (void)QTest::qWaitFor(
        [&] {
            return m_listener->heldRequests().size() > before || process->state() == QProcess::NotRunning;
        },
        10000);
    return process;
}

HookRun HookListenerTest::postEvent(const QByteArray& body, const QString& source) {
    return run(eventCommand(source), body);
}

HookRun HookListenerTest::postDecision(const QByteArray& body, const QString& source) {
    return run(decisionCommand(source), body);
}

QList<QByteArray> HookListenerTest::capturedBodies(const QString& scenario) {
    QList<QByteArray> bodies;
    for (const QByteArray& line :
         readFile(testData(u"claude-hooks/captured/"_s + scenario + u".jsonl"_s)).split('\n')) {
        if (!line.isEmpty()) {
            // Claude Code ends each body with a newline.
            bodies.append(line + '\n');
        }
    }
    return bodies;
}

// Posts every body of a captured scenario as Claude Code would, each event through its command.
QString HookListenerTest::replay(const QString& scenario) {
    const QList<QByteArray> bodies = capturedBodies(scenario);
    if (bodies.isEmpty()) {
        return {};
    }
    for (const QByteArray& body : bodies) {
        if (QJsonDocument::fromJson(body).object().value(u"hook_event_name"_s) == u"PermissionRequest"_s) {
            m_decisions.push_back(startDecision(body));
            continue;
        }
        const HookRun result = postEvent(body);
        if (result.exitCode != 0 || !result.output.isEmpty()) {
            qWarning("a hook command failed or printed something");
            return {};
        }
    }
    QTest::qWait(20);
    return sessionOf(bodies.first());
}

QString HookListenerTest::token() const {
    return QString::fromUtf8(readFile(m_listener->files().tokenPath()));
}

QByteArray HookListenerTest::withToken(const QByteArray& head, const QByteArray& body) const {
    return head + "\r\nX-Tessary-Token: " + token().toUtf8() +
           "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

// Sends raw bytes and gives whatever comes back until the listener closes the connection.
QByteArray HookListenerTest::rawExchange(const QByteArray& request, int waitMilliseconds) {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, *m_listener->port());
    if (!QTest::qWaitFor([&] { return socket.state() == QAbstractSocket::ConnectedState; }, 3000)) {
        return "not connected";
    }
    socket.write(request);
    QByteArray received;
    const bool closed = QTest::qWaitFor(
        [&] {
            received += socket.readAll();
            return socket.state() == QAbstractSocket::UnconnectedState;
        },
        waitMilliseconds);
    received += socket.readAll();
    if (!closed) {
        received += "<still open>";
    }
    return received;
}

void HookListenerTest::filesArePrivateAndTheTokenIsKept() {
    const HookFiles& files = m_listener->files();
    const QFile::Permissions others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup |
                                      QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
    QCOMPARE(QFile::permissions(files.directory()) & others, QFile::Permissions());
    QCOMPARE(QFile::permissions(files.directory()) & QFile::ExeOwner, QFile::ExeOwner);
    QCOMPARE(QFile::permissions(files.tokenPath()) & (others | QFile::ExeOwner), QFile::Permissions());
    const QString first = token();
    // A random UUID in upper case.
    QVERIFY(QRegularExpression(u"^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$"_s)
                .match(first)
                .hasMatch());

    QCOMPARE(readFile(files.endpointPath()),
             u"http://127.0.0.1:%1/event"_s.arg(*m_listener->port()).toUtf8());

    // A restart keeps the token and publishes the new port; stopping removes the endpoint.
    m_listener->stop();
    QVERIFY(!QFile::exists(files.endpointPath()));
    QVERIFY(m_listener->start());
    QCOMPARE(token(), first);
    QVERIFY(QFile::exists(files.endpointPath()));

    // A token written by hand, with a newline, is read trimmed and its file made private again.
    m_listener->stop();
    writeFile(files.tokenPath(), "  hand-made-token\n");
    QFile::setPermissions(files.tokenPath(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
    QVERIFY(m_listener->start());
    QCOMPARE(QFile::permissions(files.tokenPath()) & QFile::ReadOther, QFile::Permissions());
    const QByteArray body = R"({"session_id":"hand","hook_event_name":"UserPromptSubmit"})";
    QCOMPARE(postEvent(body).exitCode, 0);
    QCOMPARE(m_store->live().value(u"hand"_s).activity, AgentActivity::working);
}

void HookListenerTest::commandsDoNothingWhileTheListenerIsStopped() {
    m_listener->stop();
    const QByteArray body = R"({"session_id":"s","hook_event_name":"UserPromptSubmit"})";
    QElapsedTimer timer;
    timer.start();
    const HookRun event = postEvent(body);
    const HookRun decision = postDecision(body);
    QCOMPARE(event.exitCode, 0);
    QCOMPARE(decision.exitCode, 0);
    QCOMPARE(decision.output, QByteArray());
    QVERIFY(timer.elapsed() < 2000);

    // A stale endpoint of a crashed run: curl cannot connect, and the command still exits 0.
    QVERIFY(m_listener->start());
    const quint16 port = *m_listener->port();
    m_listener->stop();
    writeFile(m_listener->files().endpointPath(), HookFiles::endpointURL(port).toUtf8());
    QCOMPARE(postEvent(body).exitCode, 0);
    QCOMPARE(postDecision(body), (HookRun{0, {}}));
    QVERIFY(m_store->live().isEmpty());
}

void HookListenerTest::socketsRunOnTheirOwnThread() {
    // Linux keeps the first 15 bytes of a thread's name.
    const QString expected = QString::fromLatin1(HookListener::threadName).left(15);
    bool found = false;
    const QDir tasks(u"/proc/self/task"_s);
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile comm(tasks.filePath(task + u"/comm"_s));
        if (comm.open(QIODevice::ReadOnly) && QString::fromUtf8(comm.readAll()).trimmed() == expected) {
            found = true;
        }
    }
    QVERIFY(found);
}

void HookListenerTest::claudeToolSession() {
    const QString session = replay(u"print-tools"_s);
    QVERIFY(!session.isEmpty());

    // Noted from the headers and the body.
    QCOMPARE(m_store->agentPIDs().value(session), static_cast<qint32>(QCoreApplication::applicationPid()));
    QCOMPARE(m_store->agent(session), u"claude"_s);
    QVERIFY(m_store->sessionEnds().contains(session));
    QVERIFY(!m_store->sessionProjects().contains(session));

    // The turn ended, waiting for the user; no tool is left running.
    const AgentLiveState state = m_store->live().value(session);
    QCOMPARE(state.activity, AgentActivity::waiting);
    QCOMPARE(state.tool, std::nullopt);
    QVERIFY(m_store->toolStarts().isEmpty());
    QCOMPARE(m_store->turnResults().size(), 1);
    QCOMPARE(m_store->turnResults().first().kind, AgentTurnResult::Kind::completed);

    // Every call that ran is a finished tool; the failing command carries its error, the refused one
    // never ran.
    QStringList finished;
    for (const ToolRun& run : m_store->finishedTools()) {
        finished.append(run.tool + (run.failed ? u" failed: "_s + run.error.value_or(u"?"_s) : QString()));
        QVERIFY(std::holds_alternative<ToolRun::NotAsked>(run.wait));
    }
    QCOMPARE(finished, (QStringList{u"Bash"_s, u"Bash"_s, u"Bash failed: Exit code 3"_s, u"Agent"_s}));
    // The request that print mode could not ask was held, and the turn going on released it: the
    // decision command ended with no opinion.
    QCOMPARE(m_decisions.size(), size_t(1));
    QCOMPARE(finish(m_decisions.front().get()), (HookRun{0, {}}));
    QVERIFY(m_listener->heldRequests().isEmpty());
    QVERIFY(m_store->pendingPermissions().isEmpty());

    // The session's hook state went away with its end; the update was asked for, and coalesced.
    QCOMPARE(m_store->sessionHooks().state(session), std::nullopt);
    QVERIFY(m_updates > 0);
    QVERIFY(logged(u"hooks info hook event=Stop session=%1"_s.arg(session.left(8))));
    QVERIFY(logged(u"hooks info hook event=PreToolUse session=%1 tool=Agent"_s.arg(session.left(8))));
}

void HookListenerTest::claudeCompaction() {
    const QString session = replay(u"print-compact"_s);
    QVERIFY(!session.isEmpty());
    QCOMPARE(m_store->models().value(session).model, u"claude-opus-5-5"_s);
    QVERIFY(m_store->sessionEnds().contains(session));

    // Replayed without its end, the compaction shows in the session's hook state.
    const QList<QByteArray> bodies = capturedBodies(u"print-compact"_s);
    m_listener.reset();
    m_store = std::make_unique<AgentEventStore>();
    restartWith({});
    for (const QByteArray& body : bodies) {
        if (!body.contains("\"SessionEnd\"")) {
            QCOMPARE(postEvent(body).exitCode, 0);
        }
    }
    const auto state = m_store->sessionHooks().state(session);
    QVERIFY(state);
    QVERIFY(!state->compacting);
    QCOMPARE(state->lastCompaction->trigger, u"manual"_s);
}

void HookListenerTest::claudeFailures_data() {
    QTest::addColumn<QString>("scenario");
    QTest::addColumn<QString>("failure");
    QTest::addColumn<std::optional<StopFailureKind>>("kind");
    QTest::newRow("rate limit") << u"print-rate-limit"_s << u"rate_limit"_s
                                << std::optional(StopFailureKind::rateLimit);
    QTest::newRow("invalid request") << u"print-invalid-request"_s << u"unknown"_s
                                     << std::optional(StopFailureKind::unknown);
}

void HookListenerTest::claudeFailures() {
    QFETCH(QString, scenario);
    QFETCH(QString, failure);
    QFETCH(std::optional<StopFailureKind>, kind);
    const QList<QByteArray> bodies = capturedBodies(scenario);
    QVERIFY(!bodies.isEmpty());
    const QString session = sessionOf(bodies.first());
    // Claude Code sends the failure and the session's end together; their order varies.
    QByteArray end;
    for (const QByteArray& body : bodies) {
        if (body.contains("\"SessionEnd\"")) {
            end = body;
        } else {
            QCOMPARE(postEvent(body).exitCode, 0);
        }
    }
    const AgentLiveState state = m_store->live().value(session);
    QCOMPARE(state.activity, AgentActivity::failed);
    QCOMPARE(state.failure, failure);
    QVERIFY(m_store->lastFailures().contains(session));
    const auto hooks = m_store->sessionHooks().state(session);
    QVERIFY(hooks && hooks->lastFailure);
    QCOMPARE(hooks->lastFailure->kind, kind);

    QCOMPARE(postEvent(end).exitCode, 0);
    QVERIFY(m_store->sessionEnds().contains(session));
    QCOMPARE(m_store->live().value(session).activity, AgentActivity::failed);
}

void HookListenerTest::claudePermissionInTheTerminal() {
    const QList<QByteArray> bodies = capturedBodies(u"terminal-permission"_s);
    QVERIFY(!bodies.isEmpty());
    const QString session = sessionOf(bodies.first());
    bool sawBlocked = false;
    std::unique_ptr<QProcess> decision;
    for (const QByteArray& body : bodies) {
        const QJsonObject object = QJsonDocument::fromJson(body).object();
        const QString event = object.value(u"hook_event_name"_s).toString();
        if (event == u"PermissionRequest"_s) {
            // Held: the decision command waits while the card shows the request.
            decision = startDecision(body);
            QCOMPARE(m_listener->heldRequests().size(), 1);
            QCOMPARE(m_store->permissionAsks().size(), 1);
            QCOMPARE(m_store->permissionAsks().first().fingerprint.tool, u"Bash"_s);
            const auto queue = m_store->pendingPermissions(u"claude"_s);
            QCOMPARE(queue.size(), 1);
            QCOMPARE(queue.first().summary, u"touch needs-permission.txt"_s);
            QCOMPARE(queue.first().agentLabel, u"Claude Code"_s);
            QVERIFY(queue.first().supportsAlwaysAllow);
            QVERIFY(queue.first().directory->endsWith(u"/project/sub"_s));
            continue;
        }
        QCOMPARE(postEvent(body).exitCode, 0);
        if (event == u"Notification"_s) {
            QCOMPARE(m_store->live().value(session).activity, AgentActivity::blocked);
            QCOMPARE(decision->state(), QProcess::Running);
            sawBlocked = true;
        }
    }
    QVERIFY(sawBlocked);
    // The user answered in the terminal and left: the session's end releases the hold with no output.
    QCOMPARE(finish(decision.get()), (HookRun{0, {}}));
    QVERIFY(logged(u"permission.released reason=SessionEnd"_s));
    QVERIFY(m_listener->heldRequests().isEmpty());
    QVERIFY(m_store->pendingPermissions().isEmpty());
    // The refused command never ran; the session's end leaves no call of it running.
    QVERIFY(m_store->sessionEnds().contains(session));
    QVERIFY(m_store->toolStarts().isEmpty());
    QCOMPARE(m_store->finishedTools().size(), 3);
}

void HookListenerTest::thirdPartyRequestsAreHeldAndShown() {
    // Each request is told at once, already in the queue and ahead of the batched update: the card
    // shows it without waiting for a refresh.
    QList<std::pair<qsizetype, int>> asked; // the queue's length and the updates so far, when told
    m_listener->onPermissionAsked = [&] { asked.append({m_store->permissions().size(), m_updates}); };
    std::vector<std::unique_ptr<QProcess>> decisions;
    for (const QByteArray& line :
         readFile(testData(u"claude-hooks/third-party-permission-requests.jsonl"_s)).split('\n')) {
        if (!line.isEmpty()) {
            decisions.push_back(startDecision(line + '\n'));
        }
    }
    m_listener->onPermissionAsked = nullptr;
    QCOMPARE(decisions.size(), size_t(3));
    QCOMPARE(asked.size(), 3);
    for (qsizetype i = 0; i < asked.size(); ++i) {
        QCOMPARE(asked[i].first, i + 1);
    }
    QTRY_VERIFY(m_updates > asked.back().second);
    QCOMPARE(m_listener->heldRequests().size(), 3);
    QCOMPARE(m_store->permissionAsks().size(), 3);
    QCOMPARE(m_store->sessionProjects().value(u"1198cb83-ed15-4668-a802-a02827a837ec"_s),
             u"/path/to/larkode"_s);
    const QList<PendingPermission> queue = m_store->pendingPermissions(u"claude"_s);
    QCOMPARE(queue.size(), 3);
    QCOMPARE(queue[0].tool, u"Bash"_s);
    QCOMPARE(queue[0].summary, u"rm -rf /path/to/larkode/abc"_s);
    QVERIFY(queue[1].question);
    QVERIFY(queue[1].question->allowsMultiple);
    // Without a call id each request has an id of its own.
    QVERIFY(queue[1].id != queue[2].id);

    // The user denies the command; the first session's prompt in the terminal ends its question; the
    // last request stays held until its connection closes.
    QVERIFY(
        m_listener->decide(queue[0].id, PermissionDecision::deny, QString::fromLatin1(deniedByUserReason)));
    QCOMPARE(
        finish(decisions[0].get()).output,
        QByteArray(R"({"hookSpecificOutput":{"decision":{"behavior":"deny","message":"Denied by the user on )"
                   R"(Tessary"},"hookEventName":"PermissionRequest"}})"));
    QCOMPARE(
        postEvent(
            R"({"session_id":"1198cb83-ed15-4668-a802-a02827a837ec","hook_event_name":"UserPromptSubmit"})")
            .exitCode,
        0);
    QCOMPARE(finish(decisions[1].get()), (HookRun{0, {}}));
    QCOMPARE(m_listener->heldRequests(), QStringList{queue[2].id});
    QCOMPARE(decisions[2]->state(), QProcess::Running);
}

void HookListenerTest::codexEveryEvent() {
    // Codex's commands name their source: what the listener notes of it and how it holds its requests.
    // What each event's body means is read, and tested, in the pure layer.
    const QString session = u"019c8a4d-8f45-7010-8b5d-7fad920aa6f9"_s;
    const QString codex = u"codex"_s;
    const auto post = [&](const QJsonObject& body) { return postEvent(json(body), codex).exitCode; };

    QCOMPARE(post(codexBody(u"SessionStart"_s, {{u"source"_s, u"startup"_s}})), 0);
    QCOMPARE(m_store->agent(session), codex);
    QCOMPARE(m_store->models().value(session).model, u"gpt-5.3-codex"_s);
    QCOMPARE(post(codexBody(u"PreToolUse"_s, {{u"tool_name"_s, u"apply_patch"_s},
                                              {u"tool_input"_s, QJsonObject{{u"command"_s, u"x"_s}}},
                                              {u"tool_use_id"_s, u"call_1"_s}})),
             0);
    QCOMPARE(m_store->live().value(session).tool, u"apply_patch"_s);

    const QByteArray request = json(
        codexBody(u"PermissionRequest"_s, {{u"tool_name"_s, u"Bash"_s},
                                           {u"tool_input"_s, QJsonObject{{u"command"_s, u"cargo test"_s}}}}));
    const auto decision = startDecision(request, codex);
    QCOMPARE(m_listener->heldRequests().size(), 1);
    const PendingPermission held = m_store->pendingPermissions(codex).first();
    QCOMPARE(held.agentLabel, u"Codex"_s);
    QVERIFY(!held.supportsAlwaysAllow);

    QCOMPARE(post(codexBody(u"Interrupt"_s)), 0);
    QCOMPARE(m_store->turnResults().last().id(), session + u":turn-7"_s);
    QVERIFY(m_store->toolStarts().isEmpty());
    QCOMPARE(decision->state(), QProcess::Running);
    QCOMPARE(post(codexBody(u"Stop"_s, {{u"last_assistant_message"_s, u"Stopped."_s}})), 0);
    // The turn is over: the held request gets the empty answer.
    QCOMPARE(finish(decision.get()), (HookRun{0, {}}));
    // The same turn: an interruption is not undone by its stop.
    QCOMPARE(m_store->turnResults().size(), 1);
    QCOMPARE(m_store->turnResults().last().kind, AgentTurnResult::Kind::interrupted);
    QCOMPARE(m_store->live().value(session).activity, AgentActivity::waiting);

    QCOMPARE(post(codexBody(u"SessionEnd"_s)), 0);
    QVERIFY(m_store->sessionEnds().contains(session));
    QCOMPARE(m_store->pendingPermissions(codex), QList<PendingPermission>());
}

void HookListenerTest::statusLineEnvelope() {
    const QByteArray payload =
        R"({"session_id":"status-1","model":{"id":"claude-opus-4-8","display_name":"Opus"},)"
        R"("context_window":{"used_percentage":42,"context_window_size":200000},)"
        R"("rate_limits":{"five_hour":{"used_percentage":23.5,"resets_at":1738425600}}})"
        "\n";
    const HookRun result = run(statusLineCommand, payload);
    QCOMPARE(result.exitCode, 0);
    // The user's command still got the payload, trailing newline included.
    QCOMPARE(result.output.trimmed(), QByteArray::number(payload.size()));
    QVERIFY(QTest::qWaitFor([&] { return m_store->statusLines().session(u"status-1"_s).has_value(); }, 5000));
    QCOMPARE(m_store->statusLines().session(u"status-1"_s)->usedPercentage, 42.0);
    // A status line is not a session event.
    QVERIFY(m_store->live().isEmpty());
}

void HookListenerTest::refusedTokens_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("written");
    const QString decision = decisionCommand({});
    QTest::newRow("wrong token") << decision << u"wrong"_s;
    QTest::newRow("token one character short") << decision << u"SHORT"_s;
    QTest::newRow("empty token file") << decision << QString();
    QTest::newRow("no token header")
        << uR"cmd(d="$HOME/.tessary"; curl -sS -m 5 -X POST -H "X-Tessary-Decision: 1" --data-binary @- "$(cat "$d/hook-endpoint")")cmd"_s
        << u"unused"_s;
}

void HookListenerTest::refusedTokens() {
    QFETCH(QString, command);
    QFETCH(QString, written);
    const QString real = token();
    writeFile(m_listener->files().tokenPath(), (written == u"SHORT"_s ? real.chopped(1) : written).toUtf8());

    const QList<QByteArray> bodies = capturedBodies(u"terminal-permission"_s);
    for (const QByteArray& body : bodies) {
        QCOMPARE(run(command, body), (HookRun{0, {}}));
    }
    QTest::qWait(20);
    QVERIFY(m_store->live().isEmpty());
    QVERIFY(m_store->permissionAsks().isEmpty());
    QVERIFY(m_store->sessionHooks().states().isEmpty());
    QCOMPARE(m_updates, 0);
    QVERIFY(logged(u"hooks error event.refused reason=invalidToken"_s));
}

void HookListenerTest::garbageBodies_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("empty") << QByteArray();
    static const char binary[] = "\x00\xff\xfe{\"session_id\":\"s\"}\x01";
    QTest::newRow("binary") << QByteArray(binary, sizeof(binary) - 1);
    QTest::newRow("deep nesting") << QByteArray(20000, '[') + QByteArray(20000, ']');
    QTest::newRow("fields of the wrong types") << QByteArray(
        R"({"hook_event_name":["Stop"],"session_id":"s","cwd":5,"tool_name":{},"turn_id":null})");
}

void HookListenerTest::garbageBodies() {
    QFETCH(QByteArray, body);
    QCOMPARE(postDecision(body), (HookRun{0, {}}));
    QCOMPARE(postEvent(body).exitCode, 0);
    QVERIFY(m_store->live().isEmpty());
    QVERIFY(m_store->sessionHooks().states().isEmpty());
    QVERIFY(m_store->turnResults().isEmpty());
    // The listener still serves.
    QCOMPARE(postEvent(R"({"session_id":"after","hook_event_name":"UserPromptSubmit"})").exitCode, 0);
    QCOMPARE(m_store->live().value(u"after"_s).activity, AgentActivity::working);
}

void HookListenerTest::repliesOnTheWire() {
    const QByteArray event = R"({"session_id":"wire","hook_event_name":"UserPromptSubmit"})";
    QCOMPARE(rawExchange(withToken("POST /event HTTP/1.1", event)), HookWire::noContentReply.toByteArray());

    // Asked to, the listener sends the interim line once, then the reply to the body that follows.
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, *m_listener->port());
    QVERIFY(socket.waitForConnected(3000));
    const QByteArray body = R"({"session_id":"expecting","hook_event_name":"UserPromptSubmit"})";
    const QByteArray request = withToken("POST /event HTTP/1.1\r\nExpect: 100-CONTINUE", body);
    socket.write(request.chopped(body.size()));
    QByteArray received;
    QVERIFY(QTest::qWaitFor(
        [&] {
            received += socket.readAll();
            return received.size() >= HookWire::continueReply.size();
        },
        3000));
    QCOMPARE(received, HookWire::continueReply.toByteArray());
    socket.write(body.first(10));
    QTest::qWait(50);
    socket.write(body.sliced(10));
    QVERIFY(QTest::qWaitFor(
        [&] {
            received += socket.readAll();
            return socket.state() == QAbstractSocket::UnconnectedState;
        },
        3000));
    received += socket.readAll();
    QCOMPARE(received, HookWire::continueReply.toByteArray() + HookWire::noContentReply.toByteArray());
    QCOMPARE(m_store->live().value(u"wire"_s).activity, AgentActivity::working);
    QCOMPARE(m_store->live().value(u"expecting"_s).activity, AgentActivity::working);
}

void HookListenerTest::brokenRequestsAreDroppedWithoutReply_data() {
    QTest::addColumn<QByteArray>("request");
    QTest::newRow("head over the limit")
        << QByteArray("POST / HTTP/1.1\r\nX-Pad: ") + QByteArray(70'000, 'p');
    QTest::newRow("content length not a number")
        << QByteArray("POST / HTTP/1.1\r\nContent-Length: 12abc\r\n\r\n");
}

void HookListenerTest::brokenRequestsAreDroppedWithoutReply() {
    QFETCH(QByteArray, request);
    QCOMPARE(rawExchange(request), QByteArray());
    QVERIFY(QTest::qWaitFor([&] { return m_listener->openConnections() == 0; }, 2000));
}

void HookListenerTest::peerClosingEarlyLeavesNothing() {
    const QByteArray body = R"({"session_id":"early","hook_event_name":"UserPromptSubmit"})";
    for (qsizetype cut : {qsizetype(5), qsizetype(40), qsizetype(-10)}) {
        QByteArray request = withToken("POST /event HTTP/1.1", body);
        request.truncate(cut > 0 ? cut : request.size() + cut);
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, *m_listener->port());
        QVERIFY(socket.waitForConnected(3000));
        socket.write(request);
        QVERIFY(socket.waitForBytesWritten(3000));
        QTest::qWait(30);
        socket.abort();
    }
    QVERIFY(QTest::qWaitFor([&] { return m_listener->openConnections() == 0; }, 2000));
    QTest::qWait(50);
    QVERIFY(m_store->live().isEmpty());
    QCOMPARE(m_updates, 0);
    QCOMPARE(postEvent(body).exitCode, 0);
    QCOMPARE(m_store->live().value(u"early"_s).activity, AgentActivity::working);
}

void HookListenerTest::stalledConnectionsAreDropped() {
    // A head that never ends, and a body that never comes, are both dropped (limits of this test: 0.6 s
    // for the head, 1.5 s for the whole request).
    QTcpSocket headOnly;
    headOnly.connectToHost(QHostAddress::LocalHost, *m_listener->port());
    QVERIFY(headOnly.waitForConnected(3000));
    headOnly.write("POST / HTTP/1.1\r\nX-Tessary-To");
    QTcpSocket bodyMissing;
    bodyMissing.connectToHost(QHostAddress::LocalHost, *m_listener->port());
    QVERIFY(bodyMissing.waitForConnected(3000));
    bodyMissing.write("POST / HTTP/1.1\r\nContent-Length: 100\r\n\r\n{\"session");
    QElapsedTimer timer;
    timer.start();
    QVERIFY(QTest::qWaitFor([&] { return headOnly.state() == QAbstractSocket::UnconnectedState; }, 3000));
    QVERIFY(timer.elapsed() >= 400);
    QVERIFY(bodyMissing.state() != QAbstractSocket::UnconnectedState);
    QVERIFY(QTest::qWaitFor([&] { return bodyMissing.state() == QAbstractSocket::UnconnectedState; }, 3000));
    QVERIFY(timer.elapsed() >= 1200);
    QCOMPARE(headOnly.readAll(), QByteArray());
    QCOMPARE(bodyMissing.readAll(), QByteArray());
    QCOMPARE(m_listener->openConnections(), 0);
}

void HookListenerTest::connectionsAreCapped() {
    HookSocketServer::Limits limits;
    limits.maximumConnections = 2;
    restartWith(limits);
    // Held permission requests are not what the limit is for: more of them than the limit wait on the
    // card, and the hooks that follow still get through.
    std::vector<std::unique_ptr<QProcess>> held;
    held.reserve(3);
    for (int i = 0; i < 3; ++i) {
        held.push_back(startDecision(
            json(codexBody(u"PermissionRequest"_s,
                           {{u"tool_name"_s, u"Bash"_s},
                            {u"tool_use_id"_s, u"call-%1"_s.arg(i)},
                            {u"tool_input"_s, QJsonObject{{u"command"_s, u"touch %1"_s.arg(i)}}}}))));
    }
    QCOMPARE(m_listener->heldRequests().size(), 3);
    QCOMPARE(postEvent(json(codexBody(u"UserPromptSubmit"_s, {{u"session_id"_s, u"after-held"_s}}))).exitCode,
             0);
    QCOMPARE(m_store->live().value(u"after-held"_s).activity, AgentActivity::working);

    // Connections that never finish their request are capped.
    std::vector<std::unique_ptr<QTcpSocket>> idle;
    for (int i = 0; i < 2; ++i) {
        auto socket = std::make_unique<QTcpSocket>();
        socket->connectToHost(QHostAddress::LocalHost, *m_listener->port());
        QVERIFY(socket->waitForConnected(3000));
        idle.push_back(std::move(socket));
    }
    QVERIFY(QTest::qWaitFor([&] { return m_listener->openConnections() == 3 + 2; }, 2000));
    // One more is closed at once, with no reply.
    QCOMPARE(rawExchange(withToken("GET / HTTP/1.1"), 1000), QByteArray());
    idle.clear();
    QVERIFY(QTest::qWaitFor([&] { return m_listener->openConnections() == 3; }, 2000));
    QCOMPARE(rawExchange(withToken("GET / HTTP/1.1")), HookWire::noContentReply.toByteArray());
    m_listener->stop();
    for (const auto& process : held) {
        QCOMPARE(finish(process.get()), (HookRun{0, {}}));
    }
}

void HookListenerTest::hugeToolResponseLeavesNoTrace() {
    const QString marker = u"SECRET-RESPONSE-MARKER"_s;
    constexpr qsizetype size = qsizetype{8} * 1024 * 1024;
    QString output;
    output.reserve(size);
    while (output.size() < size) {
        output += marker + u"\n"_s;
    }
    const QJsonObject start{{u"session_id"_s, u"huge"_s},
                            {u"hook_event_name"_s, u"PreToolUse"_s},
                            {u"tool_name"_s, u"Bash"_s},
                            {u"tool_input"_s, QJsonObject{{u"command"_s, u"cat big.log"_s}}},
                            {u"tool_use_id"_s, u"toolu_huge"_s}};
    QJsonObject end = start;
    end.insert(u"hook_event_name"_s, u"PostToolUse"_s);
    end.insert(u"tool_response"_s,
               QJsonObject{{u"stdout"_s, output}, {u"stderr"_s, marker}, {u"exitCode"_s, 1}});
    QCOMPARE(postEvent(json(start)).exitCode, 0);
    // Large enough that curl asks for "100 Continue" first.
    QCOMPARE(postDecision(json(end)), (HookRun{0, {}}));

    // The call ended; the response, which said it failed, was never read.
    QCOMPARE(m_store->finishedTools().size(), 1);
    const ToolRun run = m_store->finishedTools().first();
    QVERIFY(!run.failed);
    QCOMPARE(run.error, std::nullopt);
    QCOMPARE(run.summary, u"cat big.log"_s);
    QCOMPARE(m_store->sessionHooks().state(u"huge"_s), std::nullopt);
    QCOMPARE(m_store->live().value(u"huge"_s).tool, u"Bash"_s);
    QCOMPARE(m_listener->openConnections(), 0);
    QVERIFY(!logged(marker));
}

QTEST_GUILESS_MAIN(HookListenerTest)
#include "HookListenerTest.moc"
