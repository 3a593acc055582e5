#pragma once

// A damped spring as an easing: how far a value has gone from its start (0) to its target (1)
// after some seconds, for a spring given by its response (the period of the undamped spring) and
// its damping fraction (1 is critically damped: no overshoot; below 1 it overshoots and settles).

namespace tessary {

struct SpringTiming {
    double response = 0.42;        // seconds
    double dampingFraction = 0.74; // 0 < d; 1 is critical

    bool operator==(const SpringTiming&) const = default;

    // Opening on hover: lively, with a small overshoot.
    static constexpr SpringTiming hoverIn() { return {0.42, 0.74}; }
    // Closing: quicker and without overshoot.
    static constexpr SpringTiming hoverOut() { return {0.28, 1.0}; }
};

class SpringCurve {
public:
    explicit SpringCurve(SpringTiming timing);

    // Progress after `seconds`: 0 at the start, approaching 1; above 1 while it overshoots.
    // A spring without a usable response jumps to 1 at once.
    [[nodiscard]] double value(double seconds) const;
    // The time after which the progress stays within `tolerance` of 1 for good: how long to run
    // the animation. 0 for a spring that jumps.
    [[nodiscard]] double settlingDuration(double tolerance = 0.001) const;

private:
    [[nodiscard]] double remaining(double seconds) const;

    double m_omega = 0;   // natural angular frequency
    double m_damping = 1; // damping fraction
    bool m_jumps = false;
};

} // namespace tessary
