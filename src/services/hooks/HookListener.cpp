#include "services/hooks/HookListener.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "core/json/JsonFields.h"
#include "modules/agents/hooks/SessionHookEvent.h"
#include "modules/agents/live/AgentEventStore.h"
#include "modules/agents/permissions/AgentQuestion.h"
#include "modules/agents/permissions/PermissionAgent.h"
#include "modules/agents/permissions/PermissionSummary.h"
#include "modules/agents/permissions/ToolCallFingerprint.h"
#include "modules/sessions/AgentArguments.h"
#include "services/hooks/HookConnection.h"
#include "services/hooks/HookWire.h"

#include <QJsonDocument>
#include <QThread>
#include <QUuid>

namespace tessary {

namespace {

using json::string;

std::optional<QString> nonEmptyString(const QJsonObject& body, const char* key) {
    auto value = string(body, QLatin1StringView(key));
    if (value && value->isEmpty()) {
        return std::nullopt;
    }
    return value;
}

QJsonObject objectOrEmpty(const QJsonObject& body, const char* key) {
    return json::object(body, QLatin1StringView(key)).value_or(QJsonObject());
}

// Compares in time that depends only on the lengths, so that the token is not learnt byte by byte.
bool constantTimeEquals(QByteArrayView a, QByteArrayView b) {
    const qsizetype length = std::max(a.size(), b.size());
    unsigned difference = a.size() == b.size() ? 0U : 1U;
    for (qsizetype i = 0; i < length; ++i) {
        const auto left = static_cast<unsigned char>(i < a.size() ? a[i] : 0);
        const auto right = static_cast<unsigned char>(i < b.size() ? b[i] : 0);
        difference |= static_cast<unsigned>(left ^ right);
    }
    return difference == 0;
}

std::optional<AgentActivity> activityForNotification(const std::optional<QString>& type) {
    if (!type) {
        return std::nullopt;
    }
    if (*type == QLatin1StringView("permission_prompt") || *type == QLatin1StringView("elicitation_dialog") ||
        *type == QLatin1StringView("elicitation_url_dialog")) {
        return AgentActivity::blocked;
    }
    if (*type == QLatin1StringView("idle_prompt") || *type == QLatin1StringView("agent_needs_input") ||
        *type == QLatin1StringView("agent_completed")) {
        return AgentActivity::waiting;
    }
    return std::nullopt;
}

} // namespace

HookListener::HookListener(AgentEventStore& store, const Clock& clock, const QString& homeDirectory,
                           HookSocketServer::Limits limits, QObject* parent)
    : HookListener(store, clock, homeDirectory, nullptr, limits, parent) {}

HookListener::HookListener(AgentEventStore& store, const Clock& clock, const QString& homeDirectory,
                           const AgentProcessReading* processes, HookSocketServer::Limits limits,
                           QObject* parent)
    : QObject(parent)
    , m_store(store)
    , m_clock(clock)
    , m_files(homeDirectory)
    , m_limits(limits)
    , m_processes(processes) {}

HookListener::~HookListener() {
    stop();
}

bool HookListener::start() {
    Q_ASSERT(QThread::currentThread() == thread());
    if (m_thread != nullptr) {
        return true;
    }
    m_token = m_files.loadOrCreateToken();

    auto* thread = new QThread();
    thread->setObjectName(QLatin1StringView(threadName));
    auto* server = new HookSocketServer(
        this,
        [this](const HookRequest& request, const std::shared_ptr<HookConnection>& connection) {
            deliver(request, connection);
        },
        m_limits);
    server->moveToThread(thread);
    // Deleted on its own thread as that thread ends, with its sockets.
    connect(thread, &QThread::finished, server, &QObject::deleteLater);
    thread->start();

    std::optional<quint16> port;
    QAbstractSocket::SocketError error = QAbstractSocket::UnknownSocketError;
    QMetaObject::invokeMethod(
        server, [server, &port, &error] { port = server->listen(&error); }, Qt::BlockingQueuedConnection);
    if (!port) {
        DiagnosticLog::error(DiagnosticCategory::hooks, "listener.failed", [&] {
            return DiagnosticFields{{"error", DiagnosticValue::errorKind(error)}};
        });
        thread->quit();
        thread->wait();
        delete thread;
        return false;
    }
    m_thread = thread;
    m_server = server;
    m_port = port;
    m_files.publishEndpoint(*port);
    DiagnosticLog::info(DiagnosticCategory::hooks, "listener.ready", [&] {
        return DiagnosticFields{{"port", DiagnosticValue::count(*port)}};
    });
    return true;
}

void HookListener::stop() {
    if (m_thread == nullptr) {
        return;
    }
    DiagnosticLog::info(DiagnosticCategory::hooks, "listener.stop");
    // The held connections close with the sockets: the agents ask in their terminals, and the card
    // no longer shows what nobody waits for.
    const QStringList heldIDs = m_heldOrder;
    for (const QString& id : heldIDs) {
        if (takeHeld(id)) {
            m_store.resolvePermission(id);
        }
    }
    HookSocketServer* server = m_server;
    QMetaObject::invokeMethod(
        server, [server] { server->shutdown(); }, Qt::BlockingQueuedConnection);
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
    m_thread = nullptr;
    m_server = nullptr;
    m_port.reset();
    m_files.removeEndpoint();
}

int HookListener::openConnections() const {
    if (m_server == nullptr) {
        return 0;
    }
    int count = 0;
    HookSocketServer* server = m_server;
    QMetaObject::invokeMethod(
        server, [server, &count] { count = server->openConnections(); }, Qt::BlockingQueuedConnection);
    return count;
}

void HookListener::tick(const QDateTime& now) {
    QStringList overdue;
    for (const QString& id : std::as_const(m_heldOrder)) {
        if (m_held.value(id).deadline <= now) {
            overdue.append(id);
        }
    }
    for (const QString& id : std::as_const(overdue)) {
        deadlinePassed(id);
    }
    const qsizetype lapsed = m_store.dropLapsedPermissions(now);
    if (lapsed > 0) {
        DiagnosticLog::info(DiagnosticCategory::hooks, "permission.lapsed", [&] {
            return DiagnosticFields{{"count", DiagnosticValue::count(lapsed)}};
        });
        requestUpdate();
    }
    releaseRunningCommands(now);
}

void HookListener::deliver(const HookRequest& request, const std::shared_ptr<HookConnection>& connection) {
    if (!handle(request, connection)) {
        connection->reply(HookWire::noContentReply.toByteArray());
    }
}

bool HookListener::tokenMatches(const std::optional<QString>& presented) const {
    if (!presented || m_token.isEmpty()) {
        return false;
    }
    return constantTimeEquals(presented->toUtf8(), m_token.toUtf8());
}

bool HookListener::handle(const HookRequest& request, const std::shared_ptr<HookConnection>& connection) {
    if (!tokenMatches(request.header(HookWire::tokenHeader))) {
        DiagnosticLog::error(DiagnosticCategory::hooks, "event.refused", [] {
            return DiagnosticFields{{"reason", "invalidToken"}};
        });
        return false;
    }
    const QDateTime now = m_clock.now();
    const QJsonObject& json = request.json;

    if (request.header(HookWire::statusLineHeader) == QStringLiteral("1")) {
        if (m_store.statusLines().record(json, now)) {
            requestUpdate();
        }
        return false;
    }

    const auto sessionID = string(json, QLatin1StringView("session_id"));
    if (!sessionID) {
        return false;
    }
    std::optional<qint32> agentPID;
    if (const auto header = request.header(HookWire::agentHeader)) {
        bool isNumber = false;
        const qint32 pid = header->toInt(&isNumber, 10);
        if (isNumber) {
            m_store.note(*sessionID, pid);
            agentPID = pid;
        }
    }
    const auto source = request.header(HookWire::sourceHeader);
    m_store.noteAgent(*sessionID, source && !source->isEmpty()
                                      ? *source
                                      : QString::fromLatin1(AgentEventStore::defaultAgent));
    if (const auto cwd = nonEmptyString(json, "cwd")) {
        m_store.noteDirectory(*sessionID, *cwd);
    }
    const auto eventName = string(json, QLatin1StringView("hook_event_name"));

    // Any event may show that a held request was answered elsewhere; it ends the hold before the
    // event itself is recorded.
    releaseAnswered(HeldRequestRelease::Event::fromHookBody(json), DiagnosticValue::name(eventName));

    bool hookStateChanged = false;
    if (const auto reading = SessionHookEvent::read(json)) {
        if (m_store.sessionHooks().record(*reading, *sessionID, now)) {
            requestUpdate();
            hookStateChanged = true;
        }
    }
    if (!eventName) {
        logHook(std::nullopt, *sessionID, json);
        requestUpdate();
        return false;
    }
    return routeEvent(*sessionID, *eventName, json, hookStateChanged, now, connection, agentPID);
}

bool HookListener::routeEvent(const QString& sessionID, const QString& eventName, const QJsonObject& json,
                              bool hookStateChanged, const QDateTime& now,
                              const std::shared_ptr<HookConnection>& connection,
                              std::optional<qint32> agentPID) {
    const auto logAndUpdate = [&] {
        logHook(eventName, sessionID, json);
        requestUpdate();
    };
    const auto toolName = string(json, QLatin1StringView("tool_name"));

    if (eventName == QLatin1StringView(permissionRequestEvent)) {
        routePermissionRequest(sessionID, json, now, connection, agentPID);
        return true;
    }
    if (eventName == QLatin1StringView("SessionEnd")) {
        m_store.end(sessionID, now);
        logAndUpdate();
        return false;
    }
    if (eventName == QLatin1StringView("SessionStart")) {
        m_store.noteSessionStart(sessionID, string(json, QLatin1StringView("source")));
        if (const auto model = string(json, QLatin1StringView("model"))) {
            m_store.noteModel(sessionID, *model, std::nullopt, now);
        }
        logAndUpdate();
        return false;
    }
    if (eventName == QLatin1StringView("PostModelSwitch")) {
        if (const auto model = string(json, QLatin1StringView("to_model"))) {
            m_store.noteModel(sessionID, *model, string(json, QLatin1StringView("from_model")), now);
        }
        logAndUpdate();
        return false;
    }
    if (eventName == QLatin1StringView("UserPromptSubmit")) {
        m_store.update(sessionID, AgentActivity::working, std::nullopt, std::nullopt, now);
        m_store.notePrompt(sessionID, now);
        logAndUpdate();
        return false;
    }
    if (eventName == QLatin1StringView("PreToolUse")) {
        routePreToolUse(sessionID, json, now, agentPID);
        logAndUpdate();
        return false;
    }
    if (eventName == QLatin1StringView("PostToolUse") ||
        eventName == QLatin1StringView("PostToolUseFailure")) {
        const auto toolUseID = string(json, QLatin1StringView("tool_use_id"));
        if (!toolUseID) {
            return false;
        }
        const auto outcome =
            SessionHookEvent::toolOutcome(eventName, json.value(QLatin1StringView("tool_response")),
                                          string(json, QLatin1StringView("error")));
        const auto run = m_store.finishTool(*toolUseID, outcome.failed, outcome.error, now);
        if (run && AgentChanges::longRunningTime(*run)) {
            logAndUpdate();
        }
        return false;
    }
    if (eventName == QLatin1StringView("Stop") || eventName == QLatin1StringView("Interrupt")) {
        const auto kind = eventName == QLatin1StringView("Stop") ? AgentTurnResult::Kind::completed
                                                                 : AgentTurnResult::Kind::interrupted;
        m_store.noteTurnResult(sessionID, nonEmptyString(json, "turn_id"), kind, now);
        m_store.update(sessionID, AgentActivity::waiting, std::nullopt, std::nullopt, now);
        m_store.discardToolStarts(sessionID);
        logAndUpdate();
        return false;
    }
    if (eventName == QLatin1StringView("StopFailure")) {
        m_store.update(sessionID, AgentActivity::failed, std::nullopt,
                       string(json, QLatin1StringView("error")), now);
        m_store.discardToolStarts(sessionID);
        logAndUpdate();
        return false;
    }
    if (eventName == QLatin1StringView("Notification")) {
        if (const auto activity =
                activityForNotification(string(json, QLatin1StringView("notification_type")))) {
            m_store.update(sessionID, *activity, std::nullopt, std::nullopt, now);
            logAndUpdate();
        }
        return false;
    }
    if (eventName == QLatin1StringView("CwdChanged")) {
        if (const auto directory = nonEmptyString(json, "new_cwd")) {
            m_store.noteDirectory(sessionID, *directory);
        }
        logAndUpdate();
        return false;
    }
    static const QSet<QString> sessionStateEvents{
        QStringLiteral("SubagentStart"), QStringLiteral("SubagentStop"),     QStringLiteral("TaskCreated"),
        QStringLiteral("TaskCompleted"), QStringLiteral("PermissionDenied"), QStringLiteral("PreCompact"),
        QStringLiteral("PostCompact"),
    };
    if (hookStateChanged && sessionStateEvents.contains(eventName)) {
        logAndUpdate();
    }
    return false;
}

void HookListener::logHook(const std::optional<QString>& eventName, const QString& sessionID,
                           const QJsonObject& json) {
    DiagnosticLog::info(DiagnosticCategory::hooks, "hook", [&] {
        DiagnosticFields fields{{"event", DiagnosticValue::name(eventName)},
                                {"session", DiagnosticValue::shortID(sessionID)}};
        if (const auto tool = string(json, QLatin1StringView("tool_name"))) {
            fields.append({"tool", DiagnosticValue::name(tool)});
        }
        return fields;
    });
}

void HookListener::requestUpdate() {
    if (m_updatePending) {
        return;
    }
    m_updatePending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_updatePending = false;
            if (onUpdate) {
                onUpdate();
            }
        },
        Qt::QueuedConnection);
}

