#pragma once

#include "modules/vitals/VitalsRecords.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>

#include <mutex>
#include <optional>

namespace tessary {

// The latest vitals and what the user asked of their rows, for any thread. The lock is held only
// for copies and swaps.
class SystemVitalsStore {
public:
    SystemVitalsStore() = default;
    SystemVitalsStore(const SystemVitalsStore&) = delete;
    SystemVitalsStore& operator=(const SystemVitalsStore&) = delete;
    SystemVitalsStore(SystemVitalsStore&&) = delete;
    SystemVitalsStore& operator=(SystemVitalsStore&&) = delete;
    ~SystemVitalsStore() = default;

    [[nodiscard]] std::optional<SystemVitalsSnapshot> latest() const;
    [[nodiscard]] std::optional<QString> lastErrorDescription() const;

    // A new sampling replaces the old and clears the error. Kill requests, survivors and failures of
    // rows that are gone are forgotten.
    void update(SystemVitalsSnapshot snapshot);
    // A failed sampling keeps the last one on show.
    void updateErrorDescription(QString text);

    void noteKillRequested(const QString& rowID, const QDateTime& at);
    [[nodiscard]] std::optional<QDateTime> killRequestedAt(const QString& rowID) const;
    // A row whose processes outlived a kill offers the force kill.
    void markSurvivor(const QString& rowID);
    [[nodiscard]] bool isSurvivor(const QString& rowID) const;
    void recordFailure(const QString& rowID, const QString& message);
    void clearFailure(const QString& rowID);
    [[nodiscard]] std::optional<QString> failure(const QString& rowID) const;
    // Takes a row off the latest sampling at once, ahead of the next, when its processes are gone.
    void removeRow(const QString& rowID);

private:
    mutable std::mutex m_lock;
    std::optional<SystemVitalsSnapshot> m_latest;
    std::optional<QString> m_lastError;
    QHash<QString, QDateTime> m_killRequests;
    QSet<QString> m_survivors;
    QHash<QString, QString> m_failures;
};

} // namespace tessary
