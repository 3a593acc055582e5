#include "services/github/GitHubCLIProvider.h"

#include "modules/github/GitHubApi.h"
#include "services/shell/Shell.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QtConcurrent/QtConcurrentRun>

#include <algorithm>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

constexpr auto userAgent = "tessary";

GitHubProviderError errorOf(HttpFailure failure) {
    switch (failure) {
    case HttpFailure::timedOut:
        return GitHubProviderError::of(GitHubProviderError::Kind::timedOut);
    case HttpFailure::cancelled:
        return GitHubProviderError::of(GitHubProviderError::Kind::cancelled);
    case HttpFailure::tooLarge:
        return GitHubProviderError::of(GitHubProviderError::Kind::malformedResponse);
    case HttpFailure::untrusted:
        return GitHubProviderError::of(GitHubProviderError::Kind::untrusted);
    case HttpFailure::unreachable:
        break;
    }
    return GitHubProviderError::of(GitHubProviderError::Kind::unreachable);
}

// Far longer than any token GitHub issues.
constexpr qsizetype maximumTokenLength = 4096;

// What gh printed is a token only if it can stand in a header as it is: a damaged or hostile
// output must not add a line to the request.
bool isUsableToken(const QString& text) {
    return !text.isEmpty() && text.size() <= maximumTokenLength &&
           std::ranges::all_of(text, [](QChar c) { return c.unicode() > 0x20 && c.unicode() < 0x7f; });
}

// What `read` makes of an answer, or the failure that left no answer.
template <typename Read>
auto readAnswer(const HttpResult& result, Read read) -> decltype(read(HttpAnswer())) {
    if (const auto* failure = std::get_if<HttpFailure>(&result)) {
        return errorOf(*failure);
    }
    return read(std::get<HttpAnswer>(result));
}

// The rules every answer of the API passes: a rate limit first, whatever the status, then the
// status itself; only a whole 200 gives its body.
GitHubResult<QByteArray> answerBody(HttpResult result, const QDateTime& now) {
    if (const auto* failure = std::get_if<HttpFailure>(&result)) {
        return errorOf(*failure);
    }
    auto& answer = std::get<HttpAnswer>(result);
    const GitHubRateLimit::Headers limits{answer.header("X-RateLimit-Remaining"),
                                          answer.header("Retry-After"), answer.header("X-RateLimit-Reset")};
    if (auto until = GitHubRateLimit::retryAfter(answer.statusCode, limits, answer.body, now)) {
        return GitHubProviderError::rateLimited(*until);
    }
    if (answer.statusCode == 401 || answer.statusCode == 403) {
        return GitHubProviderError::of(GitHubProviderError::Kind::unauthorized);
    }
    if (answer.statusCode != 200) {
        return GitHubProviderError::requestFailed(answer.statusCode);
    }
    if (answer.brokenOff) {
        return errorOf(*answer.brokenOff);
    }
    return std::move(answer.body);
}

// The answer read by `parse`, or the failure that left no answer.
template <typename Parse>
auto parsedOr(const GitHubResult<QByteArray>& data, Parse parse) -> decltype(parse(QByteArray())) {
    if (const auto* error = std::get_if<GitHubProviderError>(&data)) {
        return *error;
    }
    return parse(std::get<QByteArray>(data));
}

// A query about one pull request; nothing for a repository that can't be a name, and then nothing
// is sent.
std::optional<QJsonObject> pullRequestQuery(const QString& query, const QString& repository, int number) {
    const auto variables = GitHubPullRequestQuery::variables(repository, number);
    if (!variables) {
        return std::nullopt;
    }
    return QJsonObject{{u"query"_s, query}, {u"variables"_s, *variables}};
}

} // namespace

GitHubCLIProvider::GitHubCLIProvider(const ProcessRunner& processes, const Clock& clock, QThreadPool& pool,
                                     Configuration configuration)
    : m_processes(processes)
    , m_clock(clock)
    , m_pool(pool)
    , m_configuration(std::move(configuration)) {}

QUrl GitHubCLIProvider::defaultEndpoint() {
    return QUrl(u"https://api.github.com/graphql"_s);
}

QUrl GitHubCLIProvider::defaultRestRoot() {
    return QUrl(u"https://api.github.com"_s);
}

QStringList GitHubCLIProvider::defaultFallbackExecutables() {
    return {u"/usr/bin/gh"_s, u"/usr/local/bin/gh"_s, u"/opt/homebrew/bin/gh"_s, u"gh"_s};
}

