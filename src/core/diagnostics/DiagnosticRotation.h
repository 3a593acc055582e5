#pragma once

#include <QLatin1StringView>

namespace tessary {

// The two generations of the log file.
namespace DiagnosticRotation {

inline constexpr QLatin1StringView currentFileName("tessary.log");
inline constexpr QLatin1StringView previousFileName("tessary.1.log");

// An empty file is never rotated, however long the first line, so a file may pass the limit by one line.
constexpr bool shouldRotate(qint64 currentSize, qint64 incoming, qint64 limit) {
    return currentSize >= 1 && currentSize + incoming > limit;
}

} // namespace DiagnosticRotation

} // namespace tessary
