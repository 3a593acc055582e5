#pragma once

#include <QString>

namespace tessary {

// What each agent can do with an answer given on the card.
struct PermissionAgent {
    QString id;
    QString label;
    // Offers "always allow" (a rule kept for the session).
    bool supportsAlwaysAllow = false;
    // Reads "updatedInput" in a decision (answers to a question).
    bool acceptsUpdatedInput = false;
    // Seconds the program holds a request before answering with nothing.
    int decisionDeadline = 0;
    // While its hook waits the agent shows no question in its terminal.
    bool hookHidesTerminalQuestion = false;
    // Its question tool does not pass through a permission request: it is only seen at PreToolUse.
    bool asksOutsidePermission = false;

    static PermissionAgent claude();
    static PermissionAgent codex();
    // The Codex agent for the Codex id, Claude Code for anything else.
    static PermissionAgent of(const QString& agentID);

    bool operator==(const PermissionAgent&) const = default;
};

} // namespace tessary
