#pragma once

#include "core/localization/Localization.h"
#include "core/records/EnumText.h"
#include "modules/usage/UsageReport.h"

#include <QByteArrayView>
#include <QDateTime>

#include <variant>

namespace tessary {

// The answer of Codex's `app-server` to `account/rateLimits/read`: the general snapshot under
// `rateLimits`, and every limit by its id under `rateLimitsByLimitId` ("codex" beside the
// limits of single models). Unknown keys are passed over.
namespace CodexAppServerRateLimitParser {

enum class Failure { invalidResponse, noLimits };

using Result = std::variant<UsageReport, Failure>;

// The id of the request whose answer is read.
inline constexpr int rateLimitsRequestID = 2;

// True for a line that is a JSON object whose `id` is the rate-limits request's.
bool isRateLimitsAnswer(QByteArrayView line);

// An answer without `result` (an error, such as the one given without a login) is invalid.
// The "codex" snapshot gives the session and weekly limits; any other gives limits under its
// name, labelled with the window in `localization`'s language.
Result report(QByteArrayView answer, const QDateTime& fetchedAt, const Localization& localization);

} // namespace CodexAppServerRateLimitParser

template <>
struct EnumTable<CodexAppServerRateLimitParser::Failure> {
    static constexpr std::array<std::pair<CodexAppServerRateLimitParser::Failure, const char*>, 2> cases{{
        {CodexAppServerRateLimitParser::Failure::invalidResponse, "invalidResponse"},
        {CodexAppServerRateLimitParser::Failure::noLimits, "noLimits"},
    }};
};

} // namespace tessary
