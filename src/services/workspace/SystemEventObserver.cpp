#include "services/workspace/SystemEventObserver.h"

#include "platform/systemevents/SystemEventSource.h"

namespace tessary {

SystemEventObserver::SystemEventObserver(SystemEventSource& source, Scheduler& scheduler,
                                         std::function<void()> onEvent, QObject* parent)
    : QObject(parent)
    , m_source(source)
    , m_scheduler(scheduler)
    , m_onEvent(std::move(onEvent)) {}

void SystemEventObserver::start() {
    if (m_running) {
        return;
    }
    m_running = true;
    m_connection = connect(&m_source, &SystemEventSource::occurred, this, [this] { schedule(); });
    m_source.start();
}

void SystemEventObserver::stop() {
    if (!m_running) {
        return;
    }
    m_running = false;
    disconnect(m_connection);
    m_source.stop();
    m_pending.cancel();
}

void SystemEventObserver::schedule() {
    // Replacing the pending call cancels it: a burst gives one call after its last event.
    m_pending = m_scheduler.callAfter(debounceSeconds, [this] {
        if (m_running && m_onEvent) {
            m_onEvent();
        }
    });
}

} // namespace tessary
