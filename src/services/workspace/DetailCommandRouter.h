#pragma once

#include "modulekit/ModuleEventBus.h"
#include "modules/agents/permissions/PermissionCommand.h"
#include "services/workspace/DetailPanelLink.h"

#include <QObject>
#include <QSet>
#include <QString>

#include <functional>

namespace tessary {

// Where the detail panel's commands go. One that parses as a permission command goes to the
// permission handler (the card's path); any other goes to its module through the bus, marked as
// running on the panel until the module's future ends. Main thread only.
class DetailCommandRouter final : public QObject {
    Q_OBJECT
public:
    struct Callbacks {
        // The user opened a module's detail: what its signal says now has been seen.
        std::function<void(const QString& moduleID)> detailOpened;
        // A module's command ended: the loop refreshes.
        std::function<void()> commandEnded;
    };

    DetailCommandRouter(ModuleEventBus& bus, Callbacks callbacks, QObject* parent = nullptr);

    void perform(const DetailCommand& command);
    // Without a handler, permission commands are dropped, never sent to a module.
    void setPermissionCommandHandler(std::function<void(const PermissionCommand&)> handler) {
        m_permissionCommandHandler = std::move(handler);
    }
    void setDetailPanel(DetailPanelLink* panel);
    [[nodiscard]] const QSet<QString>& runningCommands() const { return m_running; }

private:
    void showRunning();

    ModuleEventBus& m_bus;
    Callbacks m_callbacks;
    std::function<void(const PermissionCommand&)> m_permissionCommandHandler;
    DetailPanelLink* m_panel = nullptr;
    QSet<QString> m_running;
};

} // namespace tessary
