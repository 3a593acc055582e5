#pragma once

#include <QString>

#include <optional>

namespace tessary {

// One row of Claude Code's subagent status line: a task that a session runs, with what the status
// line tells of it. Sessions carry these so that their panel can show the tasks.
struct ClaudeSubagentTask {
    QString id;
    std::optional<QString> name;
    std::optional<QString> type;
    std::optional<QString> status;
    std::optional<QString> model;
    std::optional<qint64> tokenCount;
    std::optional<qint64> contextWindowSize;
    bool operator==(const ClaudeSubagentTask&) const = default;
};

} // namespace tessary
