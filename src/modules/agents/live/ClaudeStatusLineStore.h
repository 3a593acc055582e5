#pragma once

#include "modules/sessions/ClaudeSubagentTask.h"

#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <mutex>
#include <optional>
#include <variant>

namespace tessary {

// A plan limit as Claude Code's status line reports it.
struct RateWindow {
    double usedPercentage = 0;
    std::optional<QDateTime> resetsAt;
    bool operator==(const RateWindow&) const = default;
};

// The figures of one session's status line: real context use and plan limits, which no hook gives.
struct ClaudeStatusLineReading {
    QString sessionID;
    std::optional<double> usedPercentage;
    std::optional<qint64> contextWindowSize;
    std::optional<qint64> totalInputTokens;
    // The tokens of the last request's context (input, cache written and cache read): what the
    // percentage was worked out from, whole.
    std::optional<qint64> contextTokens;
    std::optional<qint64> linesAdded;
    std::optional<qint64> linesRemoved;
    std::optional<RateWindow> fiveHour;
    std::optional<RateWindow> sevenDay;
    QDateTime at;
    // When the limits were last reported; a payload without them keeps the earlier ones.
    QDateTime limitsAt;
    bool operator==(const ClaudeStatusLineReading&) const = default;
};

// The rows of the subagent status line: the subagents that the session's panel shows.
struct ClaudeSubagentStatusReading {
    using Task = ClaudeSubagentTask;
    QString sessionID;
    QList<Task> tasks;
    QDateTime at;
    bool operator==(const ClaudeSubagentStatusReading&) const = default;
};

using ClaudeStatusLinePayload = std::variant<ClaudeStatusLineReading, ClaudeSubagentStatusReading>;

// The latest status-line readings per session, for any thread. The lock is held to copy or swap.
class ClaudeStatusLineStore {
public:
    // The header that marks a post as a status-line payload.
    static constexpr auto header = "X-Tessary-StatusLine";
    // Sessions kept, the least recently reported going first.
    static constexpr qsizetype sessionLimit = 50;

    ClaudeStatusLineStore() = default;
    ClaudeStatusLineStore(const ClaudeStatusLineStore&) = delete;
    ClaudeStatusLineStore& operator=(const ClaudeStatusLineStore&) = delete;
    ClaudeStatusLineStore(ClaudeStatusLineStore&&) = delete;
    ClaudeStatusLineStore& operator=(ClaudeStatusLineStore&&) = delete;
    ~ClaudeStatusLineStore() = default;

    // Reads a payload; nothing without a string "session_id". A payload with a "tasks" array is the
    // subagent status line.
    static std::optional<ClaudeStatusLinePayload> read(const QJsonObject& json, const QDateTime& at);

    // True when the figures changed; a payload that only repeats them is not a change.
    bool record(const QJsonObject& json, const QDateTime& at);

    [[nodiscard]] QHash<QString, ClaudeStatusLineReading> sessions() const;
    [[nodiscard]] QHash<QString, ClaudeSubagentStatusReading> subagents() const;
    [[nodiscard]] std::optional<ClaudeStatusLineReading> session(const QString& sessionID) const;

private:
    mutable std::mutex m_lock;
    QHash<QString, ClaudeStatusLineReading> m_sessions;
    QHash<QString, ClaudeSubagentStatusReading> m_subagents;
};

} // namespace tessary
