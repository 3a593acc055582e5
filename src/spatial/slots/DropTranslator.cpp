#include "spatial/slots/DropTranslator.h"

#include "spatial/slots/SurfaceShapes.h"

#include <algorithm>

namespace tessary {

namespace {

// Where a span of `length` starts for a dropped span: flush with the low or high end when it came
// within `snap` of it, else centered on the dropped span.
double snappedStart(double droppedStart, double droppedEnd, double length, double low, double high,
                    double snap) {
    if (droppedStart - low <= snap) {
        return low;
    }
    if (high - droppedEnd <= snap) {
        return high - length;
    }
    return (droppedStart + droppedEnd) / 2 - length / 2;
}

} // namespace

QRectF DropTranslator::equivalentBubble(const QRectF& frame, const QSizeF& size, const QRectF& visibleFrame) {
    const QRectF f = frame.normalized();
    const QRectF v = visibleFrame.normalized();
    return {snappedStart(f.left(), f.right(), size.width(), v.left(), v.right(), edgeSnap),
            snappedStart(f.top(), f.bottom(), size.height(), v.top(), v.bottom(), edgeSnap), size.width(),
            size.height()};
}

QRectF DropTranslator::snapped(const QRectF& bubble, const SurfaceShape& shape, const QRectF& visibleFrame) {
    const QRectF v = visibleFrame.normalized();
    QRectF result = bubble.normalized();
    for (const Edge edge : anchoredEdges(shape)) {
        switch (edge) {
        case Edge::left:
            result.moveLeft(v.left());
            break;
        case Edge::right:
            result.moveRight(v.right());
            break;
        case Edge::top:
            result.moveTop(v.top());
            break;
        case Edge::bottom:
            result.moveBottom(v.bottom());
            break;
        }
    }
    return result;
}

std::vector<DropTranslator::Position>
DropTranslator::positions(const QRectF& droppedFrame, const QStringList& moduleIDs,
                          const std::optional<Geometry>& geometry) const {
    const auto everyModuleAt = [&moduleIDs](const QRectF& frame) {
        std::vector<Position> same;
        same.reserve(static_cast<std::size_t>(moduleIDs.size()));
        for (const auto& id : moduleIDs) {
            same.push_back({id, frame});
        }
        return same;
    };
    if (moduleIDs.size() < 2 || !geometry) {
        return everyModuleAt(droppedFrame);
    }

    const QRectF& v = geometry->visibleFrame;
    const QSizeF size = geometry->bubblePanelSize;
    const QRectF bubble = equivalentBubble(droppedFrame, size, v);
    const std::vector<QRectF> bubbles(static_cast<std::size_t>(moduleIDs.size()), bubble);
    const double base = std::min(size.width(), size.height());
    const auto groups = allocator.grouped(bubbles, base, geometry->notch, v);

    if (groups.size() == 1) {
        const SurfaceGrouping& form = groups.front().grouping;
        if (const auto* notch = std::get_if<grouping::Notch>(&form)) {
            return everyModuleAt(SurfaceSlotAllocator::dockedFrame(size, notch->area, v));
        }
        if (const auto shape = shapeOf(form); shape && !std::holds_alternative<shape::Circle>(*shape)) {
            return everyModuleAt(snapped(bubble, *shape, v));
        }
        return everyModuleAt(bubble);
    }

    // The bubbles fanned apart (or never fused): each widget takes the frame of its own group.
    std::vector<Position> result;
    result.reserve(static_cast<std::size_t>(moduleIDs.size()));
    for (qsizetype index = 0; index < moduleIDs.size(); ++index) {
        const auto group = std::find_if(groups.begin(), groups.end(), [&](const SurfaceGroup& g) {
            return std::find(g.members.begin(), g.members.end(), index) != g.members.end();
        });
        result.push_back({moduleIDs[index], group != groups.end() ? group->frame : bubble});
    }
    return result;
}

} // namespace tessary
