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

StatusMenu::Content StatusMenu::content() const {
    const auto& workspace = m_model.workspace();
    Content content;
    content.problem = m_model.lastError();
    // Platforms without an accessibility permission hand in no action and show no entry.
    content.asksForAccessibility = static_cast<bool>(m_actions.requestAccessibilityAccess) &&
                                   (!workspace || !workspace->hasAccessibilityAccess);
    content.canEditNotch = m_model.hasDockedNotch();
    content.updateAvailable = m_updateAvailable;
    content.localization = m_localization;
    return content;
}

void StatusMenu::rebuild() {
    Content next = content();
    if (m_shown == next) {
        return;
    }
    m_shown = std::move(next);
    const Content& shown = *m_shown;
    m_menu.clear();
    m_editNotch = nullptr;
    const auto add = [this](const QString& key, const std::function<void()>& action) {
        QAction* item = m_menu.addAction(m_localization.text(key));
        item->setEnabled(static_cast<bool>(action));
        if (action) {
            connect(item, &QAction::triggered, this, [action] { action(); });
        }
        return item;
    };

    if (shown.problem) {
        m_menu.addSection(m_localization.text(u"Problem"_s));
        QAction* text = m_menu.addAction(*shown.problem);
        text->setEnabled(false);
    }
    m_menu.addSeparator();
    if (shown.asksForAccessibility) {
        add(u"Turn on Accessibility…"_s, m_actions.requestAccessibilityAccess);
    }
    m_menu.addSeparator();
    if (shown.canEditNotch) {
        m_editNotch = add(u"Edit notch…"_s, m_actions.editNotch);
    }
    add(u"Settings…"_s, m_actions.openSettings);
    if (m_actions.exportDiagnostics) {
        add(u"Export Diagnostics…"_s, m_actions.exportDiagnostics);
    }
    add(shown.updateAvailable ? u"Update available…"_s : u"Check for Updates…"_s, m_actions.checkForUpdates);
    m_menu.addSeparator();
    add(u"Quit Tessary"_s, m_actions.quit);
}

void StatusMenu::addActionsTo(QMenu& menu) const {
    const QList<QAction*> actions = m_menu.actions();
    // The leading dividers of the tray's menu have nothing above them here, and a surface edits
    // its own notch.
    bool leading = true;
    for (QAction* action : actions) {
        if ((leading && action->isSeparator() && action->text().isEmpty()) || action == m_editNotch) {
            continue;
        }
        leading = false;
        menu.addAction(action);
    }
}

} // namespace tessary
