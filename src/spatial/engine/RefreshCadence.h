#pragma once

// How long the workspace loop waits before its next pass: briskly while the screen is changing,
// slowly once it has settled.

#include <QDateTime>

#include <optional>

namespace tessary {

struct RefreshCadence {
    double activeInterval = 0.4; // seconds between passes shortly after a change
    double idleInterval = 2;     // seconds between passes once the screen is quiet
    double idleAfter = 5;        // seconds after the last change at which the loop slows down

    // The pause in seconds. With no change on record the loop stays brisk.
    [[nodiscard]] double interval(const QDateTime& now, const std::optional<QDateTime>& lastChangeAt) const;

    bool operator==(const RefreshCadence&) const = default;
};

} // namespace tessary
