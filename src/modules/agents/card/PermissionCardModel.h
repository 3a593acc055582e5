#pragma once

#include "modules/agents/card/PermissionHint.h"
#include "modules/agents/permissions/PendingPermission.h"
#include "modules/agents/permissions/PermissionDecision.h"
#include "modules/agents/permissions/PlanReview.h"

#include <QChar>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>

#include <optional>
#include <variant>

namespace tessary {

// The three answers to a plan, in the order of their shortcuts "y", "a" and "n".
enum class PlanCardAction { approve, approveAcceptingEdits, requestChanges };

// What the card shows for the front request.
enum class PermissionCardKind { permission, question, plan };

// Why a request can't be answered on the card, and so which line it shows instead of answers.
enum class AnsweredElsewhere {
    terminal,       // a question that the agent takes only at its own prompt
    hostApp,        // a request of another application
    hostAppWaiting, // the same, after its hold has ended
};

// The outcome of a click or a key on the card, for the controller to carry out.
namespace CardOutcome {
struct Decide {
    PermissionDecision decision = PermissionDecision::allow;
    bool operator==(const Decide&) const = default;
};
struct Answer {
    QHash<QString, QString> answers; // question text to the answer given
    bool operator==(const Answer&) const = default;
};
struct Review {
    PlanReview review;
    bool operator==(const Review&) const = default;
};
// The user wants to write: the card takes the keyboard for its text field.
struct EditDraft {
    bool operator==(const EditDraft&) const = default;
};
// The selection of a multiple-choice question changed.
struct Toggled {
    bool operator==(const Toggled&) const = default;
};
} // namespace CardOutcome
using CardOutcomeValue = std::variant<CardOutcome::Decide, CardOutcome::Answer, CardOutcome::Review,
                                      CardOutcome::EditDraft, CardOutcome::Toggled>;

// The rules of what a request offers, free of any drawing.
namespace PermissionCardRules {

[[nodiscard]] PermissionCardKind kind(const PendingPermission& request);
[[nodiscard]] std::optional<AnsweredElsewhere> answeredElsewhere(const PendingPermission& request);
// The user-visible line for a request answered elsewhere.
[[nodiscard]] QString elsewhereText(AnsweredElsewhere where);
// The decisions a plain request offers, in the order of the card's buttons (Allow, Always allow, Deny).
[[nodiscard]] QList<PermissionDecision> offeredDecisions(const PendingPermission& request);
// "y", "a", "n" on a plain request: only a decision that the request offers.
[[nodiscard]] std::optional<PermissionDecision> cardDecision(const PendingPermission& request, QChar key);
[[nodiscard]] std::optional<PlanCardAction> planAction(QChar key);
// The keys (lower case) that do something on this request with the Alt modifier held.
[[nodiscard]] QList<QChar> shortcutKeys(const PendingPermission& request);
// The shortcut shown beside a decision or plan action.
[[nodiscard]] QChar shortcutOf(PermissionDecision decision);
[[nodiscard]] QChar shortcutOf(PlanCardAction action);

} // namespace PermissionCardRules

// What the card's view shows: the front request with the count behind it, the countdown, and the
// user's unfinished choices (selected options, the text being written).
class PermissionCardModel {
public:
    // A new front request clears the selection, the text and the hint.
    void setFront(const std::optional<PendingPermission>& permission, int queued);

    [[nodiscard]] const std::optional<PendingPermission>& permission() const { return m_permission; }
    [[nodiscard]] int queued() const { return m_queued; }

    double elapsed = 0; // spent fraction of the time on screen, 0 to 1
    bool docked = false;
    double notchHeight = 0;
    std::optional<double> maxHeight;
    std::optional<PermissionHint> hint;

    [[nodiscard]] const QSet<int>& selection() const { return m_selection; }
    [[nodiscard]] const std::optional<QString>& draft() const { return m_draft; }
    void setDraft(const QString& text);

    // Flips one option of the question; unknown ids do nothing.
    bool toggle(int optionID);
    // The question's answer from the selection and the text; nothing selected and no text gives none.
    [[nodiscard]] std::optional<CardOutcome::Answer> answer() const;
    // A click on one option: answers at once for a single choice, toggles for several.
    [[nodiscard]] std::optional<CardOutcomeValue> pick(int optionID);
    // The written text, sent: change requests for a plan, the free answer of a question.
    [[nodiscard]] std::optional<CardOutcomeValue> sendDraft() const;
    // A plan's answer button.
    [[nodiscard]] std::optional<CardOutcomeValue> planAnswer(PlanCardAction action) const;
    // A shortcut key (the letter or digit, Alt held); nothing when the key isn't offered.
    [[nodiscard]] std::optional<CardOutcomeValue> handleKey(QChar key);

private:
    std::optional<PendingPermission> m_permission;
    int m_queued = 0;
    QSet<int> m_selection;
    std::optional<QString> m_draft;
};

} // namespace tessary