void HookListener::routePreToolUse(const QString& sessionID, const QJsonObject& json, const QDateTime& now,
                                   std::optional<qint32> agentPID) {
    const auto toolName = string(json, QLatin1StringView("tool_name"));
    const auto displayTool = readableTool(toolName);
    const QJsonObject input = objectOrEmpty(json, "tool_input");
    const PermissionAgent agent = PermissionAgent::of(m_store.agent(sessionID));
    // An agent whose questions bypass the permission request shows them only here.
    std::optional<AgentQuestion> question;
    if (agent.asksOutsidePermission) {
        question = AgentQuestion::read(toolName.value_or(QString()), input);
    }
    if (question) {
        m_store.update(sessionID, AgentActivity::blocked, std::nullopt, std::nullopt, now);
    } else {
        m_store.update(sessionID, AgentActivity::working, displayTool, std::nullopt, now);
    }
    const QString summary = summarizePermission(displayTool.value_or(QStringLiteral("?")), input);
    if (question) {
        noteUnansweredQuestion(sessionID, json, *question, displayTool, summary, agentPID, now);
    }
    if (const auto toolUseID = string(json, QLatin1StringView("tool_use_id"))) {
        m_store.startTool(*toolUseID, sessionID, displayTool.value_or(QStringLiteral("?")), summary,
                          ToolCallFingerprint::of(toolName.value_or(QString()), input), now);
    }
}

