#pragma once

#include "modules/agents/hooks/HookRequest.h"
#include "modules/agents/hooks/HookRequestReader.h"

#include <QAbstractSocket>
#include <QObject>
#include <QPointer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>

class QTcpServer;
class QTcpSocket;
class QTimer;

namespace tessary {

class HookConnection;

// The listener's sockets, on the loopback interface, living on a thread of their own. Each
// connection is read with a HookRequestReader; a complete request is handed, with its
// HookConnection, to `deliver` on the thread of `receiver`, which answers it when it wants to.
// Connections that stall before their request is complete are dropped, and only so many may be
// open at once.
class HookSocketServer final : public QObject {
    Q_OBJECT
public:
    using Deliver = std::function<void(HookRequest, std::shared_ptr<HookConnection>)>;

    struct Limits {
        // Time allowed from accepting to the end of the head, and to the end of the body.
        std::chrono::milliseconds headTimeout{5000};
        std::chrono::milliseconds requestTimeout{30000};
        // Connections still sending their request. A connection whose request is complete does not
        // count: it is answered at once, or held for the user, and held permission requests (the
        // agents' own, with the token) must not shut out the hooks that come after them.
        int maximumConnections = 64;
        // Bytes read from a socket in one go.
        qint64 readSize = 65'536;
    };

    HookSocketServer(QObject* receiver, Deliver deliver, Limits limits);
    ~HookSocketServer() override;
    HookSocketServer(const HookSocketServer&) = delete;
    HookSocketServer& operator=(const HookSocketServer&) = delete;
    HookSocketServer(HookSocketServer&&) = delete;
    HookSocketServer& operator=(HookSocketServer&&) = delete;

    // On the server's thread: listens on 127.0.0.1 at a port the system picks. The port, or nothing
    // with the reason in `error`.
    std::optional<quint16> listen(QAbstractSocket::SocketError* error);
    // On the server's thread: stops listening and drops every connection.
    void shutdown();

    // On the server's thread: writes the reply of a connection and closes it.
    void send(quint64 id, const QByteArray& bytes);

    // For tests and the benchmark: connections open now.
    [[nodiscard]] int openConnections() const { return static_cast<int>(m_connections.size()); }

private:
    enum class Stage { reading, handedOver, replied };

    struct Connection {
        QTcpSocket* socket = nullptr;
        HookRequestReader reader;
        Stage stage = Stage::reading;
        std::shared_ptr<HookConnection> handle;
        std::chrono::steady_clock::time_point acceptedAt;
    };

    void accept();
    // Connections whose request is not complete yet: the ones the limit is for.
    [[nodiscard]] int readingConnections() const;
    void readFrom(quint64 id);
    void closed(quint64 id);
    void drop(quint64 id);
    // Drops the connections whose request is overdue; one timer for all, running while any is read.
    void dropStalled();

    QObject* m_receiver;
    Deliver m_deliver;
    Limits m_limits;
    QTcpServer* m_server = nullptr;
    QTimer* m_stallTimer = nullptr;
    std::unordered_map<quint64, Connection> m_connections;
    quint64 m_nextID = 1;
};

} // namespace tessary
