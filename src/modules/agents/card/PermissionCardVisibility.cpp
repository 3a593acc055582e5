#include "modules/agents/card/PermissionCardVisibility.h"

#include "core/time/Clock.h"

#include <algorithm>

namespace tessary {

QList<PendingPermission>
PermissionCardVisibility::queue(const QList<PendingPermission>& requests, const QDateTime& now,
                                const std::function<bool(const PendingPermission&)>& hostInFront) {
    QList<PendingPermission> remaining;
    QSet<QString> ids;
    for (const PendingPermission& request : requests) {
        if (request.isExpired && !request.host) {
            continue;
        }
        if (ids.contains(request.id)) {
            continue; // one entry per request, the first one standing
        }
        ids.insert(request.id);
        remaining.append(request);
    }

    // Nothing is kept for a request that has left.
    for (auto it = m_shownSince.begin(); it != m_shownSince.end();) {
        it = ids.contains(it.key()) ? std::next(it) : m_shownSince.erase(it);
    }
    for (auto it = m_pausedAt.begin(); it != m_pausedAt.end();) {
        it = ids.contains(it.key()) ? std::next(it) : m_pausedAt.erase(it);
    }
    for (auto it = m_collapsed.begin(); it != m_collapsed.end();) {
        it = ids.contains(*it) ? std::next(it) : m_collapsed.erase(it);
    }

    QList<PendingPermission> shown;
    for (const PendingPermission& request : remaining) {
        if (m_collapsed.contains(request.id)) {
            continue;
        }
        if (request.host && hostInFront && hostInFront(request)) {
            continue;
        }
        if (shown.isEmpty()) {
            // Only the front request's clock runs; those behind it wait their turn untouched.
            if (!m_shownSince.contains(request.id)) {
                m_shownSince.insert(request.id, now);
            }
            if (shownFor(request.id, now) >= m_visibleFor) {
                m_collapsed.insert(request.id);
                m_shownSince.remove(request.id);
                m_pausedAt.remove(request.id);
                continue;
            }
        }
        shown.append(request);
    }
    return shown;
}

void PermissionCardVisibility::pause(const QString& id, const QDateTime& now) {
    if (m_shownSince.contains(id) && !m_pausedAt.contains(id)) {
        m_pausedAt.insert(id, now);
    }
}

void PermissionCardVisibility::resume(const QString& id, const QDateTime& now) {
    const auto paused = m_pausedAt.constFind(id);
    if (paused == m_pausedAt.constEnd()) {
        return;
    }
    auto since = m_shownSince.find(id);
    if (since != m_shownSince.end()) {
        // The time spent paused is given back by moving the start forward.
        *since = since->addMSecs(std::max<qint64>(0, paused->msecsTo(now)));
    }
    m_pausedAt.remove(id);
}

double PermissionCardVisibility::shownFor(const QString& id, const QDateTime& now) const {
    const auto since = m_shownSince.constFind(id);
    if (since == m_shownSince.constEnd()) {
        return 0;
    }
    const QDateTime end = m_pausedAt.value(id, now);
    return std::max(0.0, secondsBetween(*since, end));
}

double PermissionCardVisibility::elapsedFraction(const QString& id, const QDateTime& now) const {
    if (m_visibleFor <= 0) {
        return 1;
    }
    return std::clamp(shownFor(id, now) / m_visibleFor, 0.0, 1.0);
}

} // namespace tessary
