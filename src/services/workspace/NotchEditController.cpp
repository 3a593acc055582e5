#include "services/workspace/NotchEditController.h"

#include "core/time/Clock.h"
#include "spatial/notch/NotchArrangement.h"

namespace tessary {

NotchEditController::NotchEditController(Dependencies dependencies)
    : m_deps(std::move(dependencies)) {}

void NotchEditController::setEditor(NotchEditor* editor) {
    if (m_editor != nullptr && m_editor != editor) {
        m_editor->hideEditor();
    }
    m_editor = editor;
    if (editor == nullptr) {
        return;
    }
    editor->setEditorCallbacks({[this](const NotchPreferences& edited) { save(edited); }, [this] { end(); }});
}

void NotchEditController::begin(const QString& displayID) {
    m_editingDisplayID = displayID;
    m_deps.pauseSurfaces(true);
    sync();
}

void NotchEditController::end() {
    if (!m_editingDisplayID) {
        return;
    }
    m_editingDisplayID.reset();
    m_deps.pauseSurfaces(false);
    if (m_editor != nullptr) {
        m_editor->hideEditor();
    }
}

void NotchEditController::docked(const QString& displayID, const QRectF& notch,
                                 std::vector<ModuleSnapshot> members) {
    m_docked.insert(displayID, DockedNotch{notch, std::move(members)});
}

void NotchEditController::publishArrivalOrder() {
    QStringList ids;
    for (const DockedNotch& docked : m_docked) {
        for (const ModuleSnapshot& member : docked.members) {
            ids.append(member.id);
        }
    }
    m_deps.model.setNotchArrivalOrder(NotchArrangement::arrivalOrder(ids, m_deps.model.notchArrivalOrder()));
}

void NotchEditController::sync() {
    if (!m_editingDisplayID) {
        return;
    }
    const auto docked = m_docked.constFind(*m_editingDisplayID);
    if (docked == m_docked.constEnd()) {
        end(); // the notch it edited has gone
        return;
    }
    if (m_editor == nullptr) {
        return;
    }
    const TessarySettings& settings = m_deps.settingsStore.settings();
    NotchEditor::Content content;
    content.notch = docked->notch;
    content.preferences = settings.notch;
    // The editor lists every docked module, the hidden ones too: the loop's members leave those out.
    std::vector<ModuleSnapshot> all;
    for (const ModuleSnapshot& snapshot : m_deps.bus.rankedSnapshots(m_deps.clock.now())) {
        if (settings.isWidgetEnabled(snapshot.id, *m_editingDisplayID)) {
            all.push_back(snapshot);
            content.titles.insert(snapshot.id, snapshot.variants.compact.title);
        }
    }
    content.tabs = NotchArrangement::editingTabs(all, settings.notch, true);
    m_editor->showEditor(content);
}

void NotchEditController::save(const NotchPreferences& preferences) {
    TessarySettings settings = m_deps.settingsStore.settings();
    if (settings.notch == preferences) {
        return;
    }
    settings.notch = preferences;
    m_deps.settingsStore.setSettings(settings);
    m_deps.edited();
}

} // namespace tessary
