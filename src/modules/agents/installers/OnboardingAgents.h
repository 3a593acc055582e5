#pragma once

#include "core/localization/Localization.h"
#include "modules/agents/installers/AgentHookInstaller.h"

#include <QList>
#include <QMap>
#include <QString>

#include <functional>
#include <optional>

class QSettings;

namespace tessary {

// An agent that the first run may offer, before it is known whether it is on this machine.
struct AgentCandidate {
    QString id;
    QString name;
    QString detail;
    std::optional<AgentHookInstaller> installer;
    std::function<bool()> isPresent;
};

// An agent found on this machine, as the first run shows it.
struct AgentOffer {
    QString id;
    QString name;
    QString detail;
    std::optional<AgentHookInstaller> installer;
    bool isConnected = false;
    bool isDeclined = false;

    // Whether there is anything to connect: agents without hooks are only shown.
    [[nodiscard]] bool canConnect() const { return installer.has_value(); }
};

namespace OnboardingAgents {

// Claude Code, Codex and Antigravity, in that order, with their details in the chosen language.
QList<AgentCandidate> defaultCandidates(const QString& homeDirectory, QSettings* defaults,
                                        const Localization& localization);

// The candidates present on this machine, in order, with their connection state.
QList<AgentOffer> offers(const QList<AgentCandidate>& candidates);

// Connects each offered agent that the choices want or do not mention, and disconnects (and declines)
// each one they turn off. Gives, per agent with hooks, whether all its hooks are in its file afterwards.
QMap<QString, bool> apply(const QMap<QString, bool>& choices, const QList<AgentOffer>& offers);

} // namespace OnboardingAgents

} // namespace tessary
