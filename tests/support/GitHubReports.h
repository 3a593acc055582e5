#pragma once

// Small builders of GitHub reports for the widget's tests and benchmark.

#include "modules/github/GitHubReport.h"

#include <vector>

namespace tessary::testing {

inline PullRequestStatus pullRequest(const QString& repository, int number, CheckState checks,
                                     MergeableState mergeable = MergeableState::mergeable,
                                     std::optional<ReviewDecision> decision = std::nullopt) {
    PullRequestStatus status;
    status.repository = repository;
    status.number = number;
    status.id = repository + u'#' + QString::number(number);
    status.title = QStringLiteral("Change %1").arg(number);
    status.checks = checks;
    status.mergeable = mergeable;
    status.reviewDecision = decision;
    status.url = QUrl(QStringLiteral("https://github.com/%1/pull/%2").arg(repository).arg(number));
    return status;
}

inline ReviewRequest reviewRequest(const QString& repository, int number) {
    ReviewRequest request;
    request.repository = repository;
    request.number = number;
    request.title = QStringLiteral("Review %1").arg(number);
    return request;
}

inline ChangesRequestedReview changesRequested(const QString& repository, int number, bool hasNewCommits,
                                               const QString& head = QStringLiteral("h1")) {
    ChangesRequestedReview review;
    review.repository = repository;
    review.number = number;
    review.title = QStringLiteral("Theirs %1").arg(number);
    review.hasNewCommits = hasNewCommits;
    review.headOID = head;
    review.reviewedOID = QStringLiteral("h0");
    return review;
}

inline GitHubReport report(std::vector<PullRequestStatus> pullRequests,
                           std::vector<ReviewRequest> reviews = {},
                           std::vector<ChangesRequestedReview> changes = {}) {
    GitHubReport made;
    made.login = QStringLiteral("octo");
    made.pullRequests = std::move(pullRequests);
    made.reviewRequests = std::move(reviews);
    made.changesRequestedReviews = std::move(changes);
    made.capturedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
    return made;
}

} // namespace tessary::testing
