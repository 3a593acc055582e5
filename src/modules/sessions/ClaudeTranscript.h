#pragma once

#include "modules/sessions/AgentSession.h"

#include <QByteArrayView>
#include <QDateTime>
#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

namespace tessary {

// Claude Code's transcripts (~/.claude/projects/<project>/<session>.jsonl, and
// <session>/subagents/agent-<id>.jsonl for its subagents) as this program reads them: one JSON
// object a line. A line that isn't one is skipped, alone; unknown keys and line types are ignored.
namespace ClaudeTranscript {

// One line as a JSON object; nothing for anything else (a cut line, a number, bad bytes).
std::optional<QJsonObject> parseLine(QByteArrayView line);

// Tokens in the context window at a line: input, cache creation and cache read tokens of
// `message.usage`, each 0 when absent or not a whole number (output tokens aren't in the window).
// Nothing when the line has no `message.usage` object.
std::optional<qint64> tokenCount(const QJsonObject& line);

// The first line of the first text the user wrote in `head` (text content, or the first "text"
// item of an array), cut to 60 characters; what a subagent was asked to do.
std::optional<QString> headDescription(const QString& head);

// The first line of `head` that is a JSON object with a `timestamp` that parses.
std::optional<QDateTime> startedAt(const QString& head);

// The last text at `key` on the lines of `head` whose `type` is `type`. Only lines holding the
// quoted type are parsed at all.
std::optional<QString> lastValue(QLatin1StringView key, QLatin1StringView type, const QString& head);

} // namespace ClaudeTranscript

// What the tail of a main transcript says, applied line by line, oldest first: the last value of
// each key wins, and an absent key leaves the earlier value.
struct ClaudeTranscriptReading {
    std::optional<QString> sessionID;
    std::optional<QString> directory;
    // "CLI" or "Desktop", from the `entrypoint` of the lines.
    std::optional<QString> origin;
    std::optional<QString> version;
    std::optional<QString> branch;
    std::optional<QString> model;
    std::optional<QString> effort;
    std::optional<QString> aiTitle;
    std::optional<QString> customTitle;
    std::optional<QString> agentColor;
    std::optional<AgentSession::Speaker> lastSpeaker;
    // The count of the last line with usage, and the largest of the tail.
    std::optional<qint64> lastTokens;
    qint64 maximumTokens = 0;
    std::optional<double> lastTurnDuration;
    std::optional<AgentSession::Compaction> compaction;
    std::optional<AgentSession::PullRequest> pullRequest;
    // Subagents launched, by agent id (longer than the id in a subagent's file name): the task given.
    QMap<QString, QString> launches;

    // Applies one line; false when it isn't a JSON object and was skipped.
    bool apply(QByteArrayView line);
    void apply(const QJsonObject& line);

    bool operator==(const ClaudeTranscriptReading&) const = default;
};

// What the tail of a subagent's transcript says: its assistant lines only.
struct ClaudeSubagentReading {
    std::optional<QString> model;
    std::optional<QString> effort;
    std::optional<qint64> lastTokens;
    qint64 maximumTokens = 0;
    // The last tool it called, by its short name ("mcp__server__search" is "search").
    std::optional<QString> tool;

    bool apply(QByteArrayView line);
    void apply(const QJsonObject& line);

    bool operator==(const ClaudeSubagentReading&) const = default;
};

} // namespace tessary
