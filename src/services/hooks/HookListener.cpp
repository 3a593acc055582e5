#include "services/hooks/HookListener.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "core/json/JsonFields.h"
#include "modules/agents/hooks/SessionHookEvent.h"
#include "modules/agents/live/AgentEventStore.h"
#include "modules/agents/permissions/AgentQuestion.h"
#include "modules/agents/permissions/PermissionAgent.h"
#include "modules/agents/permissions/PermissionSummary.h"
#include "modules/agents/permissions/ToolCallFingerprint.h"
#include "services/hooks/HookConnection.h"
#include "services/hooks/HookWire.h"

#include <QThread>

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
    : QObject(parent)
    , m_store(store)
    , m_clock(clock)
    , m_files(homeDirectory)
    , m_limits(limits) {}

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
    const qsizetype lapsed = m_store.dropLapsedPermissions(now);
    if (lapsed > 0) {
        DiagnosticLog::info(DiagnosticCategory::hooks, "permission.lapsed", [&] {
            return DiagnosticFields{{"count", DiagnosticValue::count(lapsed)}};
        });
        requestUpdate();
    }
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

bool HookListener::handle(const HookRequest& request, const std::shared_ptr<HookConnection>& /*connection*/) {
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
    if (const auto agentPID = request.header(HookWire::agentHeader)) {
        bool isNumber = false;
        const qint32 pid = agentPID->toInt(&isNumber, 10);
        if (isNumber) {
            m_store.note(*sessionID, pid);
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
    routeEvent(*sessionID, *eventName, json, hookStateChanged, now);
    return false;
}

void HookListener::routeEvent(const QString& sessionID, const QString& eventName, const QJsonObject& json,
                              bool hookStateChanged, const QDateTime& now) {
    const auto logAndUpdate = [&] {
        logHook(eventName, sessionID, json);
        requestUpdate();
    };
    const auto toolName = string(json, QLatin1StringView("tool_name"));

    if (eventName == QLatin1StringView("PermissionRequest")) {
        // Noted so that the tool's end can tell time spent waiting for an answer from running time.
        // The request is answered with the empty reply: the agent asks in its own terminal.
        m_store.notePermissionAsked(
            sessionID,
            ToolCallFingerprint::of(toolName.value_or(QString()), objectOrEmpty(json, "tool_input")), now);
        return;
    }
    if (eventName == QLatin1StringView("SessionEnd")) {
        m_store.end(sessionID, now);
        logAndUpdate();
        return;
    }
    if (eventName == QLatin1StringView("SessionStart")) {
        m_store.noteSessionStart(sessionID, string(json, QLatin1StringView("source")));
        if (const auto model = string(json, QLatin1StringView("model"))) {
            m_store.noteModel(sessionID, *model, std::nullopt, now);
        }
        logAndUpdate();
        return;
    }
    if (eventName == QLatin1StringView("PostModelSwitch")) {
        if (const auto model = string(json, QLatin1StringView("to_model"))) {
            m_store.noteModel(sessionID, *model, string(json, QLatin1StringView("from_model")), now);
        }
        logAndUpdate();
        return;
    }
    if (eventName == QLatin1StringView("UserPromptSubmit")) {
        m_store.update(sessionID, AgentActivity::working, std::nullopt, std::nullopt, now);
        m_store.notePrompt(sessionID, now);
        logAndUpdate();
        return;
    }
    if (eventName == QLatin1StringView("PreToolUse")) {
        const auto displayTool = readableTool(toolName);
        const QJsonObject input = objectOrEmpty(json, "tool_input");
        std::optional<AgentQuestion> question;
        if (PermissionAgent::of(m_store.agent(sessionID)).asksOutsidePermission) {
            question = AgentQuestion::read(toolName.value_or(QString()), input);
        }
        if (question) {
            m_store.update(sessionID, AgentActivity::blocked, std::nullopt, std::nullopt, now);
        } else {
            m_store.update(sessionID, AgentActivity::working, displayTool, std::nullopt, now);
        }
        if (const auto toolUseID = string(json, QLatin1StringView("tool_use_id"))) {
            const QString summary = summarizePermission(displayTool.value_or(QStringLiteral("?")), input);
            m_store.startTool(*toolUseID, sessionID, displayTool.value_or(QStringLiteral("?")), summary,
                              ToolCallFingerprint::of(toolName.value_or(QString()), input), now);
        }
        logAndUpdate();
        return;
    }
    if (eventName == QLatin1StringView("PostToolUse") ||
        eventName == QLatin1StringView("PostToolUseFailure")) {
        const auto toolUseID = string(json, QLatin1StringView("tool_use_id"));
        if (!toolUseID) {
            return;
        }
        const auto outcome =
            SessionHookEvent::toolOutcome(eventName, json.value(QLatin1StringView("tool_response")),
                                          string(json, QLatin1StringView("error")));
        const auto run = m_store.finishTool(*toolUseID, outcome.failed, outcome.error, now);
        if (run && AgentChanges::longRunningTime(*run)) {
            logAndUpdate();
        }
        return;
    }
    if (eventName == QLatin1StringView("Stop") || eventName == QLatin1StringView("Interrupt")) {
        const auto kind = eventName == QLatin1StringView("Stop") ? AgentTurnResult::Kind::completed
                                                                 : AgentTurnResult::Kind::interrupted;
        m_store.noteTurnResult(sessionID, nonEmptyString(json, "turn_id"), kind, now);
        m_store.update(sessionID, AgentActivity::waiting, std::nullopt, std::nullopt, now);
        m_store.discardToolStarts(sessionID);
        logAndUpdate();
        return;
    }
    if (eventName == QLatin1StringView("StopFailure")) {
        m_store.update(sessionID, AgentActivity::failed, std::nullopt,
                       string(json, QLatin1StringView("error")), now);
        m_store.discardToolStarts(sessionID);
        logAndUpdate();
        return;
    }
    if (eventName == QLatin1StringView("Notification")) {
        if (const auto activity =
                activityForNotification(string(json, QLatin1StringView("notification_type")))) {
            m_store.update(sessionID, *activity, std::nullopt, std::nullopt, now);
            logAndUpdate();
        }
        return;
    }
    if (eventName == QLatin1StringView("CwdChanged")) {
        if (const auto directory = nonEmptyString(json, "new_cwd")) {
            m_store.noteDirectory(sessionID, *directory);
        }
        logAndUpdate();
        return;
    }
    static const QSet<QString> sessionStateEvents{
        QStringLiteral("SubagentStart"), QStringLiteral("SubagentStop"),     QStringLiteral("TaskCreated"),
        QStringLiteral("TaskCompleted"), QStringLiteral("PermissionDenied"), QStringLiteral("PreCompact"),
        QStringLiteral("PostCompact"),
    };
    if (hookStateChanged && sessionStateEvents.contains(eventName)) {
        logAndUpdate();
    }
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

} // namespace tessary
