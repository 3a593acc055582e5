#include "surfaces/form/SpringCurve.h"

#include <cmath>
#include <numbers>

namespace tessary {

SpringCurve::SpringCurve(SpringTiming timing)
    : m_omega(timing.response > 0 ? 2 * std::numbers::pi / timing.response : 0)
    , m_damping(timing.dampingFraction)
    , m_jumps(!(std::isfinite(timing.response) && timing.response > 0 &&
                std::isfinite(timing.dampingFraction) && timing.dampingFraction > 0)) {}

double SpringCurve::remaining(double seconds) const {
    const double w = m_omega;
    const double z = m_damping;
    const double t = seconds;
    if (z < 1) {
        const double wd = w * std::sqrt(1 - z * z);
        return std::exp(-z * w * t) * (std::cos(wd * t) + z * w / wd * std::sin(wd * t));
    }
    if (z == 1) {
        return std::exp(-w * t) * (1 + w * t);
    }
    const double root = std::sqrt(z * z - 1);
    const double r1 = -w * (z - root); // the slow root
    const double r2 = -w * (z + root);
    return (r2 * std::exp(r1 * t) - r1 * std::exp(r2 * t)) / (r2 - r1);
}

double SpringCurve::value(double seconds) const {
    if (m_jumps) {
        return 1;
    }
    if (!(seconds > 0)) {
        return 0;
    }
    return 1 - remaining(seconds);
}

double SpringCurve::settlingDuration(double tolerance) const {
    if (m_jumps || !(tolerance > 0 && tolerance < 1)) {
        return 0;
    }
    if (m_damping < 1) {
        // The oscillation stays under its envelope, which shrinks exponentially.
        const double wd = m_omega * std::sqrt(1 - m_damping * m_damping);
        const double amplitude = std::hypot(1.0, m_damping * m_omega / wd);
        return std::log(amplitude / tolerance) / (m_damping * m_omega);
    }
    // Without overshoot the remainder falls monotonically: bisect for where it meets the tolerance.
    double low = 0;
    double high = 1 / m_omega;
    while (remaining(high) > tolerance && high < 1e6) {
        high *= 2;
    }
    for (int step = 0; step < 60; ++step) {
        const double middle = (low + high) / 2;
        (remaining(middle) > tolerance ? low : high) = middle;
    }
    return high;
}

} // namespace tessary
