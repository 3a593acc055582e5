#pragma once

#include "core/records/EnumText.h"

#include <QString>

#include <functional>

namespace tessary {

// What a monitor tells the diagnostic log, in the category "monitor".
enum class MonitorLogEvent { start, stop, failed, recovered, emptySnapshotRetrying };

template <>
struct EnumTable<MonitorLogEvent> {
    static constexpr std::array<std::pair<MonitorLogEvent, const char*>, 5> cases{{
        {MonitorLogEvent::start, "start"},
        {MonitorLogEvent::stop, "stop"},
        {MonitorLogEvent::failed, "failed"},
        {MonitorLogEvent::recovered, "recovered"},
        {MonitorLogEvent::emptySnapshotRetrying, "empty snapshot; retrying"},
    }};
};

struct MonitorLogEntry {
    // The monitor's fixed name, such as "claudeUsage".
    QString monitor;
    MonitorLogEvent event = MonitorLogEvent::start;
    // For `failed`: the failure's kind; empty otherwise.
    QString errorKind;

    bool operator==(const MonitorLogEntry&) const = default;
};

// Receives the entries; the application forwards them to the diagnostic log. May be empty.
using MonitorLog = std::function<void(const MonitorLogEntry&)>;

} // namespace tessary
