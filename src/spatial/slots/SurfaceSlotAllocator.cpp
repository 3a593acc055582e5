#include "spatial/slots/SurfaceSlotAllocator.h"

#include "spatial/engine/SpatialGeometry.h"
#include "spatial/notch/CapsuleMetrics.h"
#include "spatial/notch/NotchMetrics.h"
#include "spatial/notch/RingMetrics.h"
#include "spatial/slots/SlotGeometry.h"
#include "spatial/slots/SurfaceShapes.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tessary {

namespace {

using slotgeometry::clampedStart;
using slotgeometry::keptInside;
using slotgeometry::unionOf;

constexpr int slotCount = 4;

struct EdgeDistance {
    Edge edge;
    double distance;
};

// The edges of the visible frame that `cluster` comes within reach of, nearest first; a cluster
// past an edge counts as nearer than one flush with it. Ties keep the order left, right, top, bottom.
std::vector<EdgeDistance> touchedEdges(const QRectF& cluster, const QRectF& visibleFrame) {
    const std::vector<EdgeDistance> all{
        {Edge::left, cluster.left() - visibleFrame.left()},
        {Edge::right, visibleFrame.right() - cluster.right()},
        {Edge::top, cluster.top() - visibleFrame.top()},
        {Edge::bottom, visibleFrame.bottom() - cluster.bottom()},
    };
    std::vector<EdgeDistance> touched;
    std::copy_if(all.begin(), all.end(), std::back_inserter(touched),
                 [](const EdgeDistance& e) { return e.distance <= SurfaceSlotAllocator::edgeReach; });
    std::stable_sort(touched.begin(), touched.end(),
                     [](const EdgeDistance& a, const EdgeDistance& b) { return a.distance < b.distance; });
    return touched;
}

std::optional<Edge> firstEdge(const std::vector<EdgeDistance>& touched, bool vertical) {
    for (const auto& e : touched) {
        if (isVertical(e.edge) == vertical) {
            return e.edge;
        }
    }
    return std::nullopt;
}

// Whether two reaches overlap. A frame with a coordinate that isn't finite stands alone: NaN would
// otherwise compare its way into a cluster from one side and not from the other.
bool overlaps(const QRectF& a, const QRectF& b) {
    return spatial::isFinite(a) && spatial::isFinite(b) && !spatial::intersection(a, b).isEmpty();
}

} // namespace

SurfaceSlotAllocator::Slot SurfaceSlotAllocator::slot(int index) {
    return static_cast<Slot>(std::clamp(index, 0, slotCount - 1));
}

QRectF SurfaceSlotAllocator::defaultFrame(int index, const QSizeF& size, const QRectF& visibleFrame) const {
    const QRectF v = visibleFrame.normalized();
    const Slot s = slot(index);
    const bool right = s == Slot::topRight || s == Slot::bottomRight;
    const bool top = s == Slot::topRight || s == Slot::topLeft;
    const double x = right ? v.right() - size.width() : v.left();
    double y = top ? v.top() : v.bottom() - size.height();
    if (index >= slotCount) {
        y = std::min(y + (size.height() + gap) * (index - (slotCount - 1)), v.bottom() - size.height());
    }
    return {x, y, size.width(), size.height()};
}

QRectF SurfaceSlotAllocator::dockedFrame(const QSizeF& size, const QRectF& notch,
                                         const QRectF& visibleFrame) {
    const QRectF n = notch.normalized();
    return {n.center().x() - size.width() / 2, visibleFrame.normalized().top(), size.width(), size.height()};
}

QRectF SurfaceSlotAllocator::automaticFrame(const QSizeF& size, const DisplaySnapshot& display,
                                            const std::optional<SurfacePlacement>& freeSpot) const {
    const QRectF v = display.visibleFrame.normalized();
    if (display.keepsNotchBand() || (freeSpot && freeSpot->kind == SurfaceKind::topIsland)) {
        return dockedFrame(size, display.effectiveNotchFrame(), v);
    }
    if (!freeSpot) {
        return defaultFrame(0, size, v);
    }
    const QRectF spot = freeSpot->frame.normalized();
    const double y = clampedStart(spot.center().y() - size.height() / 2, size.height(), v.top(), v.bottom());
    switch (freeSpot->kind) {
    case SurfaceKind::leftRail:
        return {v.left(), y, size.width(), size.height()};
    case SurfaceKind::rightRail:
        return {v.right() - size.width(), y, size.width(), size.height()};
    case SurfaceKind::floatingChip:
    case SurfaceKind::topIsland:
        break;
    }
    return keptInside(QRectF(spot.center().x() - size.width() / 2, y, size.width(), size.height()), v);
}

