#include "services/monitoring/Scheduler.h"

#include <QPointer>
#include <QTimerEvent>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace tessary {

ScheduledCall::ScheduledCall(ScheduledCall&& other) noexcept
    : m_cancel(std::exchange(other.m_cancel, {})) {}

ScheduledCall& ScheduledCall::operator=(ScheduledCall&& other) noexcept {
    if (this != &other) {
        cancel();
        m_cancel = std::exchange(other.m_cancel, {});
    }
    return *this;
}

void ScheduledCall::cancel() {
    if (auto cancel = std::exchange(m_cancel, {})) {
        cancel();
    }
}

qint64 delayMilliseconds(double seconds) {
    if (std::isnan(seconds) || seconds <= 0) {
        return 0;
    }
    // A Qt timer takes an int of milliseconds: about 24 days is the longest wait.
    constexpr double longest = std::numeric_limits<int>::max();
    return std::llround(std::min(seconds * 1000.0, longest));
}

QtScheduler::QtScheduler(QObject* parent)
    : QObject(parent) {}

QtScheduler::~QtScheduler() = default;

ScheduledCall QtScheduler::callAfter(double seconds, Callback callback) {
    const int timerID = startTimer(std::chrono::milliseconds(delayMilliseconds(seconds)), Qt::PreciseTimer);
    if (timerID == 0) {
        qWarning("QtScheduler: no timer could be started");
        return {};
    }
    const quint64 serial = m_nextSerial++;
    m_calls.insert(timerID, Pending{serial, std::move(callback)});
    return ScheduledCall([scheduler = QPointer<QtScheduler>(this), timerID, serial] {
        if (scheduler) {
            scheduler->cancelCall(timerID, serial);
        }
    });
}

void QtScheduler::cancelCall(int timerID, quint64 serial) {
    const auto found = m_calls.constFind(timerID);
    if (found == m_calls.cend() || found->serial != serial) {
        return;
    }
    killTimer(timerID);
    m_calls.erase(found);
}

void QtScheduler::timerEvent(QTimerEvent* event) {
    const int timerID = event->timerId();
    killTimer(timerID);
    const auto found = m_calls.find(timerID);
    if (found == m_calls.end()) {
        return;
    }
    Callback callback = std::move(found->callback);
    m_calls.erase(found);
    callback();
}

ManualScheduler::ManualScheduler(ManualClock& clock)
    : m_clock(clock) {}

ScheduledCall ManualScheduler::callAfter(double seconds, Callback callback) {
    auto entry = std::make_shared<Entry>();
    entry->due = m_clock.now().addMSecs(delayMilliseconds(seconds));
    entry->order = m_nextOrder++;
    entry->callback = std::move(callback);
    m_entries.push_back(entry);
    return ScheduledCall([weak = std::weak_ptr<Entry>(entry)] {
        if (const auto held = weak.lock()) {
            held->cancelled = true;
        }
    });
}

std::shared_ptr<ManualScheduler::Entry> ManualScheduler::earliest() const {
    std::shared_ptr<Entry> best;
    for (const auto& entry : m_entries) {
        if (entry->cancelled) {
            continue;
        }
        if (!best || entry->due < best->due || (entry->due == best->due && entry->order < best->order)) {
            best = entry;
        }
    }
    return best;
}

void ManualScheduler::runUntil(const QDateTime& target) {
    while (true) {
        const auto next = earliest();
        if (!next || next->due > target) {
            break;
        }
        if (next->due > m_clock.now()) {
            m_clock.set(next->due);
        }
        std::erase(m_entries, next);
        next->cancelled = true;
        Callback callback = std::move(next->callback);
        callback();
    }
    std::erase_if(m_entries, [](const auto& entry) { return entry->cancelled; });
    if (target > m_clock.now()) {
        m_clock.set(target);
    }
}

void ManualScheduler::advance(double seconds) {
    runUntil(m_clock.now().addMSecs(delayMilliseconds(seconds)));
}

bool ManualScheduler::advanceToNext() {
    const auto next = earliest();
    if (!next) {
        return false;
    }
    runUntil(std::max(next->due, m_clock.now()));
    return true;
}

int ManualScheduler::pendingCount() const {
    return static_cast<int>(std::count_if(m_entries.cbegin(), m_entries.cend(),
                                          [](const auto& entry) { return !entry->cancelled; }));
}

std::optional<double> ManualScheduler::secondsUntilNext() const {
    const auto next = earliest();
    if (!next) {
        return std::nullopt;
    }
    return std::max(0.0, secondsBetween(m_clock.now(), next->due));
}

} // namespace tessary
