#include "modules/github/GitHubAnswerFields.h"
#include "modules/github/GitHubApi.h"

#include <algorithm>
#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

// Seconds above 0, written as a plain decimal number and nothing else.
std::optional<double> positiveSeconds(const std::optional<QString>& header) {
    if (!header) {
        return std::nullopt;
    }
    bool isNumber = false;
    const double seconds = header->trimmed().toDouble(&isNumber);
    if (!isNumber || !std::isfinite(seconds) || seconds <= 0) {
        return std::nullopt;
    }
    return seconds;
}

bool isExhausted(const GitHubRateLimit::Headers& headers) {
    return headers.remaining && headers.remaining->trimmed() == "0"_L1;
}

bool isRateLimited(int statusCode, const GitHubRateLimit::Headers& headers, const QByteArray& data) {
    if (statusCode == 429) {
        return true;
    }
    if (statusCode == 403) {
        return isExhausted(headers) || headers.retryAfter || GitHubRateLimit::saysRateLimited(data);
    }
    // A GraphQL answer says so in its errors, with status 200.
    return GitHubRateLimit::hasRateLimitedError(data);
}

double waitSeconds(const GitHubRateLimit::Headers& headers, const QDateTime& now) {
    if (const auto retryAfter = positiveSeconds(headers.retryAfter)) {
        return *retryAfter;
    }
    if (isExhausted(headers)) {
        if (const auto reset = positiveSeconds(headers.reset)) {
            const double untilReset = *reset - static_cast<double>(now.toMSecsSinceEpoch()) / 1000.0;
            if (untilReset > 0) {
                return untilReset;
            }
        }
    }
    return GitHubRateLimit::defaultWaitSeconds;
}

} // namespace

std::optional<QDateTime> GitHubRateLimit::retryAfter(int statusCode, const Headers& headers,
                                                     const QByteArray& data, const QDateTime& now) {
    if (!isRateLimited(statusCode, headers, data)) {
        return std::nullopt;
    }
    const double wait = std::min(waitSeconds(headers, now), static_cast<double>(maximumWaitSeconds));
    return now.addMSecs(std::llround(wait * 1000.0));
}

bool GitHubRateLimit::hasRateLimitedError(const QByteArray& data) {
    // Most answers are large and never rate limited: only a hit is worth parsing.
    if (!data.contains("RATE_LIMITED")) {
        return false;
    }
    const auto root = github_fields::parseObject(data);
    if (!root) {
        return false;
    }
    const QJsonArray errors = github_fields::arrayAt(*root, "errors"_L1);
    return std::any_of(errors.begin(), errors.end(), [](const QJsonValueConstRef error) {
        return json::string(error.toObject(), "type"_L1) == "RATE_LIMITED"_L1;
    });
}

bool GitHubRateLimit::saysRateLimited(const QByteArray& data) {
    const auto root = github_fields::parseObject(data);
    const auto message = root ? json::string(*root, "message"_L1) : std::nullopt;
    return message && message->contains("rate limit"_L1, Qt::CaseInsensitive);
}

} // namespace tessary
