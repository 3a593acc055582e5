#include "modules/sessions/OrcaSessionHosting.h"

#include <QHash>

#include <algorithm>
#include <numeric>
#include <vector>

namespace tessary::OrcaSessionHosting {

namespace {

struct Key {
    QString agent;
    QString directory;
    bool operator==(const Key&) const = default;
};

size_t qHash(const Key& key, size_t seed = 0) {
    return qHashMulti(seed, key.agent, key.directory);
}

std::optional<Key> keyOf(const AgentSession& session) {
    if (!session.agentName || !session.directory) {
        return std::nullopt;
    }
    return Key{*session.agentName, *session.directory};
}

bool newerFirst(const AgentSession& a, const AgentSession& b) {
    return a.lastActivity > b.lastActivity;
}

} // namespace

void attach(const QList<AgentSession>& hosted, QList<AgentSession>& rest) {
    QHash<Key, QList<AgentSession>> terminals;
    for (const AgentSession& reading : hosted) {
        if (const auto key = keyOf(reading)) {
            terminals[*key].append(reading);
        }
    }
    if (terminals.isEmpty()) {
        return;
    }
    for (QList<AgentSession>& group : terminals) {
        std::stable_sort(group.begin(), group.end(), newerFirst);
    }

    std::vector<qsizetype> order(static_cast<std::size_t>(rest.size()));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](qsizetype a, qsizetype b) { return newerFirst(rest.at(a), rest.at(b)); });
    for (const qsizetype index : order) {
        AgentSession& session = rest[index];
        const auto key = keyOf(session);
        if (!key) {
            continue;
        }
        const auto group = terminals.find(*key);
        if (group == terminals.end() || group->isEmpty()) {
            continue;
        }
        const AgentSession terminal = group->takeFirst();
        if (terminal.hostItemID) {
            session.attachHost(QString::fromLatin1(origin), *terminal.hostItemID, terminal.hostProject);
        }
    }
}

} // namespace tessary::OrcaSessionHosting
