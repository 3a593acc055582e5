#include "services/jump/SessionJump.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "platform/processes/AgentProcesses.h"
#include "platform/sessionjump/WindowActivator.h"
#include "services/shell/ProcessRunner.h"

namespace tessary {

SessionJump::SessionJump(const AgentProcesses& processes, const ProcessRunner& runner,
                         WindowActivator& windows)
    : m_processes(processes)
    , m_runner(runner)
    , m_windows(windows) {}

JumpFacts SessionJump::factsOf(qint32 pid) const {
    const auto value = [&](const char* name) {
        return m_processes.environmentValue(QString::fromLatin1(name), pid);
    };
    JumpFacts facts;
    facts.tty = m_processes.tty(pid);
    facts.tmux = value("TMUX");
    facts.kittyWindowID = value("KITTY_WINDOW_ID");
    facts.kittyListenOn = value("KITTY_LISTEN_ON");
    facts.weztermPane = value("WEZTERM_PANE");
    facts.warpFocusURL = value("WARP_FOCUS_URL");
    facts.terminalProgram = value("TERM_PROGRAM");
    return facts;
}

std::optional<qint32> SessionJump::owningWindowProcess(qint32 pid, const QList<qint32>& owners) const {
    if (owners.contains(pid)) {
        return pid;
    }
    for (const qint32 ancestor : m_processes.ancestors(pid, AgentProcesses::ancestorLimit)) {
        if (owners.contains(ancestor)) {
            return ancestor;
        }
    }
    return std::nullopt;
}

std::optional<QString> SessionJump::run(const JumpCommand& command) const {
    const ShellResult result = m_runner.run(command.program, command.arguments, commandTimeout, std::nullopt);
    const auto* outcome = std::get_if<ShellOutcome>(&result);
    if (outcome == nullptr || outcome->status != 0) {
        return std::nullopt;
    }
    return outcome->output;
}

QList<qint32> SessionJump::selectTmuxPane(const JumpFacts& facts) const {
    const auto socket = TmuxPanes::socketOf(*facts.tmux);
    const auto listed = run(SessionJumpRoutes::tmuxListPanes(socket));
    if (!listed) {
        return {};
    }
    const auto pane = TmuxPanes::onTTY(TmuxPanes::parse(*listed), *facts.tty);
    if (!pane) {
        return {};
    }
    for (const JumpCommand& command : SessionJumpRoutes::tmuxSelect(*pane, socket)) {
        (void)run(command); // switch-client fails without an attached client; the rest still apply
    }
    QList<qint32> clients;
    if (const auto output = run(SessionJumpRoutes::tmuxListClients(*pane, socket))) {
        for (const QString& line : output->split(u'\n', Qt::SkipEmptyParts)) {
            bool ok = false;
            const int client = line.trimmed().toInt(&ok);
            if (ok && client > 1) {
                clients.append(client);
            }
        }
    }
    return clients;
}

SessionJump::Outcome SessionJump::focus(qint32 pid) {
    const JumpFacts facts = factsOf(pid);
    const JumpRoute route = SessionJumpRoutes::choose(facts);
    QList<qint32> windowSearchFrom{pid};

    switch (route) {
    case JumpRoute::tmux: {
        // The agent lives under the tmux server; its window is the terminal of a client.
        const QList<qint32> clients = selectTmuxPane(facts);
        windowSearchFrom = clients + windowSearchFrom;
        break;
    }
    case JumpRoute::kitty:
    case JumpRoute::wezterm:
        if (const auto command = SessionJumpRoutes::terminalCommand(facts, pid)) {
            (void)run(*command);
        }
        break;
    case JumpRoute::warpLink:
        if (const auto link = WarpSession::focusURL(facts.warpFocusURL.value_or(QString()))) {
            (void)run({QStringLiteral("xdg-open"), {*link}});
        }
        break;
    case JumpRoute::window:
        break;
    }

    const QList<qint32> owners = m_windows.windowOwners();
    std::optional<qint32> owner;
    for (const qint32 start : windowSearchFrom) {
        if ((owner = owningWindowProcess(start, owners))) {
            break;
        }
    }
    Outcome outcome;
    outcome.route = QString::fromLatin1(SessionJumpRoutes::routeName(route));
    if (owner && m_windows.activate(*owner)) {
        outcome.activatedOwner = owner;
    } else if (route == JumpRoute::window) {
        outcome.route = QStringLiteral("fallback"); // nothing to bring forward
    }
    DiagnosticLog::info(DiagnosticCategory::jump, "session.jump", [&] {
        return DiagnosticFields{{"route", DiagnosticValue::name(outcome.route)},
                                {"window", DiagnosticValue::boolean(outcome.activatedOwner.has_value())}};
    });
    return outcome;
}

} // namespace tessary
