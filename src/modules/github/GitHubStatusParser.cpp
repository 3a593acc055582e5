#include "modules/github/GitHubAnswerFields.h"
#include "modules/github/GitHubApi.h"

#include <QSet>

namespace tessary {

using namespace Qt::StringLiterals;
namespace fields = github_fields;

namespace {

QJsonObject objectOrEmpty(const QJsonObject& object, QLatin1StringView key) {
    return object.value(key).toObject();
}

// The fields every kind of pull request node needs: without them the node is dropped.
struct Identity {
    QString repository;
    int number = 0;
};

std::optional<Identity> identity(const QJsonObject& node) {
    const auto number = fields::integer(node, "number"_L1);
    const auto repository = json::string(objectOrEmpty(node, "repository"_L1), "nameWithOwner"_L1);
    if (!number || !repository || repository->isEmpty()) {
        return std::nullopt;
    }
    return Identity{*repository, *number};
}

QString identifier(const Identity& identity) {
    return identity.repository + u'#' + QString::number(identity.number);
}

CheckState checkState(const std::optional<QJsonObject>& rollup) {
    const auto state = rollup ? json::string(*rollup, "state"_L1) : std::nullopt;
    if (!state) {
        return CheckState::absent;
    }
    if (*state == "SUCCESS"_L1) {
        return CheckState::passing;
    }
    if (*state == "FAILURE"_L1 || *state == "ERROR"_L1) {
        return CheckState::failing;
    }
    if (*state == "PENDING"_L1 || *state == "EXPECTED"_L1) {
        return CheckState::running;
    }
    return CheckState::absent;
}

bool isWaitingState(const QString& state) {
    return state == "PENDING"_L1 || state == "EXPECTED"_L1;
}

int completedChecks(const QJsonArray& contexts) {
    int completed = 0;
    for (const auto element : contexts) {
        const QJsonObject node = element.toObject();
        if (const auto status = json::string(node, "status"_L1)) {
            completed += *status == "COMPLETED"_L1 ? 1 : 0;
        } else if (const auto state = json::string(node, "state"_L1)) {
            completed += isWaitingState(*state) ? 0 : 1;
        }
    }
    return completed;
}

PullRequestCheck::State checkRunState(const QString& status, const std::optional<QString>& conclusion) {
    using State = PullRequestCheck::State;
    if (status == "COMPLETED"_L1) {
        if (!conclusion || *conclusion == "SUCCESS"_L1) {
            return State::passed;
        }
        if (*conclusion == "SKIPPED"_L1 || *conclusion == "NEUTRAL"_L1) {
            return State::skipped;
        }
        return State::failed;
    }
    if (status == "QUEUED"_L1 || status == "WAITING"_L1 || status == "REQUESTED"_L1) {
        return State::queued;
    }
    return State::running;
}

PullRequestCheck::State statusContextState(const QString& state) {
    using State = PullRequestCheck::State;
    if (state == "SUCCESS"_L1) {
        return State::passed;
    }
    if (state == "FAILURE"_L1 || state == "ERROR"_L1) {
        return State::failed;
    }
    if (state == "EXPECTED"_L1) {
        return State::queued;
    }
    return State::running;
}

std::vector<PullRequestCheck> checkRuns(const QJsonArray& contexts) {
    std::vector<PullRequestCheck> checks;
    checks.reserve(static_cast<std::size_t>(contexts.size()));
    for (const auto element : contexts) {
        const QJsonObject node = element.toObject();
        PullRequestCheck check;
        if (const auto status = json::string(node, "status"_L1)) {
            check.name = json::string(node, "name"_L1).value_or(u"check"_s);
            check.state = checkRunState(*status, json::string(node, "conclusion"_L1));
            check.databaseID = fields::integer64(node, "databaseId"_L1);
            check.detailsURL = fields::httpsURL(node, "detailsUrl"_L1);
            const auto app = fields::objectAt(node, {"checkSuite"_L1, "app"_L1});
            check.isGitHubActions = app && json::string(*app, "slug"_L1) == "github-actions"_L1;
        } else if (const auto state = json::string(node, "state"_L1)) {
            check.name = json::string(node, "context"_L1).value_or(u"check"_s);
            check.state = statusContextState(*state);
        } else {
            continue;
        }
        checks.push_back(std::move(check));
    }
    return checks;
}

// The rollup of the pull request's head: the one commit that commits(last: 1) lists.
std::optional<QJsonObject> statusCheckRollup(const QJsonObject& node) {
    const QJsonArray commits = fields::arrayAt(objectOrEmpty(node, "commits"_L1), "nodes"_L1);
    if (commits.isEmpty() || !commits.first().isObject()) {
        return std::nullopt;
    }
    return fields::objectAt(commits.first().toObject(), {"commit"_L1, "statusCheckRollup"_L1});
}

MergeableState mergeableState(const std::optional<QString>& text) {
    if (text == "MERGEABLE"_L1) {
        return MergeableState::mergeable;
    }
    if (text == "CONFLICTING"_L1) {
        return MergeableState::conflicting;
    }
    return MergeableState::unknown;
}

std::optional<ReviewDecision> reviewDecision(const std::optional<QString>& text) {
    if (text == "APPROVED"_L1) {
        return ReviewDecision::approved;
    }
    if (text == "CHANGES_REQUESTED"_L1) {
        return ReviewDecision::changesRequested;
    }
    if (text == "REVIEW_REQUIRED"_L1) {
        return ReviewDecision::reviewRequired;
    }
    return std::nullopt;
}

MergeState mergeState(const std::optional<QString>& text) {
    static constexpr std::array<std::pair<QLatin1StringView, MergeState>, 7> states{{
        {"CLEAN"_L1, MergeState::clean},
        {"HAS_HOOKS"_L1, MergeState::hasHooks},
        {"UNSTABLE"_L1, MergeState::unstable},
        {"BEHIND"_L1, MergeState::behind},
        {"BLOCKED"_L1, MergeState::blocked},
        {"DIRTY"_L1, MergeState::dirty},
        {"DRAFT"_L1, MergeState::draft},
    }};
    if (text) {
        for (const auto& [name, state] : states) {
            if (*text == name) {
                return state;
            }
        }
    }
    return MergeState::unknown;
}

std::optional<PullRequestStatus> pullRequest(const QJsonObject& node) {
    const auto known = identity(node);
    if (!known) {
        return std::nullopt;
    }
    PullRequestStatus status;
    status.id = identifier(*known);
    status.repository = known->repository;
    status.number = known->number;
    status.title = json::string(node, "title"_L1).value_or(QString());
    status.isDraft = json::boolean(node, "isDraft"_L1).value_or(false);

    const auto rollup = statusCheckRollup(node);
    const QJsonObject contexts = rollup ? objectOrEmpty(*rollup, "contexts"_L1) : QJsonObject();
    const QJsonArray contextNodes = fields::arrayAt(contexts, "nodes"_L1);
    status.checks = checkState(rollup);
    status.completedChecks = completedChecks(contextNodes);
    status.totalChecks = fields::integer(contexts, "totalCount"_L1).value_or(0);
    status.checkRuns = checkRuns(contextNodes);

    status.mergeable = mergeableState(json::string(node, "mergeable"_L1));
    status.reviewDecision = reviewDecision(json::string(node, "reviewDecision"_L1));
    status.url = fields::httpsURL(node, "url"_L1);
    status.mergeState = mergeState(json::string(node, "mergeStateStatus"_L1));
    status.nodeID = json::string(node, "id"_L1);
    status.headOID = json::string(node, "headRefOid"_L1);
    status.baseBranch = json::string(node, "baseRefName"_L1);
    return status;
}

// What a review request and a changes-requested review both read from someone else's pull request.
template <typename Record>
Record withCommonFields(const Identity& known, const QJsonObject& node) {
    const QJsonObject author = objectOrEmpty(node, "author"_L1);
    Record record;
    record.repository = known.repository;
    record.number = known.number;
    record.title = json::string(node, "title"_L1).value_or(QString());
    record.url = fields::httpsURL(node, "url"_L1);
    record.author = json::string(author, "login"_L1);
    record.avatarURL = fields::httpsURL(author, "avatarUrl"_L1);
    return record;
}

std::optional<ReviewRequest> reviewRequest(const QJsonObject& node) {
    const auto known = identity(node);
    if (!known) {
        return std::nullopt;
    }
    auto request = withCommonFields<ReviewRequest>(*known, node);
    request.headOID = json::string(node, "headRefOid"_L1);
    return request;
}

// The viewer's latest opinionated review, when it is the viewer who wrote one.
std::optional<QJsonObject> viewerReview(const QJsonObject& node, const QString& viewerLogin) {
    const QJsonArray reviews =
        fields::arrayAt(objectOrEmpty(node, "latestOpinionatedReviews"_L1), "nodes"_L1);
    for (const auto element : reviews) {
        const QJsonObject review = element.toObject();
        if (json::string(objectOrEmpty(review, "author"_L1), "login"_L1) == viewerLogin) {
            return review;
        }
    }
    return std::nullopt;
}

std::optional<ChangesRequestedReview> changesRequestedReview(const QJsonObject& node,
                                                             const QString& viewerLogin,
                                                             const QSet<QString>& reviewRequestIDs) {
    const auto known = identity(node);
    // Asked again for a review: it shows as a review request instead.
    if (!known || reviewRequestIDs.contains(identifier(*known))) {
        return std::nullopt;
    }
    const auto review = viewerReview(node, viewerLogin);
    if (!review || json::string(*review, "state"_L1) != "CHANGES_REQUESTED"_L1) {
        return std::nullopt;
    }
    auto changes = withCommonFields<ChangesRequestedReview>(*known, node);
    changes.submittedAt = fields::isoDate(*review, "submittedAt"_L1);
    changes.commentCount =
        fields::integer(objectOrEmpty(*review, "comments"_L1), "totalCount"_L1).value_or(0);
    changes.headOID = json::string(node, "headRefOid"_L1);
    changes.reviewedOID = json::string(objectOrEmpty(*review, "commit"_L1), "oid"_L1);
    changes.hasNewCommits = changes.headOID && changes.reviewedOID && changes.headOID != changes.reviewedOID;
    return changes;
}

QJsonArray nodesAt(const QJsonObject& data, std::initializer_list<QLatin1StringView> path) {
    return fields::arrayAt(fields::objectAt(data, path).value_or(QJsonObject()), "nodes"_L1);
}

template <typename Record, typename Read>
void readEach(const QJsonArray& nodes, std::vector<Record>& into, Read read) {
    into.reserve(static_cast<std::size_t>(nodes.size()));
    for (const auto element : nodes) {
        if (auto record = read(element.toObject())) {
            into.push_back(std::move(*record));
        }
    }
}

} // namespace

GitHubResult<GitHubReport> GitHubStatusParser::parse(const QByteArray& data, const QDateTime& fetchedAt) {
    const auto root = fields::parseObject(data);
    const auto dataObject = root ? json::object(*root, "data"_L1) : std::nullopt;
    const auto viewer = dataObject ? json::object(*dataObject, "viewer"_L1) : std::nullopt;
    const auto login = viewer ? json::string(*viewer, "login"_L1) : std::nullopt;
    if (!login) {
        return GitHubProviderError::of(GitHubProviderError::Kind::malformedResponse);
    }

    GitHubReport report;
    report.login = *login;
    report.capturedAt = fetchedAt;
    readEach(nodesAt(*dataObject, {"reviews"_L1}), report.reviewRequests, reviewRequest);

    QSet<QString> reviewRequestIDs;
    for (const ReviewRequest& request : report.reviewRequests) {
        reviewRequestIDs.insert(request.id());
    }
    readEach(nodesAt(*viewer, {"pullRequests"_L1}), report.pullRequests, pullRequest);
    readEach(nodesAt(*dataObject, {"changesRequested"_L1}), report.changesRequestedReviews,
             [&](const QJsonObject& node) { return changesRequestedReview(node, *login, reviewRequestIDs); });
    return report;
}

} // namespace tessary
