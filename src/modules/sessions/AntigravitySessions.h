#pragma once

#include "modules/sessions/AgentSession.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <array>
#include <functional>
#include <optional>

namespace tessary {

// Antigravity's conversations as its summary database lists them, turned into sessions. The
// reading of the database itself is a service's; these rules only see its rows.
namespace AntigravitySessions {

// One row of the table `conversation_summaries`.
struct Row {
    QString conversationID;
    QString title;
    QString preview;
    qint64 stepCount = 1;
    QString lastModified;
    // A JSON array of URIs.
    QString workspaceURIs;
    QString status;
    QString parentConversationID;
    bool notFullyIdle = false;
    bool killed = false;
    bool operator==(const Row&) const = default;
};

// A column of the table and the SQL value read in its place when an older or newer schema lacks
// it; a null default marks the one column no reading can do without.
struct Column {
    const char* name;
    const char* fallback;
};

inline constexpr std::array<Column, 10> columns{{
    {"conversation_id", nullptr},
    {"title", "''"},
    {"preview", "''"},
    {"step_count", "1"},
    {"last_modified_time", "''"},
    {"workspace_uris", "'[]'"},
    {"status", "''"},
    {"parent_conversation_id", "''"},
    {"not_fully_idle", "0"},
    {"killed", "0"},
}};

inline constexpr auto requiredColumn = "conversation_id";
inline constexpr auto agentName = "agy";

// The SELECT over the columns of `columns` in their order, each the column itself where the schema
// has it and its fallback elsewhere, newest first (by the modification time, else by rowid), with
// the row limit bound as ?1.
QString query(const QSet<QString>& available);

// An ISO 8601 time, with or without fractional seconds, or a space in place of the "T".
std::optional<QDateTime> date(const QString& text);

// The trimmed title, else the trimmed first line of the preview.
std::optional<QString> title(const Row& row);

// The path of the first `file:` URI of a JSON array of URIs.
std::optional<QString> directory(const QString& workspaceURIs);

// Whether the status or the idle flag says the agent is still at work.
bool isBusy(const Row& row);

// A path with its symbolic links resolved; the path itself where it can't be.
using ResolvePath = std::function<QString(const QString& path)>;

// Whether one of the live agents' working directories is `directory` or lies within it, both
// compared after resolving links.
bool hasLiveAgent(const QString& directory, const QStringList& liveDirectories, const ResolvePath& resolve);

// The newest `limit` top-level conversations as sessions, each with its subagents. `lastWrites`
// holds the newest date of each conversation's own files, which moves ahead of the row's time
// while an agent works.
QList<AgentSession> sessions(const QList<Row>& rows, const QHash<QString, QDateTime>& lastWrites,
                             const QStringList& liveDirectories, int limit, const ResolvePath& resolve);

} // namespace AntigravitySessions

} // namespace tessary