QStringList GitHubCLIProvider::executableCandidates() const {
    const QProcessEnvironment environment =
        m_configuration.environment.value_or(QProcessEnvironment::systemEnvironment());
    QStringList candidates;
    const auto add = [&](const QString& name) {
        const QString path = Shell::resolve(name, environment);
        if (path.isEmpty()) {
            return;
        }
        const QString canonical = QFileInfo(path).canonicalFilePath();
        if (!candidates.contains(canonical)) {
            candidates.append(canonical);
        }
    };
    add(m_configuration.executable);
    for (const QString& name : m_configuration.fallbackExecutables) {
        add(name);
    }
    return candidates;
}

GitHubResult<QString> GitHubCLIProvider::accessToken(const CancellationToken& cancellation) const {
    for (const QString& candidate : executableCandidates()) {
        if (cancellation.isCancelled()) {
            return GitHubProviderError::of(GitHubProviderError::Kind::cancelled);
        }
        // A candidate that can't start, fails, hangs or prints nothing usable hands over to the next;
        // what it wrote to its error output is never kept, since it may quote the token.
        const ShellResult result =
            m_processes.run(candidate, {u"auth"_s, u"token"_s}, m_configuration.tokenTimeoutSeconds,
                            m_configuration.environment);
        const auto* outcome = std::get_if<ShellOutcome>(&result);
        if (outcome == nullptr || outcome->status != 0) {
            continue;
        }
        QString token = outcome->output.trimmed();
        if (isUsableToken(token)) {
            return token;
        }
    }
    return GitHubProviderError::of(GitHubProviderError::Kind::missingCredentials);
}

HttpOptions GitHubCLIProvider::options(double timeoutSeconds) const {
    return {timeoutSeconds, maximumBodySize, m_configuration.extraAuthorities};
}

GitHubResult<QByteArray> GitHubCLIProvider::post(const QJsonObject& body,
                                                 const CancellationToken& cancellation) const {
    GitHubResult<QString> token = accessToken(cancellation);
    if (const auto* error = std::get_if<GitHubProviderError>(&token)) {
        return *error;
    }
    const HttpOptions options = this->options(m_configuration.timeoutSeconds);
    QNetworkRequest request = BlockingHttp::request(m_configuration.endpoint, options);
    request.setRawHeader("Authorization", "Bearer " + std::get<QString>(token).toLatin1());
    request.setRawHeader("Content-Type", "application/json");
    request.setRawHeader("User-Agent", userAgent);
    const QByteArray json = QJsonDocument(body).toJson(QJsonDocument::Compact);
    return answerBody(BlockingHttp::send(BlockingHttp::Method::post, request, json, options, cancellation),
                      m_clock.now());
}

GitHubResult<GitHubReport> GitHubCLIProvider::readStatus(const CancellationToken& cancellation) const {
    return parsedOr(
        post(GitHubStatusQuery::body(m_configuration.maximumPullRequests), cancellation),
        [this](const QByteArray& data) { return GitHubStatusParser::parse(data, m_clock.now()); });
}

std::optional<GitHubProviderError> GitHubCLIProvider::sendMerge(const MergeRequest& request,
                                                                const CancellationToken& cancellation) const {
    return parsedOr(post(GitHubMergeRequest::body(request), cancellation), GitHubMergeRequest::parse);
}

GitHubResult<std::vector<PullRequestCommit>>
GitHubCLIProvider::readCommits(const QString& repository, int number,
                               const CancellationToken& cancellation) const {
    const auto body = pullRequestQuery(GitHubPullRequestQuery::commitsQuery(), repository, number);
    if (!body) {
        return GitHubProviderError::of(GitHubProviderError::Kind::detailsUnavailable);
    }
    return parsedOr(post(*body, cancellation), GitHubPullRequestQuery::parseCommits);
}

GitHubResult<PullRequestDetails>
GitHubCLIProvider::readPullRequestDetails(const QString& repository, int number,
                                          const CancellationToken& cancellation) const {
    const auto body = pullRequestQuery(GitHubPullRequestQuery::detailsQuery(), repository, number);
    if (!body) {
        return GitHubProviderError::of(GitHubProviderError::Kind::detailsUnavailable);
    }
    return parsedOr(post(*body, cancellation), GitHubPullRequestQuery::parseDetails);
}

