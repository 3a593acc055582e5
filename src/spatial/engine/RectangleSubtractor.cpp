#include "spatial/engine/RectangleSubtractor.h"

#include "spatial/engine/SpatialGeometry.h"

#include <algorithm>

namespace tessary {

namespace {

bool isLargeEnough(const QRectF& piece) {
    return piece.width() >= 1 && piece.height() >= 1;
}

void appendIfLargeEnough(std::vector<QRectF>& pieces, const QRectF& piece) {
    if (isLargeEnough(piece)) {
        pieces.push_back(piece);
    }
}

} // namespace

void RectangleSubtractor::subtract(const std::vector<QRectF>& rectangles, const QRectF& from,
                                   std::vector<QRectF>& pieces, std::vector<QRectF>& scratch) {
    pieces.clear();
    pieces.push_back(from.normalized());
    for (const QRectF& rectangle : rectangles) {
        const QRectF subtrahend = rectangle.normalized();
        scratch.clear();
        for (const QRectF& piece : pieces) {
            const QRectF cut = spatial::intersection(piece, subtrahend);
            if (cut.isEmpty()) {
                scratch.push_back(piece);
                continue;
            }
            appendIfLargeEnough(scratch,
                                QRectF(piece.left(), piece.top(), piece.width(), cut.top() - piece.top()));
            appendIfLargeEnough(
                scratch, QRectF(piece.left(), cut.bottom(), piece.width(), piece.bottom() - cut.bottom()));
            appendIfLargeEnough(scratch,
                                QRectF(piece.left(), cut.top(), cut.left() - piece.left(), cut.height()));
            appendIfLargeEnough(scratch,
                                QRectF(cut.right(), cut.top(), piece.right() - cut.right(), cut.height()));
        }
        pieces.swap(scratch);
        if (pieces.empty()) {
            break;
        }
    }
    pieces.erase(std::remove_if(pieces.begin(), pieces.end(),
                                [](const QRectF& piece) { return !isLargeEnough(piece); }),
                 pieces.end());
}

std::vector<QRectF> RectangleSubtractor::subtract(const std::vector<QRectF>& rectangles, const QRectF& from) {
    std::vector<QRectF> pieces;
    std::vector<QRectF> scratch;
    subtract(rectangles, from, pieces, scratch);
    return pieces;
}

} // namespace tessary
