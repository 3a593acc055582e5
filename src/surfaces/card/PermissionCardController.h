#pragma once

#include "core/localization/Localization.h"
#include "modules/agents/card/PermissionCardModel.h"
#include "modules/agents/card/PermissionCardVisibility.h"
#include "modules/agents/card/PermissionHintTracker.h"

#include <QObject>
#include <QRectF>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

namespace tessary {

class Clock;
class PanelWindowTraits;
class PermissionCardPanel;
class ShortcutGrab;

// Decides what the permission card shows: takes the queue of held requests from the workspace
// loop on every refresh, shows the front one with its answers, counts its time on screen, holds
// the Alt shortcuts while it shows, and passes each answer out. It knows nothing of connections.
class PermissionCardController final : public QObject {
    Q_OBJECT
public:
    struct Dependencies {
        PanelWindowTraits& windowTraits;
        ShortcutGrab& shortcuts;
        const Clock& clock;
        std::function<Localization()> localization;
        // Plays the named alert sound; none means silence.
        std::function<void(const QString& soundName)> playSound;
    };

    // Where the card stands: under `anchor` (the notch area, global coordinates), at most
    // `maxHeight` tall, for `visibleFor` seconds of unpaused time per request.
    struct Placement {
        QRectF anchor;
        bool docked = false;
        double notchHeight = 0;
        std::optional<double> maxHeight;
        double visibleFor = 45;
        bool operator==(const Placement&) const = default;
    };

    using HintReply = std::function<void(const std::optional<PermissionHint>&)>;

    explicit PermissionCardController(Dependencies dependencies, QObject* parent = nullptr);
    ~PermissionCardController() override;
    PermissionCardController(const PermissionCardController&) = delete;
    PermissionCardController& operator=(const PermissionCardController&) = delete;
    PermissionCardController(PermissionCardController&&) = delete;
    PermissionCardController& operator=(PermissionCardController&&) = delete;

    void show(const QList<PendingPermission>& requests, const Placement& placement);
    void hide();
    // Run by the ticker while the card shows: the countdown, and the pause under the pointer.
    void tick();

    void setAlertSound(std::optional<QString> soundName) { m_alertSound = std::move(soundName); }

    std::function<void(const PendingPermission&, PermissionDecision)> onDecide;
    std::function<void(const PendingPermission&, const QHash<QString, QString>& answers)> onAnswer;
    std::function<void(const PendingPermission&, const PlanReview&)> onReview;
    std::function<void(const PendingPermission&)> onReach;
    std::function<void(bool showing)> onVisibilityChange;
    // Whether the application that owns a hosted request is in front now.
    std::function<bool(const PendingPermission&)> isHostInFront;
    // Asked once per request in front; the reply may come later, or never.
    std::function<void(const PendingPermission&, HintReply reply)> hintProvider;

    [[nodiscard]] bool isShowing() const { return m_showing; }
    [[nodiscard]] const PermissionCardModel& model() const { return m_model; }
    [[nodiscard]] PermissionCardPanel* panel() const { return m_panel.get(); }
    [[nodiscard]] bool shortcutsActive() const { return m_shortcutsActive; }

    // A shortcut key, as the grab delivers it; false when it did nothing.
    bool handleShortcut(QChar key);
    void setHovering(bool hovering);

private:
    struct Fit {
        QString id;
        std::optional<PermissionHint> hint;
        int selectionSize = 0;
        bool operator==(const Fit&) const = default;
    };

    void render();
    void grabShortcuts(const PendingPermission& front);
    void carryOut(const CardOutcomeValue& outcome);
    void requestHint(const PendingPermission& request);
    [[nodiscard]] QList<PendingPermission> withoutAnswered(const QList<PendingPermission>& requests);

    Dependencies m_deps;
    std::unique_ptr<PermissionCardPanel> m_panel;
    PermissionCardModel m_model;
    PermissionCardVisibility m_visibility;
    PermissionHintTracker m_hints;
    QTimer m_ticker;
    std::optional<std::pair<QList<PendingPermission>, Placement>> m_lastShown;
    std::optional<Fit> m_lastFit;
    double m_lastNatural = 0;
    QSet<QString> m_answered;
    std::optional<QString> m_alertSound;
    bool m_hovering = false;
    bool m_showing = false;
    bool m_shortcutsActive = false;
    // Whether the card shows the keys' caps: as the last grab went, until the next one tells.
    bool m_keyCapsShown = true;
    int m_hintGeneration = 0;
};

} // namespace tessary
