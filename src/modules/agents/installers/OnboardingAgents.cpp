#include "modules/agents/installers/OnboardingAgents.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace tessary::OnboardingAgents {

using namespace Qt::StringLiterals;

namespace {

// Claude Code's usage comes from its sign-in, which it keeps in the keychain on macOS and in a file of
// its own folder elsewhere.
QString claudeDetail() {
#ifdef Q_OS_MACOS
    return u"Usage, sessions, and questions answered from the surface. Usage is read from the Claude Code "
           u"token in your keychain: macOS asks once, choose Always Allow."_s;
#else
    return u"Usage, sessions, and questions answered from the surface. Usage is read from the Claude Code "
           u"sign-in in your home folder."_s;
#endif
}

bool antigravityIsPresent(const QString& homeDirectory) {
    const QStringList tools{homeDirectory + u"/.local/bin/agy"_s, u"/opt/homebrew/bin/agy"_s,
                            u"/usr/local/bin/agy"_s};
    const bool hasTool = std::any_of(tools.cbegin(), tools.cend(), [](const QString& path) {
        const QFileInfo info(path);
        return info.isFile() && info.isExecutable();
    });
    return hasTool || QFileInfo(homeDirectory + u"/.gemini/antigravity-cli"_s).isDir();
}

} // namespace

QList<AgentCandidate> defaultCandidates(const QString& homeDirectory, QSettings* defaults,
                                        const Localization& localization) {
    const AgentHookInstaller claude = AgentHookInstaller::claude(homeDirectory, defaults);
    const AgentHookInstaller codex = AgentHookInstaller::codex(homeDirectory, defaults);
    return {
        {u"claude"_s, u"Claude Code"_s, localization.text(claudeDetail()), claude,
         [claude] { return claude.isAgentInstalled(); }},
        {u"codex"_s, u"Codex"_s,
         localization.text(
             u"Usage, sessions, and permission requests answered from the surface. Codex asks you "
             u"once to trust Tessary's hooks: choose Trust all."_s),
         codex, [codex] { return codex.isAgentInstalled(); }},
        {u"antigravity"_s, u"Antigravity"_s,
         localization.text(u"Usage and sessions. Nothing to connect: it has no hooks."_s), std::nullopt,
         [homeDirectory] { return antigravityIsPresent(homeDirectory); }},
    };
}

QList<AgentOffer> offers(const QList<AgentCandidate>& candidates) {
    QList<AgentOffer> result;
    for (const AgentCandidate& candidate : candidates) {
        if (!candidate.isPresent || !candidate.isPresent()) {
            continue;
        }
        AgentOffer offer{candidate.id, candidate.name, candidate.detail, candidate.installer};
        if (candidate.installer) {
            offer.isConnected = candidate.installer->isInstalled();
            offer.isDeclined = candidate.installer->isDeclined();
        }
        result.append(offer);
    }
    return result;
}

QMap<QString, bool> apply(const QMap<QString, bool>& choices, const QList<AgentOffer>& offers) {
    QMap<QString, bool> result;
    for (const AgentOffer& offer : offers) {
        if (!offer.installer) {
            continue;
        }
        const auto choice = choices.constFind(offer.id);
        if (choice != choices.constEnd() && !choice.value()) {
            offer.installer->disconnect();
        } else {
            offer.installer->reconnect();
        }
        result.insert(offer.id, offer.installer->isFullyInstalled());
    }
    return result;
}

} // namespace tessary::OnboardingAgents
