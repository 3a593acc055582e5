#include "modules/agents/permissions/PermissionAgent.h"

namespace tessary {

PermissionAgent PermissionAgent::claude() {
    return {QStringLiteral("claude"), QStringLiteral("Claude Code"), true, true, 540, false, false};
}

PermissionAgent PermissionAgent::codex() {
    return {QStringLiteral("codex"), QStringLiteral("Codex"), false, false, 45, true, true};
}

PermissionAgent PermissionAgent::of(const QString& agentID) {
    return agentID == QLatin1StringView("codex") ? codex() : claude();
}

} // namespace tessary
