#include "services/github/GitHubMonitor.h"

namespace tessary {

bool GitHubCadence::isDue(const QDateTime& now) const {
    return !m_lastFetch || secondsBetween(*m_lastFetch, now) >= interval();
}

} // namespace tessary
