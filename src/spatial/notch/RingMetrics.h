#pragma once

// Sizes of the rings that fused widgets form in a screen corner: concentric quarter bands around
// the corner, one band per widget, the first one innermost.

#include "core/records/SurfaceRecords.h"

namespace tessary {

struct RingMetrics {
    struct Radii {
        double inner = 0;
        double outer = 0;
        bool operator==(const Radii&) const = default;
    };

    Corner corner = Corner::topRight;
    int bandCount = 1;
    double base = 0; // the side of one bubble

    bool operator==(const RingMetrics&) const = default;

    // Radii of band `band`, measured from the corner.
    [[nodiscard]] Radii radii(int band, bool isExpanded) const;
    // Between closed and open, by an expansion of 0...1 (clamped).
    [[nodiscard]] Radii radii(int band, double expansion) const;

    // The side of the square in the corner that all bands fill: the outer radius of the last band
    // (the innermost radius alone when there is no band).
    [[nodiscard]] double side(bool isExpanded) const;
    [[nodiscard]] double side(double expansion) const;
};

} // namespace tessary
