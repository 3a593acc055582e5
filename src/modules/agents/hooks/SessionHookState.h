#pragma once

#include "modules/agents/hooks/SessionHookEvent.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringView>

#include <optional>

namespace tessary {

// What the hook stream tells of one session beyond its activity: running subagents, the agent's own
// tasks, denials of this turn, compactions, the last answer, background work, the last failure.
// Kept in memory only, and bounded: 20 subagents, 50 tasks, 3 denials, clipped texts.
struct SessionHookState {
    static constexpr qsizetype subagentLimit = 20;
    static constexpr qsizetype taskLimit = 50;
    static constexpr qsizetype denialLimit = 3;

    struct Subagent {
        QString id;
        std::optional<QString> type;
        QDateTime startedAt;
        bool operator==(const Subagent&) const = default;
    };
    struct SessionTask {
        QString id;
        std::optional<QString> subject;
        bool isCompleted = false;
        bool operator==(const SessionTask&) const = default;
    };
    struct Denial {
        std::optional<QString> id;
        std::optional<QString> tool;
        std::optional<QString> summary;
        std::optional<QString> reason;
        QDateTime at;
        bool operator==(const Denial&) const = default;
    };
    struct Compaction {
        std::optional<QString> trigger;
        QDateTime at;
        bool operator==(const Compaction&) const = default;
    };
    struct LastAnswer {
        // Clipped for display.
        QString text;
        QDateTime at;
        // The longer copy for the on-device model.
        QString tail;
        bool operator==(const LastAnswer&) const = default;
    };
    struct BackgroundWait {
        QList<SessionHookEvent::BackgroundTask> tasks;
        QList<SessionHookEvent::SessionCron> crons;
        QDateTime since;
        bool operator==(const BackgroundWait&) const = default;
    };
    struct Failure {
        std::optional<QString> code;
        std::optional<StopFailureKind> kind;
        // Clipped for display.
        std::optional<QString> details;
        QDateTime at;
        // The longer copy for the on-device model.
        std::optional<QString> rawDetails;
        bool operator==(const Failure&) const = default;
    };
    struct Interruption {
        std::optional<QString> turnID;
        QDateTime at;
        bool operator==(const Interruption&) const = default;
    };
    struct ResumeContext {
        qint64 tokens = 0;
        QDateTime at;
        bool operator==(const ResumeContext&) const = default;
    };

    // Oldest first.
    QList<Subagent> subagents;
    // Set once any subagent event was seen: tells "none running" from "unknown".
    bool tracksSubagents = false;
    QList<SessionTask> tasks;
    QList<Denial> denials;
    std::optional<Compaction> compacting;
    std::optional<Compaction> lastCompaction;
    std::optional<LastAnswer> lastAnswer;
    std::optional<BackgroundWait> backgroundWait;
    std::optional<Failure> lastFailure;
    std::optional<Interruption> lastInterruption;
    std::optional<ResumeContext> resumeContext;

    [[nodiscard]] bool isEmpty() const { return *this == SessionHookState{}; }
    [[nodiscard]] qsizetype completedTaskCount() const;
    [[nodiscard]] bool hasOpenTasks() const;

    void apply(const SessionHookEvent::Reading& reading, const QDateTime& at);
    void apply(const SessionHookEvent& event, const QDateTime& at, bool clearsBackgroundWait);

    // Whether two agent ids name the same subagent: agents spell ids in full and in short form.
    // Under 8 characters they must be equal; otherwise one must begin with the other.
    static bool sameAgent(QStringView a, QStringView b);

    bool operator==(const SessionHookState&) const = default;

private:
    void applySessionStart(const SessionHookEvent::SessionStart& start, const QDateTime& at);
    void applyStop(const SessionHookEvent::Stop& stop, const QDateTime& at);
    void noteTask(const QString& id, const std::optional<QString>& subject, bool completed);
    void pruneSubagents(const QList<SessionHookEvent::BackgroundTask>& tasks);
};

} // namespace tessary
