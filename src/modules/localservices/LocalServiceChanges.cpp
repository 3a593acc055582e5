#include "modules/localservices/LocalServiceChanges.h"

#include "core/time/Clock.h"

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

QString LocalServiceChange::factText(const Localization& localization) const {
    return localization.format(u"%1 :%2 stopped · %3"_s, label, QString::number(port), sessionTitle);
}

namespace LocalServiceChanges {

namespace {

QSet<int> servedPorts(const std::vector<LocalService>& services) {
    QSet<int> ports;
    for (const LocalService& service : services) {
        ports.insert(service.port);
    }
    return ports;
}

} // namespace

QString factID(const QString& sessionID, int port) {
    return u"stopped:"_s + sessionID + u':' + QString::number(port);
}

Advance advance(const std::vector<LocalService>& from, const std::vector<LocalService>& to,
                const QHash<QString, PendingAbsence>& pending, const QSet<std::int32_t>& stopRequestedPIDs,
                const std::function<bool(const QString& sessionID)>& isSessionBusy,
                const std::function<bool(std::int32_t pid)>& isSessionInFront,
                const QSet<QString>& runningSessionIDs, const QSet<QString>& seen, const QDateTime& now) {
    const QSet<int> served = servedPorts(to);
    Advance result;
    QSet<QString> raised;
    const auto busy = [&](const QString& session) { return isSessionBusy && isSessionBusy(session); };
    const auto raise = [&](const PendingAbsence& absence) {
        const QString id = factID(absence.sessionID, absence.port);
        if (seen.contains(id) || raised.contains(id) || (isSessionInFront && isSessionInFront(absence.pid))) {
            return;
        }
        raised.insert(id);
        result.changes.push_back({id, LocalServiceChange::Kind::stopped, absence.label, absence.port,
                                  absence.sessionID, absence.sessionTitle, now});
    };

    // Absences held back earlier: dropped when served again, reported once the session rests.
    for (auto it = pending.cbegin(); it != pending.cend(); ++it) {
        const PendingAbsence& absence = it.value();
        if (served.contains(absence.port) || !runningSessionIDs.contains(absence.sessionID)) {
            continue;
        }
        if (busy(absence.sessionID)) {
            result.pending.insert(it.key(), absence);
        } else {
            raise(absence);
        }
    }

    for (const LocalService& service : from) {
        // A session that has ended took its servers with it: no news either.
        if (!service.owner || served.contains(service.port) || stopRequestedPIDs.contains(service.pid) ||
            service.owner->evidence != SessionLink::Evidence::ancestry ||
            !runningSessionIDs.contains(service.owner->sessionID)) {
            continue;
        }
        const PendingAbsence absence{service.pid, service.label(), service.port, service.owner->sessionID,
                                     service.owner->title};
        if (busy(absence.sessionID)) {
            result.pending.insert(factID(absence.sessionID, absence.port), absence);
        } else {
            raise(absence);
        }
    }
    return result;
}

std::vector<LocalServiceChange> bounded(std::vector<LocalServiceChange> changes) {
    std::stable_sort(
        changes.begin(), changes.end(),
        [](const LocalServiceChange& a, const LocalServiceChange& b) { return a.since > b.since; });
    if (changes.size() > factLimit) {
        changes.resize(factLimit);
    }
    return changes;
}

std::vector<LocalServiceChange> stillTrue(const std::vector<LocalServiceChange>& active,
                                          const std::vector<LocalService>& current,
                                          const QSet<QString>& runningSessionIDs) {
    const QSet<int> served = servedPorts(current);
    std::vector<LocalServiceChange> kept;
    for (const LocalServiceChange& change : active) {
        if (!served.contains(change.port) && runningSessionIDs.contains(change.sessionID)) {
            kept.push_back(change);
        }
    }
    return kept;
}

bool isWorking(const std::optional<QDateTime>& lastToolEventAt, bool hasRunningTool,
               const std::optional<QString>& officialStatus, const QDateTime& now) {
    if (hasRunningTool) {
        return true;
    }
    if (officialStatus && (*officialStatus == "working"_L1 || *officialStatus == "waiting"_L1)) {
        return true;
    }
    return lastToolEventAt && secondsBetween(*lastToolEventAt, now) <= 30;
}

} // namespace LocalServiceChanges

} // namespace tessary
