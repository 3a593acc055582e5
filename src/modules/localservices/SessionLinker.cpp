#include "modules/localservices/SessionLinker.h"

#include <algorithm>

namespace tessary::SessionLinker {

namespace {

QString withoutTrailingSlash(QString path) {
    while (path.size() > 1 && path.endsWith(u'/')) {
        path.chop(1);
    }
    return path;
}

bool contains(const QString& folder, const QString& path) {
    if (folder.isEmpty()) {
        return false;
    }
    if (folder == u"/") {
        return path.startsWith(u'/');
    }
    return path == folder || (path.startsWith(folder) && path[folder.size()] == u'/');
}

} // namespace

std::vector<Session> sessions(const Agent& agent, const std::vector<Session>& among) {
    // Sessions that name the agent come first, so that they win over equally deep ones by folder.
    std::vector<Session> named;
    std::vector<Session> byFolder;
    const QString agentFolder = agent.directory ? withoutTrailingSlash(*agent.directory) : QString();
    for (const Session& session : among) {
        if (session.agentPID && *session.agentPID == agent.pid) {
            named.push_back(session);
        } else if (!session.agentPID && !agentFolder.isEmpty() &&
                   withoutTrailingSlash(session.projectDirectory) == agentFolder) {
            byFolder.push_back(session);
        }
    }
    named.insert(named.end(), byFolder.begin(), byFolder.end());
    return named;
}

std::optional<Session> deepestSession(const QString& directory, const std::vector<Session>& in) {
    const QString path = withoutTrailingSlash(directory);
    std::optional<Session> best;
    qsizetype bestLength = -1;
    for (const Session& session : in) {
        const QString folder = withoutTrailingSlash(session.projectDirectory);
        if (contains(folder, path) && folder.size() > bestLength) {
            best = session;
            bestLength = folder.size();
        }
    }
    return best;
}

std::vector<LocalService> link(std::vector<LocalService> services, const std::vector<Session>& sessions,
                               const std::vector<Agent>& agents, const Ancestors& ancestors) {
    for (LocalService& service : services) {
        service.owner.reset();
        const QString directory = service.directory.value_or(QString());
        if (ancestors && !agents.empty()) {
            for (const std::int32_t ancestor : ancestors(service.pid)) {
                const auto agent = std::find_if(agents.begin(), agents.end(), [&](const Agent& candidate) {
                    return candidate.pid == ancestor;
                });
                if (agent == agents.end()) {
                    continue;
                }
                if (const auto session =
                        deepestSession(directory, SessionLinker::sessions(*agent, sessions))) {
                    service.owner =
                        SessionLink{session->sessionID, session->title, SessionLink::Evidence::ancestry};
                }
                break;
            }
        }
        if (!service.owner && !directory.isEmpty()) {
            if (const auto session = deepestSession(directory, sessions)) {
                service.owner =
                    SessionLink{session->sessionID, session->title, SessionLink::Evidence::directory};
            }
        }
    }
    return services;
}

} // namespace tessary::SessionLinker
