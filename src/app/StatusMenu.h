#pragma once

#include "core/localization/Localization.h"

#include <QMenu>
#include <QObject>

#include <functional>
#include <optional>

namespace tessary {

class AppModel;

// The tray's menu: a problem section, accessibility, notch editing, settings, updates, quit.
// Rebuilt from the model whenever it changes.
class StatusMenu final : public QObject {
    Q_OBJECT
public:
    struct Actions {
        std::function<void()> requestAccessibilityAccess;
        std::function<void()> openSettings; // empty while there is no settings window
        std::function<void()> editNotch;
        std::function<void()> checkForUpdates; // empty where there is no updater
        std::function<void()> quit;
    };

    StatusMenu(const AppModel& model, Actions actions, QObject* parent = nullptr);

    [[nodiscard]] QMenu* menu() { return &m_menu; }
    void setLocalization(const Localization& localization);
    void setUpdateAvailable(bool available);
    void rebuild();

private:
    const AppModel& m_model;
    Actions m_actions;
    Localization m_localization;
    bool m_updateAvailable = false;
    QMenu m_menu;
};

} // namespace tessary