std::vector<QRectF>
SurfaceSlotAllocator::requestedFrames(const std::vector<std::optional<QRectF>>& saved, const QSizeF& size,
                                      PlacementMode mode, const DisplaySnapshot& display,
                                      const std::optional<SurfacePlacement>& freeSpot) const {
    std::vector<QRectF> frames;
    frames.reserve(saved.size());
    const QRectF automatic = automaticFrame(size, display, freeSpot);
    for (std::size_t index = 0; index < saved.size(); ++index) {
        if (saved[index]) {
            frames.push_back(*saved[index]);
        } else if (mode == PlacementMode::automatic) {
            frames.push_back(automatic);
        } else {
            frames.push_back(defaultFrame(static_cast<int>(index), size, display.visibleFrame));
        }
    }
    return frames;
}

QRectF SurfaceSlotAllocator::drawnPart(const QRectF& frame) const {
    const QRectF f = frame.normalized();
    const double margin = (1 - visibleFootprint) / 2;
    const double dx = f.width() * margin;
    const double dy = f.height() * margin;
    return f.adjusted(dx, dy, -dx, -dy);
}

QRectF SurfaceSlotAllocator::reach(const QRectF& frame) const {
    const double margin = gap / 2;
    return drawnPart(frame).adjusted(-margin, -margin, margin, margin);
}

bool SurfaceSlotAllocator::touches(const QRectF& a, const QRectF& b) const {
    return overlaps(reach(a), reach(b));
}

std::vector<std::vector<int>> SurfaceSlotAllocator::clusters(const std::vector<QRectF>& frames) const {
    const std::size_t count = frames.size();
    std::vector<QRectF> reaches;
    reaches.reserve(count);
    for (const auto& frame : frames) {
        reaches.push_back(reach(frame));
    }
    std::vector<bool> taken(count, false);
    std::vector<std::vector<int>> result;
    for (std::size_t seed = 0; seed < count; ++seed) {
        if (taken[seed]) {
            continue;
        }
        taken[seed] = true;
        std::vector<int> cluster{static_cast<int>(seed)};
        for (bool grew = true; grew;) {
            grew = false;
            for (std::size_t candidate = seed + 1; candidate < count; ++candidate) {
                if (taken[candidate]) {
                    continue;
                }
                const bool joins = std::any_of(cluster.begin(), cluster.end(), [&](int member) {
                    return overlaps(reaches[candidate], reaches[static_cast<std::size_t>(member)]);
                });
                if (joins) {
                    taken[candidate] = true;
                    cluster.push_back(static_cast<int>(candidate));
                    grew = true;
                }
            }
        }
        std::sort(cluster.begin(), cluster.end());
        result.push_back(std::move(cluster));
    }
    return result;
}

