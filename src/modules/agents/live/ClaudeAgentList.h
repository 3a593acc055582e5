#pragma once

#include "core/records/EnumText.h"

#include <QByteArrayView>
#include <QDateTime>
#include <QList>
#include <QString>

#include <array>
#include <optional>
#include <utility>

namespace tessary {

// What Claude Code itself reports of its sessions and background agents ("claude agents --json").
struct ClaudeAgentList {
    enum class Status { busy, waiting, idle, unknown };
    enum class WaitingFor { permission, input, sandbox, worker, dialog, unknown };

    // An interactive session.
    struct Session {
        QString sessionID;
        std::optional<qint32> pid;
        std::optional<QString> directory;
        std::optional<QString> name;
        std::optional<QDateTime> startedAt;
        std::optional<Status> status;
        std::optional<WaitingFor> waitingFor;
        bool operator==(const Session&) const = default;
    };

    struct BackgroundAgent {
        enum class State { working, blocked, done, failed, stopped, unknown };

        std::optional<QString> id;
        QString sessionID;
        std::optional<QString> directory;
        std::optional<QString> name;
        std::optional<QDateTime> startedAt;
        std::optional<State> state;
        // What a blocked agent waits for, from its job's state file.
        std::optional<QString> needs;
        bool operator==(const BackgroundAgent&) const = default;

        // The key of the agent among the others: its id, else its session's.
        [[nodiscard]] QString key() const { return id.value_or(sessionID); }
    };

    // One reading of the list, and when it was made.
    struct Reading;

    QList<Session> sessions;
    QList<BackgroundAgent> background;
    bool operator==(const ClaudeAgentList&) const = default;

    // The list from the JSON array that `claude agents --json` prints: nothing when the text is no
    // JSON array. An entry without a session id, or of a kind other than "interactive" and
    // "background", is passed over; a field of the wrong type is left out. Unknown words read
    // `unknown`.
    static std::optional<ClaudeAgentList> parse(QByteArrayView json);
    // What a session waits for: the single words and the phrases Claude Code shows ("permission
    // prompt", "goal proposal", "input needed", ...), in any case; anything else is `unknown`.
    static WaitingFor waitingFor(const QString& text);
    // The background agents with an id and no needs get the needs of their job, read from
    // `<jobsDirectory>/<id>/state.json`.
    void readNeeds(const QString& jobsDirectory);
};

struct ClaudeAgentList::Reading {
    ClaudeAgentList list;
    QDateTime readAt;
    bool operator==(const Reading&) const = default;
};

template <>
struct EnumTable<ClaudeAgentList::Status> {
    static constexpr std::array<std::pair<ClaudeAgentList::Status, const char*>, 4> cases{{
        {ClaudeAgentList::Status::busy, "busy"},
        {ClaudeAgentList::Status::waiting, "waiting"},
        {ClaudeAgentList::Status::idle, "idle"},
        {ClaudeAgentList::Status::unknown, "unknown"},
    }};
};

template <>
struct EnumTable<ClaudeAgentList::WaitingFor> {
    static constexpr std::array<std::pair<ClaudeAgentList::WaitingFor, const char*>, 6> cases{{
        {ClaudeAgentList::WaitingFor::permission, "permission"},
        {ClaudeAgentList::WaitingFor::input, "input"},
        {ClaudeAgentList::WaitingFor::sandbox, "sandbox"},
        {ClaudeAgentList::WaitingFor::worker, "worker"},
        {ClaudeAgentList::WaitingFor::dialog, "dialog"},
        {ClaudeAgentList::WaitingFor::unknown, "unknown"},
    }};
};

template <>
struct EnumTable<ClaudeAgentList::BackgroundAgent::State> {
    using State = ClaudeAgentList::BackgroundAgent::State;
    static constexpr std::array<std::pair<State, const char*>, 6> cases{{
        {State::working, "working"},
        {State::blocked, "blocked"},
        {State::done, "done"},
        {State::failed, "failed"},
        {State::stopped, "stopped"},
        {State::unknown, "unknown"},
    }};
};

} // namespace tessary
