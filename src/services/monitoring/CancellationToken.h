#pragma once

#include <atomic>
#include <memory>

namespace tessary {

// A flag raised when the work it was handed to is no longer wanted. Read from any thread; work
// that sees it raised should return soon and its result is thrown away.
class CancellationToken {
public:
    CancellationToken() = default;

    [[nodiscard]] bool isCancelled() const { return m_flag && m_flag->load(std::memory_order_acquire); }

private:
    friend class CancellationSource;
    explicit CancellationToken(std::shared_ptr<std::atomic_bool> flag)
        : m_flag(std::move(flag)) {}

    std::shared_ptr<std::atomic_bool> m_flag;
};

// Hands out tokens and raises them all at once.
class CancellationSource {
public:
    CancellationSource()
        : m_flag(std::make_shared<std::atomic_bool>(false)) {}

    [[nodiscard]] CancellationToken token() const { return CancellationToken(m_flag); }
    void cancel() { m_flag->store(true, std::memory_order_release); }
    [[nodiscard]] bool isCancelled() const { return m_flag->load(std::memory_order_acquire); }

private:
    std::shared_ptr<std::atomic_bool> m_flag;
};

} // namespace tessary
