#include "services/workspace/WorkspaceCoordinator.h"

#include "core/localization/Localization.h"
#include "core/time/Clock.h"
#include "modulekit/HostEvents.h"
#include "platform/workspace/WorkspaceReader.h"
#include "services/workspace/SurfaceKey.h"
#include "spatial/engine/SpatialConfiguration.h"
#include "spatial/workspace/SurfaceShapeResolver.h"

#include <algorithm>
#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

QStringList idsOf(const std::vector<ModuleSnapshot>& modules) {
    QStringList ids;
    for (const ModuleSnapshot& module : modules) {
        ids.append(module.id);
    }
    return ids;
}

// Where no drawing exists (a build or a test without surfaces), states go nowhere.
class HiddenSurface final : public Surface {
public:
    void show(const SurfaceViewState&) override {}
    void hide() override {}
    void bringToFront() override {}
    void applyPresentation(const SurfacePresentation&) override {}
};

} // namespace

WorkspaceCoordinator::WorkspaceCoordinator(Dependencies dependencies, QObject* parent)
    : QObject(parent)
    , m_deps(std::move(dependencies))
    , m_engine(SpatialConfiguration::forBubbleSize(m_deps.settingsStore.settings().bubbleSize))
    , m_stabilizer(m_engine.configuration())
    , m_systemEvents(m_deps.systemEvents, m_deps.scheduler,
                     [this] {
                         m_lastTopologyChangeAt = m_deps.clock.now();
                         refresh(false);
                     })
    , m_commands(m_deps.bus,
                 {[this](const QString& moduleID) { detailOpened(moduleID); }, [this] { refresh(false); }})
    , m_notchEditing({m_deps.model, m_deps.settingsStore, m_deps.bus, m_deps.clock,
                      [this](bool paused) {
                          for (auto& [key, surface] : m_surfaces) {
                              surface->setInteractionPaused(paused);
                          }
                      },
                      [this] {
                          applyPresentationSettings();
                          refresh(true);
                      }}) {}

WorkspaceCoordinator::~WorkspaceCoordinator() {
    stop();
}

void WorkspaceCoordinator::start() {
    m_nextCycle.cancel();
    m_running = true;
    m_deps.model.setMonitoring(true);
    m_lastTopologyChangeAt = m_deps.clock.now();
    applyPresentationSettings();
    m_systemEvents.start();
    refresh(false);
    scheduleNextCycle();
}

void WorkspaceCoordinator::stop() {
    if (!m_running) {
        return;
    }
    m_running = false;
    m_nextCycle.cancel();
    m_systemEvents.stop();
    m_deps.model.setMonitoring(false);
    m_placements.clearDisplayed();
    endNotchEditing();
    hideAllSurfaces();
}

void WorkspaceCoordinator::scheduleNextCycle() {
    if (!m_running) {
        return;
    }
    const double pause = m_cadence.interval(m_deps.clock.now(), m_lastTopologyChangeAt);
    m_nextCycle = m_deps.scheduler.callAfter(pause, [this] {
        if (!m_running) {
            return;
        }
        if (m_onCycle) {
            m_onCycle(m_deps.clock.now());
        }
        refresh(false);
        scheduleNextCycle();
    });
}

void WorkspaceCoordinator::settingsChanged() {
    const SpatialConfiguration configuration =
        SpatialConfiguration::forBubbleSize(m_deps.settingsStore.settings().bubbleSize);
    if (configuration != m_engine.configuration()) {
        m_engine.setConfiguration(configuration);
        m_stabilizer.setConfiguration(configuration);
    }
    applyPresentationSettings();
    refresh(true);
}

void WorkspaceCoordinator::moduleDataChanged() {
    m_hasPendingModuleDataChange = true;
    refresh(false);
}

void WorkspaceCoordinator::detailOpened(const QString& moduleID) {
    m_acknowledgements.acknowledge(moduleID, m_deps.clock.now());
    refresh(false);
}

