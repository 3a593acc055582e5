#include "modules/usage/ClaudeStatusLineUse.h"

#include <algorithm>
#include <cmath>

namespace tessary {

QList<AgentSession> ClaudeStatusLineUse::sessions(QList<AgentSession> sessions,
                                                  const QHash<QString, ClaudeStatusLineReading>& readings) {
    for (AgentSession& session : sessions) {
        const auto found = readings.constFind(session.id);
        if (found == readings.cend() || !found->usedPercentage || !found->contextWindowSize ||
            *found->contextWindowSize <= 0) {
            continue;
        }
        // The percentage is whole: the tokens behind it are exact where the payload has them.
        const double share = std::clamp(*found->usedPercentage, 0.0, 100.0) / 100.0;
        session.contextWindow = *found->contextWindowSize;
        session.contextTokens = found->contextTokens.value_or(
            std::llround(share * static_cast<double>(*found->contextWindowSize)));
    }
    return sessions;
}

namespace {

UsageReport::Limit limit(UsageLimitKind kind, const RateWindow& window, const QDateTime& at) {
    UsageReport::Limit limit;
    limit.kind = std::move(kind);
    // A window whose reset has passed starts again from nothing.
    if (window.resetsAt && *window.resetsAt <= at) {
        return limit;
    }
    limit.resetsAt = window.resetsAt;
    const double percent = std::isfinite(window.usedPercentage) ? window.usedPercentage : 0;
    limit.percent = static_cast<int>(std::lround(std::clamp(percent, 0.0, 100.0)));
    return limit;
}

bool isWindow(const UsageReport::Limit& limit) {
    return std::holds_alternative<usage_kind::Session>(limit.kind) ||
           std::holds_alternative<usage_kind::WeeklyAll>(limit.kind);
}

} // namespace

std::optional<UsageReport>
ClaudeStatusLineUse::report(const std::optional<UsageReport>& current,
                            const QHash<QString, ClaudeStatusLineReading>& readings) {
    const ClaudeStatusLineReading* newest = nullptr;
    for (const ClaudeStatusLineReading& reading : readings) {
        if ((reading.fiveHour || reading.sevenDay) && reading.limitsAt.isValid() &&
            (newest == nullptr || reading.limitsAt > newest->limitsAt)) {
            newest = &reading;
        }
    }
    if (newest == nullptr ||
        (current && current->capturedAt.value_or(current->fetchedAt) >= newest->limitsAt)) {
        return std::nullopt;
    }
    UsageReport report;
    report.fetchedAt = newest->limitsAt;
    if (newest->fiveHour) {
        report.limits.push_back(limit(usage_kind::Session{}, *newest->fiveHour, newest->limitsAt));
    }
    if (newest->sevenDay) {
        report.limits.push_back(limit(usage_kind::WeeklyAll{}, *newest->sevenDay, newest->limitsAt));
    }
    if (current) {
        std::copy_if(current->limits.cbegin(), current->limits.cend(), std::back_inserter(report.limits),
                     [](const UsageReport::Limit& kept) { return !isWindow(kept); });
    }
    return report;
}

} // namespace tessary
