#pragma once

#include "modules/agents/installers/StatusLineEnvelopeInstaller.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class QSettings;

namespace tessary {

// One hook event as the program installs it; `matcher` is absent for agents or events without one.
struct HookEventSpec {
    QString name;
    std::optional<QString> matcher;
    bool operator==(const HookEventSpec&) const = default;
};

// The status-line envelope that goes with an agent's hooks: installed when the hooks are connected,
// removed when they are disconnected.
struct StatusLineHooks {
    std::function<bool()> install;
    std::function<bool()> remove;
    // Adds a plain status line where the user has none.
    std::function<bool()> add;
    std::function<StatusLineState()> state;
};

// Connects one coding agent to the program by editing the agent's own hook settings: each event runs
// a shell command that posts the event's JSON to the program's loopback listener. Only entries that
// the program wrote are ever touched, the user's own hooks stay where they are, and the file is
// copied once, the first time, beside itself.
//
// A value: copy it freely. It reads and writes the settings file and the user defaults it is given,
// on the calling thread.
class AgentHookInstaller {
public:
    // How long the program shows a request on its card.
    static constexpr int cardVisibleFor = 45;

    // Claude Code: `.claude/settings.json` under `homeDirectory`.
    static AgentHookInstaller claude(const QString& homeDirectory, QSettings* defaults);
    // Codex: `.codex/hooks.json` under `homeDirectory`.
    static AgentHookInstaller codex(const QString& homeDirectory, QSettings* defaults);

    QString settingsFile;
    QString agentID;
    QList<HookEventSpec> events;
    std::optional<HookEventSpec> decisionEvent;
    int decisionDeadline = 0;
    std::optional<QString> decisionStatusMessage;
    QString declineKey;
    // Whether the agent is on this machine; by default, whether the settings file's folder exists.
    std::function<bool()> agentInstalledCheck;
    std::optional<StatusLineHooks> statusLine;
    // Where `declineKey` is kept; without it nothing is ever declined.
    QSettings* defaults = nullptr;

    // The path of the once-only copy: the settings file's path with ".tessary-backup" added.
    [[nodiscard]] QString backupFile() const;
    // Where the bytes of a settings file that did not parse are kept when it is replaced.
    [[nodiscard]] QString unparsableCopyFile() const;

    // The shell commands of the entries, as written into the settings.
    [[nodiscard]] QString eventCommand() const;
    [[nodiscard]] QString decisionCommand() const;
    // The commands for an agent (`source` is its id; Claude Code sends none) with curl's limit of
    // `curlLimit` seconds on the decision: the one writing of them, also for tests that run them.
    [[nodiscard]] static QString eventCommand(const QString& agentID);
    [[nodiscard]] static QString decisionCommand(const QString& agentID, int curlLimit);
    // The decision event first, then the events, in their order.
    [[nodiscard]] QStringList eventNames() const;
    // The group that the program appends under one event.
    [[nodiscard]] QJsonObject group(const HookEventSpec& event) const;

    // The document as `install` leaves it: earlier entries of the program removed, one group appended
    // per event. Pure; `install` writes what this gives.
    [[nodiscard]] QJsonObject installing(const QJsonObject& root) const;
    // Whether the decision event and every event hold an entry of the current version.
    [[nodiscard]] bool allPresent(const QJsonObject& root) const;
    [[nodiscard]] bool anyPresent(const QJsonObject& root) const;

    [[nodiscard]] bool isAgentInstalled() const;
    [[nodiscard]] bool isDeclined() const;
    // The file reads and parses, and at least one of the program's events is present.
    [[nodiscard]] bool isInstalled() const;
    // The file reads and parses, and all of the program's events are present.
    [[nodiscard]] bool isFullyInstalled() const;

    // At each start: connects an installed agent that the user has not declined, unless it is connected
    // already (then nothing is written). True when hooks were written.
    bool connectIfPossible() const;
    // The user asks for the connection: the decline is forgotten and the hooks are written if missing.
    bool reconnect() const;
    // The user declines: the program's entries are removed and stay away until `reconnect`.
    bool disconnect() const;

    // Removes the program's entries of every version under its events. False when the file does not
    // parse, has no hooks, or holds none of the program's entries: nothing is written then.
    bool removeMatching() const;
    // Copies the settings file beside itself, unless a copy is there already. Failures are ignored.
    void backupOnce() const;
    // Writes the hooks: earlier entries of the program go, the user's stay, one group per event is
    // appended last. A file that does not parse is replaced by one holding only the hooks, after its
    // bytes are kept in the backup or, when a backup exists already, in `unparsableCopyFile`. A file
    // that exists but cannot be read is left alone. True when the hooks are in the file.
    bool install() const;

private:
    bool write(const QJsonObject& root) const;
};

} // namespace tessary
