#pragma once

#include "modules/usage/UsageReport.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>

#include <optional>
#include <variant>

namespace tessary {

// Why the agy tool's usage output gave no report.
struct AntigravityUsageParserError {
    enum class Kind {
        // The tool answered with a status other than success, with its error text.
        commandFailed,
        // No JSON answer of the expected form in the output.
        invalidPayload,
    };
    Kind kind = Kind::invalidPayload;
    QString message;
    bool operator==(const AntigravityUsageParserError&) const = default;
};

// Reads the answer of `agy --print /usage --output-format json`: the quota of each model family,
// one weekly limit per bucket of remaining quota.
namespace AntigravityUsageParser {

using Result = std::variant<UsageReport, AntigravityUsageParserError>;

// The answer's JSON object: the first line of the output that starts with "{" and reads as one
// (the tool may log lines before it), else the whole output as one document.
std::optional<QJsonObject> envelope(const QByteArray& output);

Result parse(const QByteArray& output, const QDateTime& fetchedAt);

// "Gemini and Claude models" reads "Gemini/Claude".
QString familyName(const QString& groupName);

// The limits of one group, in the order of its buckets; buckets without a remaining fraction are
// passed over.
std::vector<UsageReport::Limit> limits(const QJsonObject& group);

} // namespace AntigravityUsageParser

} // namespace tessary
