#include "app/settings/AgentConnection.h"

namespace tessary {

using namespace Qt::StringLiterals;

AgentConnectionState connectionState(const AgentHookInstaller& installer) {
    if (!installer.isAgentInstalled()) {
        return AgentConnectionState::notFound;
    }
    // The file wins over the key: hooks the user put back by hand count as connected.
    if (installer.isFullyInstalled()) {
        return AgentConnectionState::connected;
    }
    if (installer.isDeclined()) {
        return AgentConnectionState::declined;
    }
    return installer.isInstalled() ? AgentConnectionState::partlyConnected
                                   : AgentConnectionState::notConnected;
}

QString displayText(AgentConnectionState state) {
    switch (state) {
    case AgentConnectionState::notFound:
        return u"Not found on this computer"_s;
    case AgentConnectionState::connected:
        return u"Connected"_s;
    case AgentConnectionState::partlyConnected:
        return u"Partly connected: some hooks are missing"_s;
    case AgentConnectionState::notConnected:
        return u"Not connected yet: Tessary connects it at its next start"_s;
    case AgentConnectionState::declined:
        return u"Disconnected: Tessary leaves its settings alone"_s;
    }
    return {};
}

bool canConnect(AgentConnectionState state) {
    return state != AgentConnectionState::notFound && state != AgentConnectionState::connected;
}

bool canDisconnect(AgentConnectionState state) {
    return state != AgentConnectionState::notFound && state != AgentConnectionState::declined;
}

} // namespace tessary
