#pragma once

#include "services/monitoring/Scheduler.h"

#include <QObject>

#include <functional>

namespace tessary {

class SystemEventSource;

// Turns the system's changes (activation, desktop switch, wake, screen layout) into one call,
// 0.1 seconds after the last change of a burst.
class SystemEventObserver final : public QObject {
    Q_OBJECT
public:
    static constexpr double debounceSeconds = 0.1;

    SystemEventObserver(SystemEventSource& source, Scheduler& scheduler, std::function<void()> onEvent,
                        QObject* parent = nullptr);

    void start();
    void stop();
    [[nodiscard]] bool isRunning() const { return m_running; }

private:
    void schedule();

    SystemEventSource& m_source;
    Scheduler& m_scheduler;
    std::function<void()> m_onEvent;
    ScheduledCall m_pending;
    QMetaObject::Connection m_connection;
    bool m_running = false;
};

} // namespace tessary
