#pragma once

#include "core/localization/Localization.h"
#include "core/records/WorkspaceSnapshot.h"
#include "core/settings/SettingsStore.h"
#include "core/settings/SurfacePositionStore.h"
#include "modulekit/ModuleEventBus.h"
#include "modulekit/SignalAcknowledgements.h"
#include "modules/agents/permissions/PermissionCommand.h"
#include "services/monitoring/Scheduler.h"
#include "services/workspace/AppModel.h"
#include "services/workspace/DetailCommandRouter.h"
#include "services/workspace/DetailPanelLink.h"
#include "services/workspace/NotchEditController.h"
#include "services/workspace/NotchEditor.h"
#include "services/workspace/PlacementHistory.h"
#include "services/workspace/Surface.h"
#include "services/workspace/SystemEventObserver.h"
#include "spatial/engine/PlacementStabilizer.h"
#include "spatial/engine/RefreshCadence.h"
#include "spatial/engine/SpatialEngine.h"
#include "spatial/slots/DropTranslator.h"
#include "spatial/slots/SurfaceSlotAllocator.h"

#include <QMap>
#include <QObject>
#include <QSet>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tessary {

class Clock;
class SystemEventSource;
class WorkspaceSnapshotReader;

// The program's main loop: reads the screen, decides where surfaces may stand on each display,
// asks the modules for snapshots and hands every surface its state. Everything that has something
// to show reaches the user through refresh(). Main thread only; it never waits for a file, a tool
// or the network.
class WorkspaceCoordinator final : public QObject {
    Q_OBJECT
public:
    struct Dependencies {
        AppModel& model;
        SettingsStore& settingsStore;
        WorkspaceSnapshotReader& reader;
        SurfacePositionStore& positionStore;
        ModuleEventBus& bus;
        SystemEventSource& systemEvents;
        Clock& clock;
        Scheduler& scheduler;
        SurfaceFactory makeSurface;
    };

    // What a fused surface stands for, so that a drop can be turned back into positions.
    struct Composition {
        QStringList moduleIDs;
        SurfaceGrouping grouping;
        QString displayID;
        bool operator==(const Composition&) const = default;
    };

    static constexpr double slotGap = 14;
    static constexpr double slotVisibleFootprint = 0.66;
    static constexpr int maximumBubbles = 6;

    explicit WorkspaceCoordinator(Dependencies dependencies, QObject* parent = nullptr);
    ~WorkspaceCoordinator() override;
    WorkspaceCoordinator(const WorkspaceCoordinator&) = delete;
    WorkspaceCoordinator& operator=(const WorkspaceCoordinator&) = delete;
    WorkspaceCoordinator(WorkspaceCoordinator&&) = delete;
    WorkspaceCoordinator& operator=(WorkspaceCoordinator&&) = delete;

    void start();
    void stop();
    [[nodiscard]] bool isRunning() const { return m_running; }

    // One tick: read, decide, publish, show. A user-initiated refresh raises refreshRequested.
    void refresh(bool userInitiated);
    // Rebuilds the engine's configuration and refreshes as if the user had asked.
    void settingsChanged();
    // A monitor has new data: the next refresh tells the modules, and it comes at once.
    void moduleDataChanged();
    // Runs a command from the detail panel. A permission command goes to the permission handler
    // (the card's path); any other goes to its module through the bus, marked as running on the
    // panel until it ends, and then the loop refreshes.
    void perform(const DetailCommand& command) { m_commands.perform(command); }
    // Where permission commands go; without a handler they are dropped, never sent to a module.
    void setPermissionCommandHandler(std::function<void(const PermissionCommand&)> handler) {
        m_commands.setPermissionCommandHandler(std::move(handler));
    }
    // The shared detail panel: its commands come here, and opening a module's detail acknowledges
    // that module's change signal.
    void setDetailPanel(DetailPanelLink* panel) { m_commands.setDetailPanel(panel); }
    // The editor of the notch's order, shown while notch editing is on.
    void setNotchEditor(NotchEditor* editor) { m_notchEditing.setEditor(editor); }
    // The user opened the detail of `moduleID`: what its signal says now has been seen.
    void detailOpened(const QString& moduleID);
    [[nodiscard]] const SignalAcknowledgements& acknowledgements() const { return m_acknowledgements; }
    [[nodiscard]] const QSet<QString>& runningCommands() const { return m_commands.runningCommands(); }

