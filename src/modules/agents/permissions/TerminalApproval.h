#pragma once

#include "modules/agents/permissions/HeldRequestRelease.h"
#include "modules/sessions/AgentProcess.h"

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace tessary {

// A process as the sweep remembers it: a pid alone can be reused, so its start time goes with it.
struct RunningProcessIdentity {
    std::int32_t pid = 0;
    QDateTime startedAt;
    bool operator==(const RunningProcessIdentity&) const = default;
};

inline size_t qHash(const RunningProcessIdentity& identity, size_t seed = 0) {
    return qHashMulti(seed, identity.pid, identity.startedAt.toMSecsSinceEpoch());
}

// A command held for permission that is already running under its agent was allowed in the
// terminal: the hold is over. Pure but for the process reading it is given.
namespace TerminalApproval {

struct Release {
    QString requestID;
    QSet<RunningProcessIdentity> processes;
    bool operator==(const Release&) const = default;
};

// The requests among `held` (those with a command and an agent pid) whose command runs in a process
// below the agent that started at or after the request and is not in `excluding`. A process releases
// one request at most, the oldest first.
QList<Release> releases(const QList<HeldRequestRelease::Held>& held, const AgentProcessReading& reading,
                        const QSet<RunningProcessIdentity>& excluding);

// Whether a process with `arguments` runs `command`: as the script of a shell ("sh -c '<command>'"),
// as a bounded part of its command line, or as the same words.
bool matches(const QString& command, const QStringList& arguments);

// The words of a shell command, with quotes and escapes removed; operators ("&&", "|", ";", ...)
// are words of their own. Nothing for an unfinished quote.
std::optional<QStringList> words(const QString& command);

// The script texts that a process runs through a shell: the operand of "-c" (also in grouped
// options such as "-lc") of a shell's command line, and, inside those scripts, the operands of
// "eval"; scripts within scripts are followed.
QStringList evaluated(const QStringList& arguments);

// Whether `needle` occurs in `text` with a separator or the end of the text on each side.
bool containsBounded(const QString& text, const QString& needle);

// The characters that bound a command inside a longer command line.
const QString& separators();

} // namespace TerminalApproval

} // namespace tessary
