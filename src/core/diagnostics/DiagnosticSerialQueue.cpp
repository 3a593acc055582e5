#include "core/diagnostics/DiagnosticSerialQueue.h"

#include <pthread.h>

namespace tessary {

namespace {

void nameCurrentThread(const QString& label) {
#if defined(__APPLE__)
    pthread_setname_np(label.toUtf8().constData());
#elif defined(__linux__)
    // Linux keeps 15 bytes and refuses a longer name outright; cut it here.
    pthread_setname_np(pthread_self(), label.toUtf8().left(15).constData());
#else
    Q_UNUSED(label);
#endif
}

} // namespace

DiagnosticSerialQueue::DiagnosticSerialQueue(QString label)
    : m_label(std::move(label))
    , m_thread([this] { run(); }) {}

DiagnosticSerialQueue::~DiagnosticSerialQueue() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

void DiagnosticSerialQueue::async(std::function<void()> task) {
    {
        const std::lock_guard lock(m_mutex);
        m_tasks.push_back(std::move(task));
        ++m_queued;
    }
    m_wake.notify_one();
}

void DiagnosticSerialQueue::sync() {
    if (isCurrentThread()) {
        return;
    }
    std::unique_lock lock(m_mutex);
    const std::uint64_t target = m_queued;
    m_progress.wait(lock, [&] { return m_done >= target; });
}

bool DiagnosticSerialQueue::isCurrentThread() const {
    return std::this_thread::get_id() == m_thread.get_id();
}

void DiagnosticSerialQueue::run() {
    nameCurrentThread(m_label);
    std::unique_lock lock(m_mutex);
    while (true) {
        m_wake.wait(lock, [&] { return m_stopping || !m_tasks.empty(); });
        if (m_tasks.empty()) {
            return; // stopping, and nothing is left to run
        }
        std::function<void()> task = std::move(m_tasks.front());
        m_tasks.pop_front();
        lock.unlock();
        task();
        task = nullptr; // what the task held goes before the queue moves on
        lock.lock();
        ++m_done;
        m_progress.notify_all();
    }
}

} // namespace tessary
