#include "modules/agents/hooks/SessionHookState.h"

#include "core/records/Overloaded.h"
#include "modules/agents/hooks/TextClipping.h"

#include <algorithm>

namespace tessary {

namespace {

template <typename T>
void dropOldest(QList<T>& list, qsizetype limit) {
    if (list.size() > limit) {
        list.remove(0, list.size() - limit);
    }
}

} // namespace

qsizetype SessionHookState::completedTaskCount() const {
    return std::count_if(tasks.cbegin(), tasks.cend(),
                         [](const SessionTask& task) { return task.isCompleted; });
}

bool SessionHookState::hasOpenTasks() const {
    return std::any_of(tasks.cbegin(), tasks.cend(),
                       [](const SessionTask& task) { return !task.isCompleted; });
}

bool SessionHookState::sameAgent(QStringView a, QStringView b) {
    const QStringView shorter = a.size() <= b.size() ? a : b;
    const QStringView longer = a.size() <= b.size() ? b : a;
    if (shorter.size() < 8) {
        return a == b;
    }
    return longer.startsWith(shorter);
}

void SessionHookState::apply(const SessionHookEvent::Reading& reading, const QDateTime& at) {
    apply(reading.event, at, reading.clearsBackgroundWait);
}

void SessionHookState::apply(const SessionHookEvent& event, const QDateTime& at, bool clearsBackgroundWait) {
    using E = SessionHookEvent;
    if (const auto* start = event.as<E::SubagentStart>()) {
        tracksSubagents = true;
        subagents.removeIf([&](const Subagent& s) { return s.id == start->id; });
        subagents.append({start->id, start->type, at});
        dropOldest(subagents, subagentLimit);
        return;
    }
    if (const auto* stop = event.as<E::SubagentStop>()) {
        tracksSubagents = true;
        subagents.removeIf([&](const Subagent& s) { return s.id == stop->id; });
        return;
    }
    if (clearsBackgroundWait) {
        backgroundWait.reset();
    }
    std::visit(Overloaded{
                   [&](const E::SessionStart& start) { applySessionStart(start, at); },
                   [&](const E::Stop& stop) { applyStop(stop, at); },
                   [&](const E::Interrupt& interrupt) {
                       compacting.reset();
                       backgroundWait.reset();
                       lastInterruption = Interruption{interrupt.turnID, at};
                   },
                   [&](const E::Failure& failure) {
                       compacting.reset();
                       lastInterruption.reset();
                       const auto details = TextClipping::clipped(failure.details);
                       auto raw = TextClipping::modelCut(failure.details, TextClipping::Edge::start);
                       lastFailure = Failure{failure.code, failure.kind, details, at, raw ? raw : details};
                   },
                   [&](const E::TaskCreated& task) { noteTask(task.id, task.subject, false); },
                   [&](const E::TaskCompleted& task) { noteTask(task.id, task.subject, true); },
                   [&](const E::Denial& denial) {
                       denials.append({denial.id, denial.tool, TextClipping::clipped(denial.summary),
                                       TextClipping::clipped(denial.reason), at});
                       dropOldest(denials, denialLimit);
                   },
                   [&](const E::PreCompact& compact) {
                       compacting = Compaction{compact.trigger, at};
                   },
                   [&](const E::PostCompact& compact) {
                       compacting.reset();
                       lastCompaction = Compaction{compact.trigger, at};
                   },
                   [&](const E::SessionEnd&) { *this = SessionHookState{}; },
                   [&](const E::UserPromptSubmit&) {
                       denials.clear();
                       if (!hasOpenTasks()) {
                           tasks.clear();
                       }
                       compacting.reset();
                       lastInterruption.reset();
                   },
                   [](const E::SubagentStart&) {},
                   [](const E::SubagentStop&) {},
                   [](const E::CwdChanged&) {},
                   [](const E::Other&) {},
               },
               event.value);
}

void SessionHookState::applySessionStart(const SessionHookEvent::SessionStart& start, const QDateTime& at) {
    const QString source = start.source.value_or(QString());
    if (source == QLatin1StringView("compact")) {
        return;
    }
    if (source == QLatin1StringView("startup") || source == QLatin1StringView("clear")) {
        *this = SessionHookState{};
    } else {
        subagents.clear();
        compacting.reset();
        lastInterruption.reset();
    }
    if (source == QLatin1StringView("resume") && start.contextTokens) {
        resumeContext = ResumeContext{*start.contextTokens, at};
    }
}

void SessionHookState::applyStop(const SessionHookEvent::Stop& stop, const QDateTime& at) {
    compacting.reset();
    lastInterruption.reset();
    if (const auto text = TextClipping::clipped(stop.lastAssistantMessage)) {
        const auto tail = TextClipping::modelCut(stop.lastAssistantMessage, TextClipping::Edge::end);
        lastAnswer = LastAnswer{*text, at, tail.value_or(*text)};
    }
    if (stop.backgroundTasks.isEmpty()) {
        backgroundWait.reset();
    } else {
        QList<SessionHookEvent::BackgroundTask> waiting = stop.backgroundTasks;
        for (SessionHookEvent::BackgroundTask& task : waiting) {
            task.description = TextClipping::clipped(task.description);
        }
        backgroundWait = BackgroundWait{std::move(waiting), stop.sessionCrons, at};
    }
    pruneSubagents(stop.backgroundTasks);
}

void SessionHookState::noteTask(const QString& id, const std::optional<QString>& subject, bool completed) {
    const auto text = TextClipping::clipped(subject);
    for (SessionTask& task : tasks) {
        if (task.id == id) {
            task.isCompleted = task.isCompleted || completed;
            if (text) {
                task.subject = text;
            }
            return;
        }
    }
    tasks.append({id, text, completed});
    dropOldest(tasks, taskLimit);
}

void SessionHookState::pruneSubagents(const QList<SessionHookEvent::BackgroundTask>& backgroundTasks) {
    if (subagents.isEmpty()) {
        return;
    }
    qsizetype runningCount = 0;
    QStringList ids;
    for (const SessionHookEvent::BackgroundTask& task : backgroundTasks) {
        if (task.type == QStringLiteral("subagent")) {
            ++runningCount;
            if (task.id) {
                ids.append(*task.id);
            }
        }
    }
    QList<bool> kept(subagents.size(), false);
    qsizetype matchedCount = 0;
    for (qsizetype i = 0; i < subagents.size(); ++i) {
        kept[i] = std::any_of(ids.cbegin(), ids.cend(),
                              [&](const QString& id) { return sameAgent(id, subagents[i].id); });
        matchedCount += kept[i] ? 1 : 0;
    }
    // A running task without a usable id still stands for one subagent; the newest are likeliest.
    qsizetype unmatchedToKeep = std::max<qsizetype>(0, runningCount - matchedCount);
    for (qsizetype i = subagents.size() - 1; i >= 0 && unmatchedToKeep > 0; --i) {
        if (!kept[i]) {
            kept[i] = true;
            --unmatchedToKeep;
        }
    }
    QList<Subagent> remaining;
    for (qsizetype i = 0; i < subagents.size(); ++i) {
        if (kept[i]) {
            remaining.append(subagents[i]);
        }
    }
    subagents = std::move(remaining);
}

} // namespace tessary
