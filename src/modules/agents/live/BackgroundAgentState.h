#pragma once

#include "modules/agents/live/ClaudeAgentList.h"

#include <QDateTime>
#include <QHash>
#include <QList>

#include <optional>

namespace tessary {

// A background agent of the agent list, with when its state began.
struct BackgroundAgentState {
    // Seconds an agent missing from the list is still kept: a list read while a job is being
    // rewritten may leave it out for a moment.
    static constexpr double missingGrace = 2.0;

    ClaudeAgentList::BackgroundAgent agent;
    QDateTime since;
    // First seen on the first reading: its real beginning is unknown.
    bool isBaseline = false;
    // When it reached done, failed or stopped.
    std::optional<QDateTime> finishedAt;
    // Its state is one this program doesn't know.
    bool isUnrecognized = false;
    // The last reading that listed it.
    QDateTime lastSeen;
    bool operator==(const BackgroundAgentState&) const = default;

    // The states after a reading at `at`, by agent key. An agent that keeps its state keeps its
    // beginning; a changed state begins at `at`.
    static QHash<QString, BackgroundAgentState> observe(const QList<ClaudeAgentList::BackgroundAgent>& agents,
                                                        const QDateTime& at,
                                                        const QHash<QString, BackgroundAgentState>& previous,
                                                        bool isFirstReading);
};

} // namespace tessary
