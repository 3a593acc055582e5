#pragma once

#include "core/records/EnumText.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>
#include <vector>

namespace tessary {

// The check rollup of a pull request's head commit.
enum class CheckState { passing, running, failing, absent };
enum class MergeableState { mergeable, conflicting, unknown };
enum class MergeState { clean, hasHooks, unstable, behind, blocked, dirty, draft, unknown };
enum class ReviewDecision { approved, changesRequested, reviewRequired };

// One check run or status context of a pull request's head commit.
struct PullRequestCheck {
    enum class State { passed, running, queued, failed, skipped };

    QString name;
    State state = State::running;
    std::optional<qint64> databaseID;
    // Only https addresses are kept.
    std::optional<QUrl> detailsURL;
    bool isGitHubActions = false;
    bool operator==(const PullRequestCheck&) const = default;

    [[nodiscard]] bool isFinished() const;
    // "<databaseID>@<headOID>" when both are known: the key of this check's explanation.
    [[nodiscard]] std::optional<QString> explanationKey(const std::optional<QString>& headOID) const;
};

// One of the viewer's open pull requests.
struct PullRequestStatus {
    // "<repository>#<number>"
    QString id;
    // "owner/name"
    QString repository;
    int number = 0;
    QString title;
    bool isDraft = false;
    CheckState checks = CheckState::absent;
    int completedChecks = 0;
    int totalChecks = 0;
    std::vector<PullRequestCheck> checkRuns;
    MergeableState mergeable = MergeableState::unknown;
    std::optional<ReviewDecision> reviewDecision;
    std::optional<QUrl> url;
    MergeState mergeState = MergeState::unknown;
    // The GraphQL node id, which a merge names.
    std::optional<QString> nodeID;
    std::optional<QString> headOID;
    std::optional<QString> baseBranch;
    bool operator==(const PullRequestStatus&) const = default;

    // The part of the repository behind the last "/".
    [[nodiscard]] QString shortRepository() const;
    // Not a draft, and GitHub says the merge is clean.
    [[nodiscard]] bool isReadyToMerge() const;
};

// A pull request waiting for the viewer's review.
struct ReviewRequest {
    QString repository;
    int number = 0;
    QString title;
    std::optional<QUrl> url;
    std::optional<QString> author;
    // Only https addresses are kept.
    std::optional<QUrl> avatarURL;
    std::optional<QString> headOID;
    bool operator==(const ReviewRequest&) const = default;

    // "<repository>#<number>"
    [[nodiscard]] QString id() const;
};

// A pull request of someone else on which the viewer's latest opinion asks for changes.
struct ChangesRequestedReview {
    QString repository;
    int number = 0;
    QString title;
    std::optional<QUrl> url;
    std::optional<QString> author;
    std::optional<QUrl> avatarURL;
    std::optional<QDateTime> submittedAt;
    int commentCount = 0;
    // The head moved since the review: both commits known and different.
    bool hasNewCommits = false;
    std::optional<QString> headOID;
    std::optional<QString> reviewedOID;
    bool operator==(const ChangesRequestedReview&) const = default;

    // "<repository>#<number>"
    [[nodiscard]] QString id() const;
};

// Everything the GitHub widget shows, from one answer of the API.
struct GitHubReport {
    enum class State { broken, running, clear };

    QString login;
    // Most recently updated first, as the answer lists them.
    std::vector<PullRequestStatus> pullRequests;
    std::vector<ReviewRequest> reviewRequests;
    std::vector<ChangesRequestedReview> changesRequestedReviews;
    QDateTime capturedAt;
    bool operator==(const GitHubReport&) const = default;

    // The pull requests that are not drafts.
    [[nodiscard]] std::vector<PullRequestStatus> tracked() const;
    [[nodiscard]] std::vector<PullRequestStatus> running() const;
    [[nodiscard]] std::vector<PullRequestStatus> failing() const;
    [[nodiscard]] std::vector<PullRequestStatus> passing() const;
    [[nodiscard]] std::vector<PullRequestStatus> conflicting() const;
    // Ready to merge, with checks neither failing nor running.
    [[nodiscard]] std::vector<PullRequestStatus> readyToMerge() const;
    // Broken if any tracked pull request fails, else running if any runs, else clear.
    [[nodiscard]] State state() const;
    // (failing + running) / tracked; 0 with none tracked.
    [[nodiscard]] double pressure() const;
    // The pull request of that id, if the report holds it.
    [[nodiscard]] std::optional<PullRequestStatus> pullRequest(const QString& id) const;
};

// What a squash merge names: the pull request's node and the head the user saw.
struct MergeRequest {
    QString pullRequestID;
    QString expectedHeadOID;
    bool operator==(const MergeRequest&) const = default;
};

struct PullRequestCommit {
    QString oid;
    QString headline;
    QString body;
    std::optional<QDateTime> committedAt;
    bool operator==(const PullRequestCommit&) const = default;
};

struct PullRequestDetails {
    QString body;
    int changedFiles = 0;
    int additions = 0;
    int deletions = 0;
    QStringList paths;
    bool operator==(const PullRequestDetails&) const = default;
};

template <>
struct EnumTable<CheckState> {
    static constexpr std::array<std::pair<CheckState, const char*>, 4> cases{{
        {CheckState::passing, "passing"},
        {CheckState::running, "running"},
        {CheckState::failing, "failing"},
        {CheckState::absent, "absent"},
    }};
};

} // namespace tessary
