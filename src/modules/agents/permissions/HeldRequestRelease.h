#pragma once

#include "modules/agents/permissions/ToolCallFingerprint.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// When a request on hold (or on show) is over though nobody answered it on the card: the turn
// ended, the tool ran, a new plan replaced it, or its connection closed. Pure rules.
namespace HeldRequestRelease {

// What is kept of a request on hold (or on show) to tell when it was answered elsewhere.
struct Held {
    QString id;
    QString sessionID;
    ToolCallFingerprint fingerprint;
    QDateTime askedAt;
    // The shell command of a "Bash" call, matched against the agent's running processes.
    std::optional<QString> command;
    std::optional<qint32> agentPID;

    // Derives the fingerprint from the raw tool name and input, and the command from a "Bash" input.
    static Held of(QString id, QString sessionID, const QString& tool, const QJsonObject& input,
                   QDateTime askedAt, std::optional<qint32> agentPID);

    bool operator==(const Held&) const = default;
};

// A hook event, or the closing of held connections, as the rules see it.
struct Event {
    std::optional<QString> name;
    std::optional<QString> sessionID;
    // The raw tool name.
    std::optional<QString> tool;
    std::optional<QJsonObject> input;
    // Set only by the connection watcher: these requests lost their connection.
    QSet<QString> closedRequestIDs;

    // Reads "hook_event_name", "session_id", "tool_name" and "tool_input"; fields of the wrong type
    // are absent.
    static Event fromHookBody(const QJsonObject& body);
    static Event closed(const QSet<QString>& requestIDs);

    bool operator==(const Event&) const = default;
};

// Events after which nothing of the session's turn still waits.
const QStringList& turnEnders();
// Events that say a tool ran: somebody allowed it.
const QStringList& toolEnders();
// Tools whose new request replaces the one on hold.
const QStringList& replacedByNewRequest();

// Whether `event` ends `held`. `eventFingerprint` is the event's fingerprint where it has a tool and
// an input; only a tool's end looks at it.
bool shouldRelease(const Held& held, const Event& event,
                   const std::optional<ToolCallFingerprint>& eventFingerprint);

// The ids that `event` ends among `held`. A tool's end proves one approval, so it ends only the
// oldest matching request; the other rules end every request they match.
QStringList requestsToRelease(const QList<Held>& held, const Event& event);

} // namespace HeldRequestRelease

} // namespace tessary
