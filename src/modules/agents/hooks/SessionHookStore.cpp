#include "modules/agents/hooks/SessionHookStore.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tessary {

bool SessionHookStore::record(const SessionHookEvent::Reading& reading, const QString& sessionID,
                              const QDateTime& at) {
    const std::lock_guard writer(m_writer);
    std::optional<SessionHookState> old;
    {
        const std::lock_guard lock(m_lock);
        if (const auto found = m_sessions.constFind(sessionID); found != m_sessions.cend()) {
            old = *found;
        }
    }
    SessionHookState updated = old.value_or(SessionHookState{});
    updated.apply(reading, at);

    const bool changed = updated != old.value_or(SessionHookState{});
    // Holds what leaves the maps, so that it is released after the lock.
    QList<SessionHookState> released;
    {
        const std::lock_guard lock(m_lock);
        if (old || !updated.isEmpty()) {
            m_touches.insert(sessionID, ++m_touchCounter);
        }
        if (!changed) {
            return false;
        }
        if (updated.isEmpty()) {
            if (auto found = m_sessions.find(sessionID); found != m_sessions.end()) {
                released.append(std::move(*found));
                m_sessions.erase(found);
            }
            m_touches.remove(sessionID);
            return true;
        }
        std::swap(m_sessions[sessionID], updated);
        if (m_sessions.size() > sessionLimit) {
            std::vector<std::pair<quint64, QString>> byAge;
            byAge.reserve(static_cast<std::size_t>(m_touches.size()));
            for (auto it = m_touches.cbegin(); it != m_touches.cend(); ++it) {
                byAge.emplace_back(it.value(), it.key());
            }
            std::sort(byAge.begin(), byAge.end());
            const auto excess = static_cast<std::size_t>(m_sessions.size() - sessionLimit);
            for (std::size_t i = 0; i < excess && i < byAge.size(); ++i) {
                if (auto found = m_sessions.find(byAge[i].second); found != m_sessions.end()) {
                    released.append(std::move(*found));
                    m_sessions.erase(found);
                }
                m_touches.remove(byAge[i].second);
            }
        }
    }
    return true;
}

std::optional<SessionHookState> SessionHookStore::state(const QString& sessionID) const {
    const std::lock_guard lock(m_lock);
    if (const auto found = m_sessions.constFind(sessionID); found != m_sessions.cend()) {
        return *found;
    }
    return std::nullopt;
}

QHash<QString, SessionHookState> SessionHookStore::states() const {
    const std::lock_guard lock(m_lock);
    return m_sessions;
}

} // namespace tessary
