#pragma once

#include "core/records/SurfaceRecords.h"
#include "core/records/WorkspaceSnapshot.h"
#include "spatial/engine/PlacementStabilizer.h"
#include "spatial/engine/SpatialEngine.h"

#include <QDateTime>
#include <QMap>
#include <QStringList>

#include <optional>
#include <vector>

namespace tessary {

// The workspace loop's memory of placements, per display: the one decided last, since when it has
// stood (a frame that slides by less than a point keeps its age), and the one on screen. It lives
// in memory only, so on each start every display begins with an initial placement.
class PlacementHistory {
public:
    struct DisplayDecision {
        DisplaySnapshot display;
        LayoutDecision decision;
    };

    // A plan and a stabilised decision for each target display, in the workspace's order; displays
    // that left the targets are forgotten at once.
    std::vector<DisplayDecision> plan(const SpatialEngine& engine, const PlacementStabilizer& stabilizer,
                                      const WorkspaceSnapshot& workspace, const QStringList& targets,
                                      PlacementMode mode, const QDateTime& now);
    // Whether the decisions differ from what is on screen: another set of displays, or a placement
    // of another kind or frame.
    [[nodiscard]] bool layoutChanged(const std::vector<DisplayDecision>& decisions) const;
    // The decisions are on screen now; displays outside the targets show nothing.
    void displayed(const std::vector<DisplayDecision>& decisions, const QStringList& targets);
    void clearDisplayed() { m_displayed.clear(); }

    [[nodiscard]] const QMap<QString, SurfacePlacement>& current() const { return m_current; }

    // Whether two placements differ by a whole point in any of the frame's values, or one is missing.
    static bool framesDiffer(const std::optional<SurfacePlacement>& a,
                             const std::optional<SurfacePlacement>& b);

private:
    void remember(const std::optional<SurfacePlacement>& placement, const QString& displayID,
                  const QDateTime& now);

    QMap<QString, SurfacePlacement> m_current;
    QMap<QString, QDateTime> m_since;
    QMap<QString, SurfacePlacement> m_displayed;
};

} // namespace tessary
