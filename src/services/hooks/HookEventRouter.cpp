#include "services/hooks/HookEventRouter.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "core/records/Overloaded.h"
#include "modules/agents/live/AgentEventStore.h"
#include "modules/agents/permissions/PermissionHoldPolicy.h"
#include "modules/agents/permissions/PermissionSummary.h"
#include "modules/sessions/AgentArguments.h"

#include <QFileInfo>
#include <QUuid>

namespace tessary {

namespace {

// A session the program doesn't know yet (its transcript not read) goes by its folder's name.
std::optional<QString> projectOf(const HookEventRouter::SessionCaption& caption, const HookEvent& event) {
    if (caption.project || !event.directory || event.directory->isEmpty()) {
        return caption.project;
    }
    return QFileInfo(*event.directory).fileName();
}
QString newRequestID() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}
} // namespace

HookEventRouter::HookEventRouter(Services services)
    : m_services(std::move(services)) {}

void HookEventRouter::noteSender(const HookEvent& event, const Sender& sender) const {
    AgentEventStore& store = m_services.store;
    if (sender.agentPID) {
        store.note(event.sessionID, *sender.agentPID);
    }
    store.noteAgent(event.sessionID, sender.agent && !sender.agent->isEmpty()
                                         ? *sender.agent
                                         : QString::fromLatin1(AgentEventStore::defaultAgent));
    if (event.directory) {
        store.noteDirectory(event.sessionID, *event.directory);
    }
}

std::optional<HookEventRouter::Hold> HookEventRouter::route(const HookEvent& event, const Sender& sender,
                                                            const QDateTime& now) {
    AgentEventStore& store = m_services.store;
    const QString& session = event.sessionID;
    bool hookStateChanged = false;
    if (event.hookState && store.sessionHooks().record(*event.hookState, session, now)) {
        m_services.requestUpdate();
        hookStateChanged = true;
    }
    if (!event.name) {
        logAndUpdate(event);
        return std::nullopt;
    }
    return std::visit(Overloaded{
                          [&](const hook::PermissionRequest& request) {
                              return permissionRequest(event, request, sender, now);
                          },
                          [&](const hook::SessionEnded&) -> std::optional<Hold> {
                              store.end(session, now);
                              logAndUpdate(event);
                              return std::nullopt;
                          },
                          [&](const hook::SessionStarted& started) -> std::optional<Hold> {
                              store.noteSessionStart(session, started.source);
                              if (started.model) {
                                  store.noteModel(session, *started.model, std::nullopt, now);
                              }
                              logAndUpdate(event);
                              return std::nullopt;
                          },
                          [&](const hook::ModelSwitched& switched) -> std::optional<Hold> {
                              store.noteModel(session, switched.model, switched.previous, now);
                              logAndUpdate(event);
                              return std::nullopt;
                          },
                          [&](const hook::PromptSubmitted&) -> std::optional<Hold> {
                              store.update(session, AgentActivity::working, std::nullopt, std::nullopt, now);
                              store.notePrompt(session, now);
                              logAndUpdate(event);
                              return std::nullopt;
                          },
                          [&](const hook::ToolStarting&) -> std::optional<Hold> {
                              toolStarting(event, sender, now);
                              logAndUpdate(event);
                              return std::nullopt;
                          },
                          [&](const hook::ToolFinished& finished) -> std::optional<Hold> {
                              const auto run =
                                  store.finishTool(finished.toolUseID, finished.failed, finished.error, now);
                              if (run && AgentChanges::longRunningTime(*run)) {
                                  logAndUpdate(event);
                              }
                              return std::nullopt;
                          },
                          [&](const hook::TurnEnded& ended) -> std::optional<Hold> {
                              store.noteTurnResult(session, ended.turnID, ended.kind, now);
                              store.update(session, AgentActivity::waiting, std::nullopt, std::nullopt, now);
                              store.discardToolStarts(session);
                              logAndUpdate(event);
                              return std::nullopt;
                          },
                          [&](const hook::TurnFailed& failed) -> std::optional<Hold> {
                              store.update(session, AgentActivity::failed, std::nullopt, failed.error, now);
                              store.discardToolStarts(session);
                              logAndUpdate(event);
                              return std::nullopt;
                          },
                          [&](const hook::Notified& notified) -> std::optional<Hold> {
                              if (notified.activity) {
                                  store.update(session, *notified.activity, std::nullopt, std::nullopt, now);
                                  logAndUpdate(event);
                              }
                              return std::nullopt;
                          },
                          [&](const hook::DirectoryChanged& changed) -> std::optional<Hold> {
                              if (changed.directory) {
                                  store.noteDirectory(session, *changed.directory);
                              }
                              logAndUpdate(event);
                              return std::nullopt;
                          },
                          [&](const hook::SessionStateChanged&) -> std::optional<Hold> {
                              if (hookStateChanged) {
                                  logAndUpdate(event);
                              }
                              return std::nullopt;
                          },
                          [&](const hook::Other&) -> std::optional<Hold> { return std::nullopt; },
                      },
                      event.kind);
}

void HookEventRouter::toolStarting(const HookEvent& event, const Sender& sender, const QDateTime& now) {
    AgentEventStore& store = m_services.store;
    const QString tool = event.tool.value_or(QString());
    const auto displayTool = readableTool(event.tool);
    const PermissionAgent agent = PermissionAgent::of(store.agent(event.sessionID));
    // An agent whose questions bypass the permission request shows them only here.
    std::optional<AgentQuestion> question;
    if (agent.asksOutsidePermission) {
        question = AgentQuestion::read(tool, event.toolInput);
    }
    if (question) {
        store.update(event.sessionID, AgentActivity::blocked, std::nullopt, std::nullopt, now);
    } else {
        store.update(event.sessionID, AgentActivity::working, displayTool, std::nullopt, now);
    }
    const QString summary = summarizePermission(displayTool.value_or(QStringLiteral("?")), event.toolInput);
    if (question) {
        noteUnansweredQuestion(event, *question, displayTool.value_or(QStringLiteral("?")), summary, sender,
                               now);
    }
    if (event.toolUseID) {
        store.startTool(*event.toolUseID, event.sessionID, displayTool.value_or(QStringLiteral("?")), summary,
                        ToolCallFingerprint::of(tool, event.toolInput), now);
    }
}