    // Notch editing: surfaces hold still and the editor shows under the display's notch. It ends by
    // itself when that display no longer has a docked notch.
    void beginNotchEditing(const QString& displayID) { m_notchEditing.begin(displayID); }
    void endNotchEditing() { m_notchEditing.end(); }
    [[nodiscard]] const std::optional<QString>& editingNotchDisplayID() const {
        return m_notchEditing.editingDisplayID();
    }
    // Called once per paced cycle, ahead of the refresh (the hook listener's timers run on it).
    void setOnCycle(std::function<void(const QDateTime& now)> onCycle) { m_onCycle = std::move(onCycle); }
    // Run on every refresh with the active display: shows or hides the permission card.
    void setPermissionCardUpdate(std::function<void(const DisplaySnapshot& activeDisplay)> update) {
        m_permissionCardUpdate = std::move(update);
    }

    // The user dropped a surface at `frame`.
    void surfaceMoved(const QString& key, const SurfacePlacement& placement, const QRectF& frame);
    void hoverChanged(const QString& key, bool hovering);

    [[nodiscard]] const QMap<QString, SurfacePlacement>& currentPlacements() const {
        return m_placements.current();
    }
    [[nodiscard]] const QMap<QString, Composition>& surfaceComposition() const { return m_composition; }
    [[nodiscard]] std::optional<QDateTime> lastTopologyChangeAt() const { return m_lastTopologyChangeAt; }
    [[nodiscard]] const SpatialEngine& engine() const { return m_engine; }

private:
    using DisplayDecision = PlacementHistory::DisplayDecision;
    struct RenderContext {
        const DisplaySnapshot& display;
        const LayoutDecision& decision;
        const TessarySettings& settings;
    };

    void runRefresh(bool userInitiated);
    const Localization& localizationFor(const std::optional<AppLanguage>& language);
    void scheduleNextCycle();
    void applyPresentationSettings();
    QStringList targetDisplays(const WorkspaceSnapshot& workspace, const TessarySettings& settings) const;
    QStringList showBubbles(const std::vector<ModuleSnapshot>& modules, const SurfacePlacement& placement,
                            const RenderContext& context);
    QStringList showCombinedCard(const std::vector<ModuleSnapshot>& modules,
                                 const SurfacePlacement& placement, const RenderContext& context);
    std::optional<SurfacePlacement> automaticBubbles(const RenderContext& context) const;
    SurfaceViewState viewState(std::vector<ModuleSnapshot> modules, const SurfacePlacement& placement,
                               const SurfaceGrouping& grouping, const QString& key,
                               const RenderContext& context) const;
    Surface& surface(const QString& key);
    void hideSurfaces(const QSet<QString>& except);
    void hideAllSurfaces();

    Dependencies m_deps;
    SpatialEngine m_engine;
    PlacementStabilizer m_stabilizer;
    SurfaceSlotAllocator m_slots{slotGap, slotVisibleFootprint};
    DropTranslator m_drops{SurfaceSlotAllocator{slotGap, slotVisibleFootprint}};
    RefreshCadence m_cadence;
    SystemEventObserver m_systemEvents;

    std::map<QString, std::unique_ptr<Surface>> m_surfaces;
    QMap<QString, Composition> m_composition;
    QSet<QString> m_combinedCardKeys; // saved under the surface's own key
    QMap<QString, DropTranslator::Geometry> m_displayGeometry;
    std::optional<QString> m_hoveredSurfaceKey;
    PlacementHistory m_placements;
    std::optional<QDateTime> m_lastTopologyChangeAt;
    bool m_hasPendingModuleDataChange = false;
    bool m_running = false;
    bool m_refreshing = false;
    bool m_refreshAgain = false;
    bool m_refreshAgainUserInitiated = false;
    ScheduledCall m_nextCycle;
    std::function<void(const QDateTime&)> m_onCycle;
    std::function<void(const DisplaySnapshot&)> m_permissionCardUpdate;
    SignalAcknowledgements m_acknowledgements;
    SurfacePresentation m_presentation;
    std::optional<std::pair<std::optional<AppLanguage>, Localization>> m_localization;
    DetailCommandRouter m_commands;
    NotchEditController m_notchEditing;
};

} // namespace tessary
