#pragma once

#include "core/records/EnumText.h"
#include "modules/agents/permissions/AgentQuestion.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <array>
#include <optional>
#include <utility>

namespace tessary {

// Another application that owns a request: the card shows it but does not answer it.
enum class PermissionHost { claudeDesktop, unknownApp };

template <>
struct EnumTable<PermissionHost> {
    static constexpr std::array<std::pair<PermissionHost, const char*>, 2> cases{{
        {PermissionHost::claudeDesktop, "claudeDesktop"},
        {PermissionHost::unknownApp, "unknownApp"},
    }};
};

// The application a request belongs to, if another than the agent's terminal: a session of Claude
// Desktop, or one started by a program that answers its prompts itself ("--permission-prompt-tool").
std::optional<PermissionHost> permissionHost(bool isKnownDesktopSession,
                                             const std::optional<QStringList>& arguments);

// A request of an agent that waits for the user: a tool to allow, a question, or a plan to review.
struct PendingPermission {
    // The call's "tool_use_id", or a fresh UUID text.
    QString id;
    QString sessionID;
    // The tool's display name; "?" when the agent named none.
    QString tool;
    QString summary;
    QStringList files;
    std::optional<QString> networkTarget;
    std::optional<QString> sessionTitle;
    std::optional<QString> project;
    std::optional<QString> directory;
    // The session's colour name, as the session list gives it.
    std::optional<QString> sessionColor;
    std::optional<AgentQuestion> question;
    std::optional<QString> plan;
    QDateTime askedAt;
    std::optional<QString> agentLabel;
    bool supportsAlwaysAllow = false;
    // The hold ended; the entry stays on show for a while.
    bool isExpired = false;
    std::optional<PermissionHost> host;

    [[nodiscard]] PendingPermission expired() const {
        PendingPermission copy = *this;
        copy.isExpired = true;
        return copy;
    }

    bool operator==(const PendingPermission&) const = default;
};

} // namespace tessary
