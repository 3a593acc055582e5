#include "app/SingleInstance.h"

#include <QDir>
#include <QLocalSocket>
#include <QStandardPaths>

#include <unistd.h>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {
constexpr int handoverTimeoutMs = 1000;
const QByteArray activateMessage = QByteArrayLiteral("activate\n");
} // namespace

SingleInstance::SingleInstance(QString socketPath, QObject* parent)
    : QObject(parent)
    , m_socketPath(std::move(socketPath)) {
    connect(&m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnections);
}

QString SingleInstance::defaultSocketPath() {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty()) {
        folder = QDir::tempPath();
    }
    return folder + u"/tessary-"_s + QString::number(getuid()) + u".instance"_s;
}

SingleInstance::Role SingleInstance::claim() {
    {
        QLocalSocket socket;
        socket.connectToServer(m_socketPath);
        if (socket.waitForConnected(handoverTimeoutMs)) {
            socket.write(activateMessage);
            socket.waitForBytesWritten(handoverTimeoutMs);
            socket.disconnectFromServer();
            return Role::handedOver;
        }
    }
    // Nobody answers: whatever socket file is there was left by a process that has gone.
    QLocalServer::removeServer(m_socketPath);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    return m_server.listen(m_socketPath) ? Role::primary : Role::failed;
}

void SingleInstance::acceptConnections() {
    while (QLocalSocket* socket = m_server.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine()) {
                if (socket->bytesAvailable() > activateMessage.size()) {
                    socket->disconnectFromServer(); // not one of ours
                }
                return;
            }
            if (socket->readLine() == activateMessage) {
                emit activationRequested();
            }
            socket->disconnectFromServer();
        });
    }
}

} // namespace tessary
