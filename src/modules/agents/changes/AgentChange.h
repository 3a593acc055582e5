#pragma once

#include "core/localization/Localization.h"
#include "modulekit/ChangeSignal.h"

#include <QDateTime>
#include <QString>

#include <optional>
#include <variant>

namespace tessary {

// What a background agent went through that is worth a notice.
enum class BackgroundTransition { blocked, failed, done };

// One notice about an agent's session, on show from `since` until it no longer holds.
struct AgentChange {
    struct Stopped {
        std::optional<QString> reason;
        bool operator==(const Stopped&) const = default;
    };
    struct ToolFinished {
        QString tool;
        QString summary;
        double duration = 0;
        bool operator==(const ToolFinished&) const = default;
    };
    struct ToolFailed {
        QString tool;
        QString summary;
        double duration = 0;
        bool operator==(const ToolFailed&) const = default;
    };
    struct Background {
        BackgroundTransition transition = BackgroundTransition::done;
        // The agent's name, for when its session has no title.
        QString agent;
        bool operator==(const Background&) const = default;
    };
    struct Question {
        bool operator==(const Question&) const = default;
    };
    struct Permission {
        bool operator==(const Permission&) const = default;
    };
    struct Waiting {
        bool operator==(const Waiting&) const = default;
    };
    struct Completed {
        bool operator==(const Completed&) const = default;
    };
    struct DesktopReply {
        bool operator==(const DesktopReply&) const = default;
    };
    using Kind = std::variant<Stopped, ToolFinished, ToolFailed, Background, Question, Permission, Waiting,
                              Completed, DesktopReply>;

    // A session's title is cut to this many characters in a notice.
    static constexpr qsizetype titleLimit = 40;

    // Stable per session and kind, so that a notice is raised once.
    QString id;
    Kind kind;
    QString sessionID;
    // When what it tells of happened.
    QDateTime occurredAt;
    // When the notice was raised.
    QDateTime since;

    // The notice's words, with the session's title (clipped) where the text names it; without a
    // title, a background agent's name or the start of the session id.
    [[nodiscard]] QString text(const QString& sessionTitle, const Localization& localization) const;
    // Failures are critical, waits want attention, ends are good news.
    [[nodiscard]] ChangeSignal::Fact::Tone tone() const;
    // A waiting kind: it holds as long as the wait does.
    [[nodiscard]] bool isWait() const;

    // `title` trimmed to `limit` characters, the last of them an ellipsis when cut.
    static QString clipped(const QString& title, qsizetype limit = titleLimit);

    bool operator==(const AgentChange&) const = default;
};

} // namespace tessary
