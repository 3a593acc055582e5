#include "modules/agents/changes/AgentChangeStore.h"

namespace tessary {

bool AgentChangeStore::observe(const AgentChanges::Reading& current,
                               const std::function<bool(const QString&)>& isInFront, const QDateTime& now) {
    std::optional<AgentChanges::Reading> previous;
    QList<AgentChange> active;
    {
        const std::lock_guard lock(m_lock);
        previous = m_previous;
        active = m_active;
    }
    // The front check may ask the window system: not under the lock.
    QList<AgentChange> next = AgentChanges::next(active, previous, current, isInFront, now);
    const std::lock_guard lock(m_lock);
    for (auto title = current.titles.cbegin(); title != current.titles.cend(); ++title) {
        if (!title.value().trimmed().isEmpty()) {
            m_titles.insert(title.key(), title.value());
        }
    }
    if (m_titles.size() > titleLimit) {
        m_titles.removeIf([&](const auto& entry) {
            return !current.titles.contains(entry.key()) &&
                   std::none_of(next.cbegin(), next.cend(),
                                [&](const AgentChange& change) { return change.sessionID == entry.key(); });
        });
    }
    m_previous = current;
    const bool changed = next != m_active;
    m_active = std::move(next);
    return changed;
}

QList<AgentChange> AgentChangeStore::active() const {
    const std::lock_guard lock(m_lock);
    return m_active;
}

std::optional<ChangeSignal> AgentChangeStore::signal(const Localization& localization) const {
    QList<AgentChange> active;
    QHash<QString, QString> titles;
    {
        const std::lock_guard lock(m_lock);
        active = m_active;
        titles = m_titles;
    }
    std::vector<ChangeSignal::Fact> facts;
    for (const AgentChange& change : std::as_const(active)) {
        const QString title = titles.value(change.sessionID);
        facts.push_back({change.id, change.tone(), change.text(title, localization), change.since});
    }
    return ChangeSignal::make(std::move(facts));
}

} // namespace tessary
