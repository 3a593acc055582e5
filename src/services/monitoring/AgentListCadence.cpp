#include "services/monitoring/AgentListCadence.h"

#include "core/time/Clock.h"

#include <algorithm>

namespace tessary {

namespace {

QDateTime plusSeconds(const QDateTime& date, double seconds) {
    return date.addMSecs(static_cast<qint64>(seconds * 1000));
}

} // namespace

void AgentListCadence::readingStarted(const QDateTime& at) {
    lastReading = at;
    if (pendingChange && *pendingChange <= at) {
        pendingChange.reset();
    }
}

QDateTime AgentListCadence::nextReading() const {
    if (!lastReading) {
        return distantPast();
    }
    QDateTime poll = plusSeconds(*lastReading, interval);
    if (!pendingChange) {
        return poll;
    }
    const QDateTime settled = std::min(poll, plusSeconds(*pendingChange, settle));
    return std::max(settled, plusSeconds(*lastReading, minimumGap));
}

} // namespace tessary
