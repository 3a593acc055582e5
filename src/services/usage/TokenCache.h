#pragma once

#include "platform/credentials/ClaudeTokenSource.h"

#include <mutex>
#include <optional>

namespace tessary {

// The token read once per run, in memory only. It has no expiry of its own: it empties when the
// endpoint refuses it, so that the next reading asks the source again and picks up a token that
// Claude Code has renewed meanwhile. The lock is held only to copy the token.
class TokenCache {
public:
    TokenCache() = default;
    TokenCache(const TokenCache&) = delete;
    TokenCache& operator=(const TokenCache&) = delete;
    TokenCache(TokenCache&&) = delete;
    TokenCache& operator=(TokenCache&&) = delete;
    ~TokenCache() = default;

    [[nodiscard]] std::optional<AccessToken> token() const {
        const std::lock_guard lock(m_lock);
        return m_token;
    }
    void store(AccessToken token) {
        const std::lock_guard lock(m_lock);
        m_token = std::move(token);
    }
    void clear() {
        std::optional<AccessToken> dropped;
        const std::lock_guard lock(m_lock);
        std::swap(m_token, dropped);
    }
    [[nodiscard]] bool isEmpty() const {
        const std::lock_guard lock(m_lock);
        return !m_token.has_value();
    }

private:
    mutable std::mutex m_lock;
    std::optional<AccessToken> m_token;
};

} // namespace tessary
