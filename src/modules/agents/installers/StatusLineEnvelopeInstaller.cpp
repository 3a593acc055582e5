#include "modules/agents/installers/StatusLineEnvelopeInstaller.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "modules/agents/installers/HookSettingsDocument.h"
#include "modules/agents/installers/SettingsFile.h"

#include <algorithm>
#include <array>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

// The texts below are run by /bin/sh: the variable keeps standard input whole, trailing newlines
// included (the `printf x` trick), and the post runs detached with every stream closed, so that the
// status line never waits for it.
const QString headText =
    uR"sh(tessary_in=$(cat; printf x); tessary_in=${tessary_in%x}; ( ( d="$HOME/.tessary"; [ -r "$d/hook-endpoint" ] && printf '%s' "$tessary_in" | curl -s -m 1 -X POST -H "X-Tessary-Token: $(cat "$d/hook-token")" -H "X-Tessary-StatusLine: 1" --data-binary @- "$(cat "$d/hook-endpoint")" ) </dev/null >/dev/null 2>&1 & ))sh"_s;
const QString handOver = uR"sh(; printf '%s' "$tessary_in" 2>/dev/null | eval )sh"_s;
const QString addedMark = u"; : added by Tessary"_s;
// Every version of the envelope starts so.
const QString envelopeStart = u"tessary_in="_s;

const QString typeKey = u"type"_s;
const QString commandKey = u"command"_s;

// The command of a status line of type "command"; nothing for anything else.
std::optional<QString> commandOf(const QJsonValue& value) {
    const QJsonObject line = value.toObject();
    if (!value.isObject() || line.value(typeKey).toString() != commandKey ||
        !line.value(commandKey).isString()) {
        return std::nullopt;
    }
    return line.value(commandKey).toString();
}

void setCommand(QJsonObject& settings, const QString& key, const QString& command) {
    QJsonObject line = settings.value(key).toObject();
    line.insert(commandKey, command);
    settings.insert(key, line);
}

const std::array<QString, 2>& keys() {
    static const std::array<QString, 2> both{
        QString::fromLatin1(StatusLineEnvelopeInstaller::statusLineKey),
        QString::fromLatin1(StatusLineEnvelopeInstaller::subagentStatusLineKey)};
    return both;
}

std::optional<QJsonObject> parsedObject(const SettingsFile::Reading& reading) {
    return reading.state == SettingsFile::Reading::State::read ? HookSettingsDocument::parse(reading.bytes)
                                                               : std::nullopt;
}

} // namespace

StatusLineEnvelopeInstaller StatusLineEnvelopeInstaller::forHome(const QString& homeDirectory) {
    return {homeDirectory + u"/.claude/settings.json"_s,
            homeDirectory + u"/.tessary/statusline-original.json"_s, homeDirectory + u"/.claude.json"_s};
}

QString StatusLineEnvelopeInstaller::envelopeHead() {
    return headText;
}

QString StatusLineEnvelopeInstaller::wrapping(const QString& command) {
    return headText + handOver + shellQuoted(command);
}

QString StatusLineEnvelopeInstaller::addedCommand() {
    return headText + addedMark + handOver + shellQuoted(defaultScript());
}

