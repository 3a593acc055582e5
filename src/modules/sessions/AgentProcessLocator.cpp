#include "modules/sessions/AgentProcessLocator.h"

#include <QSet>

#include <algorithm>

namespace tessary::AgentProcessLocator {

namespace {

const QString& defaultAgent() {
    static const QString claude = QStringLiteral("claude");
    return claude;
}

// "/a/b/" for "/a/b" and "/a/b/", so that "/a/bc" is not taken for a folder below "/a/b".
QString asFolder(const QString& path) {
    return path.endsWith(u'/') ? path : path + u'/';
}

QList<qint32> sortedPids(const QList<const AgentProcess*>& processes) {
    QList<qint32> pids;
    pids.reserve(processes.size());
    for (const AgentProcess* process : processes) {
        pids.append(process->pid);
    }
    std::sort(pids.begin(), pids.end());
    return pids;
}

} // namespace

QList<qint32> matching(const QString& directory, const QList<AgentProcess>& among) {
    QList<const AgentProcess*> exact;
    for (const AgentProcess& process : among) {
        if (process.directory == directory) {
            exact.append(&process);
        }
    }
    if (!exact.isEmpty()) {
        return sortedPids(exact);
    }

    const QString folder = asFolder(directory);
    QList<const AgentProcess*> related;
    qsizetype longest = -1;
    for (const AgentProcess& process : among) {
        if (!process.directory) {
            continue;
        }
        const QString other = asFolder(*process.directory);
        if (!folder.startsWith(other) && !other.startsWith(folder)) {
            continue;
        }
        const qsizetype length = process.directory->size();
        if (length > longest) {
            related.clear();
            longest = length;
        }
        if (length == longest) {
            related.append(&process);
        }
    }
    return sortedPids(related);
}

QHash<QString, qint32> locate(const QList<AgentSession>& sessions, const QList<AgentProcess>& scanned,
                              const QHash<QString, qint32>& reported, const QHash<QString, qint32>& official,
                              const std::function<bool(qint32)>& exists) {
    QSet<qint32> claimed;
    for (const qint32 pid : reported) {
        claimed.insert(pid);
    }
    for (const qint32 pid : official) {
        claimed.insert(pid);
    }
    QHash<qint32, const AgentProcess*> byPid;
    for (const AgentProcess& process : scanned) {
        byPid.insert(process.pid, &process);
    }

    QHash<QString, qint32> located;
    for (const AgentSession& session : sessions) {
        const QString agent = session.agentName.value_or(defaultAgent());

        if (agent == defaultAgent()) {
            if (const auto pid = official.constFind(session.id); pid != official.cend() && exists(*pid)) {
                located.insert(session.id, *pid);
                continue;
            }
        }

        if (const auto pid = reported.constFind(session.id); pid != reported.cend()) {
            const AgentProcess* known = byPid.value(*pid);
            const bool sameAgent = known == nullptr || !known->agentName || *known->agentName == agent;
            if (sameAgent && exists(*pid)) {
                located.insert(session.id, *pid);
                continue;
            }
        }

        if (!session.directory) {
            continue;
        }
        QList<AgentProcess> candidates;
        for (const AgentProcess& process : scanned) {
            if (!claimed.contains(process.pid) && process.startedAt <= session.lastActivity &&
                (!process.agentName || *process.agentName == agent)) {
                candidates.append(process);
            }
        }
        QList<qint32> pids = matching(*session.directory, candidates);
        pids.erase(std::unique(pids.begin(), pids.end()), pids.end());
        if (pids.size() == 1) {
            located.insert(session.id, pids.first());
        }
    }
    return located;
}

} // namespace tessary::AgentProcessLocator
