#pragma once

#include <QByteArray>
#include <QPointer>

#include <functional>

namespace tessary {

class HookSocketServer;

// The main thread's hold on one connection whose request was handed over: it writes the one reply
// (after which the connection closes) and hears when the peer goes away first. A connection can so
// be kept open, unanswered, for as long as its owner needs. Made on the connections' thread, then
// used only on the main thread.
class HookConnection {
public:
    HookConnection(QPointer<HookSocketServer> server, quint64 id)
        : m_server(std::move(server))
        , m_id(id) {}

    [[nodiscard]] quint64 id() const { return m_id; }

    // Writes `bytes` and closes the connection. Only the first reply is sent; one to a connection
    // already closed, or after the listener stopped, goes nowhere.
    void reply(const QByteArray& bytes);

    [[nodiscard]] bool hasReplied() const { return m_replied; }
    // The peer closed (or the connection failed) before a reply was written.
    [[nodiscard]] bool isClosed() const { return m_closed; }
    // Called once when the peer goes away before the reply; at once if it already has.
    void setOnClosed(std::function<void()> onClosed);

    // From the connections' side, on the main thread.
    void markClosed();

private:
    QPointer<HookSocketServer> m_server;
    quint64 m_id;
    bool m_replied = false;
    bool m_closed = false;
    std::function<void()> m_onClosed;
};

} // namespace tessary