void HookListener::routePermissionRequest(const QString& sessionID, const QJsonObject& json,
                                          const QDateTime& now,
                                          const std::shared_ptr<HookConnection>& connection,
                                          std::optional<qint32> agentPID) {
    const QString tool = string(json, QLatin1StringView("tool_name")).value_or(QString());
    if (m_processes != nullptr && HostedSession::skipsRequest(tool, agentPID, *m_processes)) {
        // The program hosting the session shows its own plan review.
        send(connection, HookWire::noContentReply.toByteArray());
        DiagnosticLog::info(DiagnosticCategory::hooks, "plan.hostingApp", [&] {
            return DiagnosticFields{{"session", DiagnosticValue::shortID(sessionID)}};
        });
        return;
    }
    const QString displayTool = readableTool(tool).value_or(QStringLiteral("?"));
    const QJsonObject input = objectOrEmpty(json, "tool_input");
    const QString id = string(json, QLatin1StringView("tool_use_id"))
                           .value_or(QUuid::createUuid().toString(QUuid::WithoutBraces));
    const PermissionAgent agent = PermissionAgent::of(m_store.agent(sessionID));
    const ToolCallFingerprint fingerprint = ToolCallFingerprint::of(tool, input);
    const bool isDesktop = isDesktopSession && isDesktopSession(sessionID);
    const std::optional<QStringList> arguments =
        agentPID && m_processes != nullptr ? m_processes->arguments(*agentPID) : std::nullopt;
    // Noted so that the tool's end can tell time spent waiting for an answer from running time.
    m_store.notePermissionAsked(sessionID, fingerprint, now);

    const SessionCaption sessionCaption = caption(sessionID);
    PendingPermission pending;
    pending.id = id;
    pending.sessionID = sessionID;
    pending.tool = displayTool;
    pending.summary = summarizePermission(displayTool, input);
    pending.files = permissionFiles(tool, input);
    pending.networkTarget = permissionNetworkTarget(tool, input);
    pending.sessionTitle = sessionCaption.title;
    pending.project = sessionCaption.project;
    pending.directory = nonEmptyString(json, "cwd");
    pending.sessionColor = sessionCaption.color;
    pending.question = AgentQuestion::read(tool, input);
    pending.plan = permissionPlan(tool, input);
    pending.askedAt = now;
    pending.agentLabel = agent.label;
    pending.supportsAlwaysAllow = agent.supportsAlwaysAllow;
    pending.host = permissionHost(isDesktop, arguments);

    QJsonArray suggestions;
    for (const QJsonValue suggestion : json.value(QLatin1StringView("permission_suggestions")).toArray()) {
        if (suggestion.isObject()) {
            suggestions.append(suggestion);
        }
    }
    hold(pending, input, fingerprint, suggestions, agent, agentPID, connection);
}

