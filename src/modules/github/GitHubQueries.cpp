#include "modules/github/GitHubAnswerFields.h"
#include "modules/github/GitHubApi.h"

#include <QJsonArray>
#include <QStringList>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;
namespace fields = github_fields;

namespace {

const QString confirmationMissing = u"GitHub did not confirm the merge"_s;

QJsonObject request(const QString& query, const QJsonObject& variables) {
    return {{u"query"_s, query}, {u"variables"_s, variables}};
}

bool isRepositoryCharacter(QChar character) {
    const char16_t code = character.unicode();
    return (code >= u'a' && code <= u'z') || (code >= u'A' && code <= u'Z') ||
           (code >= u'0' && code <= u'9') || code == u'-' || code == u'_' || code == u'.';
}

bool isRepositoryPart(QStringView part) {
    // "." and ".." would walk up the REST path that the repository is spliced into.
    if (part.isEmpty() || part == u"." || part == u"..") {
        return false;
    }
    return std::all_of(part.begin(), part.end(), isRepositoryCharacter);
}

// The pull request of a commits or details answer; its absence is the server's refusal when the
// answer carries errors (no such repository, no access), else a damaged answer.
GitHubResult<QJsonObject> answeredPullRequest(const QByteArray& data) {
    const auto root = fields::parseObject(data);
    if (!root) {
        return GitHubProviderError::of(GitHubProviderError::Kind::malformedResponse);
    }
    if (auto pullRequest = fields::objectAt(*root, {"data"_L1, "repository"_L1, "pullRequest"_L1})) {
        return *pullRequest;
    }
    return GitHubProviderError::of(root->value("errors"_L1).isArray()
                                       ? GitHubProviderError::Kind::detailsUnavailable
                                       : GitHubProviderError::Kind::malformedResponse);
}

} // namespace

QString GitHubStatusQuery::query() {
    return u"query($first: Int!) {\n"
           u"  viewer {\n"
           u"    login\n"
           u"    pullRequests(states: OPEN, first: $first, orderBy: {field: UPDATED_AT, direction: DESC}) {\n"
           u"      nodes {\n"
           u"        id\n"
           u"        number\n"
           u"        title\n"
           u"        isDraft\n"
           u"        url\n"
           u"        headRefOid\n"
           u"        baseRefName\n"
           u"        mergeable\n"
           u"        mergeStateStatus\n"
           u"        reviewDecision\n"
           u"        repository { nameWithOwner }\n"
           u"        commits(last: 1) {\n"
           u"          nodes {\n"
           u"            commit {\n"
           u"              statusCheckRollup {\n"
           u"                state\n"
           u"                contexts(first: 100) {\n"
           u"                  totalCount\n"
           u"                  nodes {\n"
           u"                    ... on CheckRun { name status conclusion databaseId detailsUrl checkSuite { "
           u"app { slug } } }\n"
           u"                    ... on StatusContext { context state }\n"
           u"                  }\n"
           u"                }\n"
           u"              }\n"
           u"            }\n"
           u"          }\n"
           u"        }\n"
           u"      }\n"
           u"    }\n"
           u"  }\n"
           u"  reviews: search(query: \"is:open is:pr review-requested:@me\", type: ISSUE, first: 10) {\n"
           u"    nodes {\n"
           u"      ... on PullRequest {\n"
           u"        number\n"
           u"        title\n"
           u"        url\n"
           u"        headRefOid\n"
           u"        repository { nameWithOwner }\n"
           u"        author { login avatarUrl(size: 40) }\n"
           u"      }\n"
           u"    }\n"
           u"  }\n"
           u"  changesRequested: search(query: \"is:open is:pr reviewed-by:@me -author:@me "
           u"-review-requested:@me archived:false sort:updated-desc\", type: ISSUE, first: 30) {\n"
           u"    nodes {\n"
           u"      ... on PullRequest {\n"
           u"        number\n"
           u"        title\n"
           u"        url\n"
           u"        repository { nameWithOwner }\n"
           u"        author { login avatarUrl(size: 40) }\n"
           u"        headRefOid\n"
           u"        latestOpinionatedReviews(first: 20) {\n"
           u"          nodes {\n"
           u"            state\n"
           u"            submittedAt\n"
           u"            author { login }\n"
           u"            commit { oid }\n"
           u"            comments { totalCount }\n"
           u"          }\n"
           u"        }\n"
           u"      }\n"
           u"    }\n"
           u"  }\n"
           u"}"_s;
}

QJsonObject GitHubStatusQuery::body(int maximumPullRequests) {
    return request(query(), {{u"first"_s, maximumPullRequests}});
}

QString GitHubMergeRequest::mutation() {
    return u"mutation($id: ID!, $head: GitObjectID!) {\n"
           u"  mergePullRequest(input: {pullRequestId: $id, expectedHeadOid: $head, mergeMethod: SQUASH}) {\n"
           u"    pullRequest { merged }\n"
           u"  }\n"
           u"}"_s;
}

QJsonObject GitHubMergeRequest::body(const MergeRequest& mergeRequest) {
    return request(mutation(),
                   {{u"id"_s, mergeRequest.pullRequestID}, {u"head"_s, mergeRequest.expectedHeadOID}});
}

