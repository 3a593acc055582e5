#pragma once

#include "modules/localservices/LocalService.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>

#include <cstdint>
#include <functional>
#include <vector>

namespace tessary {

// A server that an agent session had, and that went away by itself.
struct LocalServiceChange {
    enum class Kind { stopped };

    QString id;
    Kind kind = Kind::stopped;
    QString label;
    int port = 0;
    QString sessionID;
    QString sessionTitle;
    QDateTime since;
    bool operator==(const LocalServiceChange&) const = default;

    // "%1 :%2 stopped · %3": label, port, session title.
    [[nodiscard]] QString factText(const Localization& localization) const;
};

// Turns two scans into notices of servers that an agent had and that have gone by themselves.
namespace LocalServiceChanges {

// An absence not reported yet because its session was at work.
struct PendingAbsence {
    std::int32_t pid = 0;
    QString label;
    int port = 0;
    QString sessionID;
    QString sessionTitle;
    bool operator==(const PendingAbsence&) const = default;
};

struct Advance {
    std::vector<LocalServiceChange> changes;
    QHash<QString, PendingAbsence> pending;
};

// The fact identifier: "stopped:" + session + ":" + port.
QString factID(const QString& sessionID, int port);

// Only a server tied to a running session by ancestry counts; a stop the user asked for is no news; while
// the session works the absence waits in `pending` (a restart during work is normal) and is reported
// at a later scan, or dropped when the port is served again. Facts in `seen` aren't raised again, and
// nothing is raised while the user looks at the session.
Advance advance(const std::vector<LocalService>& from, const std::vector<LocalService>& to,
                const QHash<QString, PendingAbsence>& pending, const QSet<std::int32_t>& stopRequestedPIDs,
                const std::function<bool(const QString& sessionID)>& isSessionBusy,
                const std::function<bool(std::int32_t pid)>& isSessionInFront,
                const QSet<QString>& runningSessionIDs, const QSet<QString>& seen, const QDateTime& now);

// The 20 newest facts, newest first.
std::vector<LocalServiceChange> bounded(std::vector<LocalServiceChange> changes);
inline constexpr std::size_t factLimit = 20;

// The facts that still hold: their port isn't served again and their session still runs.
std::vector<LocalServiceChange> stillTrue(const std::vector<LocalServiceChange>& active,
                                          const std::vector<LocalService>& current,
                                          const QSet<QString>& runningSessionIDs);

// Whether a session is at work: a running tool, an official "working" or "waiting", or a tool event in
// the last 30 seconds.
bool isWorking(const std::optional<QDateTime>& lastToolEventAt, bool hasRunningTool,
               const std::optional<QString>& officialStatus, const QDateTime& now);

} // namespace LocalServiceChanges

} // namespace tessary
