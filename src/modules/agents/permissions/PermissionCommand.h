#pragma once

#include "modules/agents/permissions/PendingPermission.h"
#include "modules/agents/permissions/PermissionDecision.h"

#include <QList>
#include <QString>

#include <optional>
#include <variant>

namespace tessary {

// A command given on a surface about a request in the queue. Its text form is the action id of the
// button or key that gives it: "permission:answer:<option>:<request>" or
// "permission:decide:<decision>:<request>".
struct PermissionCommand {
    // Picks one option of a single question.
    struct Answer {
        QString request;
        int option = 0;
        bool operator==(const Answer&) const = default;
    };
    struct Decide {
        QString request;
        PermissionDecision decision = PermissionDecision::allow;
        bool operator==(const Decide&) const = default;
    };

    std::variant<Answer, Decide> action;

    static PermissionCommand answer(QString request, int option) {
        return {Answer{std::move(request), option}};
    }
    static PermissionCommand decide(QString request, PermissionDecision decision) {
        return {Decide{std::move(request), decision}};
    }

    // Parses the text form; nothing for a text that is not a permission command.
    static std::optional<PermissionCommand> fromText(const QString& text);
    [[nodiscard]] QString text() const;
    [[nodiscard]] const QString& request() const;

    // The response this command gives for the queue as it is now: nothing when the request is gone,
    // expired, belongs to another application, or cannot be answered this way (a question needs an
    // option of a single, single-choice question; a plan is reviewed, not decided; "dontAsk" needs
    // an agent that keeps it).
    [[nodiscard]] std::optional<PermissionResponse> response(const QList<PendingPermission>& queue) const;

    bool operator==(const PermissionCommand&) const = default;
};

} // namespace tessary
