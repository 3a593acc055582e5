#include "services/hooks/HookListener.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "modules/agents/hooks/HookEvent.h"
#include "modules/agents/live/AgentEventStore.h"
#include "modules/agents/permissions/PermissionAgent.h"
#include "services/hooks/HookConnection.h"
#include "services/hooks/HookWire.h"

#include <QJsonDocument>
#include <QThread>

namespace tessary {

namespace {

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
    , m_processes(processes)
    , m_router({store, processes,
                [this](const QString& sessionID) {
                    return describeSession ? describeSession(sessionID) : SessionCaption{};
                },
                [this](const QString& sessionID) { return isDesktopSession && isDesktopSession(sessionID); },
                [this] { requestUpdate(); }}) {}

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
    if (request.header(HookWire::statusLineHeader) == QStringLiteral("1")) {
        if (m_store.statusLines().record(request.json, now)) {
            requestUpdate();
        }
        return false;
    }
    // The body is read here, once; everything after works from the event.
    const std::optional<HookEvent> event = HookEvent::read(request.json);
    if (!event) {
        return false;
    }
    HookEventRouter::Sender sender;
    if (const auto header = request.header(HookWire::agentHeader)) {
        bool isNumber = false;
        const qint32 pid = header->toInt(&isNumber, 10);
        if (isNumber) {
            sender.agentPID = pid;
        }
    }
    sender.agent = request.header(HookWire::sourceHeader);
    m_router.noteSender(*event, sender);
    // Any event may show that a held request was answered elsewhere; it ends the hold before the
    // event itself is recorded.
    releaseAnswered(event->release, DiagnosticValue::name(event->name));
    const std::optional<HookEventRouter::Hold> toHold = m_router.route(*event, sender, now);
    if (!toHold) {
        return false;
    }
    hold(*toHold, connection);
    return true;
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

void HookListener::hold(const HookEventRouter::Hold& request,
                        const std::shared_ptr<HookConnection>& connection) {
    const PendingPermission& pending = request.pending;
    const QJsonObject& input = request.input;
    const PermissionAgent& agent = request.agent;
    const std::optional<qint32> agentPID = request.agentPID;
    HeldRequestRelease::Held held = HeldRequestRelease::Held::of(
        pending.id, pending.sessionID, request.fingerprint.tool, input, pending.askedAt, agentPID);
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

    const PermissionHoldPolicy policy = PermissionHoldPolicy::of(agent, m_router.isHeadless(agentPID));
    auto* expiry = new QTimer(this);
    expiry->setSingleShot(true);
    expiry->setTimerType(Qt::CoarseTimer);
    expiry->setInterval(std::chrono::seconds(policy.deadline));
    const QString id = pending.id;
    connect(expiry, &QTimer::timeout, this, [this, id] { deadlinePassed(id); });
    expiry->start();

    m_held.insert(id, Segurado{connection, std::move(held), input, request.suggestions, agent,
                               policy.atDeadline, pending.askedAt.addSecs(policy.deadline), expiry});
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

} // namespace tessary
