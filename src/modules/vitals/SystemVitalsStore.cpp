#include "modules/vitals/SystemVitalsStore.h"

#include <algorithm>

namespace tessary {

std::optional<SystemVitalsSnapshot> SystemVitalsStore::latest() const {
    const std::lock_guard lock(m_lock);
    return m_latest;
}

std::optional<QString> SystemVitalsStore::lastErrorDescription() const {
    const std::lock_guard lock(m_lock);
    return m_lastError;
}

void SystemVitalsStore::update(SystemVitalsSnapshot snapshot) {
    QSet<QString> rows;
    for (const ProcessUsage& usage : snapshot.processes) {
        rows.insert(usage.id);
    }
    std::optional<SystemVitalsSnapshot> previous(std::move(snapshot));
    const std::lock_guard lock(m_lock);
    std::swap(m_latest, previous);
    m_lastError.reset();
    m_killRequests.removeIf([&](const auto& entry) { return !rows.contains(entry.key()); });
    m_survivors.removeIf([&](const QString& id) { return !rows.contains(id); });
    m_failures.removeIf([&](const auto& entry) { return !rows.contains(entry.key()); });
}

void SystemVitalsStore::updateErrorDescription(QString text) {
    const std::lock_guard lock(m_lock);
    m_lastError = std::move(text);
}

void SystemVitalsStore::noteKillRequested(const QString& rowID, const QDateTime& at) {
    const std::lock_guard lock(m_lock);
    m_killRequests.insert(rowID, at);
    m_failures.remove(rowID);
}

std::optional<QDateTime> SystemVitalsStore::killRequestedAt(const QString& rowID) const {
    const std::lock_guard lock(m_lock);
    const auto it = m_killRequests.constFind(rowID);
    return it == m_killRequests.cend() ? std::nullopt : std::optional<QDateTime>(*it);
}

void SystemVitalsStore::markSurvivor(const QString& rowID) {
    const std::lock_guard lock(m_lock);
    m_survivors.insert(rowID);
}

bool SystemVitalsStore::isSurvivor(const QString& rowID) const {
    const std::lock_guard lock(m_lock);
    return m_survivors.contains(rowID);
}

void SystemVitalsStore::recordFailure(const QString& rowID, const QString& message) {
    const std::lock_guard lock(m_lock);
    m_failures.insert(rowID, message);
}

void SystemVitalsStore::clearFailure(const QString& rowID) {
    const std::lock_guard lock(m_lock);
    m_failures.remove(rowID);
}

std::optional<QString> SystemVitalsStore::failure(const QString& rowID) const {
    const std::lock_guard lock(m_lock);
    const auto it = m_failures.constFind(rowID);
    return it == m_failures.cend() ? std::nullopt : std::optional<QString>(*it);
}

void SystemVitalsStore::removeRow(const QString& rowID) {
    const std::lock_guard lock(m_lock);
    if (m_latest) {
        auto& rows = m_latest->processes;
        rows.erase(std::remove_if(rows.begin(), rows.end(),
                                  [&](const ProcessUsage& row) { return row.id == rowID; }),
                   rows.end());
    }
    m_killRequests.remove(rowID);
    m_survivors.remove(rowID);
}

} // namespace tessary
