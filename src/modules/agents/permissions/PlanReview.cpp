#include "modules/agents/permissions/PlanReview.h"

#include "core/records/Overloaded.h"
#include "modules/agents/permissions/PermissionDecision.h"

#include <QJsonArray>

namespace tessary {

PlanReview PlanReview::requestingChanges(const QString& text) {
    QString feedback = text.trimmed();
    if (feedback.isEmpty()) {
        return approve();
    }
    return requestChanges(std::move(feedback));
}

const char* PlanReview::caseName() const {
    return std::visit(Overloaded{
                          [](const RequestChanges&) { return "requestChanges"; },
                          [](const Approve&) { return "approve"; },
                          [](const ApproveAcceptingEdits&) { return "approveAcceptingEdits"; },
                      },
                      kind);
}

QJsonObject PlanReview::payload(const QJsonObject& input) const {
    QJsonObject decision;
    if (const auto* changes = std::get_if<RequestChanges>(&kind)) {
        decision.insert(QStringLiteral("behavior"), QStringLiteral("deny"));
        const QString message =
            QStringLiteral("The user reviewed this plan in Tessary and requested changes. "
                           "The user's feedback: ") +
            changes->feedback + QStringLiteral(". Revise the plan and call ExitPlanMode again.");
        decision.insert(QStringLiteral("message"), message);
        return permissionRequestOutput(decision);
    }
    decision.insert(QStringLiteral("behavior"), QStringLiteral("allow"));
    decision.insert(QStringLiteral("updatedInput"), input);
    if (std::holds_alternative<ApproveAcceptingEdits>(kind)) {
        decision.insert(QStringLiteral("updatedPermissions"),
                        QJsonArray{QJsonObject{
                            {QStringLiteral("type"), QStringLiteral("setMode")},
                            {QStringLiteral("mode"), QStringLiteral("acceptEdits")},
                            {QStringLiteral("destination"), QStringLiteral("session")},
                        }});
    }
    return permissionRequestOutput(decision);
}

} // namespace tessary
