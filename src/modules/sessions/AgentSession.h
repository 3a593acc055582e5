#pragma once

#include "core/localization/Localization.h"
#include "core/records/EnumText.h"
#include "modules/sessions/ClaudeSubagentTask.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QUrl>

#include <array>
#include <optional>
#include <utility>

namespace tessary {

// One coding-agent session, whatever the agent: what every reader of transcripts, tools and hosts
// turns its source into, and what everything that shows sessions reads.
struct AgentSession {
    enum class Speaker { user, agent };

    // The last compaction of the context window, in tokens before and after.
    struct Compaction {
        QDateTime at;
        QString trigger;
        qint64 before = 0;
        qint64 after = 0;
        bool operator==(const Compaction&) const = default;
    };

    struct PullRequest {
        qint64 number = 0;
        QString repository;
        QUrl url;
        bool operator==(const PullRequest&) const = default;
    };

    struct ChangedLines {
        qint64 added = 0;
        qint64 removed = 0;
        bool operator==(const ChangedLines&) const = default;
    };

    // A subagent that the session launched.
    struct Subagent {
        QString id;
        std::optional<QString> description;
        std::optional<QString> model;
        std::optional<QString> effort;
        std::optional<QString> tool;
        qint64 contextTokens = 0;
        std::optional<qint64> contextWindow;
        QDateTime lastActivity;
        // Absent: unknown.
        std::optional<bool> isWorking;
        bool operator==(const Subagent&) const = default;

        [[nodiscard]] QString contextDetail(const Localization& localization) const;
    };

    QString id;
    std::optional<QString> title;
    std::optional<QString> role;
    std::optional<QString> roleColor;
    QString project;
    qint64 contextTokens = 0;
    std::optional<qint64> contextWindow;
    std::optional<Speaker> lastSpeaker;
    // The sort key of every session list.
    QDateTime lastActivity;
    std::optional<QString> directory;
    std::optional<QString> model;
    std::optional<QString> effort;
    // Where the session runs: "CLI", "Desktop", "Orca".
    std::optional<QString> origin;
    // The product shown to the user: "Claude Code", "Codex", "Antigravity".
    std::optional<QString> toolName;
    std::optional<QString> toolVersion;
    // The short agent key: "claude", "codex", "agy".
    std::optional<QString> agentName;
    std::optional<QString> desktopSessionID;
    std::optional<QString> hostOrigin;
    std::optional<QString> hostItemID;
    std::optional<QString> hostProject;
    std::optional<QString> branch;
    std::optional<QDateTime> startedAt;
    // Seconds.
    std::optional<double> lastTurnDuration;
    std::optional<Compaction> compaction;
    std::optional<PullRequest> pullRequest;
    QList<Subagent> subagents;
    std::optional<ChangedLines> changedLines;
    QList<ClaudeSubagentTask> statusLineTasks;

    bool operator==(const AgentSession&) const = default;

    // The role, else the title, else the project; an empty text counts as none.
    [[nodiscard]] QString displayTitle() const;
    // Marks the session as running in a host application's terminal `item`.
    void attachHost(const QString& host, const QString& item, const std::optional<QString>& itemProject);

    // The short form on a chip: the share of the context window in use ("63%", over 100% once the
    // window is passed), or the tokens in compact form ("12K") when the window is unknown.
    [[nodiscard]] QString contextLabel(const Localization& localization) const;
    static QString contextLabel(qint64 tokens, std::optional<qint64> window,
                                const Localization& localization);
    // "12.3K / 200K (6%)", or the compact tokens alone when the window is unknown.
    [[nodiscard]] QString contextDetail(const Localization& localization) const;
    static QString contextDetail(qint64 tokens, std::optional<qint64> window,
                                 const Localization& localization);

    // The subagents that still count as alive at `moment`: one of unknown state while younger than
    // `window` seconds, a working one while younger than half an hour, a finished one never.
    [[nodiscard]] QList<Subagent> liveSubagents(const QDateTime& moment, double window) const;
    // How long a subagent said to be working stays alive without news, in seconds.
    static constexpr double workingSubagentLifetime = 1800.0;
};

template <>
struct EnumTable<AgentSession::Speaker> {
    static constexpr std::array<std::pair<AgentSession::Speaker, const char*>, 2> cases{{
        {AgentSession::Speaker::user, "user"},
        {AgentSession::Speaker::agent, "agent"},
    }};
};

// Numbers in the short form of a chip, in the locale of the chosen language.
namespace CompactNumber {

// "950", "1.2K", "12K", "123K", "1.2M": one fraction digit only below 10 of a unit.
QString name(qint64 value, const QLocale& locale);
// The same with one fraction digit wherever it isn't zero: "12.3K", "200K".
QString detailed(qint64 value, const QLocale& locale);

} // namespace CompactNumber

} // namespace tessary
