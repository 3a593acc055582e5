#pragma once

#include "modules/localservices/LocalService.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace tessary {

// Ties each server to the agent session that opened it: by its process descending from an agent's,
// or else by its folder lying in a session's project.
namespace SessionLinker {

// A running agent session, as the session stores know it.
struct Session {
    QString sessionID;
    QString title;
    QString projectDirectory;
    // The agent process that runs it, where known.
    std::optional<std::int32_t> agentPID;
    bool operator==(const Session&) const = default;
};

// A running agent process (claude, codex, agy).
struct Agent {
    std::int32_t pid = 0;
    std::optional<QString> directory;
    bool operator==(const Agent&) const = default;
};

// The parents of a process, nearest first, without the process itself.
using Ancestors = std::function<std::vector<std::int32_t>(std::int32_t pid)>;

// The sessions an agent runs: those that name its process, then, of the sessions that name none, those
// whose project is the agent's working folder.
std::vector<Session> sessions(const Agent& agent, const std::vector<Session>& among);

// The session whose project folder is the longest prefix of `directory`, compared by whole path
// components (a trailing "/" dropped first); the first of equally deep ones.
std::optional<Session> deepestSession(const QString& directory, const std::vector<Session>& in);

// Each service with its owner set, or cleared when no session claims it.
std::vector<LocalService> link(std::vector<LocalService> services, const std::vector<Session>& sessions,
                               const std::vector<Agent>& agents, const Ancestors& ancestors);

} // namespace SessionLinker

} // namespace tessary