QString StatusLineEnvelopeInstaller::defaultScript() {
    return uR"sh(json=$(cat); model=$(printf '%s' "$json" | LC_ALL=C sed -nE 's/.*"model":\{[^{}]*"display_name":"([^"]*)".*/\1/p'); used=$(printf '%s' "$json" | LC_ALL=C sed -nE 's/.*"context_window":\{([^{}]|\{[^{}]*\})*"used_percentage":([0-9]+).*/\2/p'); printf '%s\n' "[${model:-Claude}]${used:+ $used% context}")sh"_s;
}

QString StatusLineEnvelopeInstaller::shellQuoted(const QString& text) {
    QString quoted = text;
    quoted.replace(u'\'', u"'\\''"_s);
    return u'\'' + quoted + u'\'';
}

std::optional<QString> StatusLineEnvelopeInstaller::shellUnquoted(const QString& word) {
    QString text;
    for (qsizetype at = 0; at < word.size(); ++at) {
        const QChar c = word.at(at);
        if (c == u'\'') {
            const qsizetype end = word.indexOf(u'\'', at + 1);
            if (end < 0) {
                return std::nullopt;
            }
            text += QStringView(word).sliced(at + 1, end - at - 1);
            at = end;
        } else if (c == u'\\' && at + 1 < word.size()) {
            text += word.at(++at);
        } else {
            return std::nullopt;
        }
    }
    return text;
}

std::optional<StatusLineEnvelopeInstaller::Wrapped>
StatusLineEnvelopeInstaller::wrapped(const QString& command) {
    if (!command.startsWith(envelopeStart)) {
        return std::nullopt;
    }
    const qsizetype split = command.indexOf(handOver);
    if (split < 0) {
        return std::nullopt;
    }
    const auto inner = shellUnquoted(command.sliced(split + handOver.size()));
    if (!inner) {
        return std::nullopt;
    }
    return Wrapped{*inner, QStringView(command).first(split).endsWith(addedMark)};
}

StatusLineEnvelopeInstaller::Edit StatusLineEnvelopeInstaller::installing(const QJsonObject& settings,
                                                                          const QJsonObject& originals) {
    Edit edit{settings, originals, false};
    for (const QString& key : keys()) {
        const auto command = commandOf(settings.value(key));
        if (!command) {
            continue;
        }
        auto inside = wrapped(*command);
        // An envelope inside an envelope would post twice: the user's own command is the innermost.
        while (inside && !inside->added) {
            auto deeper = wrapped(inside->inner);
            if (!deeper || deeper->added) {
                break;
            }
            inside = std::move(deeper);
        }
        QString desired;
        if (inside && inside->added) {
            desired = addedCommand();
        } else {
            const QString inner = inside ? inside->inner : *command;
            edit.originals.insert(key, inner);
            desired = wrapping(inner);
        }
        if (desired != *command) {
            setCommand(edit.settings, key, desired);
            edit.changed = true;
        }
    }
    edit.originals = pruned(edit.originals, edit.settings);
    return edit;
}

StatusLineEnvelopeInstaller::Edit StatusLineEnvelopeInstaller::removing(const QJsonObject& settings,
                                                                        const QJsonObject& originals) {
    Edit edit{settings, originals, false};
    for (const QString& key : keys()) {
        const auto command = commandOf(settings.value(key));
        const auto inside = command ? wrapped(*command) : std::nullopt;
        if (!inside) {
            continue;
        }
        if (inside->added) {
            edit.settings.remove(key);
        } else {
            const QJsonValue saved = originals.value(key);
            QString inner = inside->inner;
            while (const auto deeper = wrapped(inner)) {
                inner = deeper->inner;
            }
            setCommand(edit.settings, key, saved.isString() ? saved.toString() : inner);
        }
        edit.changed = true;
    }
    edit.originals = pruned(edit.originals, edit.settings);
    return edit;
}

StatusLineEnvelopeInstaller::Edit StatusLineEnvelopeInstaller::adding(const QJsonObject& settings,
                                                                      const QJsonObject& originals) {
    Edit edit{settings, originals, false};
    const QString key = QString::fromLatin1(statusLineKey);
    if (!settings.contains(key)) {
        edit.settings.insert(key, QJsonObject{{typeKey, commandKey}, {commandKey, addedCommand()}});
        edit.changed = true;
    }
    return edit;
}

// A saved command stays while its status line is the envelope around it: once the user has set
// another status line, or the envelope is gone, it is of no more use.
QJsonObject StatusLineEnvelopeInstaller::pruned(const QJsonObject& originals, const QJsonObject& settings) {
    QJsonObject kept;
    for (const QString& key : keys()) {
        const QJsonValue saved = originals.value(key);
        const auto command = commandOf(settings.value(key));
        const auto inside = command ? wrapped(*command) : std::nullopt;
        if (saved.isString() && inside && !inside->added && inside->inner == saved.toString()) {
            kept.insert(key, saved);
        }
    }
    return kept;
}

StatusLineOwner StatusLineEnvelopeInstaller::statusLineOwner() const {
    const auto settings = parsedObject(SettingsFile::read(settingsFile));
    const QString key = QString::fromLatin1(statusLineKey);
    if (!settings || !settings->contains(key)) {
        return StatusLineOwner::absent;
    }
    const auto command = commandOf(settings->value(key));
    return command && wrapped(*command) ? StatusLineOwner::tessary : StatusLineOwner::user;
}

StatusLineState StatusLineEnvelopeInstaller::state() const {
    StatusLineState state;
    const auto settings = parsedObject(SettingsFile::read(settingsFile));
    const QString key = QString::fromLatin1(statusLineKey);
    if (settings && settings->contains(key)) {
        const auto command = commandOf(settings->value(key));
        const auto inside = command ? wrapped(*command) : std::nullopt;
        state.owner = inside ? StatusLineOwner::tessary : StatusLineOwner::user;
        state.added = inside && inside->added;
    }
    // A project's `.claude/settings.json` or `.claude/settings.local.json` takes the place of the user's.
    const auto projects = parsedObject(SettingsFile::read(projectsFile));
    const QStringList folders = projects ? projects->value(u"projects"_s).toObject().keys() : QStringList();
    for (const QString& folder : folders.first(std::min(folders.size(), projectLimit))) {
        for (const QString& name : {u"settings.json"_s, u"settings.local.json"_s}) {
            const auto own = parsedObject(SettingsFile::read(folder + u"/.claude/"_s + name));
            if (own && own->value(key).isObject()) {
                state.overridingProjects.append(folder);
                break;
            }
        }
    }
    return state;
}

bool StatusLineEnvelopeInstaller::install() const {
    return apply("statusline.install", &installing, false);
}

bool StatusLineEnvelopeInstaller::remove() const {
    return apply("statusline.remove", &removing, false);
}

bool StatusLineEnvelopeInstaller::addStatusLine() const {
    return apply("statusline.add", &adding, true);
}

// Settings that can't be read or parsed are never written: their status line, if any, keeps working
// as it is. A missing or damaged originals file only loses the saved copies; every envelope still
// holds its user's command.
bool StatusLineEnvelopeInstaller::apply(DiagnosticLiteral event, Editing edit, bool createsSettings) const {
    const auto log = [event](bool succeeded) {
        const auto fields = [succeeded] {
            return DiagnosticFields{{"ok", DiagnosticValue::boolean(succeeded)}};
        };
        if (succeeded) {
            DiagnosticLog::debug(DiagnosticCategory::hooks, event, fields);
        } else {
            DiagnosticLog::error(DiagnosticCategory::hooks, event, fields);
        }
        return succeeded;
    };
    const SettingsFile::Reading reading = SettingsFile::read(settingsFile);
    if (reading.state == SettingsFile::Reading::State::missing && !createsSettings) {
        return true;
    }
    std::optional<QJsonObject> settings =
        reading.state == SettingsFile::Reading::State::missing ? QJsonObject{} : parsedObject(reading);
    if (!settings) {
        return log(false);
    }
    const QJsonObject originals = parsedObject(SettingsFile::read(originalFile)).value_or(QJsonObject{});
    const Edit result = edit(*settings, originals);
    if (!result.changed) {
        return true;
    }
    if (reading.state == SettingsFile::Reading::State::read) {
        SettingsFile::copyOnce(settingsFile, reading.bytes, SettingsFile::backupPath(settingsFile));
    }
    if (result.originals != originals &&
        !SettingsFile::writeAtomically(originalFile, HookSettingsDocument::serialize(result.originals))) {
        return log(false);
    }
    return log(SettingsFile::writeAtomically(settingsFile, HookSettingsDocument::serialize(result.settings)));
}

} // namespace tessary
