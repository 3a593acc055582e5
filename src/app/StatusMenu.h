#pragma once

#include "core/localization/Localization.h"

#include <QMenu>
#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

namespace tessary {

class AppModel;

// The tray's menu: a problem section, accessibility, notch editing, settings, updates, quit.
// Rebuilt from the model whenever what it shows changes. Every surface's context menu carries the
// same actions, so that a desktop without a tray still has a way to the settings and to quit.
class StatusMenu final : public QObject {
    Q_OBJECT
public:
    struct Actions {
        std::function<void()> requestAccessibilityAccess;
        std::function<void()> openSettings; // empty while there is no settings window
        std::function<void()> exportDiagnostics;
        std::function<void()> editNotch;
        std::function<void()> checkForUpdates; // empty where there is no updater
        std::function<void()> quit;
    };

    StatusMenu(const AppModel& model, Actions actions, QObject* parent = nullptr);

    [[nodiscard]] QMenu* menu() { return &m_menu; }
    void setLocalization(const Localization& localization);
    void setUpdateAvailable(bool available);
    // Rebuilds the menu when what it shows has changed; the model changes on every tick of the
    // workspace loop, the menu's few lines seldom.
    void rebuild();
    // Adds the menu's actions, as they stand, to another menu (a surface's context menu).
    void addActionsTo(QMenu& menu) const;

private:
    // Everything the menu shows, so that an unchanged model costs no rebuild.
    struct Content {
        std::optional<QString> problem;
        bool asksForAccessibility = false;
        bool canEditNotch = false;
        bool updateAvailable = false;
        Localization localization;
        bool operator==(const Content&) const = default;
    };
    [[nodiscard]] Content content() const;

    const AppModel& m_model;
    Actions m_actions;
    Localization m_localization;
    bool m_updateAvailable = false;
    std::optional<Content> m_shown;
    QMenu m_menu;
    QPointer<QAction> m_editNotch;
};

} // namespace tessary
