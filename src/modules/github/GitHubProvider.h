#pragma once

#include "modules/github/GitHubProviderError.h"
#include "modules/github/GitHubReport.h"

#include <QFuture>
#include <QString>

#include <optional>
#include <vector>

namespace tessary {

// Where the GitHub widget reads from and merges through. Every call is asynchronous and may fail;
// a provider keeps no token and no answer between calls.
class GitHubProvider {
public:
    GitHubProvider() = default;
    GitHubProvider(const GitHubProvider&) = delete;
    GitHubProvider& operator=(const GitHubProvider&) = delete;
    GitHubProvider(GitHubProvider&&) = delete;
    GitHubProvider& operator=(GitHubProvider&&) = delete;
    virtual ~GitHubProvider() = default;

    [[nodiscard]] virtual QFuture<GitHubResult<GitHubReport>> fetchStatus() const = 0;
    // Nothing on success.
    [[nodiscard]] virtual QFuture<std::optional<GitHubProviderError>>
    merge(const MergeRequest& request) const = 0;
    // The last 64 KiB of the job's log at most.
    [[nodiscard]] virtual QFuture<GitHubResult<QString>> fetchJobLog(const QString& repository,
                                                                     qint64 jobID) const = 0;
    [[nodiscard]] virtual QFuture<GitHubResult<std::vector<PullRequestCommit>>>
    fetchCommits(const QString& repository, int number) const = 0;
    [[nodiscard]] virtual QFuture<GitHubResult<PullRequestDetails>>
    fetchPullRequestDetails(const QString& repository, int number) const = 0;
};

} // namespace tessary