void HookListener::hold(const PendingPermission& pending, const QJsonObject& input,
                        const ToolCallFingerprint& fingerprint, const QJsonArray& suggestions,
                        const PermissionAgent& agent, std::optional<qint32> agentPID,
                        const std::shared_ptr<HookConnection>& connection) {
    HeldRequestRelease::Held held = HeldRequestRelease::Held::of(
        pending.id, pending.sessionID, fingerprint.tool, input, pending.askedAt, agentPID);
    if (pending.host) {
        // Another application answers this one: it is shown, not held.
        send(connection, HookWire::noContentReply.toByteArray());
        m_store.requestUnheld(pending, held,
                              pending.askedAt.addMSecs(static_cast<qint64>(hostedLifetime * 1000)));
        DiagnosticLog::info(DiagnosticCategory::hooks, "permission.unheld", [&] {
            return DiagnosticFields{{"reason", "hostingApp"},
                                    {"request", DiagnosticValue::shortID(pending.id)}};
        });
        requestUpdate();
        if (onPermissionAsked) {
            onPermissionAsked();
        }
        return;
    }
    // The same call asked again (an agent that retried): the older connection gets its empty answer.
    if (const auto earlier = takeHeld(pending.id)) {
        send(earlier->connection, HookWire::noContentReply.toByteArray());
    }

    const PermissionHoldPolicy policy = PermissionHoldPolicy::of(agent, isHeadless(agentPID));
    auto* expiry = new QTimer(this);
    expiry->setSingleShot(true);
    expiry->setTimerType(Qt::CoarseTimer);
    expiry->setInterval(std::chrono::seconds(policy.deadline));
    const QString id = pending.id;
    connect(expiry, &QTimer::timeout, this, [this, id] { deadlinePassed(id); });
    expiry->start();

    m_held.insert(id, Segurado{connection, std::move(held), input, suggestions, agent, policy.atDeadline,
                               pending.askedAt.addSecs(policy.deadline), expiry});
    m_heldOrder.append(id);
    m_store.request(pending);
    DiagnosticLog::info(DiagnosticCategory::hooks, "permission.held", [&] {
        return DiagnosticFields{{"request", DiagnosticValue::shortID(id)},
                                {"deadline", DiagnosticValue::count(policy.deadline)}};
    });
    watchClosure(connection, id);
    requestUpdate();
    if (onPermissionAsked) {
        onPermissionAsked();
    }
}

