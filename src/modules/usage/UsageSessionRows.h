#pragma once

#include "modules/agents/changes/AgentChangeStore.h"
#include "modules/agents/live/AgentEventStore.h"
#include "modules/sessionpanel/SessionPanel.h"
#include "modules/sessions/SessionStore.h"
#include "modules/usage/UsageMeterModule.h"

namespace tessary {

// An agent's sessions as its usage widget carries them: the session panel's rows in the detail,
// and on the surface how many sessions work and how many wait for the user.
namespace UsageSessionRows {

struct Counts {
    int working = 0;
    // Blocked on the user, or with a request waiting for an answer.
    int needingUser = 0;
    bool operator==(const Counts&) const = default;
};

// Counts by the believed state of each session (SessionPanel::trusted) and the waiting requests.
Counts counts(const SessionPanel::Inputs& inputs);
// "2 working · 1 needs you"; nothing when no session works or waits.
std::optional<QString> summary(const Counts& counts, const Localization& localization);
// Attention while a session needs the user, active while one works.
std::optional<ModuleState> state(const Counts& counts);

// What the panel reads of one agent's sessions, copied from the stores now.
SessionPanel::Inputs inputs(const SessionStore& sessions, const AgentEventStore& events,
                            const QString& agent);

// The agent's own list of background agents and the notices of its changes, for Claude Code.
struct AgentListExtras {
    // Observed with every reading; must outlive the result.
    AgentChangeStore* changes = nullptr;
    // Whether the user looks at a session now: it gets no notice.
    std::function<bool(const QString& sessionID)> isInFront;
};

// The sessions of `agent` ("claude") for the module `moduleID`, their section ids prefixed with
// `prefix` ("claude/"). Both stores must outlive the result; `jump` takes a row's click. With
// `extras`, the background agents follow the sessions, count among them, and the notices of agent
// changes come with every reading.
UsageMeterSessions sessions(const SessionStore& sessions, const AgentEventStore& events, QString agent,
                            QString moduleID, QString prefix, UsageMeterSessions::Jump jump = {},
                            std::optional<AgentListExtras> extras = std::nullopt);

// One reading of the changes worth a notice, from both stores.
AgentChanges::Reading changeReading(const SessionStore& sessions, const AgentEventStore& events,
                                    const QString& agent);

} // namespace UsageSessionRows

} // namespace tessary
