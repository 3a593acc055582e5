#include "services/workspace/DetailCommandRouter.h"

#include <QFutureWatcher>

namespace tessary {

DetailCommandRouter::DetailCommandRouter(ModuleEventBus& bus, Callbacks callbacks, QObject* parent)
    : QObject(parent)
    , m_bus(bus)
    , m_callbacks(std::move(callbacks)) {}

void DetailCommandRouter::perform(const DetailCommand& command) {
    if (const auto permission = PermissionCommand::fromText(command.id)) {
        if (m_permissionCommandHandler) {
            m_permissionCommandHandler(*permission);
        }
        return;
    }
    const QString id = command.id;
    m_running.insert(id);
    showRunning();
    // A watcher rather than a continuation: it goes with the router, so a command that ends after
    // the loop has gone reaches nothing.
    auto* watcher = new QFutureWatcher<void>(this);
    connect(watcher, &QFutureWatcher<void>::finished, this, [this, watcher, id] {
        watcher->deleteLater();
        m_running.remove(id);
        showRunning();
        if (m_callbacks.commandEnded) {
            m_callbacks.commandEnded();
        }
    });
    watcher->setFuture(m_bus.perform(command));
}

void DetailCommandRouter::setDetailPanel(DetailPanelLink* panel) {
    m_panel = panel;
    if (panel == nullptr) {
        return;
    }
    panel->setLinkCallbacks({[this](const DetailCommand& command) { perform(command); },
                             [this](const QString& moduleID) {
                                 if (m_callbacks.detailOpened) {
                                     m_callbacks.detailOpened(moduleID);
                                 }
                             }});
    showRunning();
}

void DetailCommandRouter::showRunning() {
    if (m_panel != nullptr) {
        m_panel->setRunningCommands(m_running);
    }
}

} // namespace tessary
