#pragma once

#include "services/monitoring/CancellationToken.h"
#include "services/monitoring/Scheduler.h"

#include <functional>
#include <memory>

namespace tessary {

// The one timing primitive of the polling monitors: run a step, ask for the pause, sleep, again.
// The first step runs at once. Steps never overlap: a step is asynchronous (it may hand work to
// other threads) and the loop goes on only when the step says it has finished. Main thread only.
class PollingLoop {
public:
    // Called once, on the main thread, when a step is over.
    using Finish = std::function<void()>;
    // A step gets a token raised when the loop stops or restarts, and must call `finish` exactly
    // once, also after cancellation, since the next step waits for it.
    using Step = std::function<void(const CancellationToken& cancellation, Finish finish)>;
    // The pause after a step, in seconds, asked anew before each sleep.
    using Interval = std::function<double()>;

    PollingLoop(Scheduler& scheduler, Interval interval, Step step);
    ~PollingLoop();
    PollingLoop(const PollingLoop&) = delete;
    PollingLoop& operator=(const PollingLoop&) = delete;
    PollingLoop(PollingLoop&&) = delete;
    PollingLoop& operator=(PollingLoop&&) = delete;

    // Cancels a running pass and starts a new one. If a cancelled step is still out, the new
    // pass's first step begins as soon as that one has finished.
    void start();
    // Cancels the sleep and raises the running step's token; no further step begins.
    void stop();

    [[nodiscard]] bool isRunning() const { return m_running; }
    [[nodiscard]] bool isStepRunning() const { return m_stepRunning; }

private:
    void beginStep();
    void stepFinished(quint64 step);

    Scheduler& m_scheduler;
    Interval m_interval;
    Step m_step;
    bool m_running = false;
    bool m_stepRunning = false;
    // Raised by every start and stop; a step of an earlier pass has lost its claim on the loop.
    quint64 m_pass = 0;
    quint64 m_passOfStep = 0;
    // Counts steps, so that a second call of one step's `finish` can't end the next step.
    quint64 m_stepSerial = 0;
    CancellationSource m_cancellation;
    ScheduledCall m_sleep;
    // Lets a late `finish` see that the loop is gone.
    std::shared_ptr<PollingLoop*> m_self;
};

} // namespace tessary
