#pragma once

#include "modules/agents/installers/AgentHookInstaller.h"

#include <QString>

namespace tessary {

// What the settings tell about one agent's hooks, read from its settings file and its decline key.
enum class AgentConnectionState {
    notFound,        // the agent is not on this computer: nothing can be connected
    connected,       // every hook of the program is in the agent's file
    partlyConnected, // some are missing; the next start, or Connect, writes them
    notConnected,    // none are there; the next start connects the agent
    declined,        // the user disconnected it; the program leaves its file alone
};

[[nodiscard]] AgentConnectionState connectionState(const AgentHookInstaller& installer);
// English key of the state's text.
[[nodiscard]] QString displayText(AgentConnectionState state);
// Whether Connect and Disconnect can do anything in that state.
[[nodiscard]] bool canConnect(AgentConnectionState state);
[[nodiscard]] bool canDisconnect(AgentConnectionState state);

} // namespace tessary
