#pragma once

#include "modules/github/GitHubProviderError.h"
#include "modules/github/GitHubReport.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <optional>
#include <vector>

// What goes to GitHub's API and how its answers are read: pure functions over bytes, so that every
// answer the server can give is tested without a network.
namespace tessary {

// The one request behind the widget: the viewer's open pull requests with their check rollups, the
// reviews waiting on the viewer, and the pull requests where the viewer asked for changes.
namespace GitHubStatusQuery {
[[nodiscard]] QString query();
// {"query": ..., "variables": {"first": maximumPullRequests}}
[[nodiscard]] QJsonObject body(int maximumPullRequests);
} // namespace GitHubStatusQuery

namespace GitHubStatusParser {
// The report of an answer to the status query. A damaged answer, or one without
// `data.viewer.login`, is malformedResponse; a node that can't be read is dropped.
[[nodiscard]] GitHubResult<GitHubReport> parse(const QByteArray& data, const QDateTime& fetchedAt);
} // namespace GitHubStatusParser

// The squash merge of a pull request at the head the user saw.
namespace GitHubMergeRequest {
[[nodiscard]] QString mutation();
[[nodiscard]] QJsonObject body(const MergeRequest& request);
// Nothing when GitHub confirms the merge; mergeRejected with the server's words otherwise.
[[nodiscard]] std::optional<GitHubProviderError> parse(const QByteArray& data);
} // namespace GitHubMergeRequest

// A pull request's commits and its details, read on demand.
namespace GitHubPullRequestQuery {
constexpr int commitLimit = 30;
constexpr int fileLimit = 50;
[[nodiscard]] QString commitsQuery();
[[nodiscard]] QString detailsQuery();
// "owner/name": two parts, neither empty, of ASCII letters, digits, "-", "_" and ".".
[[nodiscard]] bool isValidRepository(const QString& repository);
// {"owner", "name", "number"}; nothing for a repository that isn't valid, and then no request goes.
[[nodiscard]] std::optional<QJsonObject> variables(const QString& repository, int number);
[[nodiscard]] GitHubResult<std::vector<PullRequestCommit>> parseCommits(const QByteArray& data);
[[nodiscard]] GitHubResult<PullRequestDetails> parseDetails(const QByteArray& data);
} // namespace GitHubPullRequestQuery

// Whether an answer says the API's rate limit was reached, and until when.
namespace GitHubRateLimit {
constexpr qint64 defaultWaitSeconds = 60;
constexpr qint64 maximumWaitSeconds = 3600;

// The headers of an answer that speak of the limit, as the server sent them.
struct Headers {
    std::optional<QString> remaining;  // X-RateLimit-Remaining
    std::optional<QString> retryAfter; // Retry-After
    std::optional<QString> reset;      // X-RateLimit-Reset
    bool operator==(const Headers&) const = default;
};

// Nothing when the answer is not rate limited; otherwise when to ask again (at most an hour on).
[[nodiscard]] std::optional<QDateTime> retryAfter(int statusCode, const Headers& headers,
                                                  const QByteArray& data, const QDateTime& now);
// A GraphQL "errors" element of type RATE_LIMITED.
[[nodiscard]] bool hasRateLimitedError(const QByteArray& data);
// A REST error whose "message" speaks of the rate limit.
[[nodiscard]] bool saysRateLimited(const QByteArray& data);
} // namespace GitHubRateLimit

// A job's log: a redirect to blob storage, where the token must not go, read from its end.
namespace GitHubJobLog {
// At most this many bytes are read, from the end of the log.
constexpr qint64 tailLength = 65536;

// <restRoot>/repos/<repository>/actions/jobs/<jobID>/logs; nothing for a repository that isn't valid.
[[nodiscard]] std::optional<QUrl> logsURL(const QUrl& restRoot, const QString& repository, qint64 jobID);
// The blob's address from the redirect.
[[nodiscard]] GitHubResult<QUrl> blobLocation(int statusCode, const std::optional<QString>& location);
// The blob's length from the answer to HEAD.
[[nodiscard]] GitHubResult<qint64> contentLength(int statusCode, const std::optional<QString>& header);
// The Range header's value for a blob of that length: nothing up to tailLength.
[[nodiscard]] std::optional<QByteArray> range(qint64 length);
// The log's text from the answer to GET; a 200 to a ranged request is cut here.
[[nodiscard]] GitHubResult<QString> text(const QByteArray& body, int statusCode, bool rangeRequested);
// UTF-8 with invalid sequences repaired, "\r\n" as "\n"; a partial text loses its first, cut line.
[[nodiscard]] QString text(const QByteArray& body, bool isPartial);
} // namespace GitHubJobLog

} // namespace tessary
