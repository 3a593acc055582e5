#include "services/usage/ClaudeOAuthUsageProvider.h"

#include "modules/usage/ClaudeUsageParser.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QSslConfiguration>
#include <QTimer>

#include <algorithm>
#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

// How often a reading in flight looks at its cancellation token.
constexpr int cancellationPollMilliseconds = 100;

enum class Interruption { none, timedOut, cancelled, tooLarge };

ClaudeUsageError transportError(QNetworkReply::NetworkError error) {
    switch (error) {
    case QNetworkReply::SslHandshakeFailedError:
    case QNetworkReply::InsecureRedirectError:
        return {ClaudeUsageError::Kind::untrusted};
    case QNetworkReply::TimeoutError:
        return {ClaudeUsageError::Kind::timedOut};
    default:
        return {ClaudeUsageError::Kind::unreachable};
    }
}

} // namespace

ClaudeOAuthUsageProvider::ClaudeOAuthUsageProvider(const ClaudeTokenSource& tokens, const Clock& clock,
                                                   Configuration configuration)
    : m_tokens(tokens)
    , m_clock(clock)
    , m_configuration(std::move(configuration)) {}

QUrl ClaudeOAuthUsageProvider::defaultEndpoint() {
    return QUrl(u"https://api.anthropic.com/api/oauth/usage"_s);
}

QString ClaudeOAuthUsageProvider::defaultUserAgent() {
    return u"claude-code/"_s + QLatin1StringView(claudeCodeVersion);
}

std::variant<AccessToken, ClaudeUsageError> ClaudeOAuthUsageProvider::accessToken() const {
    if (auto cached = m_tokenCache.token()) {
        return std::move(*cached);
    }
    TokenReading reading = m_tokens.readToken();
    if (const auto* problem = std::get_if<CredentialsProblem>(&reading)) {
        return ClaudeUsageError{ClaudeUsageError::Kind::missingCredentials, 0, *problem};
    }
    AccessToken token = std::get<AccessToken>(std::move(reading));
    m_tokenCache.store(token);
    return token;
}

ClaudeOAuthUsageProvider::Result
ClaudeOAuthUsageProvider::fetchUsage(const CancellationToken& cancellation) const {
    if (cancellation.isCancelled()) {
        return ClaudeUsageError{ClaudeUsageError::Kind::cancelled};
    }
    auto token = accessToken();
    if (auto* error = std::get_if<ClaudeUsageError>(&token)) {
        return *error;
    }

    QNetworkRequest request(m_configuration.endpoint);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setRawHeader("Authorization", std::get<AccessToken>(token).bearerHeaderValue());
    request.setRawHeader("anthropic-beta", "oauth-2025-04-20");
    request.setRawHeader("Content-Type", "application/json");
    request.setRawHeader("User-Agent", m_configuration.userAgent.toUtf8());
    if (!m_configuration.extraAuthorities.isEmpty()) {
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        tls.addCaCertificates(m_configuration.extraAuthorities);
        request.setSslConfiguration(tls);
    }

    // Made on this worker thread and driven by a loop of its own, so that the main thread never
    // waits for the network.
    QNetworkAccessManager manager;
    manager.setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
    QEventLoop loop;
    QNetworkReply* reply = manager.get(request);
    Interruption interruption = Interruption::none;
    const auto interrupt = [&](Interruption why) {
        if (interruption == Interruption::none) {
            interruption = why;
            reply->abort();
        }
    };

    QTimer deadline;
    deadline.setSingleShot(true);
    deadline.setTimerType(Qt::PreciseTimer);
    const double seconds =
        std::isfinite(m_configuration.timeoutSeconds) ? m_configuration.timeoutSeconds : 60;
    deadline.start(static_cast<int>(std::clamp(seconds, 0.001, 3600.0) * 1000));
    QObject::connect(&deadline, &QTimer::timeout, &loop, [&] { interrupt(Interruption::timedOut); });
    QTimer watch;
    watch.start(cancellationPollMilliseconds);
    QObject::connect(&watch, &QTimer::timeout, &loop, [&] {
        if (cancellation.isCancelled()) {
            interrupt(Interruption::cancelled);
        }
    });
    QObject::connect(reply, &QNetworkReply::downloadProgress, &loop, [&](qint64 received, qint64) {
        if (received > maximumBodySize) {
            interrupt(Interruption::tooLarge);
        }
    });
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished()) {
        loop.exec();
    }
    deadline.stop();
    watch.stop();

    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    const QNetworkReply::NetworkError networkError = reply->error();
    const QByteArray body =
        interruption == Interruption::none ? reply->read(maximumBodySize + 1) : QByteArray();

    switch (interruption) {
    case Interruption::timedOut:
        return ClaudeUsageError{ClaudeUsageError::Kind::timedOut};
    case Interruption::cancelled:
        return ClaudeUsageError{ClaudeUsageError::Kind::cancelled};
    case Interruption::tooLarge:
        return ClaudeUsageError{ClaudeUsageError::Kind::invalidPayload};
    case Interruption::none:
        break;
    }
    if (!status.isValid()) {
        // No HTTP answer came: the connection, the name or the certificate failed.
        return transportError(networkError);
    }
    const int code = status.toInt();
    if (code == 401 || code == 403) {
        m_tokenCache.clear();
        return ClaudeUsageError{ClaudeUsageError::Kind::unauthorized};
    }
    if (code != 200) {
        return ClaudeUsageError{ClaudeUsageError::Kind::requestFailed, code};
    }
    if (networkError != QNetworkReply::NoError) {
        // A 200 whose body broke off midway.
        return transportError(networkError);
    }
    ClaudeUsageParseResult parsed = ClaudeUsageParser::parse(body, m_clock.now());
    if (std::holds_alternative<ClaudeUsageParserError>(parsed)) {
        return ClaudeUsageError{ClaudeUsageError::Kind::invalidPayload};
    }
    return std::get<UsageReport>(std::move(parsed));
}

Provider<UsageReport> ClaudeOAuthUsageProvider::provider() const {
    return [this](const CancellationToken& cancellation) -> ProviderResult<UsageReport> {
        Result result = fetchUsage(cancellation);
        if (auto* report = std::get_if<UsageReport>(&result)) {
            return std::move(*report);
        }
        const auto& error = std::get<ClaudeUsageError>(result);
        if (error.kind == ClaudeUsageError::Kind::cancelled || cancellation.isCancelled()) {
            return ProviderFailure::cancelled();
        }
        return ProviderFailure{error.diagnosticKind(), error.userText(Localization(m_language.load())),
                               false};
    };
}

} // namespace tessary
