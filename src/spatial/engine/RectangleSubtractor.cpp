#include "spatial/engine/RectangleSubtractor.h"

#include <algorithm>

namespace tessary {

namespace {

// Pieces are kept by their edges while cutting: the overlap test on every piece for every window
// is the hot loop of a plan, and edges spare it the additions of x + width.
struct Box {
    double left;
    double top;
    double right;
    double bottom;

    static Box of(const QRectF& rectangle) {
        const QRectF r = rectangle.normalized();
        return {r.left(), r.top(), r.right(), r.bottom()};
    }
    [[nodiscard]] bool isLargeEnough() const { return right - left >= 1 && bottom - top >= 1; }
    [[nodiscard]] QRectF rectangle() const { return {left, top, right - left, bottom - top}; }
};

void appendIfLargeEnough(std::vector<Box>& pieces, const Box& piece) {
    if (piece.isLargeEnough()) {
        pieces.push_back(piece);
    }
}

} // namespace

std::vector<QRectF> RectangleSubtractor::subtract(const std::vector<QRectF>& rectangles, const QRectF& from) {
    std::vector<Box> pieces{Box::of(from)};
    std::vector<Box> next;
    pieces.reserve(32);
    next.reserve(32);
    for (const QRectF& rectangle : rectangles) {
        const Box cutter = Box::of(rectangle);
        // Untouched pieces are copied over in runs; only the pieces the cutter meets are split.
        next.clear();
        auto runStart = pieces.cbegin();
        for (auto piece = pieces.cbegin(); piece != pieces.cend(); ++piece) {
            const Box cut{std::max(piece->left, cutter.left), std::max(piece->top, cutter.top),
                          std::min(piece->right, cutter.right), std::min(piece->bottom, cutter.bottom)};
            // Written so that a NaN edge counts as no overlap.
            if (!(cut.left < cut.right) || !(cut.top < cut.bottom)) {
                continue;
            }
            next.insert(next.end(), runStart, piece);
            runStart = piece + 1;
            appendIfLargeEnough(next, {piece->left, piece->top, piece->right, cut.top});
            appendIfLargeEnough(next, {piece->left, cut.bottom, piece->right, piece->bottom});
            appendIfLargeEnough(next, {piece->left, cut.top, cut.left, cut.bottom});
            appendIfLargeEnough(next, {cut.right, cut.top, piece->right, cut.bottom});
        }
        if (runStart == pieces.cbegin()) {
            continue; // the cutter met nothing
        }
        next.insert(next.end(), runStart, pieces.cend());
        pieces.swap(next);
        if (pieces.empty()) {
            break;
        }
    }

    std::vector<QRectF> result;
    result.reserve(pieces.size());
    for (const Box& piece : pieces) {
        if (piece.isLargeEnough()) {
            result.push_back(piece.rectangle());
        }
    }
    return result;
}

} // namespace tessary