void WorkspaceCoordinator::applyPresentationSettings() {
    const TessarySettings& settings = m_deps.settingsStore.settings();
    m_presentation = SurfacePresentation{settings.hoverBehavior != HoverBehavior::staysCompact,
                                         settings.reducesMotion, settings.notch.opensOn};
    for (auto& [key, surface] : m_surfaces) {
        surface->applyPresentation(m_presentation);
    }
}

const Localization& WorkspaceCoordinator::localizationFor(const std::optional<AppLanguage>& language) {
    // Following the system's language asks the system's locale; once per change of the setting.
    if (!m_localization || m_localization->first != language) {
        m_localization.emplace(language, Localization::forSetting(language));
    }
    return m_localization->second;
}

void WorkspaceCoordinator::refresh(bool userInitiated) {
    // A refresh never runs inside another: a call from within one (a store that publishes while
    // the tick writes to it) runs right after it.
    if (m_refreshing) {
        m_refreshAgain = true;
        m_refreshAgainUserInitiated = m_refreshAgainUserInitiated || userInitiated;
        return;
    }
    m_refreshing = true;
    runRefresh(userInitiated);
    m_refreshing = false;
    if (m_refreshAgain) {
        const bool again = m_refreshAgainUserInitiated;
        m_refreshAgain = false;
        m_refreshAgainUserInitiated = false;
        refresh(again);
    }
}

void WorkspaceCoordinator::runRefresh(bool userInitiated) {
    // 1-2. Read the screen; without displays nothing can stand anywhere.
    const std::optional<WorkspaceSnapshot> read = m_deps.reader.read();
    const Localization& localization = localizationFor(m_deps.settingsStore.settings().language);
    if (!read) {
        m_deps.model.setLastError(localization.text(u"Could not read the displays."_s));
        m_placements.clearDisplayed();
        m_notchEditing.startPass();
        m_notchEditing.sync();
        hideAllSurfaces();
        return;
    }
    const WorkspaceSnapshot& workspace = *read;

    // 3. Remember the displays, then read the settings once for the tick.
    m_deps.settingsStore.rememberDisplays(workspace.displays);
    const TessarySettings settings = m_deps.settingsStore.settings();
    const QDateTime now = m_deps.clock.now();

    // 4. Where surfaces may show.
    const QStringList targets = targetDisplays(workspace, settings);

    // 5-6. Topology and the model.
    const std::optional<WorkspaceSnapshot> previous = m_deps.model.workspace();
    if (!previous || !workspace.hasSameTopology(*previous)) {
        m_lastTopologyChangeAt = now;
    }
    m_deps.model.setWorkspace(workspace);
    m_deps.model.setLastError(std::nullopt);

    // 7. The permission card follows the held requests within one refresh.
    if (m_permissionCardUpdate) {
        m_permissionCardUpdate(workspace.activeDisplay);
    }

    // 8-9. What happened since the last tick.
    std::vector<HostEvent> events = HostEvents::between(previous, workspace, userInitiated);
    if (m_hasPendingModuleDataChange) {
        events.push_back(HostEvent::moduleDataChanged);
        m_hasPendingModuleDataChange = false;
    }

    // 10-11. Placement per display.
    const std::vector<DisplayDecision> decisions =
        m_placements.plan(m_engine, m_stabilizer, workspace, targets, settings.placementMode, now);
    if (m_placements.layoutChanged(decisions)) {
        events.push_back(HostEvent::layoutChanged);
    }

    // 12. The modules hear about it.
    ModuleContext context;
    context.workspace = workspace;
    context.localization = localization;
    for (const DisplayDecision& entry : decisions) {
        if (entry.display.id == workspace.activeDisplay.id) {
            context.placement = entry.decision.placement;
        }
    }
    m_deps.bus.publish(events, context, m_deps.settingsStore.moduleConfigurations());

    // 13. What is on screen now, per target display.
    m_placements.displayed(decisions, targets);

    // 14. The ranked snapshots of the active display go to the model.
    // What the user has already seen of a change signal stays off the surfaces.
    const std::vector<ModuleSnapshot> ranked =
        m_acknowledgements.visible(m_deps.bus.rankedSnapshots(now), now);
    std::vector<ModuleSnapshot> forModel;
    std::copy_if(ranked.cbegin(), ranked.cend(), std::back_inserter(forModel), [&](const ModuleSnapshot& s) {
        return settings.isWidgetEnabled(s.id, workspace.activeDisplay.id);
    });
    m_deps.model.setModuleSnapshots(forModel);

    // 15. Show what each display carries.
    m_notchEditing.startPass();
    QSet<QString> shown;
    bool hasDockedNotch = false;
    std::optional<QString> notchDisplayID;
    for (const DisplayDecision& entry : decisions) {
        if (!entry.decision.placement) {
            continue;
        }
        std::vector<ModuleSnapshot> modules;
        std::copy_if(
            ranked.cbegin(), ranked.cend(), std::back_inserter(modules),
            [&](const ModuleSnapshot& s) { return settings.isWidgetEnabled(s.id, entry.display.id); });
        if (modules.empty()) {
            continue;
        }
        const RenderContext render{entry.display, entry.decision, settings};
        QStringList keys;
        if (entry.decision.placement->kind == SurfaceKind::floatingChip) {
            keys = showBubbles(modules, *entry.decision.placement, render);
        } else if (const auto bubbles = automaticBubbles(render)) {
            keys = showBubbles(modules, *bubbles, render);
        } else {
            keys = showCombinedCard(modules, *entry.decision.placement, render);
        }
        for (const QString& key : keys) {
            shown.insert(key);
            if (std::holds_alternative<grouping::Notch>(m_composition.value(key).grouping)) {
                hasDockedNotch = true;
                notchDisplayID = entry.display.id;
            }
        }
    }

    // 16-17.
    hideSurfaces(shown);
    m_deps.model.setHasDockedNotch(hasDockedNotch);
    m_deps.model.setNotchDisplayID(notchDisplayID);
    m_notchEditing.sync();
    m_notchEditing.publishArrivalOrder();
}

