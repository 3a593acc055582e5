#pragma once

#include "app/settings/SettingsSection.h"
#include "core/localization/Localization.h"
#include "core/records/WorkspaceSnapshot.h"
#include "modulekit/CorvaneModule.h"
#include "modules/agents/installers/OnboardingAgents.h"

#include <QDialog>
#include <QUrl>

#include <array>
#include <functional>
#include <memory>
#include <vector>

class QLabel;
class QListWidget;
class QScrollArea;
class QStackedWidget;

namespace tessary {

class SettingsStore;
struct TessarySettings;

// What the settings window shows beside the settings themselves.
struct SettingsWindowInputs {
    // The registered widgets, in their order: a switch each and their choices.
    std::vector<std::shared_ptr<CorvaneModule>> modules;
    // The agents the program knows; those with hooks get a connection row.
    QList<AgentCandidate> agents;
    // The displays connected now; remembered ones come from the settings.
    std::function<std::vector<DisplaySnapshot>()> connectedDisplays;
    // Where the diagnostic log is written.
    QString logsFolder;
    // Opens a folder in the file manager; QDesktopServices when empty.
    std::function<bool(const QUrl&)> openUrl;
    // Opens the log viewer; the button is left out without it.
    std::function<void()> showLog;
    // Empty: no export button.
    std::function<void(QWidget* parent)> exportDiagnostics;
    // Plays a question sound by its platform name when the user picks it, so that it can be heard.
    std::function<void(const QString& soundName)> previewSound;
};

// The settings window: a sidebar of four panes (General, Displays, Widgets, Advanced). Every control writes
// through the settings store and follows the store's published value, so that a change made elsewhere shows
// here too; a change of language relabels the whole window. Escape closes it.
class SettingsWindow final : public QDialog {
    Q_OBJECT
public:
    SettingsWindow(SettingsStore& store, SettingsWindowInputs inputs, QWidget* parent = nullptr);
    ~SettingsWindow() override;
    SettingsWindow(const SettingsWindow&) = delete;
    SettingsWindow& operator=(const SettingsWindow&) = delete;
    SettingsWindow(SettingsWindow&&) = delete;
    SettingsWindow& operator=(SettingsWindow&&) = delete;

    void showSection(SettingsSection section);
    [[nodiscard]] SettingsSection section() const;
    [[nodiscard]] const Localization& localization() const { return m_localization; }
    // Reads each agent's file again; done whenever the window is shown and after Connect or Disconnect.
    void refreshAgents();
    // Builds the displays pane again when the connected displays changed.
    void refreshDisplays();

signals:
    // The window has followed a change of the settings (values shown, or panes relabelled).
    void refreshed();

protected:
    void showEvent(QShowEvent* event) override;

private:
    using Updater = std::function<void(const TessarySettings&)>;
    struct Pane {
        QScrollArea* area = nullptr;
        QString structure; // what the pane was built from; a change rebuilds it
        std::vector<Updater> updaters;
    };

    void buildFrame();
    void relabelFrame();
    void rebuildPane(SettingsSection section);
    void followSettings(const TessarySettings& settings);
    [[nodiscard]] QString structureOf(SettingsSection section, const TessarySettings& settings) const;

    QWidget* buildGeneral(Pane& pane);
    QWidget* buildDisplays(Pane& pane);
    QWidget* buildWidgets(Pane& pane);
    QWidget* buildAdvanced(Pane& pane);
    QWidget* buildAgentRow(const AgentCandidate& agent);
    [[nodiscard]] QString statusLineText(const StatusLineState& line, bool connected) const;

    [[nodiscard]] QString text(const QString& key) const { return m_localization.text(key); }
    void edit(const std::function<void(TessarySettings&)>& change);

    SettingsStore& m_store;
    SettingsWindowInputs m_inputs;
    Localization m_localization;
    QListWidget* m_sidebar = nullptr;
    QStackedWidget* m_stack = nullptr;
    std::array<Pane, 4> m_panes;
    std::vector<std::function<void()>> m_agentUpdaters;
};

} // namespace tessary
