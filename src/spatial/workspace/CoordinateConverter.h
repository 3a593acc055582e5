#pragma once

#include <QRectF>

#include <functional>

namespace tessary {

// Converts between the global top-left space of the workspace and window systems whose y grows
// upward from the bottom of the main display. Used only where a panel is finally moved.
class CoordinateConverter {
public:
    explicit CoordinateConverter(std::function<double()> mainDisplayHeightProvider);

    // Flips a rectangle's y around the main display's height; the flip is its own inverse.
    [[nodiscard]] QRectF toAppKit(const QRectF& rect) const;
    [[nodiscard]] QRectF toQuartz(const QRectF& rect) const;

private:
    [[nodiscard]] QRectF flipped(const QRectF& rect) const;

    std::function<double()> m_mainDisplayHeightProvider;
};

} // namespace tessary
