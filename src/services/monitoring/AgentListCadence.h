#pragma once

#include <QDateTime>

#include <optional>

namespace tessary {

// When a folder-watching monitor reads next: soon after files change, but never in a tight loop,
// and now and then with nothing changing. A burst of changes costs one reading.
struct AgentListCadence {
    // Quiet time after a change before reading, so that a burst is read once.
    static constexpr double settle = 0.5;
    // The slow poll when nothing changes.
    static constexpr double interval = 30.0;
    // The least time between the starts of two readings.
    static constexpr double minimumGap = 2.0;

    std::optional<QDateTime> lastReading;
    std::optional<QDateTime> pendingChange;

    void folderChanged(const QDateTime& at) { pendingChange = at; }
    // A change noted at or before the start of a reading is covered by it; a later one is not.
    void readingStarted(const QDateTime& at);
    // At once (the distant past) before the first reading; otherwise the slow poll, brought forward
    // to the settled change, but no earlier than the minimum gap after the last reading.
    [[nodiscard]] QDateTime nextReading() const;

    bool operator==(const AgentListCadence&) const = default;
};

} // namespace tessary
