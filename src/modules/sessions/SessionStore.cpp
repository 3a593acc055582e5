#include "modules/sessions/SessionStore.h"

#include <utility>

namespace tessary {

QList<AgentSession> SessionStore::sessions() const {
    const std::lock_guard lock(m_lock);
    return m_sessions;
}

void SessionStore::update(QList<AgentSession> sessions) {
    {
        const std::lock_guard lock(m_lock);
        m_sessions.swap(sessions);
    }
    // `sessions` now holds the previous list, freed here outside the lock.
}

bool SessionStore::isEmpty() const {
    const std::lock_guard lock(m_lock);
    return m_sessions.isEmpty();
}

} // namespace tessary
