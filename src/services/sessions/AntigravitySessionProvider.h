#pragma once

#include "modules/sessions/AgentProcess.h"
#include "modules/sessions/AntigravitySessions.h"
#include "modules/sessions/SessionProvider.h"
#include "services/sessions/AntigravitySummaryDatabase.h"

#include <functional>

namespace tessary {

// Antigravity's sessions: the rows of its summary database, dated by the conversations' own files,
// with the working directories of the running agents telling a busy conversation from one whose
// agent was killed. Reads, never writes, the agent's folder.
class AntigravitySessionProvider final : public SessionProvider {
public:
    using LiveDirectories = std::function<QStringList()>;

    struct Configuration {
        // `~/.gemini/antigravity-cli`.
        QString root;
        int scanLimit = 400;
        LiveDirectories liveAgentDirectories;
        AntigravitySessions::ResolvePath resolvePath = defaultResolvePath;
    };

    explicit AntigravitySessionProvider(Configuration configuration);

    static QString defaultRoot(const QString& home);
    // The canonical path, or the path itself when it doesn't exist.
    static QString defaultResolvePath(const QString& path);
    // The working directories of the running `agy` processes.
    static LiveDirectories liveDirectories(std::shared_ptr<const AgentProcessScanning> processes);

    [[nodiscard]] SessionFetchResult fetchSessions(int limit) const override;
    [[nodiscard]] DiagnosticLiteral providerName() const override { return "AntigravitySessionProvider"; }

    // The newest write of each conversation's files under `root`/conversations, by conversation id
    // (a file's name up to its first dot).
    [[nodiscard]] QHash<QString, QDateTime> lastWrites() const;

    static SessionProviderError error(const AntigravitySummaryDatabase::Failure& failure);

private:
    Configuration m_configuration;
};

} // namespace tessary
