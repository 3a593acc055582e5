#pragma once

#include "platform/credentials/ClaudeTokenSource.h"

#include <atomic>
#include <mutex>

namespace tessary {

// A token source for tests: gives what it was last told to and counts the readings.
class FakeClaudeTokenSource final : public ClaudeTokenSource {
public:
    explicit FakeClaudeTokenSource(TokenReading reading = CredentialsProblem::notFound)
        : m_reading(std::move(reading)) {}

    [[nodiscard]] TokenReading readToken() const override {
        m_readings.fetch_add(1);
        const std::lock_guard lock(m_lock);
        return m_reading;
    }

    void set(TokenReading reading) {
        const std::lock_guard lock(m_lock);
        m_reading = std::move(reading);
    }
    [[nodiscard]] int readings() const { return m_readings.load(); }

private:
    mutable std::mutex m_lock;
    TokenReading m_reading;
    mutable std::atomic_int m_readings{0};
};

} // namespace tessary