QStringList WorkspaceCoordinator::targetDisplays(const WorkspaceSnapshot& workspace,
                                                 const TessarySettings& settings) const {
    // A pinned display shows surfaces only while it has the focus.
    if (const auto* pinned = std::get_if<visibility::Pinned>(&settings.visibility);
        pinned && pinned->displayID != workspace.activeDisplay.id) {
        return {};
    }
    std::optional<QString> fullScreenDisplayID;
    if (settings.hidesWhenActiveWindowIsFullScreen && workspace.activeWindow &&
        workspace.activeWindow->isFullScreen) {
        fullScreenDisplayID = workspace.activeDisplay.id;
    }
    QStringList ids;
    for (const DisplaySnapshot& display : workspace.displays) {
        ids.append(display.id);
    }
    return settings.displaysToRender(workspace.activeDisplay.id, ids, m_deps.bus.registeredModuleIDs(),
                                     fullScreenDisplayID);
}

std::optional<SurfacePlacement> WorkspaceCoordinator::automaticBubbles(const RenderContext& context) const {
    if (context.settings.placementMode != PlacementMode::automatic) {
        return std::nullopt;
    }
    const SpatialConfiguration& configuration = m_engine.configuration();
    const QRectF& visible = context.display.visibleFrame;
    return SurfacePlacement{
        context.display.id, SurfaceKind::floatingChip,
        QRectF(visible.topLeft(), QSizeF(configuration.chipWidth, configuration.chipHeight)), 1, true};
}

