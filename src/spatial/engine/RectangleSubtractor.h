#pragma once

#include <QRectF>

#include <vector>

namespace tessary {

// Cuts rectangles out of a rectangle and returns the overlap-free pieces that remain.
//
// Each subtrahend, in order, splits every piece it meets into the full-width band above it, the
// full-width band below it, and the parts left and right of it at its own height, keeping the
// order of the list. Pieces narrower or lower than 1 are dropped, and so is the outer rectangle
// itself when it is that small.
namespace RectangleSubtractor {

std::vector<QRectF> subtract(const std::vector<QRectF>& rectangles, const QRectF& from);

} // namespace RectangleSubtractor

} // namespace tessary
