#include "modules/agents/installers/AgentHookInstaller.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "core/settings/SettingsStore.h"
#include "modules/agents/installers/HookSettingsDocument.h"
#include "modules/agents/installers/SettingsFile.h"
#include "modules/agents/installers/StatusLineEnvelopeInstaller.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QSettings>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

const QString sessionEndEvent = u"SessionEnd"_s;
const QString interruptEvent = u"Interrupt"_s;

std::function<bool()> folderExists(const QString& settingsFile) {
    return [folder = QFileInfo(settingsFile).absolutePath()] { return QFileInfo(folder).isDir(); };
}

// A write that worked is noted only in verbose mode; one that failed always.
void logOutcome(DiagnosticLiteral event, const QString& agentID, bool succeeded) {
    const auto fields = [&] {
        return DiagnosticFields{{"agent", DiagnosticValue::name(agentID)},
                                {"ok", DiagnosticValue::boolean(succeeded)}};
    };
    if (succeeded) {
        DiagnosticLog::debug(DiagnosticCategory::hooks, event, fields);
    } else {
        DiagnosticLog::error(DiagnosticCategory::hooks, event, fields);
    }
}

} // namespace

AgentHookInstaller AgentHookInstaller::claude(const QString& homeDirectory, QSettings* defaults) {
    AgentHookInstaller installer;
    installer.settingsFile = homeDirectory + u"/.claude/settings.json"_s;
    installer.agentID = u"claude"_s;
    const QString all = u"*"_s;
    for (const char* name : {"SessionStart", "SessionEnd", "UserPromptSubmit", "PreToolUse", "PostToolUse",
                             "PostToolUseFailure", "Stop", "StopFailure", "PostModelSwitch"}) {
        installer.events.append({QString::fromLatin1(name), all});
    }
    installer.events.append(
        {u"Notification"_s,
         u"permission_prompt|idle_prompt|agent_needs_input|agent_completed|elicitation_dialog"_s});
    for (const char* name : {"SubagentStart", "SubagentStop", "TaskCreated", "TaskCompleted",
                             "PermissionDenied", "PreCompact", "PostCompact", "CwdChanged"}) {
        installer.events.append({QString::fromLatin1(name), all});
    }
    installer.decisionEvent = HookEventSpec{u"PermissionRequest"_s, all};
    installer.decisionDeadline = 540;
    installer.declineKey = QString::fromLatin1(PreferenceKeys::claudeHooksDeclined);
    installer.agentInstalledCheck = folderExists(installer.settingsFile);
    const auto envelope = StatusLineEnvelopeInstaller::forHome(homeDirectory);
    installer.statusLine = StatusLineHooks{
        [envelope] { return envelope.install(); }, [envelope] { return envelope.remove(); },
        [envelope] { return envelope.addStatusLine(); }, [envelope] { return envelope.state(); }};
    installer.defaults = defaults;
    return installer;
}

AgentHookInstaller AgentHookInstaller::codex(const QString& homeDirectory, QSettings* defaults) {
    AgentHookInstaller installer;
    installer.settingsFile = homeDirectory + u"/.codex/hooks.json"_s;
    installer.agentID = u"codex"_s;
    for (const char* name :
         {"SessionStart", "UserPromptSubmit", "PreToolUse", "PostToolUse", "PreCompact", "PostCompact",
          "SubagentStart", "SubagentStop", "Stop", "Interrupt", "SessionEnd"}) {
        installer.events.append({QString::fromLatin1(name), std::nullopt});
    }
    installer.decisionEvent = HookEventSpec{u"PermissionRequest"_s, std::nullopt};
    installer.decisionDeadline = 45;
    installer.decisionStatusMessage = u"Waiting for your answer on the Tessary card"_s;
    installer.declineKey = QString::fromLatin1(PreferenceKeys::codexHooksDeclined);
    installer.agentInstalledCheck = folderExists(installer.settingsFile);
    installer.defaults = defaults;
    return installer;
}

QString AgentHookInstaller::backupFile() const {
    return SettingsFile::backupPath(settingsFile);
}

QString AgentHookInstaller::unparsableCopyFile() const {
    return settingsFile + u".tessary-unparsable"_s;
}

