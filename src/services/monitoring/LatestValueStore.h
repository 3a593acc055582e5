#pragma once

#include <QString>

#include <mutex>
#include <optional>
#include <utility>

namespace tessary {

// Holds the latest reading of a source and the text of its latest failure, for any thread. The
// lock is held only to copy or swap; the old value is released after it.
template <typename T>
class LatestValueStore {
public:
    LatestValueStore() = default;
    LatestValueStore(const LatestValueStore&) = delete;
    LatestValueStore& operator=(const LatestValueStore&) = delete;
    LatestValueStore(LatestValueStore&&) = delete;
    LatestValueStore& operator=(LatestValueStore&&) = delete;
    ~LatestValueStore() = default;

    [[nodiscard]] std::optional<T> latest() const {
        const std::lock_guard lock(m_lock);
        return m_latest;
    }

    // The latest value, or `fallback` before the first one.
    [[nodiscard]] T latestOr(T fallback) const {
        const std::lock_guard lock(m_lock);
        return m_latest ? *m_latest : std::move(fallback);
    }

    [[nodiscard]] std::optional<QString> lastErrorDescription() const {
        const std::lock_guard lock(m_lock);
        return m_lastError;
    }

    // A good reading replaces the value and clears the failure.
    void update(T value) {
        std::optional<T> previous(std::move(value));
        std::optional<QString> previousError;
        {
            const std::lock_guard lock(m_lock);
            std::swap(m_latest, previous);
            std::swap(m_lastError, previousError);
        }
    }

    // A failure keeps the last good value on show.
    void updateErrorDescription(QString text) {
        std::optional<QString> previous(std::move(text));
        const std::lock_guard lock(m_lock);
        std::swap(m_lastError, previous);
    }

    // For list values: nothing stored yet, or an empty list.
    [[nodiscard]] bool isEmpty() const requires requires(const T& value) { value.isEmpty(); }
    {
        const std::lock_guard lock(m_lock);
        return !m_latest || m_latest->isEmpty();
    }

private:
    mutable std::mutex m_lock;
    std::optional<T> m_latest;
    std::optional<QString> m_lastError;
};

} // namespace tessary
