#pragma once

#include "core/diagnostics/DiagnosticFailureTracker.h"
#include "core/diagnostics/DiagnosticLogger.h"
#include "services/monitoring/CancellationToken.h"
#include "services/monitoring/PollingLoop.h"
#include "services/monitoring/ProviderResult.h"
#include "services/monitoring/ProviderRunner.h"
#include "services/monitoring/Scheduler.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>
#include <variant>

namespace tessary {

// How often a monitor reads, in seconds: normally, and while it retries after a failure.
struct MonitorPeriods {
    double interval = 0;
    double retryInterval = 0;
    bool operator==(const MonitorPeriods&) const = default;
};

namespace MonitorPeriod {
inline constexpr MonitorPeriods claudeUsage{120, 10};
inline constexpr MonitorPeriods codexUsage{90, 10};
inline constexpr MonitorPeriods antigravityUsage{300, 10};
inline constexpr MonitorPeriods claudeSessions{45, 5};
inline constexpr MonitorPeriods codexSessions{120, 5};
inline constexpr MonitorPeriods antigravitySessions{45, 5};
} // namespace MonitorPeriod

// What every polling monitor is built on.
struct MonitorServices {
    Scheduler& scheduler;
    ProviderRunner& runner;
    // Where the monitor's lines go; the process's diagnostic log when null.
    DiagnosticLogger* logger = nullptr;
};

// A main-thread object that paces one provider with a PollingLoop: it runs the provider on the
// runner's threads, takes the result back on the main thread, keeps the "retrying" state that picks
// the shorter period, logs a failure once per kind, and calls `onUpdate` when its store changed.
// Subclasses say what one reading does with the result. Lines go to the category "monitor", with
// the monitor's name in the field "monitor": "start", "stop", "failed" (with "error", the kind),
// "recovered", and "empty.retrying" for a session list set aside.
class PolledMonitor : public QObject {
public:
    using OnUpdate = std::function<void()>;

    ~PolledMonitor() override;
    PolledMonitor(const PolledMonitor&) = delete;
    PolledMonitor& operator=(const PolledMonitor&) = delete;
    PolledMonitor(PolledMonitor&&) = delete;
    PolledMonitor& operator=(PolledMonitor&&) = delete;

    // Logs "start" and (re)starts the loop; the first reading begins at once.
    void start();
    // Logs "stop" if running and stops the loop; a reading that is out is cancelled and its result
    // dropped.
    void stop();

    [[nodiscard]] DiagnosticLiteral name() const { return m_name; }
    [[nodiscard]] bool isRunning() const { return m_loop.isRunning(); }
    [[nodiscard]] bool isReading() const { return m_loop.isStepRunning(); }
    [[nodiscard]] bool isRetrying() const { return m_retrying; }
    [[nodiscard]] const MonitorPeriods& periods() const { return m_periods; }
    // The pause that follows the current reading.
    [[nodiscard]] double currentInterval() const {
        return m_retrying ? m_periods.retryInterval : m_periods.interval;
    }

protected:
    // `name` is a fixed name such as "claudeUsage", written in every line the monitor logs.
    PolledMonitor(DiagnosticLiteral name, MonitorPeriods periods, MonitorServices services,
                  OnUpdate onUpdate);

    // One reading: must call `finish` exactly once, on the main thread, even when cancelled.
    virtual void read(const CancellationToken& cancellation, PollingLoop::Finish finish) = 0;

    // Runs `provider` on a worker thread, gives its result to `handle` on the main thread unless the
    // reading was cancelled by then, and finishes the reading. A provider that throws gives a
    // failure. Nothing is delivered once the monitor is gone.
    template <typename Value, typename Handle>
    void readProvider(const Provider<Value>& provider, const CancellationToken& cancellation,
                      PollingLoop::Finish finish, Handle handle) {
        m_runner.run(
            this,
            [provider, cancellation]() -> ProviderResult<Value> {
                try {
                    return provider(cancellation);
                } catch (...) {
                    return unexpectedFailure();
                }
            },
            [cancellation, finish = std::move(finish),
             handle = std::move(handle)](ProviderResult<Value> result) mutable {
                if (!cancellation.isCancelled()) {
                    handle(std::move(result));
                }
                finish();
            });
    }

    // The usual end of a reading, for a store that keeps the latest value and the text of the latest
    // failure: a value goes to `keep`, a failure's text to the store; both ring `onUpdate`. A
    // cancelled reading changes nothing.
    template <typename Value, typename Store, typename Keep>
    void settleReading(ProviderResult<Value> result, Store& store, Keep keep) {
        if (auto* value = std::get_if<Value>(&result)) {
            keep(std::move(*value));
            noteSuccess();
            notifyUpdate();
            return;
        }
        const auto& failure = std::get<ProviderFailure>(result);
        if (failure.isCancellation) {
            return;
        }
        store.updateErrorDescription(failure.userText);
        noteFailure(failure);
        notifyUpdate();
    }

    void setRetrying(bool retrying) { m_retrying = retrying; }
    // A failure that isn't a cancellation: retry sooner, and log it if its kind is new.
    void noteFailure(const ProviderFailure& failure);
    // A good reading: back to the normal period, and "recovered" if a failure was in force.
    void noteSuccess();
    void logEmptyReading() const;
    void logRecovered() const;
    void notifyUpdate() const;

private:
    static ProviderFailure unexpectedFailure();

    void log(DiagnosticLevel level, DiagnosticLiteral event) const;

    DiagnosticLiteral m_name;
    MonitorPeriods m_periods;
    ProviderRunner& m_runner;
    DiagnosticLogger& m_logger;
    OnUpdate m_onUpdate;
    bool m_retrying = false;
    DiagnosticFailureTracker m_failures;
    PollingLoop m_loop;
};

} // namespace tessary
