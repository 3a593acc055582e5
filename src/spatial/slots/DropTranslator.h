#pragma once

// Turns the frame a user dropped a surface at into the saved frames of its widgets: the frames
// that make SurfaceSlotAllocator::grouped give that surface again. Fusion is no state of its own,
// so saving these frames is all it takes to keep a capsule a capsule, and dragging one bubble away
// is all it takes to leave it.

#include "core/records/SurfaceRecords.h"
#include "spatial/slots/SurfaceSlotAllocator.h"

#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace tessary {

struct DropTranslator {
    struct Geometry {
        QRectF visibleFrame;
        std::optional<QRectF> notch;
        QSizeF bubblePanelSize;
        bool operator==(const Geometry&) const = default;
    };

    struct Position {
        QString moduleID;
        QRectF frame;
        bool operator==(const Position&) const = default;
    };

    // A dropped frame this close to an edge of the visible frame counts as dropped against it.
    static constexpr double edgeSnap = 20;

    SurfaceSlotAllocator allocator;

    // The bubble of `size` that stands for a dropped frame: flush with an edge the frame came
    // within reach of (left before right, top before bottom), else centered on the frame.
    [[nodiscard]] static QRectF equivalentBubble(const QRectF& frame, const QSizeF& size,
                                                 const QRectF& visibleFrame);

    // `bubble` moved flush against each edge the shape leans on.
    [[nodiscard]] static QRectF snapped(const QRectF& bubble, const SurfaceShape& shape,
                                        const QRectF& visibleFrame);

    // The frame to save for each widget of the dropped surface, in the order of `moduleIDs`.
    // Without geometry, or for a single widget, every widget keeps the dropped frame.
    [[nodiscard]] std::vector<Position> positions(const QRectF& droppedFrame, const QStringList& moduleIDs,
                                                  const std::optional<Geometry>& geometry) const;
};

} // namespace tessary
