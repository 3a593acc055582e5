#pragma once

#include "core/time/Clock.h"
#include "modules/agents/hooks/HookRequest.h"
#include "services/hooks/HookFiles.h"
#include "services/hooks/HookSocketServer.h"

#include <QDateTime>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QThread;

namespace tessary {

class AgentEventStore;
class HookConnection;

// The door through which coding agents' hooks reach the program: an HTTP/1.1 endpoint on the
// loopback interface, found through `~/.tessary/hook-endpoint` and guarded by the token in
// `~/.tessary/hook-token`. Its sockets run on the thread "app.thetessary.hooks"; every complete
// request comes back to the main thread, where `handle` routes it to the stores and the reply is
// chosen. Everything here is confined to the main thread.
class HookListener final : public QObject {
    Q_OBJECT
public:
    static constexpr auto threadName = "app.thetessary.hooks";

    // `homeDirectory` holds the ".tessary" folder; the store and the clock outlive the listener.
    HookListener(AgentEventStore& store, const Clock& clock, const QString& homeDirectory,
                 HookSocketServer::Limits limits = {}, QObject* parent = nullptr);
    ~HookListener() override;
    HookListener(const HookListener&) = delete;
    HookListener& operator=(const HookListener&) = delete;
    HookListener(HookListener&&) = delete;
    HookListener& operator=(HookListener&&) = delete;

    // Run on the main thread, once per batch of changes, when what the stores publish changed.
    std::function<void()> onUpdate;

    // Loads or makes the token, listens, and publishes the endpoint. Does nothing when running.
    // False when the socket could not listen; the program then runs on without hook events.
    bool start();
    // Stops listening, drops every connection and removes the endpoint file.
    void stop();
    [[nodiscard]] bool isRunning() const { return m_thread != nullptr; }
    [[nodiscard]] std::optional<quint16> port() const { return m_port; }
    [[nodiscard]] const HookFiles& files() const { return m_files; }

    // Driven by the workspace loop: drops the requests on show whose time is over.
    void tick(const QDateTime& now);

    // Routes one request. True when it has taken charge of the reply (holds the connection);
    // false when the caller is to answer with the empty 204.
    bool handle(const HookRequest& request, const std::shared_ptr<HookConnection>& connection);

    // For the benchmark and tests: connections open on the socket thread now (blocks briefly).
    [[nodiscard]] int openConnections() const;

private:
    void deliver(const HookRequest& request, const std::shared_ptr<HookConnection>& connection);
    void routeEvent(const QString& sessionID, const QString& eventName, const QJsonObject& json,
                    bool hookStateChanged, const QDateTime& now);
    void logHook(const std::optional<QString>& eventName, const QString& sessionID, const QJsonObject& json);
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
};

} // namespace tessary
