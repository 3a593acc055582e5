#pragma once

#include "core/diagnostics/DiagnosticValue.h"
#include "core/localization/Localization.h"
#include "modules/usage/UsageReport.h"
#include "platform/credentials/ClaudeTokenSource.h"

#include <optional>

namespace tessary {

// Why a reading of Claude's usage gave no report. The first three are the failures all usage
// providers share; the rest are this endpoint's and its transport's.
struct ClaudeUsageError {
    enum class Kind {
        requestFailed,
        missingCredentials,
        unauthorized,
        invalidPayload,
        timedOut,
        unreachable,
        untrusted,
        cancelled,
    };

    Kind kind = Kind::unreachable;
    // The HTTP status of requestFailed.
    int statusCode = 0;
    // Why missingCredentials: for the log only.
    std::optional<CredentialsProblem> credentials;
    bool operator==(const ClaudeUsageError&) const = default;

    [[nodiscard]] QString userText(const Localization& localization) const;
    // "ClaudeUsageError.unauthorized", "ClaudeUsageStatus#500", "CredentialsProblem.notFound".
    [[nodiscard]] DiagnosticValue diagnosticKind() const;
};

template <>
struct EnumTable<ClaudeUsageError::Kind> {
    static constexpr std::array<std::pair<ClaudeUsageError::Kind, const char*>, 8> cases{{
        {ClaudeUsageError::Kind::requestFailed, "requestFailed"},
        {ClaudeUsageError::Kind::missingCredentials, "missingCredentials"},
        {ClaudeUsageError::Kind::unauthorized, "unauthorized"},
        {ClaudeUsageError::Kind::invalidPayload, "invalidPayload"},
        {ClaudeUsageError::Kind::timedOut, "timedOut"},
        {ClaudeUsageError::Kind::unreachable, "unreachable"},
        {ClaudeUsageError::Kind::untrusted, "untrusted"},
        {ClaudeUsageError::Kind::cancelled, "cancelled"},
    }};
};

} // namespace tessary
