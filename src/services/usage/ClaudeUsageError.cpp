#include "services/usage/ClaudeUsageError.h"

namespace tessary {

using namespace Qt::StringLiterals;

QString ClaudeUsageError::userText(const Localization& localization) const {
    switch (kind) {
    case Kind::requestFailed:
        return UsageProviderError{UsageProviderError::Kind::requestFailed, statusCode}.userText(localization);
    case Kind::missingCredentials:
        return UsageProviderError{UsageProviderError::Kind::missingCredentials}.userText(localization);
    case Kind::unauthorized:
        return UsageProviderError{UsageProviderError::Kind::unauthorized}.userText(localization);
    case Kind::invalidPayload:
        return localization.text(u"no data from the usage endpoint"_s);
    case Kind::timedOut:
        return localization.text(u"the usage endpoint did not answer in time"_s);
    case Kind::unreachable:
        return localization.text(u"the usage endpoint could not be reached"_s);
    case Kind::untrusted:
        return localization.text(u"the usage endpoint's certificate is not trusted"_s);
    case Kind::cancelled:
        break;
    }
    return {};
}

DiagnosticValue ClaudeUsageError::diagnosticKind() const {
    if (kind == Kind::requestFailed) {
        return DiagnosticValue::errorKind("ClaudeUsageStatus", statusCode);
    }
    if (kind == Kind::missingCredentials && credentials) {
        return DiagnosticValue::errorKind(*credentials);
    }
    return DiagnosticValue::errorKind("ClaudeUsageError", kind);
}

} // namespace tessary
