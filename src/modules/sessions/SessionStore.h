#pragma once

#include "modules/sessions/AgentSession.h"

#include <QList>

#include <mutex>

namespace tessary {

// The latest session list of one agent, for any thread. It keeps the last good reading through
// failed ones. The lock is held only to copy or swap the list; the old list is released after it.
class SessionStore {
public:
    SessionStore() = default;
    SessionStore(const SessionStore&) = delete;
    SessionStore& operator=(const SessionStore&) = delete;
    SessionStore(SessionStore&&) = delete;
    SessionStore& operator=(SessionStore&&) = delete;
    ~SessionStore() = default;

    [[nodiscard]] QList<AgentSession> sessions() const;
    void update(QList<AgentSession> sessions);
    [[nodiscard]] bool isEmpty() const;

private:
    mutable std::mutex m_lock;
    QList<AgentSession> m_sessions;
};

} // namespace tessary
