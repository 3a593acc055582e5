#pragma once

#include "modulekit/ChangeSignal.h"
#include "modules/agents/changes/AgentChanges.h"

#include <QHash>
#include <QList>
#include <QString>

#include <functional>
#include <mutex>
#include <optional>

namespace tessary {

// The notices of agent changes on show now. Safe from any thread: the lock is held only to copy
// and swap.
class AgentChangeStore {
public:
    // A title is kept for at most this many sessions that have left every reading.
    static constexpr qsizetype titleLimit = 200;

    // One more reading. The first only records: nothing going on at launch is news. True when the
    // notices on show changed.
    bool observe(const AgentChanges::Reading& current, const std::function<bool(const QString&)>& isInFront,
                 const QDateTime& now);

    [[nodiscard]] QList<AgentChange> active() const;
    // The notices as facts of a change signal, with the sessions' titles; a session that left the
    // list keeps the title it had.
    [[nodiscard]] std::optional<ChangeSignal> signal(const Localization& localization) const;

private:
    mutable std::mutex m_lock;
    std::optional<AgentChanges::Reading> m_previous;
    QList<AgentChange> m_active;
    QHash<QString, QString> m_titles;
};

} // namespace tessary
