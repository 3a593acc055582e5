#pragma once

#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

namespace tessary {

// A question that an agent's tool puts to the user (Claude Code's "AskUserQuestion", Codex's
// "request_user_input"). Only the first question of a call is shown.
struct AgentQuestion {
    struct Option {
        int id = 0;
        QString label;
        std::optional<QString> detail;
        bool operator==(const Option&) const = default;
    };

    QString header;
    QString text;
    QList<Option> options;
    bool allowsMultiple = false;
    // How many questions the tool call held.
    int total = 0;

    // "AskUserQuestion", "request_user_input".
    static const QStringList& tools();
    static bool isQuestionTool(const QString& tool);
    static std::optional<AgentQuestion> read(const QString& tool, const QJsonObject& input);

    // The chosen labels in option order, then the trimmed free text, joined with ", ".
    [[nodiscard]] std::optional<QString> answer(const QSet<int>& selecting,
                                                const std::optional<QString>& freeText) const;

    bool operator==(const AgentQuestion&) const = default;
};

} // namespace tessary
