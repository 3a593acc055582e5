#pragma once

#include "core/localization/Localization.h"
#include "core/time/Clock.h"
#include "modules/github/GitHubProvider.h"
#include "services/monitoring/CancellationToken.h"
#include "services/monitoring/ProviderResult.h"
#include "services/network/BlockingHttp.h"
#include "services/shell/ProcessRunner.h"

#include <QJsonObject>
#include <QList>
#include <QProcessEnvironment>
#include <QSslCertificate>
#include <QStringList>
#include <QThreadPool>
#include <QUrl>

#include <atomic>
#include <optional>

namespace tessary {

// Reads GitHub with the credential of the `gh` command-line tool: `gh auth token` is run anew for
// every request, so a `gh auth login` counts at the next poll, and the token is never kept or
// logged. Every call is one blocking exchange with a time-out, no cache and no redirect followed;
// the asynchronous interface runs those on `pool`, the monitor runs them through `provider()`.
class GitHubCLIProvider final : public GitHubProvider {
public:
    // Longer answers are refused: the largest status answer is far smaller, and a job log is read
    // from its end.
    static constexpr qint64 maximumBodySize = qint64{16} << 20;

    struct Configuration {
        QUrl endpoint = defaultEndpoint();
        QUrl restRoot = defaultRestRoot();
        // The `gh` the user chose, asked first; then each of `fallbackExecutables`, where a bare
        // name is looked up in the PATH.
        QString executable;
        QStringList fallbackExecutables = defaultFallbackExecutables();
        // The environment `gh` runs in; the program's own when none.
        std::optional<QProcessEnvironment> environment;
        // `gh auth token` only reads its configuration: one that hangs is given up.
        double tokenTimeoutSeconds = 10;
        int maximumPullRequests = 30;
        double timeoutSeconds = 60;
        double logTimeoutSeconds = 15;
        // Trusted beside the system's authorities: the throwaway certificate of a test server.
        QList<QSslCertificate> extraAuthorities;
    };

    // `processes`, `clock` and `pool` must outlive the provider, and the provider every future it
    // handed out.
    GitHubCLIProvider(const ProcessRunner& processes, const Clock& clock, QThreadPool& pool,
                      Configuration configuration);

    static QUrl defaultEndpoint();
    static QUrl defaultRestRoot();
    static QStringList defaultFallbackExecutables();

    [[nodiscard]] QFuture<GitHubResult<GitHubReport>> fetchStatus() const override;
    [[nodiscard]] QFuture<std::optional<GitHubProviderError>>
    merge(const MergeRequest& request) const override;
    [[nodiscard]] QFuture<GitHubResult<QString>> fetchJobLog(const QString& repository,
                                                             qint64 jobID) const override;
    [[nodiscard]] QFuture<GitHubResult<std::vector<PullRequestCommit>>>
    fetchCommits(const QString& repository, int number) const override;
    [[nodiscard]] QFuture<GitHubResult<PullRequestDetails>>
    fetchPullRequestDetails(const QString& repository, int number) const override;

    // The blocking forms of the calls above, for worker threads.
    [[nodiscard]] GitHubResult<GitHubReport> readStatus(const CancellationToken& cancellation) const;
    [[nodiscard]] std::optional<GitHubProviderError> sendMerge(const MergeRequest& request,
                                                               const CancellationToken& cancellation) const;
    [[nodiscard]] GitHubResult<QString> readJobLog(const QString& repository, qint64 jobID,
                                                   const CancellationToken& cancellation) const;
    [[nodiscard]] GitHubResult<std::vector<PullRequestCommit>>
    readCommits(const QString& repository, int number, const CancellationToken& cancellation) const;
    [[nodiscard]] GitHubResult<PullRequestDetails>
    readPullRequestDetails(const QString& repository, int number,
                           const CancellationToken& cancellation) const;

    // The token of the first candidate `gh` that gives one; missingCredentials when none does.
    [[nodiscard]] GitHubResult<QString> accessToken(const CancellationToken& cancellation) const;
    // The candidates in the order they are asked: existing executable files, each once.
    [[nodiscard]] QStringList executableCandidates() const;

    // The status as the monitor reads it, with failure texts in the language last set.
    [[nodiscard]] Provider<GitHubReport> provider() const;
    void setLanguage(AppLanguage language) { m_language.store(language); }

    [[nodiscard]] const Configuration& configuration() const { return m_configuration; }

private:
    // A GraphQL call: the object as JSON to the endpoint with the token; the answer's body.
    [[nodiscard]] GitHubResult<QByteArray> post(const QJsonObject& body,
                                                const CancellationToken& cancellation) const;
    [[nodiscard]] HttpOptions options(double timeoutSeconds) const;

    const ProcessRunner& m_processes;
    const Clock& m_clock;
    QThreadPool& m_pool;
    Configuration m_configuration;
    std::atomic<AppLanguage> m_language{AppLanguage::english};
};

} // namespace tessary
