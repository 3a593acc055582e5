#pragma once

#include "modules/sessions/ModifiedFileCache.h"
#include "modules/sessions/SessionFile.h"
#include "modules/sessions/SessionProvider.h"

#include <QDateTime>
#include <QHash>
#include <QString>
#include <QStringView>

#include <mutex>
#include <optional>

namespace tessary {

// The rules by which a Codex session file (JSON lines under ~/.codex/sessions) is read: the first
// line's fields found by text, the later lines' table, and which user messages the user wrote.
namespace CodexSessionFile {

// The first line carries the whole system prompt before the git fields (about 21 KB with Codex
// 0.169), so the head is read far enough to hold them.
inline constexpr qint64 headBytes = 65'536;
inline constexpr qint64 tailBytes = 262'144;
// How far back the model and the context window are looked for when the tail has neither.
inline constexpr qint64 searchBytes = qint64{8} * 1024 * 1024;
inline constexpr qint64 searchLineBytes = qint64{1} * 1024 * 1024;

// The text value of the first `"key":` in `line` that stands outside a string, found without
// parsing the line, so that a line cut anywhere after the value still gives it. Nothing when the
// key is missing or its value is not a complete text.
std::optional<QString> field(QStringView line, QStringView key, qsizetype from = 0);

// False for the envelopes Codex puts in the user's name (its instructions, the environment).
bool isUserWritten(QStringView text);

// What the first line says of a file.
struct Header {
    QString id;
    // "cli" (the terminal interface) or "exec" (`codex exec`): both started by the user.
    QString source;
    std::optional<QDateTime> startedAt;
    std::optional<QString> toolVersion;
    std::optional<QString> directory;
    std::optional<QString> branch;
    bool operator==(const Header&) const = default;
};

// The header of a session the user started, from the file's head; nothing for a file that is no
// session file, and for threads Codex starts itself (a subagent such as the approvals reviewer,
// whose `source` is an object; an editor's or app's thread, "vscode" and others), which belong to
// a session already shown or to another program's list. `fallbackID` names a file whose line has
// no id.
std::optional<Header> header(QStringView head, const QString& fallbackID);

// The text of the first message of the head that the user wrote.
std::optional<QString> firstPrompt(QStringView head);

// What the later lines tell, the newest value of each winning.
struct TailReading {
    std::optional<QString> model;
    std::optional<QString> effort;
    std::optional<qint64> contextTokens;
    std::optional<qint64> contextWindow;
    std::optional<double> lastTurnDuration;
    bool operator==(const TailReading&) const = default;

    // One line; a line that is cut, not JSON or of a kind not read is passed over.
    void apply(QStringView line);
};

} // namespace CodexSessionFile

// Codex's sessions, read from the files it writes under ~/.codex/sessions and the names kept in
// ~/.codex/session_index.jsonl, without any help from Codex and without writing there. Of the
// newest `scanLimit` files, each is read (its 64 KiB head and 256 KiB tail) newest first until
// `limit` sessions are found. What a file gave is kept with its date and size, so a poll in which
// nothing changed reads directory metadata alone.
class CodexSessionFileProvider final : public SessionProvider {
public:
    struct Configuration {
        // ~/.codex/sessions
        QString root;
        // ~/.codex/session_index.jsonl
        QString index;
        int scanLimit = 400;
    };

    explicit CodexSessionFileProvider(Configuration configuration);
    // ~/.codex, or `codexHome` when Codex is told to keep its files there (CODEX_HOME).
    static Configuration forHome(const QString& home, const QString& codexHome = {});

    [[nodiscard]] SessionFetchResult fetchSessions(int limit) const override;
    [[nodiscard]] DiagnosticLiteral providerName() const override { return "CodexSessionFileProvider"; }

    // Thread id to the name the user gave it; the last line of an id wins. Nothing for an index that
    // can't be read.
    static QHash<QString, QString> indexedNames(const QString& index);

    struct Reading {
        CodexSessionFile::Header header;
        CodexSessionFile::TailReading tail;
        std::optional<QString> firstPrompt;
        bool operator==(const Reading&) const = default;
    };
    // Nothing for a file that is not a session of its own.
    static std::optional<Reading> read(const QString& path);

private:
    Configuration m_configuration;

    // Replaced whole by each poll, never locked across a file read.
    mutable std::mutex m_cacheLock;
    // A listing (path, date, size) tells a file that changed.
    mutable ModifiedFileCache<Reading, SessionFile::Listed> m_cache;
    mutable std::optional<SessionFile::Listed> m_indexStamp;
    mutable QHash<QString, QString> m_indexNames;
};

} // namespace tessary
