#pragma once

#include "core/time/Clock.h"
#include "modules/usage/UsageReport.h"
#include "platform/credentials/ClaudeTokenSource.h"
#include "services/monitoring/CancellationToken.h"
#include "services/monitoring/ProviderResult.h"
#include "services/usage/ClaudeUsageError.h"
#include "services/usage/TokenCache.h"

#include <QList>
#include <QSslCertificate>
#include <QUrl>

#include <atomic>
#include <variant>

namespace tessary {

// Asks Anthropic's OAuth usage endpoint how much of the plan is used, with the token Claude Code
// already holds. One reading is a blocking GET on the calling worker thread, with a time-out, no
// cache and no redirect followed.
class ClaudeOAuthUsageProvider {
public:
    static constexpr auto claudeCodeVersion = "2.1.246";
    // The body of an answer is at most this long; a longer one is not a usage answer.
    static constexpr qint64 maximumBodySize = 1 << 20;

    struct Configuration {
        // The endpoint is fixed; only tests point it elsewhere, at a server of their own.
        QUrl endpoint = defaultEndpoint();
        QString userAgent = defaultUserAgent();
        double timeoutSeconds = 60;
        // Trusted beside the system's authorities: the throwaway certificate of a test server.
        QList<QSslCertificate> extraAuthorities;
    };

    using Result = std::variant<UsageReport, ClaudeUsageError>;

    ClaudeOAuthUsageProvider(const ClaudeTokenSource& tokens, const Clock& clock,
                             Configuration configuration);
    ClaudeOAuthUsageProvider(const ClaudeTokenSource& tokens, const Clock& clock)
        : ClaudeOAuthUsageProvider(tokens, clock, Configuration{}) {}

    static QUrl defaultEndpoint();
    static QString defaultUserAgent();

    // One reading, on a worker thread: the token from the cache or the source, the request, and the
    // answer's report. A 401 or 403 empties the cache. Safe to call from several threads at once.
    [[nodiscard]] Result fetchUsage(const CancellationToken& cancellation) const;
    // The token from the cache, else read from the source and kept.
    [[nodiscard]] std::variant<AccessToken, ClaudeUsageError> accessToken() const;

    // A reading as a monitor runs it, with failure texts in the language last set.
    [[nodiscard]] Provider<UsageReport> provider() const;
    void setLanguage(AppLanguage language) { m_language.store(language); }

    [[nodiscard]] TokenCache& tokenCache() const { return m_tokenCache; }
    [[nodiscard]] const Configuration& configuration() const { return m_configuration; }

private:
    const ClaudeTokenSource& m_tokens;
    const Clock& m_clock;
    Configuration m_configuration;
    mutable TokenCache m_tokenCache;
    std::atomic<AppLanguage> m_language{AppLanguage::english};
};

} // namespace tessary
