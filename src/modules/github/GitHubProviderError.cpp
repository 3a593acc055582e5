#include "modules/github/GitHubProviderError.h"

namespace tessary {

using namespace Qt::StringLiterals;

QString GitHubProviderError::userText(const Localization& localization) const {
    switch (kind) {
    case Kind::requestFailed:
        return localization.format(u"the GitHub API answered %1"_s, statusCode);
    case Kind::mergeRejected:
        return message;
    case Kind::rateLimited:
        return localization.text(u"the GitHub API rate limit was reached"_s);
    case Kind::missingCredentials:
        return localization.text(u"GitHub credential not found; run 'gh auth login'"_s);
    case Kind::unauthorized:
        return localization.text(u"the gh token lacks permission; run 'gh auth refresh -s repo'"_s);
    case Kind::malformedResponse:
        return localization.text(u"unexpected response format from GitHub"_s);
    case Kind::logUnavailable:
        return localization.text(u"the job log is not available"_s);
    case Kind::detailsUnavailable:
        return localization.text(u"the pull request details are not available"_s);
    case Kind::timedOut:
        return localization.text(u"GitHub did not answer in time"_s);
    case Kind::unreachable:
        return localization.text(u"GitHub could not be reached"_s);
    case Kind::untrusted:
        return localization.text(u"GitHub's certificate is not trusted"_s);
    case Kind::cancelled:
        break;
    }
    return {};
}

DiagnosticValue GitHubProviderError::diagnosticKind() const {
    if (kind == Kind::requestFailed) {
        return DiagnosticValue::errorKind("GitHubStatus", statusCode);
    }
    return DiagnosticValue::errorKind("GitHubProviderError", kind);
}

} // namespace tessary
