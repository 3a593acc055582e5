#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// Warp leaves a focus link in the environment of the processes it starts. The value comes from
// another process and will be opened, so only the one exact form passes, rebuilt from its parts.
namespace WarpSession {
inline constexpr auto terminalName = "WarpTerminal";
// "warp://session/" and 32 hexadecimal characters; anything else gives nothing.
[[nodiscard]] std::optional<QString> focusURL(const QString& text);
[[nodiscard]] bool isHosted(const std::optional<QString>& focusURL, const std::optional<QString>& terminal);
} // namespace WarpSession

// One pane of a tmux server, as `list-panes -a -F` prints it with `TmuxPanes::format`.
struct TmuxPane {
    QString tty;
    QString session;
    QString window;
    QString pane;
    bool operator==(const TmuxPane&) const = default;
};

namespace TmuxPanes {
// Tab-separated: pane tty, session id, window id, pane id.
inline constexpr auto format = "#{pane_tty}\t#{session_id}\t#{window_id}\t#{pane_id}";
// The lines that have all four fields in their expected shapes; others are skipped.
[[nodiscard]] QList<TmuxPane> parse(const QString& output);
[[nodiscard]] std::optional<TmuxPane> onTTY(const QList<TmuxPane>& panes, const QString& tty);
// The server socket named by a "TMUX" environment value ("socket,server pid,session").
[[nodiscard]] std::optional<QString> socketOf(const QString& tmuxVariable);
} // namespace TmuxPanes

// What is known of the agent's process when a jump starts.
struct JumpFacts {
    std::optional<QString> tty;
    std::optional<QString> tmux;            // TMUX
    std::optional<QString> kittyWindowID;   // KITTY_WINDOW_ID
    std::optional<QString> kittyListenOn;   // KITTY_LISTEN_ON
    std::optional<QString> weztermPane;     // WEZTERM_PANE
    std::optional<QString> warpFocusURL;    // WARP_FOCUS_URL
    std::optional<QString> terminalProgram; // TERM_PROGRAM
    bool operator==(const JumpFacts&) const = default;
};

// How to reach the terminal of a session, first that applies: the tmux pane, kitty's or WezTerm's
// own command line for their tab, Warp's focus link; the owning window is raised after any of them.
enum class JumpRoute { tmux, kitty, wezterm, warpLink, window };

struct JumpCommand {
    QString program;
    QStringList arguments;
    bool operator==(const JumpCommand&) const = default;
};

namespace SessionJumpRoutes {
[[nodiscard]] JumpRoute choose(const JumpFacts& facts);
// "tmux", "kitty", ...: the log's "route".
[[nodiscard]] const char* routeName(JumpRoute route);
// The terminal's own command that selects the tab of kitty or WezTerm; nothing for other routes.
[[nodiscard]] std::optional<JumpCommand> terminalCommand(const JumpFacts& facts, qint32 pid);
// The tmux commands that bring `pane` to the front of its clients, on `socket` when known.
[[nodiscard]] QList<JumpCommand> tmuxSelect(const TmuxPane& pane, const std::optional<QString>& socket);
[[nodiscard]] JumpCommand tmuxListPanes(const std::optional<QString>& socket);
// The clients attached to the pane's session, their pids one a line: where the terminal window is.
[[nodiscard]] JumpCommand tmuxListClients(const TmuxPane& pane, const std::optional<QString>& socket);
} // namespace SessionJumpRoutes

} // namespace tessary
