#include "services/hooks/HookSocketServer.h"

#include "services/hooks/HookConnection.h"
#include "services/hooks/HookWire.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <vector>

namespace tessary {

HookSocketServer::HookSocketServer(QObject* receiver, Deliver deliver, Limits limits)
    : m_receiver(receiver)
    , m_deliver(std::move(deliver))
    , m_limits(limits) {}

HookSocketServer::~HookSocketServer() {
    // Sockets and the server are children; the map only points at them.
    m_connections.clear();
}

std::optional<quint16> HookSocketServer::listen(QAbstractSocket::SocketError* error) {
    if (m_server == nullptr) {
        m_server = new QTcpServer(this);
        connect(m_server, &QTcpServer::newConnection, this, &HookSocketServer::accept);
        m_stallTimer = new QTimer(this);
        const auto shortest = std::min(m_limits.headTimeout, m_limits.requestTimeout);
        m_stallTimer->setInterval(
            std::clamp(shortest / 4, std::chrono::milliseconds(10), std::chrono::milliseconds(250)));
        connect(m_stallTimer, &QTimer::timeout, this, &HookSocketServer::dropStalled);
    }
    // Only this machine's loopback: the token is then the second wall, not the only one.
    if (!m_server->listen(QHostAddress::LocalHost, 0)) {
        if (error != nullptr) {
            *error = m_server->serverError();
        }
        return std::nullopt;
    }
    return m_server->serverPort();
}

void HookSocketServer::shutdown() {
    if (m_server != nullptr) {
        m_server->close();
    }
    while (!m_connections.empty()) {
        drop(m_connections.begin()->first);
    }
}

void HookSocketServer::accept() {
    while (QTcpSocket* socket = m_server->nextPendingConnection()) {
        if (readingConnections() >= m_limits.maximumConnections) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        const quint64 id = m_nextID++;
        socket->setParent(this);
        m_connections.emplace(id, Connection{socket, HookRequestReader{}, Stage::reading, nullptr,
                                             std::chrono::steady_clock::now()});
        connect(socket, &QTcpSocket::readyRead, this, [this, id] { readFrom(id); });
        connect(socket, &QTcpSocket::disconnected, this, [this, id] { closed(id); });
        connect(socket, &QTcpSocket::errorOccurred, this, [this, id](QAbstractSocket::SocketError error) {
            if (error != QAbstractSocket::RemoteHostClosedError) {
                closed(id);
            }
        });
        if (!m_stallTimer->isActive()) {
            m_stallTimer->start();
        }
        if (socket->bytesAvailable() > 0) {
            readFrom(id);
        }
    }
}

int HookSocketServer::readingConnections() const {
    return static_cast<int>(
        std::count_if(m_connections.cbegin(), m_connections.cend(),
                      [](const auto& entry) { return entry.second.stage == Stage::reading; }));
}

void HookSocketServer::readFrom(quint64 id) {
    auto found = m_connections.find(id);
    if (found == m_connections.end()) {
        return;
    }
    Connection& connection = found->second;
    QTcpSocket* socket = connection.socket;
    while (socket->bytesAvailable() > 0) {
        // Sized to what is there: a buffer of the full read size per small request costs more in the
        // allocator than the request's framing.
        const QByteArray data = socket->read(std::min(socket->bytesAvailable(), m_limits.readSize));
        if (data.isEmpty()) {
            return;
        }
        if (connection.stage != Stage::reading) {
            // After the request, anything more from the peer is dropped; only its going away matters.
            continue;
        }
        auto progress = connection.reader.append(data);
        if (const auto* more = std::get_if<HookRequestReader::NeedsMore>(&progress)) {
            if (more->continueNow) {
                socket->write(HookWire::continueReply.data(), HookWire::continueReply.size());
            }
            continue;
        }
        if (std::holds_alternative<HookRequestReader::Invalid>(progress)) {
            drop(id);
            return;
        }
        auto& complete = std::get<HookRequestReader::Complete>(progress);
        connection.stage = Stage::handedOver;
        connection.handle = std::make_shared<HookConnection>(QPointer<HookSocketServer>(this), id);
        QMetaObject::invokeMethod(
            m_receiver,
            [deliver = m_deliver, request = std::move(complete.request),
             handle = connection.handle]() mutable { deliver(std::move(request), std::move(handle)); },
            Qt::QueuedConnection);
    }
}

void HookSocketServer::send(quint64 id, const QByteArray& bytes) {
    const auto found = m_connections.find(id);
    if (found == m_connections.end() || found->second.stage == Stage::replied) {
        return;
    }
    found->second.stage = Stage::replied;
    QTcpSocket* socket = found->second.socket;
    socket->write(bytes);
    // A reply is a few hundred bytes: written now rather than on the next turn of the event loop, so
    // that the socket closes at once.
    socket->flush();
    socket->disconnectFromHost();
}

void HookSocketServer::closed(quint64 id) {
    const auto found = m_connections.find(id);
    if (found == m_connections.end()) {
        return;
    }
    if (found->second.stage == Stage::handedOver) {
        QMetaObject::invokeMethod(
            m_receiver, [handle = found->second.handle] { handle->markClosed(); }, Qt::QueuedConnection);
    } else if (found->second.stage == Stage::reading) {
        found->second.reader.finish(HookRequestReader::FinishReason::peerClosed);
    }
    QTcpSocket* socket = found->second.socket;
    m_connections.erase(found);
    socket->disconnect(this);
    socket->abort();
    socket->deleteLater();
}

void HookSocketServer::drop(quint64 id) {
    const auto found = m_connections.find(id);
    if (found == m_connections.end()) {
        return;
    }
    QTcpSocket* socket = found->second.socket;
    const bool handedOver = found->second.stage == Stage::handedOver;
    std::shared_ptr<HookConnection> handle = found->second.handle;
    m_connections.erase(found);
    socket->disconnect(this);
    socket->abort();
    socket->deleteLater();
    if (handedOver) {
        QMetaObject::invokeMethod(
            m_receiver, [handle] { handle->markClosed(); }, Qt::QueuedConnection);
    }
}

void HookSocketServer::dropStalled() {
    const auto now = std::chrono::steady_clock::now();
    std::vector<quint64> overdue;
    bool reading = false;
    for (const auto& [id, connection] : m_connections) {
        if (connection.stage != Stage::reading) {
            continue;
        }
        const auto age = now - connection.acceptedAt;
        if (age >= m_limits.requestTimeout || (!connection.reader.hasHead() && age >= m_limits.headTimeout)) {
            overdue.push_back(id);
        } else {
            reading = true;
        }
    }
    for (const quint64 id : overdue) {
        drop(id);
    }
    if (!reading) {
        m_stallTimer->stop();
    }
}

} // namespace tessary
