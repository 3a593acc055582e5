#pragma once

// The speed of a drag at the moment of release, from the pointer positions of its last moments.

#include <QPointF>

#include <deque>

namespace tessary {

class ReleaseVelocity {
public:
    // Only the positions of this many seconds before the release count.
    static constexpr double window = 0.1;

    void clear() { m_samples.clear(); }
    // A position of the pointer at `seconds` on a monotonic clock; older samples are dropped.
    void add(const QPointF& point, double seconds);
    // Points per second at a release at `seconds`: from the first to the last position within the
    // window (reaching back to one position before it when the window holds only one). Zero when
    // the pointer rested for the whole window, or there is nothing to measure.
    [[nodiscard]] QPointF at(double seconds) const;
    [[nodiscard]] std::size_t sampleCount() const { return m_samples.size(); }

private:
    struct Sample {
        QPointF point;
        double seconds = 0;
    };
    std::deque<Sample> m_samples;
};

} // namespace tessary
