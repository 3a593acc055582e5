#pragma once

#include "core/localization/Localization.h"
#include "modules/agents/installers/OnboardingAgents.h"

#include <QDialog>
#include <QMap>

#include <functional>

class QPushButton;

namespace tessary {

class OnboardingSwitch;

// The first-run window: the coding agents found on this computer, a switch to connect each one that has
// hooks, a switch to open the program at login, and Start or Later. Exactly one of the two callbacks
// runs, once: Start gives the choices; Later, Escape and closing the window give no answer.
class OnboardingWindow final : public QDialog {
    Q_OBJECT
public:
    // Choices by agent id, for the agents that can be connected.
    using StartHandler = std::function<void(const QMap<QString, bool>& agents, bool launchAtLogin)>;
    using LaterHandler = std::function<void()>;

    OnboardingWindow(QList<AgentOffer> offers, bool launchesAtLogin, const Localization& localization,
                     QWidget* parent = nullptr);

    StartHandler onStart;
    LaterHandler onLater;

    [[nodiscard]] QMap<QString, bool> choices() const;
    [[nodiscard]] bool launchAtLogin() const;

    void done(int result) override;

private:
    QWidget* makeAgentRow(const AgentOffer& offer);

    QList<AgentOffer> m_offers;
    Localization m_localization;
    QMap<QString, OnboardingSwitch*> m_agentSwitches;
    OnboardingSwitch* m_loginSwitch = nullptr;
    QPushButton* m_later = nullptr;
    QPushButton* m_start = nullptr;
    bool m_answered = false;
};

} // namespace tessary
