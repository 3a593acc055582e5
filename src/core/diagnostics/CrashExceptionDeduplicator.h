#pragma once

#include <QDateTime>

#include <mutex>
#include <optional>

namespace tessary {

// Says whether an exception should be written: the same exception object seen again within five seconds
// is not (the terminate path and a caller's own report may both see it). Safe from any thread.
class CrashExceptionDeduplicator {
public:
    static constexpr qint64 windowMilliseconds = 5000;

    // `exception` identifies the object (its address); it is never read.
    bool shouldRecord(const void* exception, const QDateTime& at);

private:
    struct Last {
        const void* exception = nullptr;
        QDateTime at;
    };
    std::mutex m_mutex;
    std::optional<Last> m_last;
};

} // namespace tessary