void HookListener::watchClosure(const std::shared_ptr<HookConnection>& connection, const QString& id) {
    if (!connection) {
        return;
    }
    // The socket side reads on after the request, so that curl going away (the agent killed, Ctrl-C,
    // its time limit) is heard at once as the end of the stream, not at the next write.
    const QPointer<HookListener> self(this);
    const HookConnection* watched = connection.get();
    connection->setOnClosed([self, id, watched] {
        if (self) {
            self->connectionClosed(id, watched);
        }
    });
}

void HookListener::connectionClosed(const QString& id, const HookConnection* connection) {
    const auto found = m_held.constFind(id);
    // A late signal of an old connection must not end a newer request with the same id.
    if (found == m_held.cend() || found->connection.get() != connection) {
        return;
    }
    const QList<HeldRequestRelease::Held> candidates = releaseCandidates();
    release(HeldRequestRelease::requestsToRelease(candidates, HeldRequestRelease::Event::closed({id})),
            candidates, "hook connection closed");
}

void HookListener::releaseAnswered(const HeldRequestRelease::Event& event, const DiagnosticValue& reason) {
    const QList<HeldRequestRelease::Held> candidates = releaseCandidates();
    if (candidates.isEmpty()) {
        return;
    }
    const QStringList ids = HeldRequestRelease::requestsToRelease(candidates, event);
    if (!ids.isEmpty()) {
        release(ids, candidates, reason);
    }
}

