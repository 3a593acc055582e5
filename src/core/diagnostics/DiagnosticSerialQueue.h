#pragma once

#include <QString>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace tessary {

// One thread that runs tasks one after the other in the order they were queued. The log file's writes run
// here so that no caller waits for the disk.
class DiagnosticSerialQueue {
public:
    // The label names the thread (the system keeps its first 15 bytes).
    explicit DiagnosticSerialQueue(QString label);
    // Runs what was queued, then ends the thread.
    ~DiagnosticSerialQueue();
    DiagnosticSerialQueue(const DiagnosticSerialQueue&) = delete;
    DiagnosticSerialQueue& operator=(const DiagnosticSerialQueue&) = delete;
    DiagnosticSerialQueue(DiagnosticSerialQueue&&) = delete;
    DiagnosticSerialQueue& operator=(DiagnosticSerialQueue&&) = delete;

    [[nodiscard]] const QString& label() const { return m_label; }

    void async(std::function<void()> task);
    // Returns once every task queued before the call has run. On the queue's own thread it returns at once,
    // since waiting there could never end.
    void sync();
    [[nodiscard]] bool isCurrentThread() const;

private:
    void run();

    QString m_label;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_progress;
    std::deque<std::function<void()>> m_tasks;
    std::uint64_t m_queued = 0;
    std::uint64_t m_done = 0;
    bool m_stopping = false;
    std::thread m_thread;
};

} // namespace tessary
