#include "modules/github/GitHubReport.h"

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

template <typename Keep>
std::vector<PullRequestStatus> trackedWhere(const GitHubReport& report, Keep keep) {
    std::vector<PullRequestStatus> kept;
    for (const PullRequestStatus& pullRequest : report.pullRequests) {
        if (!pullRequest.isDraft && keep(pullRequest)) {
            kept.push_back(pullRequest);
        }
    }
    return kept;
}

std::vector<PullRequestStatus> trackedWithChecks(const GitHubReport& report, CheckState checks) {
    return trackedWhere(
        report, [checks](const PullRequestStatus& pullRequest) { return pullRequest.checks == checks; });
}

QString numbered(const QString& repository, int number) {
    return repository + u'#' + QString::number(number);
}

} // namespace

bool PullRequestCheck::isFinished() const {
    return state == State::passed || state == State::failed || state == State::skipped;
}

std::optional<QString> PullRequestCheck::explanationKey(const std::optional<QString>& headOID) const {
    if (!databaseID || !headOID) {
        return std::nullopt;
    }
    return QString::number(*databaseID) + u'@' + *headOID;
}

QString PullRequestStatus::shortRepository() const {
    return repository.mid(repository.lastIndexOf(u'/') + 1);
}

bool PullRequestStatus::isReadyToMerge() const {
    return !isDraft && mergeState == MergeState::clean;
}

QString ReviewRequest::id() const {
    return numbered(repository, number);
}

QString ChangesRequestedReview::id() const {
    return numbered(repository, number);
}

std::vector<PullRequestStatus> GitHubReport::tracked() const {
    return trackedWhere(*this, [](const PullRequestStatus&) { return true; });
}

std::vector<PullRequestStatus> GitHubReport::running() const {
    return trackedWithChecks(*this, CheckState::running);
}

std::vector<PullRequestStatus> GitHubReport::failing() const {
    return trackedWithChecks(*this, CheckState::failing);
}

std::vector<PullRequestStatus> GitHubReport::passing() const {
    return trackedWithChecks(*this, CheckState::passing);
}

std::vector<PullRequestStatus> GitHubReport::conflicting() const {
    return trackedWhere(*this, [](const PullRequestStatus& pullRequest) {
        return pullRequest.mergeable == MergeableState::conflicting;
    });
}

std::vector<PullRequestStatus> GitHubReport::readyToMerge() const {
    return trackedWhere(*this, [](const PullRequestStatus& pullRequest) {
        return pullRequest.isReadyToMerge() && pullRequest.checks != CheckState::failing &&
               pullRequest.checks != CheckState::running;
    });
}

GitHubReport::State GitHubReport::state() const {
    if (!failing().empty()) {
        return State::broken;
    }
    return running().empty() ? State::clear : State::running;
}

double GitHubReport::pressure() const {
    const auto trackedCount = static_cast<double>(tracked().size());
    if (trackedCount == 0) {
        return 0;
    }
    return static_cast<double>(failing().size() + running().size()) / trackedCount;
}

std::optional<PullRequestStatus> GitHubReport::pullRequest(const QString& id) const {
    const auto found =
        std::find_if(pullRequests.begin(), pullRequests.end(),
                     [&id](const PullRequestStatus& pullRequest) { return pullRequest.id == id; });
    if (found == pullRequests.end()) {
        return std::nullopt;
    }
    return *found;
}

} // namespace tessary
