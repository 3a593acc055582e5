#include "modules/sessions/ClaudeTranscript.h"

#include "core/json/JsonFields.h"
#include "modules/sessions/SessionFile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QUrl>

#include <cmath>

namespace tessary {

namespace {

using namespace Qt::StringLiterals;

// Beyond 2^53 a JSON number is no longer a whole count that a double holds exactly.
constexpr double largestWholeNumber = 9'007'199'254'740'992.0;

std::optional<qint64> wholeNumber(const QJsonValue& value) {
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const double number = value.toDouble();
    if (!std::isfinite(number) || std::trunc(number) != number || std::abs(number) > largestWholeNumber) {
        return std::nullopt;
    }
    return static_cast<qint64>(number);
}

std::optional<qint64> wholeNumber(const QJsonObject& object, QLatin1StringView key) {
    return wholeNumber(object.value(key));
}

void assignText(std::optional<QString>& field, const QJsonObject& object, QLatin1StringView key) {
    if (auto text = json::string(object, key)) {
        field = std::move(*text);
    }
}

std::optional<AgentSession::Compaction> compactionOf(const QJsonObject& line) {
    const auto metadata = json::object(line, "compactMetadata"_L1);
    if (!metadata) {
        return std::nullopt;
    }
    const auto trigger = json::string(*metadata, "trigger"_L1);
    const auto before = wholeNumber(*metadata, "preTokens"_L1);
    const auto after = wholeNumber(*metadata, "postTokens"_L1);
    const auto timestamp = json::string(line, "timestamp"_L1);
    const auto at = timestamp ? SessionFile::date(*timestamp) : std::nullopt;
    if (!trigger || !before || !after || !at) {
        return std::nullopt;
    }
    return AgentSession::Compaction{*at, *trigger, *before, *after};
}

std::optional<AgentSession::PullRequest> pullRequestOf(const QJsonObject& line) {
    const auto number = wholeNumber(line, "prNumber"_L1);
    const auto repository = json::string(line, "prRepository"_L1);
    const auto link = json::string(line, "prUrl"_L1);
    if (!number || !repository || !link) {
        return std::nullopt;
    }
    const QUrl url(*link, QUrl::StrictMode);
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty()) {
        return std::nullopt;
    }
    return AgentSession::PullRequest{*number, *repository, url};
}

// The text a user line carries: its content as text, or the first "text" item of its content.
std::optional<QString> userText(const QJsonObject& line) {
    const auto message = json::object(line, "message"_L1);
    if (!message) {
        return std::nullopt;
    }
    const QJsonValue content = message->value("content"_L1);
    if (content.isString()) {
        return content.toString();
    }
    if (!content.isArray()) {
        return std::nullopt;
    }
    const QJsonArray items = content.toArray();
    for (const auto item : items) {
        const QJsonObject entry = item.toObject();
        if (entry.value("type"_L1).toString() == "text"_L1) {
            if (auto text = json::string(entry, "text"_L1)) {
                return text;
            }
        }
    }
    return std::nullopt;
}

// The lines of a text read from a file's head, cut lines and all: the parser skips what it can't read.
QList<QStringView> lines(const QString& text) {
    QList<QStringView> found;
    for (const QStringView line : QStringView(text).split(u'\n', Qt::SkipEmptyParts)) {
        found.append(line);
    }
    return found;
}

std::optional<QJsonObject> parseText(QStringView line) {
    return ClaudeTranscript::parseLine(line.toUtf8());
}

} // namespace

namespace ClaudeTranscript {

std::optional<QJsonObject> parseLine(QByteArrayView line) {
    // Every line Claude Code writes is an object; anything else is passed over without parsing.
    qsizetype first = 0;
    while (first < line.size() && (line[first] == ' ' || line[first] == '\t' || line[first] == '\r')) {
        ++first;
    }
    if (first >= line.size() || line[first] != '{') {
        return std::nullopt;
    }
    QJsonParseError error{};
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromRawData(line.data(), line.size()), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return document.object();
}

std::optional<qint64> tokenCount(const QJsonObject& line) {
    const auto message = json::object(line, "message"_L1);
    const auto usage = message ? json::object(*message, "usage"_L1) : std::nullopt;
    if (!usage) {
        return std::nullopt;
    }
    qint64 total = 0;
    for (const auto key :
         {"input_tokens"_L1, "cache_creation_input_tokens"_L1, "cache_read_input_tokens"_L1}) {
        total += wholeNumber(*usage, key).value_or(0);
    }
    return total;
}

std::optional<QString> headDescription(const QString& head) {
    for (const QStringView line : lines(head)) {
        const auto object = parseText(line);
        if (!object || object->value("type"_L1).toString() != "user"_L1) {
            continue;
        }
        if (const auto text = userText(*object)) {
            const qsizetype newline = text->indexOf(u'\n');
            return (newline < 0 ? *text : text->left(newline)).left(60);
        }
    }
    return std::nullopt;
}

std::optional<QDateTime> startedAt(const QString& head) {
    for (const QStringView line : lines(head)) {
        const auto object = parseText(line);
        const auto timestamp = object ? json::string(*object, "timestamp"_L1) : std::nullopt;
        if (auto date = timestamp ? SessionFile::date(*timestamp) : std::nullopt) {
            return date;
        }
    }
    return std::nullopt;
}

std::optional<QString> lastValue(QLatin1StringView key, QLatin1StringView type, const QString& head) {
    const QString quoted = u'"' + QString(type) + u'"';
    std::optional<QString> found;
    for (const QStringView line : lines(head)) {
        if (!line.contains(quoted)) {
            continue;
        }
        const auto object = parseText(line);
        if (!object || object->value("type"_L1).toString() != type) {
            continue;
        }
        if (auto text = json::string(*object, key)) {
            found = std::move(text);
        }
    }
    return found;
}

} // namespace ClaudeTranscript

