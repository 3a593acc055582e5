#include "modules/agents/permissions/AgentQuestion.h"

#include "core/json/JsonFields.h"

#include <QJsonArray>

namespace tessary {

const QStringList& AgentQuestion::tools() {
    static const QStringList names{QStringLiteral("AskUserQuestion"), QStringLiteral("request_user_input")};
    return names;
}

bool AgentQuestion::isQuestionTool(const QString& tool) {
    return tools().contains(tool);
}

std::optional<AgentQuestion> AgentQuestion::read(const QString& tool, const QJsonObject& input) {
    if (!isQuestionTool(tool)) {
        return std::nullopt;
    }
    const QJsonValue questionsValue = input.value(QLatin1StringView("questions"));
    if (!questionsValue.isArray()) {
        return std::nullopt;
    }
    const QJsonArray questions = questionsValue.toArray();
    if (questions.isEmpty()) {
        return std::nullopt;
    }
    for (const auto& item : questions) {
        if (!item.isObject()) {
            return std::nullopt;
        }
    }
    const QJsonObject first = questions.first().toObject();
    const auto text = json::string(first, QLatin1StringView("question"));
    if (!text) {
        return std::nullopt;
    }
    AgentQuestion question;
    question.text = *text;
    question.header = json::string(first, QLatin1StringView("header")).value_or(QString());
    question.allowsMultiple = json::boolean(first, QLatin1StringView("multiSelect")).value_or(false);
    question.total = static_cast<int>(questions.size());
    const QJsonArray options = first.value(QLatin1StringView("options")).toArray();
    for (const auto& optionValue : options) {
        const QJsonObject option = optionValue.toObject();
        const auto label = json::string(option, QLatin1StringView("label"));
        if (!label) {
            continue;
        }
        auto detail = json::string(option, QLatin1StringView("description"));
        if (detail && detail->isEmpty()) {
            detail.reset();
        }
        question.options.append({static_cast<int>(question.options.size()), *label, std::move(detail)});
    }
    return question;
}

std::optional<QString> AgentQuestion::answer(const QSet<int>& selecting,
                                             const std::optional<QString>& freeText) const {
    QStringList parts;
    for (const Option& option : options) {
        if (selecting.contains(option.id)) {
            parts.append(option.label);
        }
    }
    if (freeText) {
        const QString typed = freeText->trimmed();
        if (!typed.isEmpty()) {
            parts.append(typed);
        }
    }
    if (parts.isEmpty()) {
        return std::nullopt;
    }
    return parts.join(QStringLiteral(", "));
}

} // namespace tessary
