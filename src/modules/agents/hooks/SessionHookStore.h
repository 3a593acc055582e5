#pragma once

#include "modules/agents/hooks/SessionHookState.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <mutex>
#include <optional>

namespace tessary {

// The hook state of the latest sessions, at most 50, the least recently touched going first.
// Written from the main thread; read from any thread. The lock is held only to copy or swap.
class SessionHookStore {
public:
    static constexpr qsizetype sessionLimit = 50;

    SessionHookStore() = default;
    SessionHookStore(const SessionHookStore&) = delete;
    SessionHookStore& operator=(const SessionHookStore&) = delete;
    SessionHookStore(SessionHookStore&&) = delete;
    SessionHookStore& operator=(SessionHookStore&&) = delete;
    ~SessionHookStore() = default;

    // Folds the reading into the session's state; true when the state changed.
    bool record(const SessionHookEvent::Reading& reading, const QString& sessionID, const QDateTime& at);

    [[nodiscard]] std::optional<SessionHookState> state(const QString& sessionID) const;
    [[nodiscard]] QHash<QString, SessionHookState> states() const;

private:
    // Serialises writers, so that the read-modify-write of `record` needs the data lock only to copy
    // and to swap.
    std::mutex m_writer;
    mutable std::mutex m_lock;
    QHash<QString, SessionHookState> m_sessions;
    QHash<QString, quint64> m_touches;
    quint64 m_touchCounter = 0;
};

} // namespace tessary