std::vector<SurfaceGroup> SurfaceSlotAllocator::grouped(const std::vector<QRectF>& frames, double base,
                                                        const std::optional<QRectF>& notch,
                                                        const QRectF& visibleFrame,
                                                        std::size_t stripFrom) const {
    const QRectF v = visibleFrame.normalized();
    std::vector<SurfaceGroup> groups;
    bool notchTaken = false;
    for (auto& members : clusters(frames)) {
        if (members.size() == 1) {
            const QRectF frame = frames[static_cast<std::size_t>(members.front())];
            groups.push_back({std::move(members), frame, grouping::Bubble{}});
            continue;
        }
        const int count = static_cast<int>(members.size());
        const QRectF cluster = unionOf(frames, members);

        const auto counted = std::count_if(members.begin(), members.end(), [stripFrom](int member) {
            return static_cast<std::size_t>(member) < stripFrom;
        });
        if (notch && !notchTaken && counted <= maximumNotchMembers && cluster.top() - v.top() <= edgeReach &&
            std::abs(cluster.center().x() - notch->normalized().center().x()) <=
                notch->normalized().width()) {
            notchTaken = true;
            const NotchMetrics metrics{*notch, count};
            groups.push_back({std::move(members), metrics.panelFrame(), grouping::Notch{*notch}});
            continue;
        }

        const auto touched = touchedEdges(cluster, v);
        const auto vertical = firstEdge(touched, true);
        const auto horizontal = firstEdge(touched, false);
        if (vertical && horizontal) {
            const Corner corner = cornerOf(*horizontal, *vertical);
            groups.push_back(
                {std::move(members), ringsFrame(corner, count, base, v), grouping::Rings{corner}});
            continue;
        }
        if (!touched.empty()) {
            const Edge edge = touched.front().edge;
            groups.push_back(
                {std::move(members), capsuleFrame(edge, count, base, cluster, v), grouping::Capsule{edge}});
            continue;
        }

        std::vector<QRectF> memberFrames;
        memberFrames.reserve(members.size());
        for (const int member : members) {
            memberFrames.push_back(frames[static_cast<std::size_t>(member)]);
        }
        for (auto& single : separated(memberFrames, base, v)) {
            single.members = {members[static_cast<std::size_t>(single.members.front())]};
            groups.push_back(std::move(single));
        }
    }
    return groups;
}

std::vector<SurfaceGroup> SurfaceSlotAllocator::separated(const std::vector<QRectF>& frames, double base,
                                                          const QRectF& visibleFrame) const {
    const QRectF v = visibleFrame.normalized();
    std::vector<int> all(frames.size());
    for (std::size_t index = 0; index < frames.size(); ++index) {
        all[index] = static_cast<int>(index);
    }
    const QPointF middle = unionOf(frames, all).center();
    const double spread = (static_cast<double>(frames.size()) - 1) / 2;

    std::vector<SurfaceGroup> groups;
    groups.reserve(frames.size());
    for (std::size_t index = 0; index < frames.size(); ++index) {
        const QRectF f = frames[index].normalized();
        const double midX = middle.x() + (static_cast<double>(index) - spread) * base * fanSpacing;
        const QRectF fanned(midX - f.width() / 2, middle.y() - f.height() / 2, f.width(), f.height());
        groups.push_back({{static_cast<int>(index)}, keptInside(fanned, v), grouping::Bubble{}});
    }
    return groups;
}

QRectF SurfaceSlotAllocator::capsuleFrame(Edge edge, int count, double base, const QRectF& cluster,
                                          const QRectF& visibleFrame) {
    const QRectF v = visibleFrame.normalized();
    // A capsule longer than its edge is drawn smaller, so that every segment stays on the screen:
    // the surface takes its size from this frame.
    const double edgeLength = isVertical(edge) ? v.height() : v.width();
    const double lengthPerBase = CapsuleMetrics{edge, count, 1}.along(true);
    const double fitted = lengthPerBase > 0 ? std::min(base, edgeLength / lengthPerBase) : base;
    const QSizeF size = CapsuleMetrics{edge, count, fitted}.size(true);
    const double w = size.width();
    const double h = size.height();
    const QPointF middle = cluster.normalized().center();
    switch (edge) {
    case Edge::left:
        return {v.left(), clampedStart(middle.y() - h / 2, h, v.top(), v.bottom()), w, h};
    case Edge::right:
        return {v.right() - w, clampedStart(middle.y() - h / 2, h, v.top(), v.bottom()), w, h};
    case Edge::top:
        return {clampedStart(middle.x() - w / 2, w, v.left(), v.right()), v.top(), w, h};
    case Edge::bottom:
        return {clampedStart(middle.x() - w / 2, w, v.left(), v.right()), v.bottom() - h, w, h};
    }
    return {};
}

QRectF SurfaceSlotAllocator::ringsFrame(Corner corner, int count, double base, const QRectF& visibleFrame) {
    const QRectF v = visibleFrame.normalized();
    const double side = RingMetrics{corner, count, base}.side(true);
    const bool left = corner == Corner::topLeft || corner == Corner::bottomLeft;
    const bool top = corner == Corner::topLeft || corner == Corner::topRight;
    return {left ? v.left() : v.right() - side, top ? v.top() : v.bottom() - side, side, side};
}

} // namespace tessary
