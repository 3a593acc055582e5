#pragma once

#include "modules/localservices/LocalService.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>

#include <mutex>
#include <optional>

namespace tessary {

// A map shared by the scans, under its own lock, pruned to what is still alive after each scan.
template <typename Key, typename Value>
class LockedCache {
public:
    LockedCache() = default;
    LockedCache(const LockedCache&) = delete;
    LockedCache& operator=(const LockedCache&) = delete;
    LockedCache(LockedCache&&) = delete;
    LockedCache& operator=(LockedCache&&) = delete;
    ~LockedCache() = default;

    [[nodiscard]] std::optional<Value> value(const Key& key) const {
        const std::lock_guard lock(m_lock);
        const auto it = m_values.constFind(key);
        return it == m_values.cend() ? std::nullopt : std::optional<Value>(*it);
    }
    void insert(const Key& key, Value value) {
        const std::lock_guard lock(m_lock);
        m_values.insert(key, std::move(value));
    }
    // Forgets every key not in `alive`.
    void keep(const QSet<Key>& alive) {
        const std::lock_guard lock(m_lock);
        m_values.removeIf([&](const auto& entry) { return !alive.contains(entry.key()); });
    }
    [[nodiscard]] qsizetype size() const {
        const std::lock_guard lock(m_lock);
        return m_values.size();
    }

private:
    mutable std::mutex m_lock;
    QHash<Key, Value> m_values;
};

// The scheme a probe found for a service ("<pid>:<port>"), or that it found nothing: a known
// process and port isn't probed again.
using SchemeCache = LockedCache<QString, std::optional<Scheme>>;
// The log file found for a process (keyed by "<pid>:<start>"), including "none found".
using LogFileCache = LockedCache<QString, std::optional<QString>>;

// A process's CPU time at a scan, for its share of CPU at the next.
struct ResourceSample {
    double cpuTime = 0;
    QDateTime at;
    bool operator==(const ResourceSample&) const = default;
};
using ResourceCache = LockedCache<std::int32_t, ResourceSample>;

} // namespace tessary
