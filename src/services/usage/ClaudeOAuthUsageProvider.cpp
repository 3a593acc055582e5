#include "services/usage/ClaudeOAuthUsageProvider.h"

#include "modules/usage/ClaudeUsageParser.h"
#include "services/network/BlockingHttp.h"

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

ClaudeUsageError::Kind errorKind(HttpFailure failure) {
    switch (failure) {
    case HttpFailure::timedOut:
        return ClaudeUsageError::Kind::timedOut;
    case HttpFailure::cancelled:
        return ClaudeUsageError::Kind::cancelled;
    case HttpFailure::tooLarge:
        return ClaudeUsageError::Kind::invalidPayload;
    case HttpFailure::untrusted:
        return ClaudeUsageError::Kind::untrusted;
    case HttpFailure::unreachable:
        break;
    }
    return ClaudeUsageError::Kind::unreachable;
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

    const HttpOptions options{m_configuration.timeoutSeconds, maximumBodySize,
                              m_configuration.extraAuthorities};
    QNetworkRequest request = BlockingHttp::request(m_configuration.endpoint, options);
    request.setRawHeader("Authorization", std::get<AccessToken>(token).bearerHeaderValue());
    request.setRawHeader("anthropic-beta", "oauth-2025-04-20");
    request.setRawHeader("Content-Type", "application/json");
    request.setRawHeader("User-Agent", m_configuration.userAgent.toUtf8());

    HttpResult result = BlockingHttp::send(BlockingHttp::Method::get, request, {}, options, cancellation);
    if (const auto* failure = std::get_if<HttpFailure>(&result)) {
        return ClaudeUsageError{errorKind(*failure)};
    }
    const auto& answer = std::get<HttpAnswer>(result);
    const int code = answer.statusCode;
    if (code == 401 || code == 403) {
        m_tokenCache.clear();
        return ClaudeUsageError{ClaudeUsageError::Kind::unauthorized};
    }
    if (code != 200) {
        return ClaudeUsageError{ClaudeUsageError::Kind::requestFailed, code};
    }
    if (answer.brokenOff) {
        return ClaudeUsageError{errorKind(*answer.brokenOff)};
    }
    const QByteArray& body = answer.body;
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