std::optional<HookEventRouter::Hold>
HookEventRouter::permissionRequest(const HookEvent& event, const hook::PermissionRequest& request,
                                   const Sender& sender, const QDateTime& now) {
    AgentEventStore& store = m_services.store;
    const QString tool = event.tool.value_or(QString());
    const QString& session = event.sessionID;
    if (m_services.processes != nullptr &&
        HostedSession::skipsRequest(tool, sender.agentPID, *m_services.processes)) {
        // The program hosting the session shows its own plan review.
        DiagnosticLog::info(DiagnosticCategory::hooks, "plan.hostingApp", [&] {
            return DiagnosticFields{{"session", DiagnosticValue::shortID(session)}};
        });
        return std::nullopt;
    }
    const QString displayTool = readableTool(tool).value_or(QStringLiteral("?"));
    const PermissionAgent agent = PermissionAgent::of(store.agent(session));
    const ToolCallFingerprint fingerprint = ToolCallFingerprint::of(tool, event.toolInput);
    const bool isDesktop = m_services.isDesktopSession && m_services.isDesktopSession(session);
    const std::optional<QStringList> arguments = sender.agentPID && m_services.processes != nullptr
                                                     ? m_services.processes->arguments(*sender.agentPID)
                                                     : std::nullopt;
    // Noted so that the tool's end can tell time spent waiting for an answer from running time.
    store.notePermissionAsked(session, fingerprint, now);

    const SessionCaption sessionCaption = caption(session);
    PendingPermission pending;
    pending.id = event.toolUseID.value_or(newRequestID());
    pending.sessionID = session;
    pending.tool = displayTool;
    pending.summary = summarizePermission(displayTool, event.toolInput);
    pending.files = permissionFiles(tool, event.toolInput);
    pending.networkTarget = permissionNetworkTarget(tool, event.toolInput);
    pending.sessionTitle = sessionCaption.title;
    pending.project = projectOf(sessionCaption, event);
    pending.directory = event.directory;
    pending.sessionColor = sessionCaption.color;
    pending.question = AgentQuestion::read(tool, event.toolInput);
    pending.plan = permissionPlan(tool, event.toolInput);
    pending.askedAt = now;
    pending.agentLabel = agent.label;
    pending.supportsAlwaysAllow = agent.supportsAlwaysAllow;
    pending.host = permissionHost(isDesktop, arguments);
    return Hold{pending, event.toolInput, fingerprint, request.suggestions, agent, sender.agentPID};
}

void HookEventRouter::noteUnansweredQuestion(const HookEvent& event, const AgentQuestion& question,
                                             const QString& displayTool, const QString& summary,
                                             const Sender& sender, const QDateTime& at) {
    if (isHeadless(sender.agentPID)) {
        return;
    }
    const QString& session = event.sessionID;
    const PermissionAgent agent = PermissionAgent::of(m_services.store.agent(session));
    const SessionCaption sessionCaption = caption(session);
    PendingPermission pending;
    pending.id = event.toolUseID.value_or(newRequestID());
    pending.sessionID = session;
    pending.tool = displayTool;
    pending.summary = summary;
    pending.sessionTitle = sessionCaption.title;
    pending.project = projectOf(sessionCaption, event);
    pending.directory = event.directory;
    pending.sessionColor = sessionCaption.color;
    pending.question = question;
    pending.askedAt = at;
    pending.agentLabel = agent.label;
    pending.supportsAlwaysAllow = agent.supportsAlwaysAllow;
    const double lifetime = agent.hookHidesTerminalQuestion ? PermissionHoldPolicy::hiddenQuestionLifetime
                                                            : static_cast<double>(agent.decisionDeadline);
    m_services.store.requestUnheld(pending,
                                   HeldRequestRelease::Held::of(pending.id, session,
                                                                event.tool.value_or(QString()),
                                                                event.toolInput, at, sender.agentPID),
                                   at.addMSecs(static_cast<qint64>(lifetime * 1000)));
    DiagnosticLog::info(DiagnosticCategory::hooks, "question.unanswerable", [&] {
        return DiagnosticFields{{"session", DiagnosticValue::shortID(session)},
                                {"request", DiagnosticValue::shortID(pending.id)}};
    });
}

bool HookEventRouter::isHeadless(std::optional<qint32> agentPID) const {
    if (!agentPID || m_services.processes == nullptr) {
        return false;
    }
    return HeadlessSession::isHeadless(*agentPID, *m_services.processes);
}

HookEventRouter::SessionCaption HookEventRouter::caption(const QString& sessionID) const {
    return m_services.caption ? m_services.caption(sessionID) : SessionCaption{};
}

void HookEventRouter::logAndUpdate(const HookEvent& event) const {
    DiagnosticLog::info(DiagnosticCategory::hooks, "hook", [&] {
        DiagnosticFields fields{{"event", DiagnosticValue::name(event.name)},
                                {"session", DiagnosticValue::shortID(event.sessionID)}};
        if (event.tool) {
            fields.append({"tool", DiagnosticValue::name(event.tool)});
        }
        return fields;
    });
    m_services.requestUpdate();
}

} // namespace tessary
