#include "services/monitoring/PollingLoop.h"

namespace tessary {

PollingLoop::PollingLoop(Scheduler& scheduler, Interval interval, Step step)
    : m_scheduler(scheduler)
    , m_interval(std::move(interval))
    , m_step(std::move(step))
    , m_self(std::make_shared<PollingLoop*>(this)) {}

PollingLoop::~PollingLoop() {
    stop();
}

void PollingLoop::start() {
    m_cancellation.cancel();
    m_sleep.cancel();
    ++m_pass;
    m_running = true;
    m_cancellation = CancellationSource();
    if (!m_stepRunning) {
        beginStep();
    }
}

void PollingLoop::stop() {
    m_cancellation.cancel();
    m_sleep.cancel();
    ++m_pass;
    m_running = false;
}

void PollingLoop::beginStep() {
    m_stepRunning = true;
    m_passOfStep = m_pass;
    ++m_stepSerial;
    Finish finish = [self = std::weak_ptr<PollingLoop*>(m_self), step = m_stepSerial] {
        if (const auto loop = self.lock()) {
            (*loop)->stepFinished(step);
        }
    };
    // The step may finish before it returns; stepFinished copes with that.
    m_step(m_cancellation.token(), std::move(finish));
}

void PollingLoop::stepFinished(quint64 step) {
    if (!m_stepRunning || step != m_stepSerial) {
        return; // a second call of the same finish
    }
    m_stepRunning = false;
    if (!m_running) {
        return;
    }
    if (m_passOfStep != m_pass) {
        // Restarted while this step was out: the new pass begins now, with no sleep.
        beginStep();
        return;
    }
    const double pause = m_interval ? m_interval() : 0;
    m_sleep = m_scheduler.callAfter(pause, [this, pass = m_pass] {
        if (m_running && pass == m_pass && !m_stepRunning) {
            beginStep();
        }
    });
}

} // namespace tessary