SurfaceViewState WorkspaceCoordinator::viewState(std::vector<ModuleSnapshot> modules,
                                                 const SurfacePlacement& placement,
                                                 const SurfaceGrouping& grouping, const QString& key,
                                                 const RenderContext& context) const {
    SurfaceViewState state;
    state.modules = std::move(modules);
    state.placement = placement;
    state.chipShape = SurfaceShapeResolver{}.shape(placement.frame, context.display.visibleFrame);
    state.grouping = grouping;
    state.isHovered = m_hoveredSurfaceKey == key;
    state.reducesMotion = context.settings.reducesMotion;
    state.notchRestingTabs = context.settings.notch.restingTabs;
    state.notchRestingForm =
        NotchArrangement::restingForm(context.settings.notch.restingStyle, context.display);
    return state;
}

QStringList WorkspaceCoordinator::showBubbles(const std::vector<ModuleSnapshot>& modules,
                                              const SurfacePlacement& placement,
                                              const RenderContext& context) {
    const DisplaySnapshot& display = context.display;
    // At most six widgets take part in rank order; the system widgets come after them in a fixed
    // order and don't count towards the six. Each stands as its own bubble until it fuses.
    std::vector<ModuleSnapshot> system;
    std::vector<ModuleSnapshot> bubbles;
    for (const ModuleSnapshot& module : modules) {
        (module.group == ModuleGroup::system ? system : bubbles).push_back(module);
    }
    std::sort(system.begin(), system.end(), [](const auto& a, const auto& b) { return a.id < b.id; });
    if (bubbles.size() > static_cast<size_t>(maximumBubbles)) {
        bubbles.resize(maximumBubbles);
    }
    // At the notch the system widgets ride in its strip and leave the six places to the others.
    const std::size_t stripFrom = bubbles.size();
    bubbles.insert(bubbles.end(), system.cbegin(), system.cend());

    const QSizeF size = placement.frame.size();
    std::vector<std::optional<QRectF>> saved;
    for (const ModuleSnapshot& module : bubbles) {
        const auto position = m_deps.positionStore.position(display.id, module.id);
        saved.push_back(
            position ? std::optional(SurfacePositionResolver::frame(*position, size, display.visibleFrame))
                     : std::nullopt);
    }
    // In automatic mode the engine's free spot says where unsaved widgets start.
    const std::vector<QRectF> frames = m_slots.requestedFrames(saved, size, context.settings.placementMode,
                                                               display, context.decision.placement);
    const QRectF notch = display.effectiveNotchFrame();
    m_displayGeometry.insert(display.id, DropTranslator::Geometry{display.visibleFrame, notch, size});

    const double base = std::min(size.width(), size.height());
    const std::vector<SurfaceGroup> groups =
        m_slots.grouped(frames, base, notch, display.visibleFrame, stripFrom);

    QStringList keys;
    for (const SurfaceGroup& group : groups) {
        std::vector<ModuleSnapshot> members;
        for (const int index : group.members) {
            members.push_back(bubbles[static_cast<size_t>(index)]);
        }
        const QString key = SurfaceKey::make(idsOf(members), display.id);
        if (std::holds_alternative<grouping::Notch>(group.grouping)) {
            members = NotchArrangement::arranged(members, context.settings.notch);
            m_notchEditing.docked(display.id, notch, members);
            if (members.empty()) {
                continue; // everything in it is hidden from the notch
            }
        }
        SurfacePlacement groupPlacement = placement;
        groupPlacement.frame = group.frame;
        keys.append(key);
        m_composition.insert(key, Composition{idsOf(members), group.grouping, display.id});
        surface(key).show(viewState(std::move(members), groupPlacement, group.grouping, key, context));
    }
    return keys;
}

