#pragma once

// Where bubbles stand by default, and which surface a set of bubble frames forms.
//
// A surface is nothing but the clustering of its members' frames: bubbles whose drawn parts come
// close fuse, and where the cluster stands decides its form. Against one edge it is a capsule, in a
// corner rings, at the top beside the notch it docks into the notch, and in the open the bubbles fan
// apart again. Pure geometry in the global space with y growing downward.

#include "core/records/SurfaceRecords.h"
#include "core/records/WorkspaceSnapshot.h"
#include "spatial/slots/SurfaceGroup.h"

#include <QRectF>
#include <QSizeF>

#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

namespace tessary {

struct SurfaceSlotAllocator {
    // The default places, in their order of use.
    enum class Slot { topRight, bottomRight, topLeft, bottomLeft };

    // How close a cluster must come to an edge of the visible frame to stand against it; also how
    // far below the top of the visible frame a cluster may start and still dock into the notch.
    static constexpr double edgeReach = 20;
    // The notch holds at most this many widgets; a larger cluster goes on to the edge rules.
    static constexpr int maximumNotchMembers = 6;
    // Distance between the middles of bubbles fanned apart, as a share of the base.
    static constexpr double fanSpacing = 0.85;

    double gap = 14;                // drawn parts closer than this fuse
    double visibleFootprint = 0.66; // the share of a bubble's frame that is drawn; the rest is margin

    bool operator==(const SurfaceSlotAllocator&) const = default;

    [[nodiscard]] static Slot slot(int index);

    // The frame of widget `index` without a saved position: the four corners in slot order, then
    // stepping down from the bottom left slot, kept above the visible frame's bottom; so every later
    // widget piles up at the bottom left and fuses there.
    [[nodiscard]] QRectF defaultFrame(int index, const QSizeF& size, const QRectF& visibleFrame) const;

    // A bubble centered under the notch at the top of the visible frame.
    [[nodiscard]] static QRectF dockedFrame(const QSizeF& size, const QRectF& notch,
                                            const QRectF& visibleFrame);

    // Where a widget without a saved place starts in automatic mode, so that all such widgets fuse
    // into one surface that covers no window. On a display that keeps a band for the notch, docked
    // at the notch. Elsewhere the top centre is the user's work space, and `freeSpot`, the place
    // the spatial engine chose in the free space, decides: against the edge of a free rail (a
    // capsule), at the notch when the free spot is the top island, or on the free chip (rings in a
    // corner, or a bubble in the open). Without a free spot, the first default slot.
    [[nodiscard]] QRectF automaticFrame(const QSizeF& size, const DisplaySnapshot& display,
                                        const std::optional<SurfacePlacement>& freeSpot) const;

    // One frame per widget: its saved frame where it has one; otherwise `automaticFrame` in
    // automatic mode, or its default slot in every other mode.
    [[nodiscard]] std::vector<QRectF>
    requestedFrames(const std::vector<std::optional<QRectF>>& saved, const QSizeF& size, PlacementMode mode,
                    const DisplaySnapshot& display,
                    const std::optional<SurfacePlacement>& freeSpot = std::nullopt) const;

    // The drawn part of a bubble frame: the frame without its margin.
    [[nodiscard]] QRectF drawnPart(const QRectF& frame) const;
    // The drawn part grown by half the gap on all sides: two bubbles fuse when their reaches overlap.
    [[nodiscard]] QRectF reach(const QRectF& frame) const;
    // Whether two bubble frames fuse: their drawn parts come closer than `gap` to each other.
    [[nodiscard]] bool touches(const QRectF& a, const QRectF& b) const;

    // The indices of `frames` in clusters of touching bubbles, each ascending, in the order of their
    // lowest index. Every index is in exactly one cluster.
    [[nodiscard]] std::vector<std::vector<int>> clusters(const std::vector<QRectF>& frames) const;

    // The surfaces the frames form. `base` is the shorter side of a bubble panel; `notch`, when
    // given, is where a cluster at the top may dock (only one cluster does). Frames from index
    // `stripFrom` on are widgets that ride in the notch's strip: they dock with a cluster without
    // counting towards its limit of members.
    [[nodiscard]] std::vector<SurfaceGroup>
    grouped(const std::vector<QRectF>& frames, double base, const std::optional<QRectF>& notch,
            const QRectF& visibleFrame,
            std::size_t stripFrom = std::numeric_limits<std::size_t>::max()) const;

    // Each frame as its own bubble, in a row centered on the middle of all of them, `fanSpacing`
    // of the base apart, each kept inside the visible frame. Members index into `frames`.
    [[nodiscard]] std::vector<SurfaceGroup> separated(const std::vector<QRectF>& frames, double base,
                                                      const QRectF& visibleFrame) const;

    // The capsule of `count` widgets against `edge`, centered along it on `cluster` and kept
    // inside the visible frame.
    [[nodiscard]] static QRectF capsuleFrame(Edge edge, int count, double base, const QRectF& cluster,
                                             const QRectF& visibleFrame);
    // The square of `count` rings in `corner` of the visible frame.
    [[nodiscard]] static QRectF ringsFrame(Corner corner, int count, double base, const QRectF& visibleFrame);
};

} // namespace tessary
