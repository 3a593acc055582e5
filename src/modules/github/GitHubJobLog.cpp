#include "modules/github/GitHubAnswerFields.h"
#include "modules/github/GitHubApi.h"

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

GitHubProviderError unavailable() {
    return GitHubProviderError::of(GitHubProviderError::Kind::logUnavailable);
}

bool isRedirect(int statusCode) {
    return statusCode == 301 || statusCode == 302 || statusCode == 303 || statusCode == 307 ||
           statusCode == 308;
}

} // namespace

std::optional<QUrl> GitHubJobLog::logsURL(const QUrl& restRoot, const QString& repository, qint64 jobID) {
    if (!restRoot.isValid() || restRoot.isRelative() || jobID <= 0 ||
        !GitHubPullRequestQuery::isValidRepository(repository)) {
        return std::nullopt;
    }
    QString root = restRoot.path();
    while (root.endsWith(u'/')) {
        root.chop(1);
    }
    QUrl url = restRoot;
    url.setPath(root + u"/repos/"_s + repository + u"/actions/jobs/"_s + QString::number(jobID) + u"/logs"_s);
    return url.isValid() ? std::optional(url) : std::nullopt;
}

GitHubResult<QUrl> GitHubJobLog::blobLocation(int statusCode, const std::optional<QString>& location) {
    if (isRedirect(statusCode)) {
        const auto blob = location ? github_fields::httpsURL(location->trimmed()) : std::nullopt;
        if (!blob) {
            return unavailable();
        }
        return *blob;
    }
    if (statusCode == 404 || statusCode == 410) {
        return unavailable();
    }
    if (statusCode == 401 || statusCode == 403) {
        return GitHubProviderError::of(GitHubProviderError::Kind::unauthorized);
    }
    return GitHubProviderError::requestFailed(statusCode);
}

GitHubResult<qint64> GitHubJobLog::contentLength(int statusCode, const std::optional<QString>& header) {
    if (statusCode != 200 || !header) {
        return unavailable();
    }
    bool isNumber = false;
    const qint64 length = header->trimmed().toLongLong(&isNumber);
    if (!isNumber || length < 0) {
        return unavailable();
    }
    return length;
}

std::optional<QByteArray> GitHubJobLog::range(qint64 length) {
    if (length <= tailLength) {
        return std::nullopt;
    }
    return QByteArray("bytes=" + QByteArray::number(length - tailLength) + '-');
}

GitHubResult<QString> GitHubJobLog::text(const QByteArray& body, int statusCode, bool rangeRequested) {
    // A server that sends more than was asked for is still read only from the tail.
    const QByteArray tail = body.size() > tailLength ? body.right(tailLength) : body;
    if (statusCode == 206) {
        return text(tail, true);
    }
    if (statusCode == 200) {
        return rangeRequested ? text(tail, true) : text(body, false);
    }
    return GitHubProviderError::requestFailed(statusCode);
}

QString GitHubJobLog::text(const QByteArray& body, bool isPartial) {
    QString decoded = QString::fromUtf8(body);
    decoded.replace(u"\r\n"_s, u"\n"_s);
    if (isPartial) {
        const qsizetype firstBreak = decoded.indexOf(u'\n');
        if (firstBreak >= 0) {
            decoded.remove(0, firstBreak + 1);
        }
    }
    return decoded;
}

} // namespace tessary