bool ClaudeTranscriptReading::apply(QByteArrayView line) {
    const auto object = ClaudeTranscript::parseLine(line);
    if (!object) {
        return false;
    }
    apply(*object);
    return true;
}

void ClaudeTranscriptReading::apply(const QJsonObject& line) {
    assignText(sessionID, line, "sessionId"_L1);
    assignText(directory, line, "cwd"_L1);
    assignText(version, line, "version"_L1);
    assignText(branch, line, "gitBranch"_L1);
    if (const auto entrypoint = json::string(line, "entrypoint"_L1)) {
        if (*entrypoint == "cli"_L1) {
            origin = u"CLI"_s;
        } else if (*entrypoint == "claude-desktop"_L1) {
            origin = u"Desktop"_s;
        }
    }
    if (const auto tokens = ClaudeTranscript::tokenCount(line)) {
        lastTokens = *tokens;
        maximumTokens = std::max(maximumTokens, *tokens);
    }

    const QString type = line.value("type"_L1).toString();
    if (type == "user"_L1) {
        lastSpeaker = AgentSession::Speaker::user;
        if (const auto result = json::object(line, "toolUseResult"_L1)) {
            const auto agent = json::string(*result, "agentId"_L1);
            const auto description = json::string(*result, "description"_L1);
            if (agent && description) {
                launches.insert(*agent, *description);
            }
        }
    } else if (type == "assistant"_L1) {
        lastSpeaker = AgentSession::Speaker::agent;
        if (const auto message = json::object(line, "message"_L1)) {
            assignText(model, *message, "model"_L1);
        }
        assignText(effort, line, "effort"_L1);
    } else if (type == "ai-title"_L1) {
        assignText(aiTitle, line, "aiTitle"_L1);
    } else if (type == "custom-title"_L1) {
        assignText(customTitle, line, "customTitle"_L1);
    } else if (type == "agent-color"_L1) {
        assignText(agentColor, line, "agentColor"_L1);
    } else if (type == "system"_L1) {
        const QString subtype = line.value("subtype"_L1).toString();
        if (subtype == "turn_duration"_L1) {
            if (const auto milliseconds = json::number(line, "durationMs"_L1);
                milliseconds && std::isfinite(*milliseconds)) {
                lastTurnDuration = *milliseconds / 1000.0;
            }
        } else if (subtype == "compact_boundary"_L1) {
            if (auto found = compactionOf(line)) {
                compaction = std::move(found);
            }
        }
    } else if (type == "pr-link"_L1) {
        if (auto found = pullRequestOf(line)) {
            pullRequest = std::move(found);
        }
    }
}

bool ClaudeSubagentReading::apply(QByteArrayView line) {
    const auto object = ClaudeTranscript::parseLine(line);
    if (!object) {
        return false;
    }
    apply(*object);
    return true;
}

void ClaudeSubagentReading::apply(const QJsonObject& line) {
    if (line.value("type"_L1).toString() != "assistant"_L1) {
        return;
    }
    const auto message = json::object(line, "message"_L1);
    if (message) {
        assignText(model, *message, "model"_L1);
    }
    assignText(effort, line, "effort"_L1);
    if (const auto tokens = ClaudeTranscript::tokenCount(line)) {
        lastTokens = *tokens;
        maximumTokens = std::max(maximumTokens, *tokens);
    }
    if (!message) {
        return;
    }
    const QJsonArray content = message->value("content"_L1).toArray();
    for (const auto item : content) {
        const QJsonObject entry = item.toObject();
        if (entry.value("type"_L1).toString() != "tool_use"_L1) {
            continue;
        }
        if (const auto name = json::string(entry, "name"_L1)) {
            const qsizetype separator = name->lastIndexOf("__"_L1);
            tool = separator < 0 ? *name : name->mid(separator + 2);
        }
    }
}

} // namespace tessary
