#pragma once

#include "core/localization/Localization.h"
#include "core/records/EnumText.h"

#include <QString>

#include <array>
#include <utility>

namespace tessary {

// Why an agent's turn stopped with an error; the raw value is what the agent sends in "error".
enum class StopFailureKind {
    authenticationFailed,
    oauthOrgNotAllowed,
    accountOnHold,
    verificationRequired,
    billingError,
    rateLimit,
    overloaded,
    invalidRequest,
    modelNotFound,
    serverError,
    unknown,
    maxOutputTokens,
    cloudCredentialError,
};

template <>
struct EnumTable<StopFailureKind> {
    static constexpr std::array<std::pair<StopFailureKind, const char*>, 13> cases{{
        {StopFailureKind::authenticationFailed, "authentication_failed"},
        {StopFailureKind::oauthOrgNotAllowed, "oauth_org_not_allowed"},
        {StopFailureKind::accountOnHold, "account_on_hold"},
        {StopFailureKind::verificationRequired, "verification_required"},
        {StopFailureKind::billingError, "billing_error"},
        {StopFailureKind::rateLimit, "rate_limit"},
        {StopFailureKind::overloaded, "overloaded"},
        {StopFailureKind::invalidRequest, "invalid_request"},
        {StopFailureKind::modelNotFound, "model_not_found"},
        {StopFailureKind::serverError, "server_error"},
        {StopFailureKind::unknown, "unknown"},
        {StopFailureKind::maxOutputTokens, "max_output_tokens"},
        {StopFailureKind::cloudCredentialError, "cloud_credential_error"},
    }};
};

// Failure kinds grouped by what the user sees; declared in the order in which categories are listed.
enum class StopFailureCategory {
    rateLimit,
    overloaded,
    authentication,
    billing,
    accountOnHold,
    invalidRequest,
    modelNotFound,
    serverError,
    outputLimit,
    cloudCredential,
    unknown,
};

template <>
struct EnumTable<StopFailureCategory> {
    static constexpr std::array<std::pair<StopFailureCategory, const char*>, 11> cases{{
        {StopFailureCategory::rateLimit, "rateLimit"},
        {StopFailureCategory::overloaded, "overloaded"},
        {StopFailureCategory::authentication, "authentication"},
        {StopFailureCategory::billing, "billing"},
        {StopFailureCategory::accountOnHold, "accountOnHold"},
        {StopFailureCategory::invalidRequest, "invalidRequest"},
        {StopFailureCategory::modelNotFound, "modelNotFound"},
        {StopFailureCategory::serverError, "serverError"},
        {StopFailureCategory::outputLimit, "outputLimit"},
        {StopFailureCategory::cloudCredential, "cloudCredential"},
        {StopFailureCategory::unknown, "unknown"},
    }};
};

StopFailureCategory category(StopFailureKind kind);

// The short text of a failure category, shown where a session stopped.
namespace AgentFailure {

// The English form, which is also the key of the translation table.
QString englishText(StopFailureCategory category);
QString text(StopFailureCategory category, const Localization& localization);

} // namespace AgentFailure

} // namespace tessary
