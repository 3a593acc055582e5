#include "spatial/engine/RefreshCadence.h"

#include "core/time/Clock.h"

namespace tessary {

double RefreshCadence::interval(const QDateTime& now, const std::optional<QDateTime>& lastChangeAt) const {
    if (!lastChangeAt) {
        return activeInterval;
    }
    return secondsBetween(*lastChangeAt, now) < idleAfter ? activeInterval : idleInterval;
}

} // namespace tessary
