#pragma once

#include "core/diagnostics/DiagnosticLiteral.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// Who owns Claude Code's status line: nobody, the user, or the program's envelope.
enum class StatusLineOwner { absent, user, tessary };

// What the settings window says of the status line.
struct StatusLineState {
    StatusLineOwner owner = StatusLineOwner::absent;
    // The envelope is around the line the program added, not a command of the user's.
    bool added = false;
    // Project folders whose own settings set a status line, which Claude Code runs there instead.
    QStringList overridingProjects;
    bool operator==(const StatusLineState&) const = default;
};

// Wraps the user's status-line command in an envelope that also posts Claude Code's status-line JSON to
// the program's listener, while the user's command goes on printing exactly as before. The envelope
// is POSIX shell (Claude Code runs it with /bin/sh) and does nothing more when the program isn't
// running. The user's commands are kept in `originalFile`, so that removing gives their text back.
//
// A value: copy it freely. It reads and writes the files it names on the calling thread.
class StatusLineEnvelopeInstaller {
public:
    // The keys of Claude Code's settings that hold a status line.
    static constexpr auto statusLineKey = "statusLine";
    static constexpr auto subagentStatusLineKey = "subagentStatusLine";

    // Projects looked at for a status line of their own, at most.
    static constexpr qsizetype projectLimit = 200;

    // `.claude/settings.json`, `.tessary/statusline-original.json` and `.claude.json` under `homeDirectory`.
    static StatusLineEnvelopeInstaller forHome(const QString& homeDirectory);

    QString settingsFile;
    QString originalFile;
    // Claude Code's own record of the projects it has run in.
    QString projectsFile;

    // Wraps every command status line that isn't already wrapped in the current envelope. True when
    // the settings hold the envelope afterwards or there was nothing to wrap.
    [[nodiscard]] bool install() const;
    // Gives every wrapped status line its user's command back, and drops the one the program added.
    [[nodiscard]] bool remove() const;
    // Adds a plain status line, wrapped, when the settings have none.
    [[nodiscard]] bool addStatusLine() const;

    [[nodiscard]] bool isInstalled() const { return statusLineOwner() == StatusLineOwner::tessary; }
    [[nodiscard]] StatusLineOwner statusLineOwner() const;
    [[nodiscard]] StatusLineState state() const;

    // The envelope's first part: the post to the listener, detached and limited to one second.
    [[nodiscard]] static QString envelopeHead();
    // The envelope around the user's `command`.
    [[nodiscard]] static QString wrapping(const QString& command);
    // The status line the program adds: the envelope around `defaultScript()`.
    [[nodiscard]] static QString addedCommand();
    // Prints the model's name and the share of context used.
    [[nodiscard]] static QString defaultScript();

    struct Wrapped {
        QString inner;
        bool added = false;
        bool operator==(const Wrapped&) const = default;
    };
    // The inner command of an envelope of any version, unquoted; nothing when `command` isn't one.
    [[nodiscard]] static std::optional<Wrapped> wrapped(const QString& command);

    // Single-quoted for POSIX shell: the word reads back as `text` exactly.
    [[nodiscard]] static QString shellQuoted(const QString& text);
    // The text of a word made only of single-quoted parts and backslash-escaped characters; nothing
    // for any other word.
    [[nodiscard]] static std::optional<QString> shellUnquoted(const QString& word);

    // The settings and saved originals after an edit, and whether the settings changed.
    struct Edit {
        QJsonObject settings;
        QJsonObject originals;
        bool changed = false;
        bool operator==(const Edit&) const = default;
    };
    [[nodiscard]] static Edit installing(const QJsonObject& settings, const QJsonObject& originals);
    [[nodiscard]] static Edit removing(const QJsonObject& settings, const QJsonObject& originals);
    [[nodiscard]] static Edit adding(const QJsonObject& settings, const QJsonObject& originals);
    // The originals that still belong to an envelope in `settings`.
    [[nodiscard]] static QJsonObject pruned(const QJsonObject& originals, const QJsonObject& settings);

private:
    using Editing = Edit (*)(const QJsonObject&, const QJsonObject&);
    [[nodiscard]] bool apply(DiagnosticLiteral event, Editing edit, bool createsSettings) const;
};

} // namespace tessary
