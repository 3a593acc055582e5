#pragma once

#include "core/records/WorkspaceSnapshot.h"
#include "modulekit/ModuleSnapshot.h"

#include <QObject>
#include <QStringList>

#include <optional>
#include <vector>

namespace tessary {

// What the status menu and the settings window read. Written on the main thread only;
// every write that changes something emits changed().
class AppModel final : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    [[nodiscard]] bool isMonitoring() const { return m_isMonitoring; }
    [[nodiscard]] const std::optional<WorkspaceSnapshot>& workspace() const { return m_workspace; }
    [[nodiscard]] const std::optional<QString>& lastError() const { return m_lastError; }
    [[nodiscard]] const std::vector<ModuleSnapshot>& moduleSnapshots() const { return m_moduleSnapshots; }
    [[nodiscard]] bool hasDockedNotch() const { return m_hasDockedNotch; }
    [[nodiscard]] const QStringList& notchArrivalOrder() const { return m_notchArrivalOrder; }
    [[nodiscard]] const std::optional<QString>& notchDisplayID() const { return m_notchDisplayID; }
    [[nodiscard]] bool isAskingPermission() const { return m_isAskingPermission; }

    void setMonitoring(bool value) { assign(m_isMonitoring, value); }
    void setWorkspace(std::optional<WorkspaceSnapshot> value) { assign(m_workspace, std::move(value)); }
    void setLastError(std::optional<QString> value) { assign(m_lastError, std::move(value)); }
    void setModuleSnapshots(std::vector<ModuleSnapshot> value) {
        assign(m_moduleSnapshots, std::move(value));
    }
    void setHasDockedNotch(bool value) { assign(m_hasDockedNotch, value); }
    void setNotchArrivalOrder(QStringList value) { assign(m_notchArrivalOrder, std::move(value)); }
    void setNotchDisplayID(std::optional<QString> value) { assign(m_notchDisplayID, std::move(value)); }
    void setAskingPermission(bool value) { assign(m_isAskingPermission, value); }

signals:
    void changed();

private:
    template <typename T>
    void assign(T& field, T value) {
        if (field == value) {
            return;
        }
        field = std::move(value);
        emit changed();
    }

    bool m_isMonitoring = false;
    std::optional<WorkspaceSnapshot> m_workspace;
    std::optional<QString> m_lastError;
    std::vector<ModuleSnapshot> m_moduleSnapshots;
    bool m_hasDockedNotch = false;
    QStringList m_notchArrivalOrder;
    std::optional<QString> m_notchDisplayID;
    bool m_isAskingPermission = false;
};

} // namespace tessary
