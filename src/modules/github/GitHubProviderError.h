#pragma once

#include "core/diagnostics/DiagnosticValue.h"
#include "core/localization/Localization.h"
#include "core/records/EnumText.h"

#include <QDateTime>
#include <QString>

#include <optional>
#include <variant>

namespace tessary {

// Why a call to GitHub gave nothing. The first eight are the API's answers; the last four are the
// transport's.
struct GitHubProviderError {
    enum class Kind {
        requestFailed,
        mergeRejected,
        rateLimited,
        missingCredentials,
        unauthorized,
        malformedResponse,
        logUnavailable,
        detailsUnavailable,
        timedOut,
        unreachable,
        untrusted,
        cancelled,
    };

    Kind kind = Kind::malformedResponse;
    // The HTTP status of requestFailed.
    int statusCode = 0;
    // The server's own words for mergeRejected.
    QString message;
    // When rateLimited ends.
    std::optional<QDateTime> retryAfter;
    bool operator==(const GitHubProviderError&) const = default;

    [[nodiscard]] static GitHubProviderError of(Kind kind) { return {kind, 0, {}, {}}; }
    [[nodiscard]] static GitHubProviderError requestFailed(int statusCode) {
        return {Kind::requestFailed, statusCode, {}, {}};
    }
    [[nodiscard]] static GitHubProviderError mergeRejected(const QString& message) {
        return {Kind::mergeRejected, 0, message, {}};
    }
    [[nodiscard]] static GitHubProviderError rateLimited(const QDateTime& until) {
        return {Kind::rateLimited, 0, {}, until};
    }

    // The short text shown to the user, in the user's language.
    [[nodiscard]] QString userText(const Localization& localization) const;
    // "GitHubProviderError.unauthorized", "GitHubStatus#500": a failure's kind for the log.
    [[nodiscard]] DiagnosticValue diagnosticKind() const;
};

// A value of a call to GitHub, or why there is none.
template <typename Value>
using GitHubResult = std::variant<Value, GitHubProviderError>;

template <>
struct EnumTable<GitHubProviderError::Kind> {
    static constexpr std::array<std::pair<GitHubProviderError::Kind, const char*>, 12> cases{{
        {GitHubProviderError::Kind::requestFailed, "requestFailed"},
        {GitHubProviderError::Kind::mergeRejected, "mergeRejected"},
        {GitHubProviderError::Kind::rateLimited, "rateLimited"},
        {GitHubProviderError::Kind::missingCredentials, "missingCredentials"},
        {GitHubProviderError::Kind::unauthorized, "unauthorized"},
        {GitHubProviderError::Kind::malformedResponse, "malformedResponse"},
        {GitHubProviderError::Kind::logUnavailable, "logUnavailable"},
        {GitHubProviderError::Kind::detailsUnavailable, "detailsUnavailable"},
        {GitHubProviderError::Kind::timedOut, "timedOut"},
        {GitHubProviderError::Kind::unreachable, "unreachable"},
        {GitHubProviderError::Kind::untrusted, "untrusted"},
        {GitHubProviderError::Kind::cancelled, "cancelled"},
    }};
};

} // namespace tessary
