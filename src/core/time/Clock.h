#pragma once

#include <QDateTime>

namespace tessary {

// The seam for "now": services take a Clock so that tests can move time by hand.
class Clock {
public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    Clock(Clock&&) = delete;
    Clock& operator=(Clock&&) = delete;
    virtual ~Clock() = default;

    // Wall-clock time in UTC.
    [[nodiscard]] virtual QDateTime now() const = 0;
};

class SystemClock final : public Clock {
public:
    [[nodiscard]] QDateTime now() const override { return QDateTime::currentDateTimeUtc(); }
};

// A clock that stands still until told to move; for tests.
class ManualClock final : public Clock {
public:
    explicit ManualClock(QDateTime start = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC))
        : m_now(std::move(start)) {}
    [[nodiscard]] QDateTime now() const override { return m_now; }
    void advance(double seconds) { m_now = m_now.addMSecs(static_cast<qint64>(seconds * 1000)); }
    void set(QDateTime time) { m_now = std::move(time); }

private:
    QDateTime m_now;
};

// A date before anything the program will meet; stands for "never" where a date is needed.
inline QDateTime distantPast() {
    return {QDate(1, 1, 1), QTime(0, 0), Qt::UTC};
}

// Seconds from `from` to `to`, as the floating-point durations used throughout.
inline double secondsBetween(const QDateTime& from, const QDateTime& to) {
    return static_cast<double>(from.msecsTo(to)) / 1000.0;
}

} // namespace tessary
