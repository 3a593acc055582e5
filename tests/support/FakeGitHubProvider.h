#pragma once

// A GitHub provider for tests: answers status with a set report or failure, records every merge it
// is asked for and answers it with a set outcome, or holds it until the test finishes it.

#include "modules/github/GitHubProvider.h"

#include <QFuture>
#include <QPromise>

#include <memory>
#include <optional>
#include <vector>

namespace tessary::testing {

class FakeGitHubProvider final : public GitHubProvider {
public:
    using MergeOutcome = std::optional<GitHubProviderError>;

    QFuture<GitHubResult<GitHubReport>> fetchStatus() const override {
        ++statusFetches;
        return QtFuture::makeReadyFuture(status);
    }
    QFuture<MergeOutcome> merge(const MergeRequest& request) const override {
        merges.push_back(request);
        if (!holdMerges) {
            return QtFuture::makeReadyFuture(mergeOutcome);
        }
        heldMerge = std::make_shared<QPromise<MergeOutcome>>();
        heldMerge->start();
        return heldMerge->future();
    }
    // Ends the merge held last with `outcome`.
    void finishHeldMerge(const MergeOutcome& outcome) const {
        heldMerge->addResult(outcome);
        heldMerge->finish();
        heldMerge.reset();
    }
    QFuture<GitHubResult<QString>> fetchJobLog(const QString&, qint64) const override {
        return unavailable<QString>(GitHubProviderError::Kind::logUnavailable);
    }
    QFuture<GitHubResult<std::vector<PullRequestCommit>>> fetchCommits(const QString&, int) const override {
        return unavailable<std::vector<PullRequestCommit>>(GitHubProviderError::Kind::detailsUnavailable);
    }
    QFuture<GitHubResult<PullRequestDetails>> fetchPullRequestDetails(const QString&, int) const override {
        return unavailable<PullRequestDetails>(GitHubProviderError::Kind::detailsUnavailable);
    }

    GitHubResult<GitHubReport> status = GitHubProviderError::of(GitHubProviderError::Kind::unreachable);
    MergeOutcome mergeOutcome;
    bool holdMerges = false;
    mutable int statusFetches = 0;
    mutable std::vector<MergeRequest> merges;

private:
    template <typename Value>
    static QFuture<GitHubResult<Value>> unavailable(GitHubProviderError::Kind kind) {
        return QtFuture::makeReadyFuture(GitHubResult<Value>(GitHubProviderError::of(kind)));
    }

    mutable std::shared_ptr<QPromise<MergeOutcome>> heldMerge;
};

} // namespace tessary::testing
