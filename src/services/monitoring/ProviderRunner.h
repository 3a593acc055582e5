#pragma once

#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

#include <type_traits>
#include <utility>

namespace tessary {

// Runs the slow work of monitors (files, child processes, network) on a pool of worker threads
// and hands each result back to the main thread. The main thread never waits for the work,
// except in the destructor at the end of the process.
//
// The runner is the context of every continuation, so it must outlive all work it started: its
// destructor drops what hasn't started and waits for what has. Make it before the monitors and
// destroy it after them; stopping the monitors first raises their cancellation tokens so that the
// wait is short.
class ProviderRunner final : public QObject {
public:
    static constexpr int defaultThreadCount = 6;

    explicit ProviderRunner(int maximumThreads = defaultThreadCount, QObject* parent = nullptr);
    ~ProviderRunner() override;
    ProviderRunner(const ProviderRunner&) = delete;
    ProviderRunner& operator=(const ProviderRunner&) = delete;
    ProviderRunner(ProviderRunner&&) = delete;
    ProviderRunner& operator=(ProviderRunner&&) = delete;

    // Calls `work()` on a worker thread, then `deliver(result)` on the runner's thread, but only if
    // `receiver` still exists then. `work` must not throw and must not touch main-thread objects.
    template <typename Work, typename Deliver>
    void run(QObject* receiver, Work work, Deliver deliver) {
        using Result = std::invoke_result_t<Work&>;
        static_assert(!std::is_void_v<Result>, "a provider gives a result");
        QtConcurrent::run(&m_pool, std::move(work))
            .then(this, [receiver = QPointer<QObject>(receiver),
                         deliver = std::move(deliver)](Result result) mutable {
                if (receiver) {
                    deliver(std::move(result));
                }
            });
    }

    // For tests and shutdown: waits until no work is left, at most `milliseconds`.
    bool waitForIdle(int milliseconds) { return m_pool.waitForDone(milliseconds); }

private:
    QThreadPool m_pool;
};

} // namespace tessary
