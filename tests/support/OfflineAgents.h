#pragma once

// The real coding agents from the npm registry, as tests/support/agents-offline installs and runs
// them offline.

#include <QProcess>
#include <QString>
#include <QTest>

namespace tessary::testing {

inline QString agentsOfflineScript() {
    return qEnvironmentVariable("TESSARY_SOURCE_DIR") + QStringLiteral("/tests/support/agents-offline");
}

// The installed agents' paths, empty for an agent that could not be had. `status` is the script's:
// 0, 77 when the registry is out of reach, anything else a failure.
struct OfflineAgents {
    int status = -1;
    QString claude;
    QString codex;
};

// Installs or refreshes the agents (the script shares one copy between the tests that run at once).
inline OfflineAgents installOfflineAgents() {
    QProcess ensure;
    ensure.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    ensure.start(agentsOfflineScript(), {QStringLiteral("ensure")});
    OfflineAgents agents;
    if (!ensure.waitForFinished(15 * 60 * 1000)) {
        return agents;
    }
    agents.status = ensure.exitCode();
    for (const QByteArray& line : ensure.readAllStandardOutput().split('\n')) {
        if (line.startsWith("claude ")) {
            agents.claude = QString::fromLocal8Bit(line.mid(7).trimmed());
        } else if (line.startsWith("codex ")) {
            agents.codex = QString::fromLocal8Bit(line.mid(6).trimmed());
        }
    }
    return agents;
}

} // namespace tessary::testing