// The texts below are read by the agents' shells and matched by the listener: change them only together
// with both. The hook's standard input is the agent's JSON, posted as it is; `$PPID` is the agent.
QString AgentHookInstaller::eventCommand(const QString& agentID) {
    const QString source =
        agentID == u"claude"_s ? QString() : u"-H \"X-Tessary-Source: "_s + agentID + u"\" "_s;
    return uR"cmd(d="$HOME/.tessary"; [ -r "$d/hook-endpoint" ] || exit 0; curl -sS -m 2 -X POST -H "X-Tessary-Token: $(cat "$d/hook-token")" -H "X-Tessary-Agent: $PPID" )cmd"_s +
           source + uR"cmd(--data-binary @- "$(cat "$d/hook-endpoint")" >/dev/null 2>&1; exit 0)cmd"_s;
}

// The decision's reply body is the hook's output, so it goes to standard output.
QString AgentHookInstaller::decisionCommand(const QString& agentID, int curlLimit) {
    const QString source =
        agentID == u"claude"_s ? QString() : u"-H \"X-Tessary-Source: "_s + agentID + u"\" "_s;
    return uR"cmd(d="$HOME/.tessary"; [ -r "$d/hook-endpoint" ] || exit 0; curl -sS -m )cmd"_s +
           QString::number(curlLimit) +
           uR"cmd( -X POST -H "X-Tessary-Token: $(cat "$d/hook-token")" -H "X-Tessary-Decision: 1" -H "X-Tessary-Agent: $PPID" )cmd"_s +
           source + uR"cmd(--data-binary @- "$(cat "$d/hook-endpoint")" 2>/dev/null; exit 0)cmd"_s;
}

QString AgentHookInstaller::eventCommand() const {
    return eventCommand(agentID);
}

// The three limits are nested: the program's hold ends first, curl gives up five seconds later, the
// agent ten after that.
QString AgentHookInstaller::decisionCommand() const {
    return decisionCommand(agentID, decisionDeadline + 5);
}

QStringList AgentHookInstaller::eventNames() const {
    QStringList names;
    if (decisionEvent) {
        names.append(decisionEvent->name);
    }
    for (const HookEventSpec& event : events) {
        names.append(event.name);
    }
    return names;
}

QJsonObject AgentHookInstaller::group(const HookEventSpec& event) const {
    const bool isDecision = decisionEvent && decisionEvent->name == event.name;
    QJsonObject entry{
        {u"type"_s, u"command"_s},
        {u"command"_s, isDecision ? decisionCommand() : eventCommand()},
        {u"async"_s, !isDecision && event.name != sessionEndEvent},
    };
    int timeout = 5;
    if (isDecision) {
        timeout = decisionDeadline + 15;
    } else if (event.name == sessionEndEvent || event.name == interruptEvent) {
        timeout = 3;
    }
    entry.insert(u"timeout"_s, timeout);
    if (isDecision && decisionStatusMessage) {
        entry.insert(u"statusMessage"_s, *decisionStatusMessage);
    }
    QJsonObject result{{u"hooks"_s, QJsonArray{entry}}};
    if (event.matcher) {
        result.insert(u"matcher"_s, *event.matcher);
    }
    return result;
}

QJsonObject AgentHookInstaller::installing(const QJsonObject& root) const {
    QList<std::pair<QString, QJsonObject>> groups;
    if (decisionEvent) {
        groups.append({decisionEvent->name, group(*decisionEvent)});
    }
    for (const HookEventSpec& event : events) {
        groups.append({event.name, group(event)});
    }
    const QJsonObject cleared =
        HookSettingsDocument::removingProgramEntries(root, eventNames()).value_or(root);
    return HookSettingsDocument::appendingGroups(cleared, groups);
}

bool AgentHookInstaller::allPresent(const QJsonObject& root) const {
    const QStringList names = eventNames();
    return std::all_of(names.cbegin(), names.cend(),
                       [&](const QString& name) { return HookSettingsDocument::isPresent(root, name); });
}

bool AgentHookInstaller::anyPresent(const QJsonObject& root) const {
    const QStringList names = eventNames();
    return std::any_of(names.cbegin(), names.cend(),
                       [&](const QString& name) { return HookSettingsDocument::isPresent(root, name); });
}

bool AgentHookInstaller::isAgentInstalled() const {
    return agentInstalledCheck && agentInstalledCheck();
}

bool AgentHookInstaller::isDeclined() const {
    return defaults && defaults->value(declineKey, false).toBool();
}

