#include "services/workspace/WorkspaceCoordinator.h"

#include "core/localization/Localization.h"
#include "core/time/Clock.h"
#include "platform/workspace/WorkspaceReader.h"
#include "services/workspace/SurfaceKey.h"
#include "spatial/engine/SpatialConfiguration.h"
#include "spatial/workspace/SurfaceShapeResolver.h"

#include <QFutureWatcher>

#include <algorithm>
#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

bool differsByAPoint(const QRectF& a, const QRectF& b) {
    return std::abs(a.left() - b.left()) >= 1 || std::abs(a.top() - b.top()) >= 1 ||
           std::abs(a.width() - b.width()) >= 1 || std::abs(a.height() - b.height()) >= 1;
}

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
    , m_systemEvents(m_deps.systemEvents, m_deps.scheduler, [this] {
        m_lastTopologyChangeAt = m_deps.clock.now();
        refresh(false);
    }) {}

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
    m_displayedPlacements.clear();
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

void WorkspaceCoordinator::perform(const DetailCommand& command) {
    if (const auto permission = PermissionCommand::fromText(command.id)) {
        if (m_permissionCommandHandler) {
            m_permissionCommandHandler(*permission);
        }
        return;
    }
    const QString id = command.id;
    m_runningCommands.insert(id);
    if (m_detailPanel != nullptr) {
        m_detailPanel->setRunningCommands(m_runningCommands);
    }
    // A watcher rather than a continuation: it goes with the loop, so a command that ends after the
    // loop has gone reaches nothing.
    auto* watcher = new QFutureWatcher<void>(this);
    connect(watcher, &QFutureWatcher<void>::finished, this, [this, watcher, id] {
        watcher->deleteLater();
        m_runningCommands.remove(id);
        if (m_detailPanel != nullptr) {
            m_detailPanel->setRunningCommands(m_runningCommands);
        }
        refresh(false);
    });
    watcher->setFuture(m_deps.bus.perform(command));
}

void WorkspaceCoordinator::setDetailPanel(DetailPanelLink* panel) {
    m_detailPanel = panel;
    if (panel == nullptr) {
        return;
    }
    panel->setLinkCallbacks({[this](const DetailCommand& command) { perform(command); },
                             [this](const QString& moduleID) { detailOpened(moduleID); }});
    panel->setRunningCommands(m_runningCommands);
}

void WorkspaceCoordinator::setNotchEditor(NotchEditor* editor) {
    if (m_notchEditor != nullptr && m_notchEditor != editor) {
        m_notchEditor->hideEditor();
    }
    m_notchEditor = editor;
    if (editor == nullptr) {
        return;
    }
    editor->setEditorCallbacks({[this](const NotchPreferences& edited) { saveNotchPreferences(edited); },
                                [this] { endNotchEditing(); }});
}

void WorkspaceCoordinator::detailOpened(const QString& moduleID) {
    m_acknowledgements.acknowledge(moduleID, m_deps.clock.now());
    refresh(false);
}

void WorkspaceCoordinator::beginNotchEditing(const QString& displayID) {
    m_editingNotchDisplayID = displayID;
    for (auto& [key, surface] : m_surfaces) {
        surface->setInteractionPaused(true);
    }
    syncNotchEditing();
}

void WorkspaceCoordinator::endNotchEditing() {
    if (!m_editingNotchDisplayID) {
        return;
    }
    m_editingNotchDisplayID.reset();
    for (auto& [key, surface] : m_surfaces) {
        surface->setInteractionPaused(false);
    }
    if (m_notchEditor != nullptr) {
        m_notchEditor->hideEditor();
    }
}

