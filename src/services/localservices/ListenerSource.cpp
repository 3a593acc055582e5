#include "services/localservices/ListenerSource.h"

#include "modules/localservices/ProcNetParser.h"
#include "services/localservices/SocketDiagnostics.h"

#include <QFileInfo>
#include <QHash>

#include <map>

namespace tessary {

using namespace Qt::StringLiterals;

std::optional<QString> LsofListenerSource::find() {
    for (const QString& candidate : {u"/usr/bin/lsof"_s, u"/usr/sbin/lsof"_s, u"/bin/lsof"_s}) {
        const QFileInfo info(candidate);
        if (info.isFile() && info.isExecutable()) {
            return candidate;
        }
    }
    return std::nullopt;
}

ListenerListing LsofListenerSource::listeners() const {
    const QFileInfo info(m_lsof);
    if (!info.isFile() || !info.isExecutable()) {
        return LocalServicesError::scanFailed(u"lsof not found at "_s + m_lsof);
    }
    const ShellResult result =
        m_runner.run(m_lsof, {u"-iTCP"_s, u"-sTCP:LISTEN"_s, u"-P"_s, u"-n"_s, u"-F"_s, u"pcnu"_s},
                     timeoutSeconds, std::nullopt);
    if (const auto* failure = std::get_if<ShellFailure>(&result)) {
        return LocalServicesError::scanFailed(failure->message);
    }
    const auto& outcome = std::get<ShellOutcome>(result);
    std::vector<LsofParser::Listener> listeners = LsofParser::parse(outcome.output);
    if (auto text = LsofParser::scanFailure(outcome.status, outcome.errorOutput, listeners.size())) {
        return LocalServicesError::scanFailed(*text);
    }
    return listeners;
}

ListenerListing ProcListenerSource::listeners() const {
    QHash<std::uint64_t, ProcNetParser::ListeningSocket> sockets;
    const auto fromNetlink =
        m_table == SocketTable::netlinkFirst ? SocketDiagnostics::listeningTCP() : std::nullopt;
    if (fromNetlink) {
        for (const ProcNetParser::ListeningSocket& socket : *fromNetlink) {
            sockets.insert(socket.inode, socket);
        }
    } else {
        const auto tcp = m_proc.read(u"net/tcp"_s, 256 << 20);
        const auto tcp6 = m_proc.read(u"net/tcp6"_s, 256 << 20);
        if (!tcp && !tcp6) {
            return LocalServicesError::scanFailed(u"could not read "_s + m_proc.root() + u"/net/tcp"_s);
        }
        for (const auto& table : {tcp, tcp6}) {
            if (!table) {
                continue;
            }
            for (const ProcNetParser::ListeningSocket& socket : ProcNetParser::listening(*table)) {
                sockets.insert(socket.inode, socket);
            }
        }
    }
    std::map<std::pair<std::int32_t, int>, LsofParser::Listener> listeners;
    if (sockets.isEmpty()) {
        return std::vector<LsofParser::Listener>{};
    }
    for (const std::int32_t pid : m_proc.pids()) {
        std::optional<ProcessStat> stat;
        for (const std::uint64_t inode : m_proc.socketInodes(pid)) {
            const auto socket = sockets.constFind(inode);
            if (socket == sockets.cend()) {
                continue;
            }
            if (!stat) {
                stat = m_proc.stat(pid);
                if (!stat) {
                    break; // ended meanwhile
                }
            }
            LsofParser::Listener listener{pid, m_proc.owner(pid), stat->command, socket->address,
                                          socket->port};
            const auto key = std::make_pair(pid, socket->port);
            const auto existing = listeners.find(key);
            if (existing == listeners.end()) {
                listeners.emplace(key, std::move(listener));
            } else if (LsofParser::addressRank(listener.address) >
                       LsofParser::addressRank(existing->second.address)) {
                existing->second = std::move(listener);
            }
        }
    }
    std::vector<LsofParser::Listener> result;
    result.reserve(listeners.size());
    for (auto& [key, listener] : listeners) {
        result.push_back(std::move(listener));
    }
    return result;
}

} // namespace tessary