namespace {

std::optional<QJsonObject> readDocument(const QString& path) {
    const SettingsFile::Reading reading = SettingsFile::read(path);
    if (reading.state != SettingsFile::Reading::State::read) {
        return std::nullopt;
    }
    return HookSettingsDocument::parse(reading.bytes);
}

} // namespace

bool AgentHookInstaller::isInstalled() const {
    const auto root = readDocument(settingsFile);
    return root && anyPresent(*root);
}

bool AgentHookInstaller::isFullyInstalled() const {
    const auto root = readDocument(settingsFile);
    return root && allPresent(*root);
}

// The status line is wrapped after the hooks are in, so that the once-only copy of the settings is
// the one the hooks' installation keeps.
bool AgentHookInstaller::connectIfPossible() const {
    if (!isAgentInstalled() || isDeclined()) {
        return false;
    }
    const bool installed = !isFullyInstalled() && install();
    if (statusLine && statusLine->install) {
        statusLine->install();
    }
    return installed;
}

bool AgentHookInstaller::reconnect() const {
    if (defaults) {
        defaults->remove(declineKey);
        defaults->sync();
    }
    const bool connected = isFullyInstalled() || install();
    if (statusLine && statusLine->install) {
        statusLine->install();
    }
    return connected;
}

bool AgentHookInstaller::disconnect() const {
    if (defaults) {
        defaults->setValue(declineKey, true);
        defaults->sync();
    }
    if (statusLine && statusLine->remove) {
        statusLine->remove();
    }
    return removeMatching();
}

bool AgentHookInstaller::removeMatching() const {
    const auto root = readDocument(settingsFile);
    if (!root) {
        return false;
    }
    const auto removed = HookSettingsDocument::removingProgramEntries(*root, eventNames());
    if (!removed) {
        return false;
    }
    const bool written = write(*removed);
    logOutcome("installer.remove", agentID, written);
    return written;
}

void AgentHookInstaller::backupOnce() const {
    const SettingsFile::Reading reading = SettingsFile::read(settingsFile);
    if (reading.state == SettingsFile::Reading::State::read) {
        SettingsFile::copyOnce(settingsFile, reading.bytes, backupFile());
    }
}

bool AgentHookInstaller::install() const {
    using State = SettingsFile::Reading::State;
    const SettingsFile::Reading reading = SettingsFile::read(settingsFile);
    if (reading.state == State::unreadable) {
        // Replacing what cannot be read would lose it: no copy of it could be kept.
        logOutcome("installer.install", agentID, false);
        return false;
    }
    QJsonObject root;
    QByteArray onDisk = reading.bytes;
    if (reading.state == State::read) {
        const auto parsed = HookSettingsDocument::parse(reading.bytes);
        const auto cleared =
            parsed ? HookSettingsDocument::removingProgramEntries(*parsed, eventNames()) : std::nullopt;
        const bool hadBackup = QFileInfo::exists(backupFile()) || QFileInfo(backupFile()).isSymLink();
        if (cleared && !hadBackup) {
            // The backup holds the user's file without the program's earlier entries.
            if (!write(*cleared)) {
                logOutcome("installer.install", agentID, false);
                return false;
            }
            onDisk = HookSettingsDocument::serialize(*cleared);
            SettingsFile::copyOnce(settingsFile, onDisk, backupFile());
        } else if (!hadBackup) {
            const bool copied = SettingsFile::copyOnce(settingsFile, reading.bytes, backupFile());
            if (!parsed && !copied) {
                logOutcome("installer.install", agentID, false);
                return false;
            }
        } else if (!parsed && !reading.bytes.trimmed().isEmpty() &&
                   !SettingsFile::writeAtomically(unparsableCopyFile(), reading.bytes, settingsFile)) {
            // The backup holds an older text; this one is kept beside it before it is replaced.
            logOutcome("installer.install", agentID, false);
            return false;
        }
        root = cleared.value_or(parsed.value_or(QJsonObject{}));
    }
    const QJsonObject installed = installing(root);
    const QByteArray bytes = HookSettingsDocument::serialize(installed);
    if (reading.state == State::read && bytes == onDisk) {
        return true;
    }
    const bool written = SettingsFile::writeAtomically(settingsFile, bytes);
    logOutcome("installer.install", agentID, written);
    return written;
}

bool AgentHookInstaller::write(const QJsonObject& root) const {
    return SettingsFile::writeAtomically(settingsFile, HookSettingsDocument::serialize(root));
}

} // namespace tessary
