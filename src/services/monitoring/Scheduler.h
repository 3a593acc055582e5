#pragma once

#include "core/time/Clock.h"

#include <QDateTime>
#include <QHash>
#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tessary {

// One pending call of a Scheduler. Destroying or cancelling the handle means the callback won't
// run; cancelling a call that has already run does nothing.
class ScheduledCall {
public:
    ScheduledCall() = default;
    explicit ScheduledCall(std::function<void()> cancel)
        : m_cancel(std::move(cancel)) {}
    ~ScheduledCall() { cancel(); }
    ScheduledCall(const ScheduledCall&) = delete;
    ScheduledCall& operator=(const ScheduledCall&) = delete;
    ScheduledCall(ScheduledCall&& other) noexcept;
    ScheduledCall& operator=(ScheduledCall&& other) noexcept;

    void cancel();

private:
    std::function<void()> m_cancel;
};

// The seam for waiting: monitors sleep through a Scheduler so that tests can run their cadence
// rules by moving a ManualClock instead of sleeping. Calls run on the thread that owns the
// scheduler (the main thread), never inside callAfter itself.
class Scheduler {
public:
    using Callback = std::function<void()>;

    Scheduler() = default;
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;
    Scheduler(Scheduler&&) = delete;
    Scheduler& operator=(Scheduler&&) = delete;
    virtual ~Scheduler() = default;

    // Runs `callback` once `seconds` have passed; zero, a negative value or NaN mean "as soon as the
    // event loop turns".
    [[nodiscard]] virtual ScheduledCall callAfter(double seconds, Callback callback) = 0;
};

// Whole milliseconds of a delay in seconds, never negative; NaN counts as zero.
[[nodiscard]] qint64 delayMilliseconds(double seconds);

// Waits on precise Qt timers of the event loop.
class QtScheduler final : public QObject, public Scheduler {
public:
    explicit QtScheduler(QObject* parent = nullptr);
    ~QtScheduler() override;
    QtScheduler(const QtScheduler&) = delete;
    QtScheduler& operator=(const QtScheduler&) = delete;
    QtScheduler(QtScheduler&&) = delete;
    QtScheduler& operator=(QtScheduler&&) = delete;

    [[nodiscard]] ScheduledCall callAfter(double seconds, Callback callback) override;
    [[nodiscard]] int pendingCount() const { return static_cast<int>(m_calls.size()); }

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    struct Pending {
        quint64 serial = 0;
        Callback callback;
    };
    void cancelCall(int timerID, quint64 serial);

    // Keyed by timer id; the serial tells a reused id from the call that once held it.
    QHash<int, Pending> m_calls;
    quint64 m_nextSerial = 1;
};

// A scheduler for tests, tied to a ManualClock: nothing runs until the test moves time, and then
// every call that comes due runs in time order with the clock set to its due time.
class ManualScheduler final : public Scheduler {
public:
    explicit ManualScheduler(ManualClock& clock);

    [[nodiscard]] ScheduledCall callAfter(double seconds, Callback callback) override;

    // Moves the clock forward by `seconds`, running each call as it comes due, including calls that
    // earlier ones schedule within the span.
    void advance(double seconds);
    // Runs what is due now, without moving the clock.
    void runDue() { advance(0); }
    // Moves the clock to the next pending call and runs it with everything else due then. False
    // when nothing is pending.
    bool advanceToNext();

    [[nodiscard]] int pendingCount() const;
    // Seconds from now until the earliest pending call.
    [[nodiscard]] std::optional<double> secondsUntilNext() const;

private:
    struct Entry {
        QDateTime due;
        quint64 order = 0;
        Callback callback;
        bool cancelled = false;
    };
    [[nodiscard]] std::shared_ptr<Entry> earliest() const;
    void runUntil(const QDateTime& target);

    ManualClock& m_clock;
    std::vector<std::shared_ptr<Entry>> m_entries;
    quint64 m_nextOrder = 0;
};

} // namespace tessary
