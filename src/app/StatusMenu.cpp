#include "app/StatusMenu.h"

#include "services/workspace/AppModel.h"

namespace tessary {

using namespace Qt::StringLiterals;

StatusMenu::StatusMenu(const AppModel& model, Actions actions, QObject* parent)
    : QObject(parent)
    , m_model(model)
    , m_actions(std::move(actions)) {
    m_menu.setAccessibleName(u"Tessary"_s);
    connect(&m_model, &AppModel::changed, this, &StatusMenu::rebuild);
    rebuild();
}

void StatusMenu::setLocalization(const Localization& localization) {
    m_localization = localization;
    rebuild();
}

void StatusMenu::setUpdateAvailable(bool available) {
    m_updateAvailable = available;
    rebuild();
}

void StatusMenu::rebuild() {
    m_menu.clear();
    const auto add = [this](const QString& key, const std::function<void()>& action) {
        QAction* item = m_menu.addAction(m_localization.text(key));
        item->setEnabled(static_cast<bool>(action));
        if (action) {
            connect(item, &QAction::triggered, this, [action] { action(); });
        }
        return item;
    };

    if (const auto& error = m_model.lastError()) {
        m_menu.addSection(m_localization.text(u"Problem"_s));
        QAction* text = m_menu.addAction(*error);
        text->setEnabled(false);
    }
    m_menu.addSeparator();
    const auto& workspace = m_model.workspace();
    // Platforms without an accessibility permission hand in no action and show no entry.
    if (m_actions.requestAccessibilityAccess && (!workspace || !workspace->hasAccessibilityAccess)) {
        add(u"Turn on Accessibility…"_s, m_actions.requestAccessibilityAccess);
    }
    m_menu.addSeparator();
    if (m_model.hasDockedNotch()) {
        add(u"Edit notch…"_s, m_actions.editNotch);
    }
    add(u"Settings…"_s, m_actions.openSettings);
    add(m_updateAvailable ? u"Update available…"_s : u"Check for Updates…"_s, m_actions.checkForUpdates);
    m_menu.addSeparator();
    add(u"Quit Tessary"_s, m_actions.quit);
}

} // namespace tessary