void WorkspaceCoordinator::syncNotchEditing() {
    if (!m_editingNotchDisplayID) {
        return;
    }
    const auto docked = m_dockedNotches.constFind(*m_editingNotchDisplayID);
    if (docked == m_dockedNotches.constEnd()) {
        endNotchEditing(); // the notch it edited has gone
        return;
    }
    if (m_notchEditor == nullptr) {
        return;
    }
    const TessarySettings& settings = m_deps.settingsStore.settings();
    NotchEditor::Content content;
    content.notch = docked->notch;
    content.preferences = settings.notch;
    // The editor lists every docked module, the hidden ones too: the loop's members leave those out.
    std::vector<ModuleSnapshot> all;
    for (const ModuleSnapshot& snapshot : m_deps.bus.rankedSnapshots(m_deps.clock.now())) {
        if (settings.isWidgetEnabled(snapshot.id, *m_editingNotchDisplayID)) {
            all.push_back(snapshot);
            content.titles.insert(snapshot.id, snapshot.variants.compact.title);
        }
    }
    content.tabs = NotchArrangement::editingTabs(all, settings.notch, true);
    m_notchEditor->showEditor(content);
}

void WorkspaceCoordinator::saveNotchPreferences(const NotchPreferences& preferences) {
    TessarySettings settings = m_deps.settingsStore.settings();
    if (settings.notch == preferences) {
        return;
    }
    settings.notch = preferences;
    m_deps.settingsStore.setSettings(settings);
    applyPresentationSettings();
    refresh(true);
}

void WorkspaceCoordinator::publishNotchArrivalOrder() {
    QStringList ids;
    for (const DockedNotch& docked : m_dockedNotches) {
        for (const ModuleSnapshot& member : docked.members) {
            ids.append(member.id);
        }
    }
    m_deps.model.setNotchArrivalOrder(NotchArrangement::arrivalOrder(ids, m_deps.model.notchArrivalOrder()));
}

