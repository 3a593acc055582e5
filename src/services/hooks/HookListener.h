#pragma once

#include "core/diagnostics/DiagnosticValue.h"
#include "core/time/Clock.h"
#include "modules/agents/hooks/HookRequest.h"
#include "modules/agents/permissions/AgentListRelease.h"
#include "modules/agents/permissions/AgentQuestion.h"
#include "modules/agents/permissions/HeldRequestRelease.h"
#include "modules/agents/permissions/PendingPermission.h"
#include "modules/agents/permissions/PermissionAgent.h"
#include "modules/agents/permissions/PermissionDecision.h"
#include "modules/agents/permissions/PermissionHoldPolicy.h"
#include "modules/agents/permissions/PlanReview.h"
#include "modules/agents/permissions/TerminalApproval.h"
#include "services/hooks/HookEventRouter.h"
#include "services/hooks/HookFiles.h"
#include "services/hooks/HookSocketServer.h"

#include <QDateTime>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

class QThread;

namespace tessary {

class AgentEventStore;
class AgentProcessReading;
class HookConnection;

// The door through which coding agents' hooks reach the program: an HTTP/1.1 endpoint on the
// loopback interface, found through `~/.tessary/hook-endpoint` and guarded by the token in
// `~/.tessary/hook-token`. Its sockets run on the thread "app.thetessary.hooks"; every complete
// request comes back to the main thread, where `handle` routes it to the stores and the reply is
// chosen. The body is read once into a `HookEvent`; `HookEventRouter` decides where it goes, and the
// listener keeps the socket, the token, the files and the held requests. A permission request is held: its
// connection stays open, unanswered, until the user decides on the card, the deadline passes, the connection
// closes, or the request proves answered elsewhere. Everything here is confined to the main thread.
class HookListener final : public QObject {
    Q_OBJECT
public:
    static constexpr auto threadName = "app.thetessary.hooks";
    // Seconds a request of another application's session stays on show without a hold.
    static constexpr double hostedLifetime = 1800.0;
    // Seconds between two readings of the agents' processes for commands allowed in the terminal.
    static constexpr double processSweepInterval = 1.0;

    using SessionCaption = HookEventRouter::SessionCaption;

    // `homeDirectory` holds the ".tessary" folder; the store, the clock and the process reading
    // outlive the listener. Without a process reading, no session counts as headless or as driven by
    // a program that answers its own prompts, and no running command releases a request.
    HookListener(AgentEventStore& store, const Clock& clock, const QString& homeDirectory,
                 HookSocketServer::Limits limits = {}, QObject* parent = nullptr);
    HookListener(AgentEventStore& store, const Clock& clock, const QString& homeDirectory,
                 const AgentProcessReading* processes, HookSocketServer::Limits limits = {},
                 QObject* parent = nullptr);
    ~HookListener() override;
    HookListener(const HookListener&) = delete;
    HookListener& operator=(const HookListener&) = delete;
    HookListener(HookListener&&) = delete;
    HookListener& operator=(HookListener&&) = delete;

    // Run on the main thread, once per batch of changes, when what the stores publish changed.
    std::function<void()> onUpdate;
    // Run on the main thread as soon as a permission request joins the store's queue, ahead of the
    // batched update: the card shows it without waiting for the refresh that follows.
    std::function<void()> onPermissionAsked;
    // The caption of a session for the card; optional.
    std::function<SessionCaption(const QString& sessionID)> describeSession;
    // Whether a session is one of Claude Desktop's; optional.
    std::function<bool(const QString& sessionID)> isDesktopSession;

    // Loads or makes the token, listens, and publishes the endpoint. Does nothing when running.
    // False when the socket could not listen; the program then runs on without hook events.
    bool start();
    // Stops listening, drops every connection and removes the endpoint file.
    void stop();
    [[nodiscard]] bool isRunning() const { return m_thread != nullptr; }
    [[nodiscard]] std::optional<quint16> port() const { return m_port; }
    [[nodiscard]] const HookFiles& files() const { return m_files; }

