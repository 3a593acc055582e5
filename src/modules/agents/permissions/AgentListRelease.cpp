#include "modules/agents/permissions/AgentListRelease.h"

#include <QSet>

namespace tessary {

QStringList AgentListRelease::observe(const ClaudeAgentList& list, const QDateTime& readAt,
                                      const QList<HeldRequestRelease::Held>& candidates) {
    using Status = ClaudeAgentList::Status;
    QStringList released;
    QSet<QString> listed;
    for (const ClaudeAgentList::Session& session : list.sessions) {
        listed.insert(session.sessionID);
        if (!session.status || *session.status == Status::unknown) {
            continue;
        }
        if (*session.status == Status::waiting) {
            if (!m_waitingSince.contains(session.sessionID)) {
                m_waitingSince.insert(session.sessionID, readAt);
            }
            continue;
        }
        const auto waiting = m_waitingSince.constFind(session.sessionID);
        if (waiting == m_waitingSince.cend()) {
            continue;
        }
        // Only what was already asked when the wait was seen can have been its question.
        for (const HeldRequestRelease::Held& held : candidates) {
            if (held.sessionID == session.sessionID && held.askedAt <= *waiting &&
                !released.contains(held.id)) {
                released.append(held.id);
            }
        }
        m_waitingSince.erase(waiting);
    }
    m_waitingSince.removeIf([&](const auto& entry) { return !listed.contains(entry.key()); });
    return released;
}

} // namespace tessary