void WorkspaceCoordinator::applyPresentationSettings() {
    const TessarySettings& settings = m_deps.settingsStore.settings();
    m_presentation = SurfacePresentation{settings.hoverBehavior != HoverBehavior::staysCompact,
                                         settings.reducesMotion, settings.notch.opensOn};
    for (auto& [key, surface] : m_surfaces) {
        surface->applyPresentation(m_presentation);
    }
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
    const Localization localization = Localization::forSetting(m_deps.settingsStore.settings().language);
    if (!read) {
        m_deps.model.setLastError(localization.text(u"Could not read the displays."_s));
        m_displayedPlacements.clear();
        m_dockedNotches.clear();
        syncNotchEditing();
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
    std::vector<HostEvent> events = hostEvents(previous, workspace, userInitiated);
    if (m_hasPendingModuleDataChange) {
        events.push_back(HostEvent::moduleDataChanged);
        m_hasPendingModuleDataChange = false;
    }

    // 10-11. Placement per display.
    const std::vector<DisplayDecision> decisions = makePlans(workspace, targets, settings, now);
    if (layoutChanged(decisions)) {
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
    for (const DisplayDecision& entry : decisions) {
        if (entry.decision.placement) {
            m_displayedPlacements.insert(entry.display.id, *entry.decision.placement);
        } else {
            m_displayedPlacements.remove(entry.display.id);
        }
    }
    for (const QString& id : m_displayedPlacements.keys()) {
        if (!targets.contains(id)) {
            m_displayedPlacements.remove(id);
        }
    }

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
    m_dockedNotches.clear();
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
    syncNotchEditing();
    publishNotchArrivalOrder();
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

std::vector<HostEvent> WorkspaceCoordinator::hostEvents(const std::optional<WorkspaceSnapshot>& previous,
                                                        const WorkspaceSnapshot& workspace,
                                                        bool userInitiated) const {
    std::vector<HostEvent> events;
    if (userInitiated) {
        events.push_back(HostEvent::refreshRequested);
    }
    if (!previous) {
        events.push_back(HostEvent::hostStarted);
        return events;
    }
    if (previous->activeApplicationName != workspace.activeApplicationName) {
        events.push_back(HostEvent::frontmostApplicationChanged);
    }
    if (previous->activeWindow != workspace.activeWindow) {
        events.push_back(HostEvent::activeWindowChanged);
    }
    if (previous->activeDisplay.id != workspace.activeDisplay.id) {
        events.push_back(HostEvent::displayChanged);
    }
    return events;
}

std::vector<WorkspaceCoordinator::DisplayDecision>
WorkspaceCoordinator::makePlans(const WorkspaceSnapshot& workspace, const QStringList& targets,
                                const TessarySettings& settings, const QDateTime& now) {
    std::vector<DisplayDecision> decisions;
    for (const DisplaySnapshot& display : workspace.displays) {
        if (!targets.contains(display.id)) {
            continue;
        }
        const std::optional<SurfacePlacement> previous =
            m_currentPlacements.contains(display.id) ? std::optional(m_currentPlacements.value(display.id))
                                                     : std::nullopt;
        const SpatialPlan plan = m_engine.makePlan(workspace, display, settings.placementMode, previous);
        const auto displayed = m_displayedPlacements.constFind(display.id);
        const bool isPointerOver = displayed != m_displayedPlacements.constEnd() &&
                                   displayed->frame.contains(workspace.cursorLocation);
        const std::optional<QDateTime> since = m_placementSince.contains(display.id)
                                                   ? std::optional(m_placementSince.value(display.id))
                                                   : std::nullopt;
        const LayoutDecision decision =
            m_stabilizer.decide(plan, settings.placementMode, previous, since, now, isPointerOver);
        updatePlacementHistory(decision.placement, display.id, now);
        decisions.push_back({display, decision});
    }
    for (const QString& id : m_currentPlacements.keys()) {
        if (!targets.contains(id)) {
            updatePlacementHistory(std::nullopt, id, now);
        }
    }
    return decisions;
}

bool WorkspaceCoordinator::framesDiffer(const std::optional<SurfacePlacement>& a,
                                        const std::optional<SurfacePlacement>& b) {
    if (a.has_value() != b.has_value()) {
        return true;
    }
    return a && differsByAPoint(a->frame, b->frame);
}

void WorkspaceCoordinator::updatePlacementHistory(const std::optional<SurfacePlacement>& placement,
                                                  const QString& displayID, const QDateTime& now) {
    const std::optional<SurfacePlacement> old = m_currentPlacements.contains(displayID)
                                                    ? std::optional(m_currentPlacements.value(displayID))
                                                    : std::nullopt;
    const bool changed = !old || !placement || old->displayID != placement->displayID ||
                         old->kind != placement->kind || framesDiffer(old, placement);
    if (changed) {
        if (placement) {
            m_placementSince.insert(displayID, now);
        } else {
            m_placementSince.remove(displayID);
        }
    }
    if (placement) {
        m_currentPlacements.insert(displayID, *placement);
    } else {
        m_currentPlacements.remove(displayID);
    }
}

bool WorkspaceCoordinator::layoutChanged(const std::vector<DisplayDecision>& decisions) const {
    QSet<QString> decided;
    for (const DisplayDecision& entry : decisions) {
        decided.insert(entry.display.id);
    }
    const QStringList displayedKeys = m_displayedPlacements.keys();
    if (decided != QSet<QString>(displayedKeys.cbegin(), displayedKeys.cend())) {
        return true;
    }
    for (const DisplayDecision& entry : decisions) {
        const std::optional<SurfacePlacement> displayed =
            m_displayedPlacements.contains(entry.display.id)
                ? std::optional(m_displayedPlacements.value(entry.display.id))
                : std::nullopt;
        const auto& placement = entry.decision.placement;
        if (placement.has_value() != displayed.has_value() ||
            (placement &&
             (placement->kind != displayed->kind || differsByAPoint(placement->frame, displayed->frame)))) {
            return true;
        }
    }
    return false;
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
            m_dockedNotches.insert(display.id, DockedNotch{notch, members});
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
        made->setInteractionPaused(m_editingNotchDisplayID.has_value());
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
