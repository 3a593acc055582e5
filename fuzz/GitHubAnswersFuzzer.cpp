// GitHub's answers come from the network: any bytes at all. Every reader must give a value that
// keeps its promises (https addresses only, counts in range, a wait of at most an hour) or refuse.
#include "modules/github/GitHubApi.h"
#include "support/FuzzCheck.h"

#include <cstdint>

namespace {

bool isHttps(const std::optional<QUrl>& url) {
    return !url || url->scheme().compare(QLatin1StringView("https"), Qt::CaseInsensitive) == 0;
}

void checkReport(const tessary::GitHubReport& report) {
    using namespace tessary;
    for (const PullRequestStatus& pullRequest : report.pullRequests) {
        check(pullRequest.id == pullRequest.repository + u'#' + QString::number(pullRequest.number));
        check(pullRequest.completedChecks >= 0 &&
              static_cast<std::size_t>(pullRequest.completedChecks) <= pullRequest.checkRuns.size());
        check(isHttps(pullRequest.url));
        for (const PullRequestCheck& run : pullRequest.checkRuns) {
            check(isHttps(run.detailsURL));
        }
    }
    for (const ReviewRequest& request : report.reviewRequests) {
        check(isHttps(request.avatarURL) && isHttps(request.url));
    }
    for (const ChangesRequestedReview& review : report.changesRequestedReviews) {
        check(isHttps(review.avatarURL) && (!review.submittedAt || review.submittedAt->isValid()));
        check(!review.hasNewCommits || (review.headOID && review.reviewedOID));
    }
    const double pressure = report.pressure();
    check(pressure >= 0 && pressure <= 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tessary;
    const QByteArray body(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

    const auto status = GitHubStatusParser::parse(body, now);
    if (const auto* report = std::get_if<GitHubReport>(&status)) {
        check(report->capturedAt == now);
        checkReport(*report);
    }
    const auto merge = GitHubMergeRequest::parse(body);
    check(!merge || merge->kind == GitHubProviderError::Kind::mergeRejected ||
          merge->kind == GitHubProviderError::Kind::malformedResponse);
    const auto commitsResult = GitHubPullRequestQuery::parseCommits(body);
    if (const auto* commits = std::get_if<std::vector<PullRequestCommit>>(&commitsResult)) {
        for (const PullRequestCommit& commit : *commits) {
            check(!commit.committedAt || commit.committedAt->isValid());
        }
    }
    (void)GitHubPullRequestQuery::parseDetails(body);

    // The same bytes as header values, so that odd numbers reach the wait's arithmetic.
    const QString text = QString::fromUtf8(body.left(64));
    const GitHubRateLimit::Headers headers{QStringLiteral("0"), text, text};
    for (const int statusCode : {200, 403, 429}) {
        if (const auto until = GitHubRateLimit::retryAfter(statusCode, headers, body, now)) {
            check(*until > now && now.secsTo(*until) <= GitHubRateLimit::maximumWaitSeconds);
        }
    }
    const auto location = GitHubJobLog::blobLocation(302, text);
    if (const auto* blob = std::get_if<QUrl>(&location)) {
        check(isHttps(*blob));
    }
    const auto log = GitHubJobLog::text(body, 200, true);
    check(std::get<QString>(log).size() <= GitHubJobLog::tailLength);
    (void)GitHubJobLog::text(body, false);
    return 0;
}