void HookListener::release(const QStringList& ids, const QList<HeldRequestRelease::Held>& among,
                           const DiagnosticValue& reason) {
    if (ids.isEmpty()) {
        return;
    }
    QHash<QString, QString> sessions;
    for (const HeldRequestRelease::Held& record : among) {
        sessions.insert(record.id, record.sessionID);
    }
    const QDateTime now = m_clock.now();
    for (const QString& id : ids) {
        if (const auto taken = takeHeld(id)) {
            send(taken->connection, HookWire::noContentReply.toByteArray());
            DiagnosticLog::info(DiagnosticCategory::hooks, "permission.released", [&] {
                return DiagnosticFields{{"reason", reason}, {"request", DiagnosticValue::shortID(id)}};
            });
        } else {
            DiagnosticLog::info(DiagnosticCategory::hooks, "permission.cleared", [&] {
                return DiagnosticFields{{"reason", reason}, {"request", DiagnosticValue::shortID(id)}};
            });
        }
        m_store.resolvePermission(id);
        if (const auto session = sessions.constFind(id); session != sessions.cend()) {
            m_store.resumeTurn(*session, now);
        }
    }
    requestUpdate();
}

void HookListener::expire(const QString& id) {
    const auto taken = takeHeld(id);
    if (!taken) {
        return;
    }
    send(taken->connection, HookWire::noContentReply.toByteArray());
    m_store.expirePermission(taken->request, m_clock.now());
    DiagnosticLog::info(DiagnosticCategory::hooks, "permission.expired", [&] {
        return DiagnosticFields{{"request", DiagnosticValue::shortID(id)}};
    });
}

