#include "modules/agents/hooks/StopFailureKind.h"

namespace tessary {

StopFailureCategory category(StopFailureKind kind) {
    switch (kind) {
    case StopFailureKind::authenticationFailed:
    case StopFailureKind::oauthOrgNotAllowed:
    case StopFailureKind::verificationRequired:
        return StopFailureCategory::authentication;
    case StopFailureKind::accountOnHold:
        return StopFailureCategory::accountOnHold;
    case StopFailureKind::billingError:
        return StopFailureCategory::billing;
    case StopFailureKind::rateLimit:
        return StopFailureCategory::rateLimit;
    case StopFailureKind::overloaded:
        return StopFailureCategory::overloaded;
    case StopFailureKind::invalidRequest:
        return StopFailureCategory::invalidRequest;
    case StopFailureKind::modelNotFound:
        return StopFailureCategory::modelNotFound;
    case StopFailureKind::serverError:
        return StopFailureCategory::serverError;
    case StopFailureKind::unknown:
        return StopFailureCategory::unknown;
    case StopFailureKind::maxOutputTokens:
        return StopFailureCategory::outputLimit;
    case StopFailureKind::cloudCredentialError:
        return StopFailureCategory::cloudCredential;
    }
    return StopFailureCategory::unknown;
}

namespace AgentFailure {

QString englishText(StopFailureCategory category) {
    switch (category) {
    case StopFailureCategory::rateLimit:
        return QStringLiteral("rate limit");
    case StopFailureCategory::overloaded:
        return QStringLiteral("overloaded");
    case StopFailureCategory::authentication:
        return QStringLiteral("authentication failed");
    case StopFailureCategory::billing:
        return QStringLiteral("billing");
    case StopFailureCategory::accountOnHold:
        return QStringLiteral("account on hold");
    case StopFailureCategory::invalidRequest:
        return QStringLiteral("invalid request");
    case StopFailureCategory::modelNotFound:
        return QStringLiteral("model not found");
    case StopFailureCategory::serverError:
        return QStringLiteral("server error");
    case StopFailureCategory::outputLimit:
        return QStringLiteral("output limit");
    case StopFailureCategory::cloudCredential:
        return QStringLiteral("cloud credential error");
    case StopFailureCategory::unknown:
        return QStringLiteral("error");
    }
    return QStringLiteral("error");
}

QString text(StopFailureCategory category, const Localization& localization) {
    return localization.text(englishText(category));
}

} // namespace AgentFailure

} // namespace tessary
