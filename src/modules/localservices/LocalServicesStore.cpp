#include "modules/localservices/LocalServicesStore.h"

#include <algorithm>

namespace tessary {

LocalServicesStore::LocalServicesStore(IsSessionBusy isSessionBusy, IsSessionInFront isSessionInFront)
    : m_isSessionBusy(std::move(isSessionBusy))
    , m_isSessionInFront(std::move(isSessionInFront)) {}

std::vector<LocalService> LocalServicesStore::services() const {
    const std::lock_guard lock(m_lock);
    return m_services;
}

std::optional<LocalService> LocalServicesStore::service(const QString& id) const {
    const std::lock_guard lock(m_lock);
    const auto it = std::find_if(m_services.begin(), m_services.end(),
                                 [&](const LocalService& service) { return service.id == id; });
    return it == m_services.end() ? std::nullopt : std::optional<LocalService>(*it);
}

std::optional<QDateTime> LocalServicesStore::capturedAt() const {
    const std::lock_guard lock(m_lock);
    return m_capturedAt;
}

std::optional<QString> LocalServicesStore::lastErrorDescription() const {
    const std::lock_guard lock(m_lock);
    return m_lastError;
}

void LocalServicesStore::update(std::vector<LocalService> services, const QDateTime& at,
                                const QSet<QString>& runningSessionIDs) {
    std::vector<LocalService> previous;
    QHash<QString, LocalServiceChanges::PendingAbsence> pending;
    QSet<std::int32_t> stopRequested;
    std::vector<LocalServiceChange> active;
    {
        const std::lock_guard lock(m_lock);
        previous = m_services;
        pending = m_pendingAbsence;
        stopRequested = QSet<std::int32_t>(m_stopRequested.keyBegin(), m_stopRequested.keyEnd());
        active = m_activeChanges;
    }
    // The session closures may take other locks: they run with none of ours held.
    QSet<QString> seen;
    for (const LocalServiceChange& change : active) {
        seen.insert(change.id);
    }
    auto advance = LocalServiceChanges::advance(previous, services, pending, stopRequested, m_isSessionBusy,
                                                m_isSessionInFront, runningSessionIDs, seen, at);
    std::vector<LocalServiceChange> changes =
        LocalServiceChanges::stillTrue(active, services, runningSessionIDs);
    changes.insert(changes.end(), advance.changes.begin(), advance.changes.end());
    changes = LocalServiceChanges::bounded(std::move(changes));

    QSet<QString> ids;
    QSet<std::int32_t> pids;
    for (const LocalService& service : services) {
        ids.insert(service.id);
        pids.insert(service.pid);
    }
    const std::lock_guard lock(m_lock);
    std::swap(m_services, services);
    m_capturedAt = at;
    m_lastError.reset();
    m_pendingAbsence = std::move(advance.pending);
    m_activeChanges = std::move(changes);
    m_stopRequested.removeIf([&](const auto& entry) { return !pids.contains(entry.key()); });
    m_survivors.removeIf([&](const QString& id) { return !ids.contains(id); });
    m_failures.removeIf([&](const auto& entry) { return !ids.contains(entry.key()); });
}

void LocalServicesStore::updateErrorDescription(QString text) {
    const std::lock_guard lock(m_lock);
    m_lastError = std::move(text);
}

void LocalServicesStore::remove(const QString& id) {
    const std::lock_guard lock(m_lock);
    m_services.erase(std::remove_if(m_services.begin(), m_services.end(),
                                    [&](const LocalService& service) { return service.id == id; }),
                     m_services.end());
    m_survivors.remove(id);
}

void LocalServicesStore::remove(std::int32_t pid) {
    const std::lock_guard lock(m_lock);
    QSet<QString> removed;
    m_services.erase(std::remove_if(m_services.begin(), m_services.end(),
                                    [&](const LocalService& service) {
                                        if (service.pid == pid) {
                                            removed.insert(service.id);
                                            return true;
                                        }
                                        return false;
                                    }),
                     m_services.end());
    m_survivors.removeIf([&](const QString& id) { return removed.contains(id); });
}

void LocalServicesStore::noteStopRequested(std::int32_t pid, const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    m_stopRequested.insert(pid, at);
}

QSet<std::int32_t> LocalServicesStore::stopRequestedPIDs() const {
    const std::lock_guard lock(m_lock);
    return {m_stopRequested.keyBegin(), m_stopRequested.keyEnd()};
}

void LocalServicesStore::markSurvivor(const QString& id) {
    const std::lock_guard lock(m_lock);
    m_survivors.insert(id);
}

bool LocalServicesStore::isSurvivor(const QString& id) const {
    const std::lock_guard lock(m_lock);
    return m_survivors.contains(id);
}

void LocalServicesStore::recordFailure(const QString& id, const QString& message) {
    const std::lock_guard lock(m_lock);
    m_failures.insert(id, message);
}

std::optional<QString> LocalServicesStore::failure(const QString& id) const {
    const std::lock_guard lock(m_lock);
    const auto it = m_failures.constFind(id);
    return it == m_failures.cend() ? std::nullopt : std::optional<QString>(*it);
}

std::vector<LocalServiceChange> LocalServicesStore::activeChanges() const {
    const std::lock_guard lock(m_lock);
    return m_activeChanges;
}

std::optional<ChangeSignal> LocalServicesStore::changeSignal(const Localization& localization) const {
    std::vector<ChangeSignal::Fact> facts;
    for (const LocalServiceChange& change : activeChanges()) {
        facts.push_back(
            {change.id, ChangeSignal::Fact::Tone::attention, change.factText(localization), change.since});
    }
    return ChangeSignal::make(std::move(facts));
}

std::optional<QString> LocalServicesStore::serviceName(const QString& key) const {
    const std::lock_guard lock(m_lock);
    const auto it = m_serviceNames.constFind(key);
    return it == m_serviceNames.cend() ? std::nullopt : std::optional<QString>(*it);
}

void LocalServicesStore::setServiceName(const QString& key, const QString& name) {
    const std::lock_guard lock(m_lock);
    m_serviceNames.insert(key, name);
}

} // namespace tessary
