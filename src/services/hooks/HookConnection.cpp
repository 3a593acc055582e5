#include "services/hooks/HookConnection.h"

#include "services/hooks/HookSocketServer.h"

namespace tessary {

void HookConnection::reply(const QByteArray& bytes) {
    if (m_replied) {
        return;
    }
    m_replied = true;
    if (m_closed) {
        return;
    }
    if (HookSocketServer* server = m_server.data()) {
        QMetaObject::invokeMethod(
            server, [server, id = m_id, bytes] { server->send(id, bytes); }, Qt::QueuedConnection);
    }
}

void HookConnection::setOnClosed(std::function<void()> onClosed) {
    if (m_closed && !m_replied) {
        if (onClosed) {
            onClosed();
        }
        return;
    }
    m_onClosed = std::move(onClosed);
}

void HookConnection::markClosed() {
    if (m_closed) {
        return;
    }
    m_closed = true;
    if (!m_replied && m_onClosed) {
        // Moved out first: the callback may drop the last reference to this connection's owner.
        auto onClosed = std::move(m_onClosed);
        onClosed();
    }
}

} // namespace tessary
