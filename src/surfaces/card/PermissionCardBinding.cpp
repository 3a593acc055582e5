#include "surfaces/card/PermissionCardBinding.h"

#include "core/diagnostics/DiagnosticLog.h"
#include "core/settings/SettingsStore.h"
#include "modules/agents/live/AgentEventStore.h"
#include "modules/agents/permissions/PermissionCommand.h"
#include "modules/agents/permissions/PermissionDecision.h"
#include "services/hooks/HookListener.h"
#include "services/jump/SessionJump.h"
#include "services/shell/Shell.h"
#include "services/workspace/AppModel.h"
#include "services/workspace/WorkspaceCoordinator.h"
#include "surfaces/card/PermissionCardController.h"

#include <QApplication>
#include <QThreadPool>

namespace tessary {

namespace {

void logAnswer(const char* via, const PendingPermission& request) {
    DiagnosticLog::info(DiagnosticCategory::card, "card.answer", [&] {
        return DiagnosticFields{{"via", DiagnosticValue::name(QString::fromLatin1(via))},
                                {"request", DiagnosticValue::shortID(request.id)}};
    });
}

// The freedesktop sound of each choice, played by the sound theme where one is installed.
QString themeSound(const QString& systemName) {
    const QString name = systemName.toLower();
    if (name == u"submarine") {
        return QStringLiteral("complete");
    }
    if (name == u"sosumi") {
        return QStringLiteral("dialog-warning");
    }
    return QStringLiteral("message-new-instant");
}

} // namespace

PermissionCardBinding::PermissionCardBinding(Dependencies dependencies, QObject* parent)
    : QObject(parent)
    , m_deps(std::move(dependencies)) {
    m_controller = std::make_unique<PermissionCardController>(PermissionCardController::Dependencies{
        m_deps.windowTraits, m_deps.shortcuts, m_deps.clock, m_deps.localization,
        [this](const QString& sound) { playSound(sound); }});
    m_jump = std::make_unique<SessionJump>(m_deps.processes, m_deps.runner, m_deps.windows);

    PermissionCardController& card = *m_controller;
    card.onDecide = [this](const PendingPermission& request, PermissionDecision decision) {
        logAnswer("decision", request);
        m_deps.listener.decide(request.id, decision, QString::fromLatin1(deniedByUserReason));
        m_deps.coordinator.refresh(false);
    };
    card.onAnswer = [this](const PendingPermission& request, const QHash<QString, QString>& answers) {
        logAnswer("question", request);
        m_deps.listener.decide(request.id, PermissionDecision::allow, QString::fromLatin1(deniedByUserReason),
                               answers);
        m_deps.coordinator.refresh(false);
    };
    card.onReview = [this](const PendingPermission& request, const PlanReview& review) {
        logAnswer("plan", request);
        m_deps.listener.review(request.id, review);
        m_deps.coordinator.refresh(false);
    };
    card.onReach = [this](const PendingPermission& request) {
        DiagnosticLog::info(DiagnosticCategory::card, "card.reach", [&] {
            return DiagnosticFields{{"request", DiagnosticValue::shortID(request.id)}};
        });
        const auto pid = m_deps.liveAgents.agentPIDs().value(request.sessionID);
        if (pid > 1) {
            (void)m_jump->focus(pid);
        }
    };
    card.onVisibilityChange = [this](bool showing) { m_deps.model.setAskingPermission(showing); };
    // A new request goes on screen at once, on the display of the last refresh; the refresh it
    // brings about follows with a fresh reading of the screen.
    m_deps.listener.onPermissionAsked = [this] {
        if (const std::optional<WorkspaceSnapshot>& workspace = m_deps.model.workspace()) {
            update(workspace->activeDisplay);
        }
    };
    m_deps.coordinator.setPermissionCardUpdate([this](const DisplaySnapshot& display) { update(display); });
    // A request answered from a session row of the detail panel takes the card's path to the listener.
    m_deps.coordinator.setPermissionCommandHandler([this](const PermissionCommand& command) {
        const std::optional<PermissionResponse> response = command.response(m_deps.liveAgents.permissions());
        if (!response) {
            return;
        }
        DiagnosticLog::info(DiagnosticCategory::card, "card.answer", [&] {
            return DiagnosticFields{{"via", DiagnosticValue::name(QStringLiteral("detail"))},
                                    {"request", DiagnosticValue::shortID(response->requestID)}};
        });
        m_deps.listener.decide(
            response->requestID, response->decision, QString::fromLatin1(deniedByUserReason),
            response->answers.isEmpty() ? std::nullopt
                                        : std::optional<QHash<QString, QString>>(response->answers));
        m_deps.coordinator.refresh(false);
    });
}

PermissionCardBinding::~PermissionCardBinding() {
    m_deps.listener.onPermissionAsked = nullptr;
    m_deps.coordinator.setPermissionCardUpdate(nullptr);
    m_deps.coordinator.setPermissionCommandHandler(nullptr);
}

void PermissionCardBinding::update(const DisplaySnapshot& activeDisplay) {
    const QList<PendingPermission> pending = m_deps.liveAgents.permissions();
    if (pending.isEmpty()) {
        m_controller->hide();
        return;
    }
    const auto sound = systemName(m_deps.settings.settings().questionSound);
    m_controller->setAlertSound(sound ? std::optional<QString>(*sound) : std::nullopt);
    const QRectF notch = activeDisplay.effectiveNotchFrame();
    const double room = activeDisplay.visibleFrame.bottom() - notch.bottom() - 24;
    m_controller->show(pending, {notch, false, notch.height(), std::max(0.0, room), visibleFor});
}

void PermissionCardBinding::playSound(const QString& soundName) {
    const QString player =
        Shell::resolve(QStringLiteral("canberra-gtk-play"),
                       Shell::extendedEnvironment(QProcessEnvironment::systemEnvironment()));
    if (player.isEmpty()) {
        QApplication::beep();
        return;
    }
    // The sound plays off the main thread; nothing waits for it.
    const QStringList arguments{QStringLiteral("--id"), themeSound(soundName)};
    QThreadPool::globalInstance()->start([player, arguments] {
        const Shell shell;
        (void)shell.run(player, arguments, 5.0, std::nullopt);
    });
}

} // namespace tessary
