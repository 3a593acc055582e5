#pragma once

#include <QDateTime>

#include <cstdint>

namespace tessary {

// A process and its parent, with the time it started (a pid alone can be reused).
struct ProcessLink {
    std::int32_t pid = 0;
    std::int32_t parent = 0;
    QDateTime startedAt;
    bool operator==(const ProcessLink&) const = default;
};

} // namespace tessary
