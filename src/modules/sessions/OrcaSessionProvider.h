#pragma once

#include "modules/sessions/SessionProvider.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QStringList>

#include <functional>
#include <optional>
#include <variant>

namespace tessary {

// The terminals of the Orca host application, asked of its command line: they make no sessions of
// their own, but tell which transcript session runs in which terminal (see OrcaSessionHosting).
class OrcaSessionProvider final : public SessionProvider {
public:
    enum class Agent { claude, codex, any };

    struct Terminal {
        QString handle;
        QString title;
        QString worktreePath;
        std::optional<QString> worktreeID;
        std::optional<QString> branch;
        std::optional<QString> agentName;
        std::optional<QString> executionHostID;
        QDateTime lastOutputAt;
        bool orphaned = false;
        bool operator==(const Terminal&) const = default;
    };

    // Project names of Orca's worktrees, by worktree id and by path.
    struct Projects {
        QHash<QString, QString> byID;
        QHash<QString, QString> byPath;
        bool operator==(const Projects&) const = default;
    };

    struct InvalidJSON {
        bool operator==(const InvalidJSON&) const = default;
    };

    // What one run of the command line gave.
    struct NotInstalled {
        bool operator==(const NotInstalled&) const = default;
    };
    struct RunFailed {
        QString message;
        bool operator==(const RunFailed&) const = default;
    };
    using RunResult = std::variant<QByteArray, NotInstalled, RunFailed>;
    // Runs the command line with the given arguments and gives its standard output. Blocking; it
    // is called on the reading's worker thread.
    using Runner = std::function<RunResult(const QStringList& arguments)>;

    OrcaSessionProvider(Agent agent, Runner runner);

    [[nodiscard]] SessionFetchResult fetchSessions(int limit) const override;
    [[nodiscard]] DiagnosticLiteral providerName() const override { return "OrcaSessionProvider"; }

    // The arguments of the two readings.
    static QStringList terminalListArguments(int limit);
    static QStringList worktreeListArguments();

    // The terminals of a `terminal list --json` answer, whatever their agent.
    static std::variant<QList<Terminal>, InvalidJSON> parse(const QByteArray& data);
    static Projects parseProjects(const QByteArray& data);
    // Trimmed, without a leading spinner character (the Braille block) and the blanks after it;
    // `fallback` when nothing is left.
    static QString cleanTitle(const QString& title, const QString& fallback);
    // Local, not orphaned, and run by the agent asked for.
    static bool suits(const Terminal& terminal, Agent agent);
    static AgentSession session(const Terminal& terminal, const Projects& projects);

private:
    Agent m_agent;
    Runner m_runner;
};

} // namespace tessary
