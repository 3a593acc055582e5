#pragma once

#include "modulekit/ChangeSignal.h"
#include "modules/localservices/LocalServiceChanges.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>

#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace tessary {

// The latest scan of listening servers and what the user asked of them, for any thread. The lock is
// held only for copies and swaps, never across a child process.
class LocalServicesStore {
public:
    using IsSessionBusy = std::function<bool(const QString& sessionID)>;
    using IsSessionInFront = std::function<bool(std::int32_t pid)>;

    // The closures are called under no lock and must be safe from any thread; empty means "never".
    explicit LocalServicesStore(IsSessionBusy isSessionBusy = {}, IsSessionInFront isSessionInFront = {});
    LocalServicesStore(const LocalServicesStore&) = delete;
    LocalServicesStore& operator=(const LocalServicesStore&) = delete;
    LocalServicesStore(LocalServicesStore&&) = delete;
    LocalServicesStore& operator=(LocalServicesStore&&) = delete;
    ~LocalServicesStore() = default;

    [[nodiscard]] std::vector<LocalService> services() const;
    [[nodiscard]] std::optional<LocalService> service(const QString& id) const;
    [[nodiscard]] std::optional<QDateTime> capturedAt() const;
    [[nodiscard]] std::optional<QString> lastErrorDescription() const;

    // A new scan: notes the servers of agent sessions that went away by themselves, keeps the facts
    // that still hold, replaces the list and clears the error. Stop requests, survivors and failures
    // of services that are gone are forgotten.
    void update(std::vector<LocalService> services, const QDateTime& at,
                const QSet<QString>& runningSessionIDs);
    // A failed scan keeps the list on show.
    void updateErrorDescription(QString text);

    void remove(const QString& id);
    // Takes every service of a process off the list, ahead of the next scan.
    void remove(std::int32_t pid);

    void noteStopRequested(std::int32_t pid, const QDateTime& at);
    [[nodiscard]] QSet<std::int32_t> stopRequestedPIDs() const;
    void markSurvivor(const QString& id);
    [[nodiscard]] bool isSurvivor(const QString& id) const;
    void recordFailure(const QString& id, const QString& message);
    [[nodiscard]] std::optional<QString> failure(const QString& id) const;

    [[nodiscard]] std::vector<LocalServiceChange> activeChanges() const;
    // One fact per active change; nothing when there are none.
    [[nodiscard]] std::optional<ChangeSignal> changeSignal(const Localization& localization) const;

    // Names the on-device model gave, by ServiceNaming::key.
    [[nodiscard]] std::optional<QString> serviceName(const QString& key) const;
    void setServiceName(const QString& key, const QString& name);

private:
    IsSessionBusy m_isSessionBusy;
    IsSessionInFront m_isSessionInFront;

    mutable std::mutex m_lock;
    std::vector<LocalService> m_services;
    std::optional<QDateTime> m_capturedAt;
    std::optional<QString> m_lastError;
    QHash<std::int32_t, QDateTime> m_stopRequested;
    QSet<QString> m_survivors;
    QHash<QString, QString> m_failures;
    std::vector<LocalServiceChange> m_activeChanges;
    QHash<QString, LocalServiceChanges::PendingAbsence> m_pendingAbsence;
    QHash<QString, QString> m_serviceNames;
};

} // namespace tessary
