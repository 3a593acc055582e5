#pragma once

#include "modules/agents/changes/AgentChange.h"
#include "modules/agents/live/AgentLiveState.h"
#include "modules/agents/live/BackgroundAgentState.h"
#include "modules/agents/live/LiveStatePrecedence.h"
#include "modules/agents/permissions/PendingPermission.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace tessary {

// Turns what the stores know of the agents into notices: one reading lists everything that may be
// worth a notice now, and two readings give the notices to raise and to end.
namespace AgentChanges {

// A notice stands this long at most.
inline constexpr double lifetime = 900.0;

// One thing worth a notice, as a reading sees it.
struct Entry {
    QString id;
    AgentChange::Kind kind;
    QString sessionID;
    QDateTime occurredAt;
    bool operator==(const Entry&) const = default;
};

struct Reading {
    QList<Entry> entries;
    QHash<QString, QDateTime> prompts;
    QHash<QString, QDateTime> sessionEnds;
    QHash<QString, QString> titles;
    QHash<QString, BackgroundAgentState> background;
    bool operator==(const Reading&) const = default;
};

// The events the installed hooks deliver: a notice that only such an event can raise is not
// expected without it.
struct Sources {
    bool permissionRequest = false;
    bool notification = false;
    bool stopFailure = false;
    bool postToolUse = false;
    bool postToolUseFailure = false;

    // From the event names of a hook installer.
    static Sources hooks(const QStringList& events);
    static Sources all() { return {true, true, true, true, true}; }
    bool operator==(const Sources&) const = default;
};

// What one reading is made of, copied from the stores at one moment.
struct Inputs {
    // As the hooks tell it, and as Claude Code's list tells it.
    QHash<QString, AgentLiveState> hooks;
    QHash<QString, OfficialSessionState> official;
    QHash<QString, BackgroundAgentState> background;
    QList<PendingPermission> requests;
    QList<ToolRun> toolRuns;
    QList<AgentTurnResult> turnResults;
    QHash<QString, QDateTime> prompts;
    QHash<QString, QDateTime> sessionEnds;
    QHash<QString, QString> titles;
    Sources sources = Sources::all();
};

// Everything that may be worth a notice now. Per session at most one wait (a question before a
// permission before any other wait); a wait known only from the first reading of the list, whose
// age is unknown, gives none.
Reading pending(const Inputs& inputs);

// The notices after `current`: those of `active` that still hold (their entry is still read, no
// prompt and no end of the session came after them, the session is not in front, and they are
// younger than `lifetime`), and a new one for each entry that `previous` didn't have and whose
// session is not in front. Without `previous` nothing is raised: what goes on at launch is no news.
QList<AgentChange> next(const QList<AgentChange>& active, const std::optional<Reading>& previous,
                        const Reading& current, const std::function<bool(const QString&)>& isInFront,
                        const QDateTime& now);

} // namespace AgentChanges

} // namespace tessary