void HookListener::deadlinePassed(const QString& id) {
    const auto found = m_held.constFind(id);
    if (found == m_held.cend()) {
        return;
    }
    if (found->atDeadline == PermissionHoldPolicy::AtDeadline::release) {
        const HeldRequestRelease::Held record = found->request;
        release({id}, {record}, "headless session, card time over");
    } else {
        expire(id);
    }
    requestUpdate();
}

bool HookListener::decide(const QString& id, PermissionDecision decision, const QString& reason,
                          const std::optional<QHash<QString, QString>>& answers) {
    const auto taken = takeHeld(id);
    if (!taken) {
        return false;
    }
    std::optional<QJsonObject> updatedInput;
    if (answers && !answers->isEmpty()) {
        QJsonObject answerObject;
        for (auto it = answers->cbegin(); it != answers->cend(); ++it) {
            answerObject.insert(it.key(), it.value());
        }
        updatedInput = taken->input;
        updatedInput->insert(QStringLiteral("answers"), answerObject);
    }
    const DecisionReader reader{taken->request.fingerprint.tool, taken->suggestions,
                                taken->agent.supportsAlwaysAllow, taken->agent.acceptsUpdatedInput};
    const QByteArray body =
        QJsonDocument(decisionPayload(decision, reason, updatedInput, reader)).toJson(QJsonDocument::Compact);
    send(taken->connection,
         body.isEmpty() ? HookWire::noContentReply.toByteArray() : HookWire::decisionReply(body));

    const QDateTime now = m_clock.now();
    const HeldRequestRelease::Held& record = taken->request;
    m_store.notePermissionAnswered(record.sessionID, record.fingerprint, now);
    m_store.resolvePermission(id);
    m_store.resumeTurn(record.sessionID, now);
    DiagnosticLog::info(DiagnosticCategory::hooks, "permission.decided", [&] {
        return DiagnosticFields{{"decision", DiagnosticValue::caseName(effectiveDecision(
                                                 decision, taken->agent.supportsAlwaysAllow))},
                                {"request", DiagnosticValue::shortID(id)}};
    });
    requestUpdate();
    return !body.isEmpty();
}

bool HookListener::review(const QString& id, const PlanReview& planReview) {
    const auto taken = takeHeld(id);
    if (!taken) {
        return false;
    }
    const QByteArray body = QJsonDocument(planReview.payload(taken->input)).toJson(QJsonDocument::Compact);
    send(taken->connection,
         body.isEmpty() ? HookWire::noContentReply.toByteArray() : HookWire::decisionReply(body));

    const QDateTime now = m_clock.now();
    const HeldRequestRelease::Held& record = taken->request;
    m_store.notePermissionAnswered(record.sessionID, record.fingerprint, now);
    m_store.resolvePermission(id);
    m_store.resumeTurn(record.sessionID, now);
    DiagnosticLog::info(DiagnosticCategory::hooks, "plan.reviewed", [&] {
        return DiagnosticFields{{"review", DiagnosticValue::name(QString::fromLatin1(planReview.caseName()))},
                                {"request", DiagnosticValue::shortID(id)}};
    });
    requestUpdate();
    return !body.isEmpty();
}

void HookListener::agentListRead(const ClaudeAgentList& list, const QDateTime& at) {
    const QList<HeldRequestRelease::Held> candidates = releaseCandidates();
    release(m_listRelease.observe(list, at, candidates), candidates,
            "official list: waiting, then busy or idle");
}

