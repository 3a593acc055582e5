#include "surfaces/form/ReleaseVelocity.h"

#include <cmath>

namespace tessary {

namespace {

// Closer samples than this give no usable speed (a burst of events in one frame).
constexpr double shortestSpan = 0.008;
// Samples kept beyond the window, so that one before it is at hand.
constexpr double retention = 3 * ReleaseVelocity::window;

} // namespace

void ReleaseVelocity::add(const QPointF& point, double seconds) {
    if (!std::isfinite(seconds) || !std::isfinite(point.x()) || !std::isfinite(point.y())) {
        return;
    }
    if (!m_samples.empty() && seconds < m_samples.back().seconds) {
        m_samples.clear(); // the clock went backwards: start over rather than divide by nonsense
    }
    m_samples.push_back({point, seconds});
    while (m_samples.size() > 2 && m_samples.front().seconds < seconds - retention) {
        m_samples.pop_front();
    }
}

QPointF ReleaseVelocity::at(double seconds) const {
    if (m_samples.size() < 2) {
        return {};
    }
    const Sample& last = m_samples.back();
    if (seconds - last.seconds > window) {
        return {}; // held still before letting go
    }
    const double start = seconds - window;
    std::size_t first = m_samples.size() - 1;
    while (first > 0 && m_samples[first - 1].seconds >= start) {
        --first;
    }
    if (first == m_samples.size() - 1 && first > 0) {
        --first;
    }
    const Sample& from = m_samples[first];
    const double span = last.seconds - from.seconds;
    if (span < shortestSpan) {
        return {};
    }
    return (last.point - from.point) / span;
}

} // namespace tessary
