#pragma once

#include "modules/agents/hooks/HookEvent.h"
#include "modules/agents/permissions/AgentQuestion.h"
#include "modules/agents/permissions/PendingPermission.h"
#include "modules/agents/permissions/PermissionAgent.h"
#include "modules/agents/permissions/ToolCallFingerprint.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <functional>
#include <optional>

namespace tessary {

class AgentEventStore;
class AgentProcessReading;

// Where each hook event goes, in one place: the live store learns what the session does, and a
// permission request becomes a request for the card, which the listener then holds on its
// connection. It decides and records; it knows no socket. Main thread only.
class HookEventRouter {
public:
    // What the card shows of a session beside a request.
    struct SessionCaption {
        std::optional<QString> title;
        std::optional<QString> project;
        std::optional<QString> color;
        bool operator==(const SessionCaption&) const = default;
    };
    // Who sent the event: the agent's process (the hook's parent) and the agent's id, when told.
    struct Sender {
        std::optional<qint32> agentPID;
        std::optional<QString> agent;
    };
    // A permission request for the card, with what its answer is made of.
    struct Hold {
        PendingPermission pending;
        QJsonObject input;
        ToolCallFingerprint fingerprint;
        QJsonArray suggestions;
        PermissionAgent agent;
        std::optional<qint32> agentPID;
    };
    struct Services {
        AgentEventStore& store;
        const AgentProcessReading* processes; // may be null: no session is then headless or hosted
        std::function<SessionCaption(const QString& sessionID)> caption;
        std::function<bool(const QString& sessionID)> isDesktopSession;
        // What the stores publish changed (batched by the caller).
        std::function<void()> requestUpdate;
    };

    explicit HookEventRouter(Services services);

    // What every event tells of its sender and its session, before held requests are looked at.
    void noteSender(const HookEvent& event, const Sender& sender) const;
    // Records the event; a permission request to hold comes back, anything else is answered empty.
    [[nodiscard]] std::optional<Hold> route(const HookEvent& event, const Sender& sender,
                                            const QDateTime& now);

    // Whether the agent runs without a terminal to ask in.
    [[nodiscard]] bool isHeadless(std::optional<qint32> agentPID) const;

private:
    void toolStarting(const HookEvent& event, const Sender& sender, const QDateTime& now);
    [[nodiscard]] std::optional<Hold> permissionRequest(const HookEvent& event,
                                                        const hook::PermissionRequest& request,
                                                        const Sender& sender, const QDateTime& now);
    void noteUnansweredQuestion(const HookEvent& event, const AgentQuestion& question,
                                const QString& displayTool, const QString& summary, const Sender& sender,
                                const QDateTime& at);
    [[nodiscard]] SessionCaption caption(const QString& sessionID) const;
    void logAndUpdate(const HookEvent& event) const;

    Services m_services;
};

} // namespace tessary
