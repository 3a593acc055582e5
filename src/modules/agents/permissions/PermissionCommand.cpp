#include "modules/agents/permissions/PermissionCommand.h"

#include <algorithm>

namespace tessary {

namespace {

constexpr QLatin1StringView prefix("permission:");
constexpr QLatin1StringView answerKind("answer");
constexpr QLatin1StringView decideKind("decide");

} // namespace

std::optional<PermissionCommand> PermissionCommand::fromText(const QString& text) {
    if (!text.startsWith(prefix)) {
        return std::nullopt;
    }
    // "<kind>:<field>:<request>"; the request id comes last, so it may hold colons itself.
    const QStringView rest = QStringView(text).sliced(prefix.size());
    const qsizetype kindEnd = rest.indexOf(u':');
    if (kindEnd < 0) {
        return std::nullopt;
    }
    const qsizetype fieldEnd = rest.indexOf(u':', kindEnd + 1);
    if (fieldEnd < 0) {
        return std::nullopt;
    }
    const QStringView kind = rest.first(kindEnd);
    const QStringView field = rest.sliced(kindEnd + 1, fieldEnd - kindEnd - 1);
    QString request = rest.sliced(fieldEnd + 1).toString();
    if (request.isEmpty()) {
        return std::nullopt;
    }
    if (kind == answerKind) {
        bool isNumber = false;
        const int option = field.toInt(&isNumber, 10);
        if (!isNumber || option < 0) {
            return std::nullopt;
        }
        return answer(std::move(request), option);
    }
    if (kind == decideKind) {
        const auto decision = enumFromRaw<PermissionDecision>(field);
        if (!decision) {
            return std::nullopt;
        }
        return decide(std::move(request), *decision);
    }
    return std::nullopt;
}

QString PermissionCommand::text() const {
    if (const auto* chosen = std::get_if<Answer>(&action)) {
        return prefix + answerKind + u':' + QString::number(chosen->option) + u':' + chosen->request;
    }
    const auto& decided = std::get<Decide>(action);
    return prefix + decideKind + u':' + rawValue(decided.decision) + u':' + decided.request;
}

const QString& PermissionCommand::request() const {
    if (const auto* chosen = std::get_if<Answer>(&action)) {
        return chosen->request;
    }
    return std::get<Decide>(action).request;
}

std::optional<PermissionResponse> PermissionCommand::response(const QList<PendingPermission>& queue) const {
    const auto found = std::find_if(queue.cbegin(), queue.cend(), [&](const PendingPermission& pending) {
        return pending.id == request();
    });
    if (found == queue.cend() || found->isExpired || found->host) {
        return std::nullopt;
    }
    if (const auto* chosen = std::get_if<Answer>(&action)) {
        const auto& question = found->question;
        if (!question || question->allowsMultiple || question->total != 1) {
            return std::nullopt;
        }
        const auto option = std::find_if(
            question->options.cbegin(), question->options.cend(),
            [&](const AgentQuestion::Option& candidate) { return candidate.id == chosen->option; });
        if (option == question->options.cend()) {
            return std::nullopt;
        }
        return PermissionResponse{found->id, PermissionDecision::allow, {{question->text, option->label}}};
    }
    const auto& decided = std::get<Decide>(action);
    if (found->question || found->plan) {
        return std::nullopt;
    }
    if (decided.decision == PermissionDecision::dontAsk && !found->supportsAlwaysAllow) {
        return std::nullopt;
    }
    return PermissionResponse{found->id, decided.decision, {}};
}

} // namespace tessary
