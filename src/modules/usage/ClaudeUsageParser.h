#pragma once

#include "modules/usage/UsageReport.h"

#include <QByteArray>
#include <QDateTime>

#include <variant>

namespace tessary {

enum class ClaudeUsageParserError { invalidPayload };

template <>
struct EnumTable<ClaudeUsageParserError> {
    static constexpr std::array<std::pair<ClaudeUsageParserError, const char*>, 1> cases{{
        {ClaudeUsageParserError::invalidPayload, "invalidPayload"},
    }};
};

using ClaudeUsageParseResult = std::variant<UsageReport, ClaudeUsageParserError>;

// Turns the answer of Claude's OAuth usage endpoint into a report. The answer carries either a list
// of limits ("limits": session, weekly over all models, weekly per model) or the older windows
// ("five_hour", "seven_day"); the list wins when it gives at least one limit. Every field is
// optional, and one of the wrong type counts as absent; a body with no limit at all is invalid.
namespace ClaudeUsageParser {

ClaudeUsageParseResult parse(const QByteArray& body, const QDateTime& fetchedAt);

// An ISO 8601 time with an offset or "Z", with or without fractional seconds; nothing otherwise.
std::optional<QDateTime> parseTime(const QString& text);

// The name given to a per-model limit whose model name is missing or too short to mean anything.
inline constexpr auto unnamedModel = "modelo";

} // namespace ClaudeUsageParser

} // namespace tessary