GitHubResult<QString> GitHubCLIProvider::readJobLog(const QString& repository, qint64 jobID,
                                                    const CancellationToken& cancellation) const {
    const auto logs = GitHubJobLog::logsURL(m_configuration.restRoot, repository, jobID);
    if (!logs) {
        return GitHubProviderError::of(GitHubProviderError::Kind::logUnavailable);
    }
    GitHubResult<QString> token = accessToken(cancellation);
    if (const auto* error = std::get_if<GitHubProviderError>(&token)) {
        return *error;
    }
    const HttpOptions options = this->options(m_configuration.logTimeoutSeconds);

    // The API answers with a redirect to blob storage, which is not followed: the token stays here.
    QNetworkRequest api = BlockingHttp::request(*logs, options);
    api.setRawHeader("Authorization", "Bearer " + std::get<QString>(token).toLatin1());
    api.setRawHeader("User-Agent", userAgent);
    api.setRawHeader("Accept", "application/vnd.github+json");
    GitHubResult<QUrl> blob =
        readAnswer(BlockingHttp::send(BlockingHttp::Method::get, api, {}, options, cancellation),
                   [](const HttpAnswer& answer) {
                       return GitHubJobLog::blobLocation(answer.statusCode, answer.header("Location"));
                   });
    if (const auto* error = std::get_if<GitHubProviderError>(&blob)) {
        return *error;
    }

    QNetworkRequest blobRequest = BlockingHttp::request(std::get<QUrl>(blob), options);
    blobRequest.setRawHeader("User-Agent", userAgent);
    GitHubResult<qint64> length =
        readAnswer(BlockingHttp::send(BlockingHttp::Method::head, blobRequest, {}, options, cancellation),
                   [](const HttpAnswer& answer) {
                       return GitHubJobLog::contentLength(answer.statusCode, answer.header("Content-Length"));
                   });
    if (const auto* error = std::get_if<GitHubProviderError>(&length)) {
        return *error;
    }

    const std::optional<QByteArray> range = GitHubJobLog::range(std::get<qint64>(length));
    if (range) {
        blobRequest.setRawHeader("Range", *range);
    }
    return readAnswer(BlockingHttp::send(BlockingHttp::Method::get, blobRequest, {}, options, cancellation),
                      [&](const HttpAnswer& answer) -> GitHubResult<QString> {
                          if (answer.brokenOff) {
                              return errorOf(*answer.brokenOff);
                          }
                          return GitHubJobLog::text(answer.body, answer.statusCode, range.has_value());
                      });
}

QFuture<GitHubResult<GitHubReport>> GitHubCLIProvider::fetchStatus() const {
    return QtConcurrent::run(&m_pool, [this] { return readStatus({}); });
}

QFuture<std::optional<GitHubProviderError>> GitHubCLIProvider::merge(const MergeRequest& request) const {
    return QtConcurrent::run(&m_pool, [this, request] { return sendMerge(request, {}); });
}

QFuture<GitHubResult<QString>> GitHubCLIProvider::fetchJobLog(const QString& repository, qint64 jobID) const {
    return QtConcurrent::run(&m_pool,
                             [this, repository, jobID] { return readJobLog(repository, jobID, {}); });
}

QFuture<GitHubResult<std::vector<PullRequestCommit>>>
GitHubCLIProvider::fetchCommits(const QString& repository, int number) const {
    return QtConcurrent::run(&m_pool,
                             [this, repository, number] { return readCommits(repository, number, {}); });
}

QFuture<GitHubResult<PullRequestDetails>>
GitHubCLIProvider::fetchPullRequestDetails(const QString& repository, int number) const {
    return QtConcurrent::run(
        &m_pool, [this, repository, number] { return readPullRequestDetails(repository, number, {}); });
}

Provider<GitHubReport> GitHubCLIProvider::provider() const {
    return [this](const CancellationToken& cancellation) -> ProviderResult<GitHubReport> {
        GitHubResult<GitHubReport> result = readStatus(cancellation);
        if (auto* report = std::get_if<GitHubReport>(&result)) {
            return std::move(*report);
        }
        const auto& error = std::get<GitHubProviderError>(result);
        if (error.kind == GitHubProviderError::Kind::cancelled || cancellation.isCancelled()) {
            return ProviderFailure::cancelled();
        }
        return ProviderFailure{error.diagnosticKind(), error.userText(Localization(m_language.load())),
                               false};
    };
}

} // namespace tessary