QStringList WorkspaceCoordinator::showCombinedCard(const std::vector<ModuleSnapshot>& modules,
                                                   const SurfacePlacement& placement,
                                                   const RenderContext& context) {
    const QString key = SurfaceKey::make(idsOf(modules), context.display.id);
    SurfacePlacement cardPlacement = placement;
    if (const auto position = m_deps.positionStore.position(context.display.id, key)) {
        cardPlacement.frame =
            SurfacePositionResolver::frame(*position, placement.frame.size(), context.display.visibleFrame);
    }
    m_composition.insert(key, Composition{idsOf(modules), grouping::Bubble{}, context.display.id});
    m_combinedCardKeys.insert(key);
    surface(key).show(viewState(modules, cardPlacement, grouping::Bubble{}, key, context));
    return {key};
}

void WorkspaceCoordinator::surfaceMoved(const QString& key, const SurfacePlacement& placement,
                                        const QRectF& frame) {
    Q_UNUSED(placement);
    const std::optional<SurfaceKey::Parts> parts = SurfaceKey::parse(key);
    if (!parts) {
        return;
    }
    std::optional<DropTranslator::Geometry> geometry;
    if (m_displayGeometry.contains(parts->displayID)) {
        geometry = m_displayGeometry.value(parts->displayID);
    }
    QRectF container;
    if (geometry) {
        container = geometry->visibleFrame;
    } else if (const auto& workspace = m_deps.model.workspace()) {
        for (const DisplaySnapshot& display : workspace->displays) {
            if (display.id == parts->displayID) {
                container = display.visibleFrame;
            }
        }
    }
    if (container.isEmpty()) {
        return; // the display has gone; nothing to save against
    }
    if (m_combinedCardKeys.contains(key)) {
        m_deps.positionStore.save(frame, container, parts->displayID, key);
    } else {
        // The notch members carry the system widgets too; only the bubbles have positions.
        QStringList ids = parts->moduleIDs;
        for (const auto& position : m_drops.positions(frame, ids, geometry)) {
            m_deps.positionStore.save(position.frame, container, parts->displayID, position.moduleID);
        }
    }
    refresh(false);
}

void WorkspaceCoordinator::hoverChanged(const QString& key, bool hovering) {
    if (hovering) {
        m_hoveredSurfaceKey = key;
        if (const auto found = m_surfaces.find(key); found != m_surfaces.end()) {
            found->second->bringToFront();
        }
    } else if (m_hoveredSurfaceKey == key) {
        m_hoveredSurfaceKey.reset();
    }
    refresh(false);
}

Surface& WorkspaceCoordinator::surface(const QString& key) {
    auto found = m_surfaces.find(key);
    if (found == m_surfaces.end()) {
        SurfaceCallbacks callbacks;
        callbacks.onUserMoved = [this, key](const SurfacePlacement& placement, const QRectF& frame) {
            surfaceMoved(key, placement, frame);
        };
        callbacks.onHoverChanged = [this, key](bool hovering) { hoverChanged(key, hovering); };
        callbacks.canEditNotch = [this, key] {
            return std::holds_alternative<grouping::Notch>(m_composition.value(key).grouping);
        };
        callbacks.onEditNotchRequested = [this, key] {
            if (const auto parts = SurfaceKey::parse(key)) {
                beginNotchEditing(parts->displayID);
            }
        };
        std::unique_ptr<Surface> made = m_deps.makeSurface ? m_deps.makeSurface(key, std::move(callbacks))
                                                           : std::make_unique<HiddenSurface>();
        made->applyPresentation(m_presentation);
        made->setInteractionPaused(m_notchEditing.editingDisplayID().has_value());
        found = m_surfaces.emplace(key, std::move(made)).first;
    }
    return *found->second;
}

void WorkspaceCoordinator::hideSurfaces(const QSet<QString>& except) {
    for (auto& [key, surface] : m_surfaces) {
        if (!except.contains(key)) {
            surface->hide();
            m_composition.remove(key);
            m_combinedCardKeys.remove(key);
        }
    }
}

void WorkspaceCoordinator::hideAllSurfaces() {
    hideSurfaces({});
    m_deps.model.setHasDockedNotch(false);
    m_deps.model.setNotchDisplayID(std::nullopt);
}

} // namespace tessary
