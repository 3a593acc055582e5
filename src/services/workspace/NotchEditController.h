#pragma once

#include "core/settings/SettingsStore.h"
#include "modulekit/ModuleEventBus.h"
#include "services/workspace/AppModel.h"
#include "services/workspace/NotchEditor.h"

#include <QMap>
#include <QRectF>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace tessary {

class Clock;

// Notch editing for the workspace loop: which display's notch is being edited, the editor shown
// under it, and the notches each pass of the loop docked. While editing, surfaces hold still; it
// ends by itself when that display no longer has a docked notch. Main thread only.
class NotchEditController {
public:
    struct Dependencies {
        AppModel& model;
        SettingsStore& settingsStore;
        ModuleEventBus& bus;
        const Clock& clock;
        // Holds every surface still while editing runs, and lets them go after.
        std::function<void(bool paused)> pauseSurfaces;
        // An edit was saved: the loop shows it.
        std::function<void()> edited;
    };

    explicit NotchEditController(Dependencies dependencies);

    void setEditor(NotchEditor* editor);
    void begin(const QString& displayID);
    void end();
    [[nodiscard]] const std::optional<QString>& editingDisplayID() const { return m_editingDisplayID; }

    // One pass of the loop: forget the notches of the last pass, record those it docks, then keep
    // the editor in step (`sync`) and tell the model the notch's arrival order.
    void startPass() { m_docked.clear(); }
    void docked(const QString& displayID, const QRectF& notch, std::vector<ModuleSnapshot> members);
    void sync();
    void publishArrivalOrder();

private:
    void save(const NotchPreferences& preferences);

    struct DockedNotch {
        QRectF notch;
        std::vector<ModuleSnapshot> members;
    };

    Dependencies m_deps;
    NotchEditor* m_editor = nullptr;
    std::optional<QString> m_editingDisplayID;
    QMap<QString, DockedNotch> m_docked;
};

} // namespace tessary
