#pragma once

#include "modules/agents/jump/SessionJumpRoutes.h"

#include <QList>
#include <QString>

#include <optional>

namespace tessary {

class AgentProcesses;
class ProcessRunner;
class WindowActivator;

// Brings the user to where an agent runs: its tmux pane, its kitty or WezTerm tab, Warp's session,
// and then the terminal's window in front. Every route fails softly into the next; at worst the
// terminal's window comes forward, and with no window above the agent nothing moves.
class SessionJump {
public:
    struct Outcome {
        // What the log says: "tmux", "kitty", "wezterm", "warp-link", "window", or "fallback" when
        // no window owns the session.
        QString route;
        std::optional<qint32> activatedOwner;
        bool operator==(const Outcome&) const = default;
    };

    // Each tool a jump runs has this long before it is stopped.
    static constexpr double commandTimeout = 3.0;

    SessionJump(const AgentProcesses& processes, const ProcessRunner& runner, WindowActivator& windows);

    // Goes to the terminal of the agent process `pid`. Blocks for the length of the tools it runs.
    Outcome focus(qint32 pid);

private:
    [[nodiscard]] JumpFacts factsOf(qint32 pid) const;
    [[nodiscard]] std::optional<qint32> owningWindowProcess(qint32 pid, const QList<qint32>& owners) const;
    [[nodiscard]] std::optional<QString> run(const JumpCommand& command) const;
    // The pane on the agent's terminal, selected; the pids of the clients that show its session.
    QList<qint32> selectTmuxPane(const JumpFacts& facts) const;

    const AgentProcesses& m_processes;
    const ProcessRunner& m_runner;
    WindowActivator& m_windows;
};

} // namespace tessary
