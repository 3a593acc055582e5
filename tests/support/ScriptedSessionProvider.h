#pragma once

// A session provider that answers from a script, from any thread: each reading takes the next
// answer, and the last one stands once the script is used up. It remembers the limits it was
// asked with, and a list of sessions is cut to the limit as a real provider cuts it.

#include "modules/sessions/SessionProvider.h"

#include <QList>
#include <QMutex>

#include <utility>

namespace tessary::testing {

class ScriptedSessionProvider final : public SessionProvider {
public:
    explicit ScriptedSessionProvider(SessionFetchResult answer = QList<AgentSession>{})
        : m_answers{std::move(answer)} {}

    SessionFetchResult fetchSessions(int limit) const override {
        const QMutexLocker locker(&m_lock);
        m_limits.append(limit);
        SessionFetchResult answer = m_answers.size() > 1 ? m_answers.takeFirst() : m_answers.first();
        if (auto* sessions = std::get_if<QList<AgentSession>>(&answer)) {
            *sessions = sessions->mid(0, limit);
        }
        return answer;
    }
    DiagnosticLiteral providerName() const override { return "ScriptedSessionProvider"; }

    void script(QList<SessionFetchResult> answers) {
        const QMutexLocker locker(&m_lock);
        m_answers = std::move(answers);
    }
    QList<int> limits() const {
        const QMutexLocker locker(&m_lock);
        return m_limits;
    }

private:
    mutable QMutex m_lock;
    mutable QList<SessionFetchResult> m_answers;
    mutable QList<int> m_limits;
};

} // namespace tessary::testing