std::optional<GitHubProviderError> GitHubMergeRequest::parse(const QByteArray& data) {
    const auto root = fields::parseObject(data);
    if (!root) {
        return GitHubProviderError::of(GitHubProviderError::Kind::malformedResponse);
    }
    const QJsonArray errors = fields::arrayAt(*root, "errors"_L1);
    if (!errors.isEmpty()) {
        QStringList messages;
        for (const auto error : errors) {
            if (const auto message = json::string(error.toObject(), "message"_L1)) {
                messages.append(*message);
            }
        }
        // A refusal without words still has to say something to the user.
        return GitHubProviderError::mergeRejected(messages.isEmpty() ? confirmationMissing
                                                                     : messages.join(u"; "_s));
    }
    const auto pullRequest = fields::objectAt(*root, {"data"_L1, "mergePullRequest"_L1, "pullRequest"_L1});
    if (pullRequest && json::boolean(*pullRequest, "merged"_L1) == true) {
        return std::nullopt;
    }
    return GitHubProviderError::mergeRejected(confirmationMissing);
}

QString GitHubPullRequestQuery::commitsQuery() {
    return u"query($owner: String!, $name: String!, $number: Int!) {\n"
           u"  repository(owner: $owner, name: $name) {\n"
           u"    pullRequest(number: $number) {\n"
           u"      commits(last: "_s +
           QString::number(commitLimit) +
           u") {\n"
           u"        nodes { commit { oid messageHeadline messageBody committedDate } }\n"
           u"      }\n"
           u"    }\n"
           u"  }\n"
           u"}"_s;
}

QString GitHubPullRequestQuery::detailsQuery() {
    return u"query($owner: String!, $name: String!, $number: Int!) {\n"
           u"  repository(owner: $owner, name: $name) {\n"
           u"    pullRequest(number: $number) {\n"
           u"      body\n"
           u"      changedFiles\n"
           u"      additions\n"
           u"      deletions\n"
           u"      files(first: "_s +
           QString::number(fileLimit) +
           u") { nodes { path } }\n"
           u"    }\n"
           u"  }\n"
           u"}"_s;
}

bool GitHubPullRequestQuery::isValidRepository(const QString& repository) {
    const qsizetype slash = repository.indexOf(u'/');
    if (slash < 0) {
        return false;
    }
    const QStringView owner = QStringView(repository).left(slash);
    const QStringView name = QStringView(repository).mid(slash + 1);
    return !name.contains(u'/') && isRepositoryPart(owner) && isRepositoryPart(name);
}

std::optional<QJsonObject> GitHubPullRequestQuery::variables(const QString& repository, int number) {
    if (!isValidRepository(repository)) {
        return std::nullopt;
    }
    const qsizetype slash = repository.indexOf(u'/');
    return QJsonObject{
        {u"owner"_s, repository.left(slash)}, {u"name"_s, repository.mid(slash + 1)}, {u"number"_s, number}};
}

GitHubResult<std::vector<PullRequestCommit>> GitHubPullRequestQuery::parseCommits(const QByteArray& data) {
    const GitHubResult<QJsonObject> pullRequest = answeredPullRequest(data);
    if (const auto* error = std::get_if<GitHubProviderError>(&pullRequest)) {
        return *error;
    }
    const auto commits = json::object(std::get<QJsonObject>(pullRequest), "commits"_L1);
    std::vector<PullRequestCommit> read;
    for (const auto node : fields::arrayAt(commits.value_or(QJsonObject()), "nodes"_L1)) {
        const QJsonObject commit = node.toObject().value("commit"_L1).toObject();
        const auto oid = json::string(commit, "oid"_L1);
        if (!oid) {
            continue;
        }
        read.push_back({*oid, json::string(commit, "messageHeadline"_L1).value_or(QString()),
                        json::string(commit, "messageBody"_L1).value_or(QString()),
                        fields::isoDate(commit, "committedDate"_L1)});
    }
    return read;
}

GitHubResult<PullRequestDetails> GitHubPullRequestQuery::parseDetails(const QByteArray& data) {
    const GitHubResult<QJsonObject> answer = answeredPullRequest(data);
    if (const auto* error = std::get_if<GitHubProviderError>(&answer)) {
        return *error;
    }
    const auto& pullRequest = std::get<QJsonObject>(answer);
    PullRequestDetails details;
    details.body = json::string(pullRequest, "body"_L1).value_or(QString());
    details.changedFiles = fields::integer(pullRequest, "changedFiles"_L1).value_or(0);
    details.additions = fields::integer(pullRequest, "additions"_L1).value_or(0);
    details.deletions = fields::integer(pullRequest, "deletions"_L1).value_or(0);
    const auto files = json::object(pullRequest, "files"_L1);
    for (const auto node : fields::arrayAt(files.value_or(QJsonObject()), "nodes"_L1)) {
        if (const auto path = json::string(node.toObject(), "path"_L1)) {
            details.paths.append(*path);
        }
    }
    return details;
}

} // namespace tessary