void HookListener::noteUnansweredQuestion(const QString& sessionID, const QJsonObject& json,
                                          const AgentQuestion& question,
                                          const std::optional<QString>& displayTool, const QString& summary,
                                          std::optional<qint32> agentPID, const QDateTime& at) {
    if (isHeadless(agentPID)) {
        return;
    }
    const PermissionAgent agent = PermissionAgent::of(m_store.agent(sessionID));
    const QString tool = string(json, QLatin1StringView("tool_name")).value_or(QString());
    const SessionCaption sessionCaption = caption(sessionID);
    PendingPermission pending;
    pending.id = string(json, QLatin1StringView("tool_use_id"))
                     .value_or(QUuid::createUuid().toString(QUuid::WithoutBraces));
    pending.sessionID = sessionID;
    pending.tool = displayTool.value_or(QStringLiteral("?"));
    pending.summary = summary;
    pending.sessionTitle = sessionCaption.title;
    pending.project = sessionCaption.project;
    pending.directory = nonEmptyString(json, "cwd");
    pending.sessionColor = sessionCaption.color;
    pending.question = question;
    pending.askedAt = at;
    pending.agentLabel = agent.label;
    pending.supportsAlwaysAllow = agent.supportsAlwaysAllow;
    const double lifetime = agent.hookHidesTerminalQuestion ? PermissionHoldPolicy::hiddenQuestionLifetime
                                                            : static_cast<double>(agent.decisionDeadline);
    m_store.requestUnheld(pending,
                          HeldRequestRelease::Held::of(pending.id, sessionID, tool,
                                                       objectOrEmpty(json, "tool_input"), at, agentPID),
                          at.addMSecs(static_cast<qint64>(lifetime * 1000)));
    DiagnosticLog::info(DiagnosticCategory::hooks, "question.unanswerable", [&] {
        return DiagnosticFields{{"session", DiagnosticValue::shortID(sessionID)},
                                {"request", DiagnosticValue::shortID(pending.id)}};
    });
}

void HookListener::releaseRunningCommands(const QDateTime& now) {
    if (m_processes == nullptr) {
        return;
    }
    if (m_lastProcessSweep && secondsBetween(*m_lastProcessSweep, now) >= 0 &&
        secondsBetween(*m_lastProcessSweep, now) < processSweepInterval) {
        return;
    }
    m_lastProcessSweep = now;
    const QList<HeldRequestRelease::Held> candidates = releaseCandidates();
    if (candidates.isEmpty()) {
        // A later request starts after every process running now, none of which can release it.
        m_processesThatReleased.clear();
        return;
    }
    const QList<TerminalApproval::Release> releases =
        TerminalApproval::releases(candidates, *m_processes, m_processesThatReleased);
    QStringList ids;
    for (const TerminalApproval::Release& found : releases) {
        m_processesThatReleased.unite(found.processes);
        ids.append(found.requestID);
    }
    // Processes older than every request can release none of them any more.
    QDateTime earliest = candidates.first().askedAt;
    for (const HeldRequestRelease::Held& record : candidates) {
        earliest = std::min(earliest, record.askedAt);
    }
    m_processesThatReleased.removeIf(
        [&](const RunningProcessIdentity& identity) { return identity.startedAt < earliest; });
    release(ids, candidates, "approved command is running");
}

std::optional<HookListener::Segurado> HookListener::takeHeld(const QString& id) {
    const auto found = m_held.find(id);
    if (found == m_held.end()) {
        return std::nullopt;
    }
    Segurado taken = std::move(*found);
    m_held.erase(found);
    m_heldOrder.removeOne(id);
    if (taken.expiry) {
        taken.expiry->stop();
        taken.expiry->deleteLater();
    }
    return taken;
}

void HookListener::send(const std::shared_ptr<HookConnection>& connection, const QByteArray& bytes) {
    if (connection) {
        connection->reply(bytes);
    }
}

QList<HeldRequestRelease::Held> HookListener::releaseCandidates() const {
    QList<HeldRequestRelease::Held> candidates;
    candidates.reserve(m_heldOrder.size());
    for (const QString& id : m_heldOrder) {
        candidates.append(m_held.value(id).request);
    }
    candidates.append(m_store.unheldForRelease());
    return candidates;
}

QStringList HookListener::heldRequests() const {
    return m_heldOrder;
}

bool HookListener::isHeadless(std::optional<qint32> agentPID) const {
    if (!agentPID || m_processes == nullptr) {
        return false;
    }
    return HeadlessSession::isHeadless(*agentPID, *m_processes);
}

HookListener::SessionCaption HookListener::caption(const QString& sessionID) const {
    return describeSession ? describeSession(sessionID) : SessionCaption{};
}

} // namespace tessary