    // Driven by the workspace loop: ends the holds whose deadline passed, drops the requests on show
    // whose time is over, and releases the requests whose command already runs.
    void tick(const QDateTime& now);

    // The user's answer to a held request: the 200 reply with the decision's body. `answers` (question
    // to label) go back as the call's updated input. A request no longer held (released, expired, or
    // answered already) is left alone and nothing is sent: false then.
    bool decide(const QString& id, PermissionDecision decision, const QString& reason,
                const std::optional<QHash<QString, QString>>& answers = std::nullopt);
    // The user's review of a held plan; likewise.
    bool review(const QString& id, const PlanReview& review);

    // A reading of Claude Code's own session list: a session it showed waiting and now shows busy or
    // idle was answered in the terminal, and its requests are released.
    void agentListRead(const ClaudeAgentList& list, const QDateTime& at);

    // Routes one request. True when it has taken charge of the reply (holds the connection);
    // false when the caller is to answer with the empty 204.
    bool handle(const HookRequest& request, const std::shared_ptr<HookConnection>& connection);

    // The ids of the requests held now, oldest first.
    [[nodiscard]] QStringList heldRequests() const;

    // For the benchmark and tests: connections open on the socket thread now (blocks briefly).
    [[nodiscard]] int openConnections() const;

private:
    // A request on hold: the connection that waits for the answer and what the answer is made of.
    struct Segurado {
        std::shared_ptr<HookConnection> connection;
        HeldRequestRelease::Held request;
        QJsonObject input;
        QJsonArray suggestions;
        PermissionAgent agent;
        PermissionHoldPolicy::AtDeadline atDeadline = PermissionHoldPolicy::AtDeadline::expire;
        // The wall-clock deadline, checked on every tick (the timer does not count a suspended
        // machine's sleep).
        QDateTime deadline;
        // Fires at the deadline; a child of the listener, deleted when the hold ends.
        QPointer<QTimer> expiry;
    };

    void deliver(const HookRequest& request, const std::shared_ptr<HookConnection>& connection);
    void hold(const HookEventRouter::Hold& request, const std::shared_ptr<HookConnection>& connection);
    void watchClosure(const std::shared_ptr<HookConnection>& connection, const QString& id);
    void connectionClosed(const QString& id, const HookConnection* connection);
    void releaseAnswered(const HeldRequestRelease::Event& event, const DiagnosticValue& reason);
    void release(const QStringList& ids, const QList<HeldRequestRelease::Held>& among,
                 const DiagnosticValue& reason);
    void expire(const QString& id);
    void deadlinePassed(const QString& id);
    void releaseRunningCommands(const QDateTime& now);
    // Removes a request from the held ones and stops its timer; the caller writes its one reply.
    std::optional<Segurado> takeHeld(const QString& id);
    static void send(const std::shared_ptr<HookConnection>& connection, const QByteArray& bytes);
    [[nodiscard]] QList<HeldRequestRelease::Held> releaseCandidates() const;
    void requestUpdate();
    [[nodiscard]] bool tokenMatches(const std::optional<QString>& presented) const;

    AgentEventStore& m_store;
    const Clock& m_clock;
    HookFiles m_files;
    HookSocketServer::Limits m_limits;
    QString m_token;
    QThread* m_thread = nullptr;
    HookSocketServer* m_server = nullptr;
    std::optional<quint16> m_port;
    bool m_updatePending = false;
    const AgentProcessReading* m_processes = nullptr;
    QHash<QString, Segurado> m_held;
    // Order in which the held requests came, for the sweep and for readers.
    QStringList m_heldOrder;
    std::optional<QDateTime> m_lastProcessSweep;
    AgentListRelease m_listRelease;
    // Processes that already released a request: a long command must not release a later one.
    QSet<RunningProcessIdentity> m_processesThatReleased;
    HookEventRouter m_router;
};

} // namespace tessary
