#pragma once

#include "core/localization/Localization.h"

#include <QObject>

#include <functional>
#include <memory>

namespace tessary {

class AgentEventStore;
class AgentProcesses;
class AppModel;
class Clock;
class HookListener;
class PanelWindowTraits;
class PermissionCardController;
class ProcessRunner;
class SessionJump;
class SettingsStore;
class ShortcutGrab;
class WindowActivator;
class WorkspaceCoordinator;
struct DisplaySnapshot;

// Joins the permission card to the rest of the program: each refresh of the workspace loop shows
// the held requests of the live store under the active display's notch area, each answer goes to
// the hook listener (logged, then a refresh), a click on the session's name jumps to its terminal,
// and the question sound of the settings plays when a new request comes to the front.
class PermissionCardBinding final : public QObject {
    Q_OBJECT
public:
    struct Dependencies {
        HookListener& listener;
        AgentEventStore& liveAgents;
        WorkspaceCoordinator& coordinator;
        AppModel& model;
        SettingsStore& settings;
        const Clock& clock;
        PanelWindowTraits& windowTraits;
        ShortcutGrab& shortcuts;
        WindowActivator& windows;
        const AgentProcesses& processes;
        const ProcessRunner& runner;
        std::function<Localization()> localization;
    };

    // Seconds a request stays on the card before it gives way to the next.
    static constexpr double visibleFor = 45;

    explicit PermissionCardBinding(Dependencies dependencies, QObject* parent = nullptr);
    ~PermissionCardBinding() override;
    PermissionCardBinding(const PermissionCardBinding&) = delete;
    PermissionCardBinding& operator=(const PermissionCardBinding&) = delete;
    PermissionCardBinding(PermissionCardBinding&&) = delete;
    PermissionCardBinding& operator=(PermissionCardBinding&&) = delete;

    [[nodiscard]] PermissionCardController& controller() { return *m_controller; }
    // Plays a question sound by its platform name through the sound theme, else the bell.
    static void playSound(const QString& soundName);

private:
    void update(const DisplaySnapshot& activeDisplay);

    Dependencies m_deps;
    std::unique_ptr<PermissionCardController> m_controller;
    std::unique_ptr<SessionJump> m_jump;
};

} // namespace tessary
