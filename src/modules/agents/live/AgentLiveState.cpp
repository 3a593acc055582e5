#include "modules/agents/live/AgentLiveState.h"

#include "core/time/Clock.h"

#include <algorithm>

namespace tessary {

QString AgentTurnResult::id() const {
    if (turnID) {
        return sessionID + u':' + *turnID;
    }
    // Seconds since 2001-01-01, the reference date agents' own tools count from.
    static const QDateTime reference = QDateTime::fromSecsSinceEpoch(978'307'200, Qt::UTC);
    return sessionID + u':' + QString::number(secondsBetween(reference, at), 'f', 3);
}

std::optional<double> ToolRun::runningTime() const {
    if (const auto* answered = std::get_if<Answered>(&wait)) {
        const QDateTime from = std::max(startedAt, answered->at);
        return secondsBetween(from, endedAt);
    }
    if (std::holds_alternative<NotAsked>(wait)) {
        return secondsBetween(startedAt, endedAt);
    }
    return std::nullopt;
}

namespace AgentChanges {

std::optional<double> longRunningTime(const ToolRun& run) {
    const auto time = run.runningTime();
    if (time && *time >= longRunningThreshold) {
        return time;
    }
    return std::nullopt;
}

} // namespace AgentChanges

} // namespace tessary
