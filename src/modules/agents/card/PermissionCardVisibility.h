#pragma once

#include "modules/agents/permissions/PendingPermission.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

#include <functional>

namespace tessary {

// Which requests the card shows, and for how long. The request in front runs a clock from the
// moment it first reaches the front; the clock stops while the pointer rests on the card. Once the
// front request has been on screen for `visibleFor` seconds of running time it collapses: the card
// moves on to the next, and the collapsed request stays answerable in its terminal or the panels.
class PermissionCardVisibility {
public:
    explicit PermissionCardVisibility(double visibleFor = 45)
        : m_visibleFor(visibleFor) {}

    [[nodiscard]] double visibleFor() const { return m_visibleFor; }
    void setVisibleFor(double seconds) { m_visibleFor = seconds; }

    // The requests to show, front first. Expired requests without a host are gone (their agent
    // no longer waits); a request of another application stands aside while that application is
    // in front, since it shows its own prompt there.
    QList<PendingPermission> queue(const QList<PendingPermission>& requests, const QDateTime& now,
                                   const std::function<bool(const PendingPermission&)>& hostInFront);

    // Stops and restarts the clock of one request; pausing twice or resuming a running clock does nothing.
    void pause(const QString& id, const QDateTime& now);
    void resume(const QString& id, const QDateTime& now);

    // Running seconds the request has been in front; 0 before it got there.
    [[nodiscard]] double shownFor(const QString& id, const QDateTime& now) const;
    // The spent fraction of `visibleFor`, between 0 and 1, for the countdown.
    [[nodiscard]] double elapsedFraction(const QString& id, const QDateTime& now) const;

    [[nodiscard]] bool isCollapsed(const QString& id) const { return m_collapsed.contains(id); }
    [[nodiscard]] bool isPaused(const QString& id) const { return m_pausedAt.contains(id); }
    [[nodiscard]] qsizetype trackedCount() const { return m_shownSince.size() + m_collapsed.size(); }

private:
    double m_visibleFor;
    QHash<QString, QDateTime> m_shownSince;
    QSet<QString> m_collapsed;
    QHash<QString, QDateTime> m_pausedAt;
};

} // namespace tessary
