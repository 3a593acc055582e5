#include "services/workspace/PlacementHistory.h"

#include <QSet>

#include <cmath>

namespace tessary {

namespace {

bool differsByAPoint(const QRectF& a, const QRectF& b) {
    return std::abs(a.left() - b.left()) >= 1 || std::abs(a.top() - b.top()) >= 1 ||
           std::abs(a.width() - b.width()) >= 1 || std::abs(a.height() - b.height()) >= 1;
}

template <typename T>
std::optional<T> valueOf(const QMap<QString, T>& map, const QString& key) {
    const auto found = map.constFind(key);
    return found == map.constEnd() ? std::nullopt : std::optional<T>(*found);
}

} // namespace

std::vector<PlacementHistory::DisplayDecision>
PlacementHistory::plan(const SpatialEngine& engine, const PlacementStabilizer& stabilizer,
                       const WorkspaceSnapshot& workspace, const QStringList& targets, PlacementMode mode,
                       const QDateTime& now) {
    std::vector<DisplayDecision> decisions;
    for (const DisplaySnapshot& display : workspace.displays) {
        if (!targets.contains(display.id)) {
            continue;
        }
        const std::optional<SurfacePlacement> previous = valueOf(m_current, display.id);
        const SpatialPlan plan = engine.makePlan(workspace, display, mode, previous);
        const std::optional<SurfacePlacement> shown = valueOf(m_displayed, display.id);
        const bool isPointerOver = shown && shown->frame.contains(workspace.cursorLocation);
        const LayoutDecision decision =
            stabilizer.decide(plan, mode, previous, valueOf(m_since, display.id), now, isPointerOver);
        remember(decision.placement, display.id, now);
        decisions.push_back({display, decision});
    }
    for (const QString& id : m_current.keys()) {
        if (!targets.contains(id)) {
            remember(std::nullopt, id, now);
        }
    }
    return decisions;
}

bool PlacementHistory::framesDiffer(const std::optional<SurfacePlacement>& a,
                                    const std::optional<SurfacePlacement>& b) {
    if (a.has_value() != b.has_value()) {
        return true;
    }
    return a && differsByAPoint(a->frame, b->frame);
}

void PlacementHistory::remember(const std::optional<SurfacePlacement>& placement, const QString& displayID,
                                const QDateTime& now) {
    const std::optional<SurfacePlacement> old = valueOf(m_current, displayID);
    const bool changed = !old || !placement || old->displayID != placement->displayID ||
                         old->kind != placement->kind || framesDiffer(old, placement);
    if (changed) {
        if (placement) {
            m_since.insert(displayID, now);
        } else {
            m_since.remove(displayID);
        }
    }
    if (placement) {
        m_current.insert(displayID, *placement);
    } else {
        m_current.remove(displayID);
    }
}

bool PlacementHistory::layoutChanged(const std::vector<DisplayDecision>& decisions) const {
    QSet<QString> decided;
    for (const DisplayDecision& entry : decisions) {
        decided.insert(entry.display.id);
    }
    const QStringList shownKeys = m_displayed.keys();
    if (decided != QSet<QString>(shownKeys.cbegin(), shownKeys.cend())) {
        return true;
    }
    for (const DisplayDecision& entry : decisions) {
        const std::optional<SurfacePlacement> shown = valueOf(m_displayed, entry.display.id);
        const auto& placement = entry.decision.placement;
        if (placement.has_value() != shown.has_value() ||
            (placement &&
             (placement->kind != shown->kind || differsByAPoint(placement->frame, shown->frame)))) {
            return true;
        }
    }
    return false;
}

void PlacementHistory::displayed(const std::vector<DisplayDecision>& decisions, const QStringList& targets) {
    for (const DisplayDecision& entry : decisions) {
        if (entry.decision.placement) {
            m_displayed.insert(entry.display.id, *entry.decision.placement);
        } else {
            m_displayed.remove(entry.display.id);
        }
    }
    for (const QString& id : m_displayed.keys()) {
        if (!targets.contains(id)) {
            m_displayed.remove(id);
        }
    }
}

} // namespace tessary
