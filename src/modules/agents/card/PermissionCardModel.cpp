#include "modules/agents/card/PermissionCardModel.h"

#include "modules/agents/permissions/PermissionAgent.h"

namespace tessary {

namespace PermissionCardRules {

PermissionCardKind kind(const PendingPermission& request) {
    if (request.plan) {
        return PermissionCardKind::plan;
    }
    if (request.question) {
        return PermissionCardKind::question;
    }
    return PermissionCardKind::permission;
}

std::optional<AnsweredElsewhere> answeredElsewhere(const PendingPermission& request) {
    if (request.host) {
        return request.isExpired ? AnsweredElsewhere::hostAppWaiting : AnsweredElsewhere::hostApp;
    }
    // An agent whose questions never pass through a permission request takes the answer only at its
    // own prompt: nothing holds the call, so the card can only point there.
    if (request.question && request.agentLabel) {
        const PermissionAgent codex = PermissionAgent::codex();
        if (*request.agentLabel == codex.label && codex.asksOutsidePermission) {
            return AnsweredElsewhere::terminal;
        }
    }
    if (request.isExpired) {
        return AnsweredElsewhere::terminal;
    }
    return std::nullopt;
}

QString elsewhereText(AnsweredElsewhere where) {
    switch (where) {
    case AnsweredElsewhere::terminal:
        return QStringLiteral("Answer in the terminal");
    case AnsweredElsewhere::hostApp:
        return QStringLiteral("Answer in the app running this session");
    case AnsweredElsewhere::hostAppWaiting:
        return QStringLiteral("Waiting for you in the app running this session");
    }
    return {};
}

QList<PermissionDecision> offeredDecisions(const PendingPermission& request) {
    if (request.question || request.plan || answeredElsewhere(request)) {
        return {};
    }
    QList<PermissionDecision> offered{PermissionDecision::allow};
    if (request.supportsAlwaysAllow) {
        offered.append(PermissionDecision::dontAsk);
    }
    offered.append(PermissionDecision::deny);
    return offered;
}

QChar shortcutOf(PermissionDecision decision) {
    switch (decision) {
    case PermissionDecision::allow:
        return u'y';
    case PermissionDecision::dontAsk:
        return u'a';
    case PermissionDecision::deny:
        return u'n';
    }
    return {};
}

QChar shortcutOf(PlanCardAction action) {
    switch (action) {
    case PlanCardAction::approve:
        return u'y';
    case PlanCardAction::approveAcceptingEdits:
        return u'a';
    case PlanCardAction::requestChanges:
        return u'n';
    }
    return {};
}

std::optional<PermissionDecision> cardDecision(const PendingPermission& request, QChar key) {
    const QChar lower = key.toLower();
    for (PermissionDecision decision : offeredDecisions(request)) {
        if (shortcutOf(decision) == lower) {
            return decision;
        }
    }
    return std::nullopt;
}

std::optional<PlanCardAction> planAction(QChar key) {
    const QChar lower = key.toLower();
    for (PlanCardAction action :
         {PlanCardAction::approve, PlanCardAction::approveAcceptingEdits, PlanCardAction::requestChanges}) {
        if (shortcutOf(action) == lower) {
            return action;
        }
    }
    return std::nullopt;
}

namespace {
// Options beyond the ninth have no digit; they are still answered with the pointer.
constexpr int digitOptions = 9;
} // namespace

QList<QChar> shortcutKeys(const PendingPermission& request) {
    if (answeredElsewhere(request)) {
        return {};
    }
    switch (kind(request)) {
    case PermissionCardKind::plan:
        return {u'y', u'a', u'n'};
    case PermissionCardKind::question: {
        QList<QChar> keys;
        const auto count = std::min<qsizetype>(request.question->options.size(), digitOptions);
        for (qsizetype i = 0; i < count; ++i) {
            keys.append(QChar(u'1' + static_cast<char16_t>(i)));
        }
        keys.append(u'y'); // sends the selection and the written text
        return keys;
    }
    case PermissionCardKind::permission: {
        QList<QChar> keys;
        for (PermissionDecision decision : offeredDecisions(request)) {
            keys.append(shortcutOf(decision));
        }
        return keys;
    }
    }
    return {};
}

} // namespace PermissionCardRules

void PermissionCardModel::setFront(const std::optional<PendingPermission>& permission, int queued) {
    const bool sameRequest = permission && m_permission && permission->id == m_permission->id;
    if (!sameRequest) {
        m_selection.clear();
        m_draft.reset();
        hint.reset();
        elapsed = 0;
    }
    m_permission = permission;
    m_queued = std::max(0, queued);
}

void PermissionCardModel::setDraft(const QString& text) {
    m_draft = text;
}

bool PermissionCardModel::toggle(int optionID) {
    if (!m_permission || !m_permission->question) {
        return false;
    }
    const auto& options = m_permission->question->options;
    const bool known = std::any_of(options.begin(), options.end(),
                                   [optionID](const AgentQuestion::Option& o) { return o.id == optionID; });
    if (!known) {
        return false;
    }
    if (!m_permission->question->allowsMultiple) {
        m_selection = {optionID};
        return true;
    }
    if (!m_selection.remove(optionID)) {
        m_selection.insert(optionID);
    }
    return true;
}

std::optional<CardOutcome::Answer> PermissionCardModel::answer() const {
    if (!m_permission || !m_permission->question || PermissionCardRules::answeredElsewhere(*m_permission)) {
        return std::nullopt;
    }
    const auto text = m_permission->question->answer(m_selection, m_draft);
    if (!text) {
        return std::nullopt;
    }
    return CardOutcome::Answer{{{m_permission->question->text, *text}}};
}

std::optional<CardOutcomeValue> PermissionCardModel::pick(int optionID) {
    if (!m_permission || !m_permission->question || PermissionCardRules::answeredElsewhere(*m_permission)) {
        return std::nullopt;
    }
    if (!toggle(optionID)) {
        return std::nullopt;
    }
    if (m_permission->question->allowsMultiple) {
        return CardOutcome::Toggled{};
    }
    // A single choice is the whole answer: the text being written is not part of it.
    const auto text = m_permission->question->answer({optionID}, std::nullopt);
    if (!text) {
        return std::nullopt;
    }
    return CardOutcome::Answer{{{m_permission->question->text, *text}}};
}

std::optional<CardOutcomeValue> PermissionCardModel::sendDraft() const {
    if (!m_permission || PermissionCardRules::answeredElsewhere(*m_permission)) {
        return std::nullopt;
    }
    if (m_permission->plan) {
        const QString text = m_draft.value_or(QString()).trimmed();
        if (text.isEmpty()) {
            return std::nullopt; // an empty note asks for nothing; the approve button approves
        }
        return CardOutcome::Review{PlanReview::requestingChanges(text)};
    }
    if (m_permission->question) {
        if (auto answered = answer()) {
            return *answered;
        }
    }
    return std::nullopt;
}

std::optional<CardOutcomeValue> PermissionCardModel::planAnswer(PlanCardAction action) const {
    if (!m_permission || !m_permission->plan || PermissionCardRules::answeredElsewhere(*m_permission)) {
        return std::nullopt;
    }
    switch (action) {
    case PlanCardAction::approve:
        return CardOutcome::Review{PlanReview::approve()};
    case PlanCardAction::approveAcceptingEdits:
        return CardOutcome::Review{PlanReview::approveAcceptingEdits()};
    case PlanCardAction::requestChanges:
        // Changes need words: with a note written it goes, else the card opens its field for one.
        if (auto sent = sendDraft()) {
            return sent;
        }
        return CardOutcome::EditDraft{};
    }
    return std::nullopt;
}

std::optional<CardOutcomeValue> PermissionCardModel::handleKey(QChar key) {
    if (!m_permission || !PermissionCardRules::shortcutKeys(*m_permission).contains(key.toLower())) {
        return std::nullopt;
    }
    switch (PermissionCardRules::kind(*m_permission)) {
    case PermissionCardKind::plan:
        if (const auto action = PermissionCardRules::planAction(key)) {
            return planAnswer(*action);
        }
        return std::nullopt;
    case PermissionCardKind::question:
        if (key.isDigit()) {
            return pick(key.digitValue() - 1);
        }
        if (auto answered = answer()) {
            return *answered;
        }
        return std::nullopt;
    case PermissionCardKind::permission:
        if (const auto decision = PermissionCardRules::cardDecision(*m_permission, key)) {
            return CardOutcome::Decide{*decision};
        }
        return std::nullopt;
    }
    return std::nullopt;
}

} // namespace tessary
