#include "modules/agents/permissions/PendingPermission.h"

#include "modules/sessions/AgentArguments.h"

namespace tessary {

std::optional<PermissionHost> permissionHost(bool isKnownDesktopSession,
                                             const std::optional<QStringList>& arguments) {
    if (isKnownDesktopSession) {
        return PermissionHost::claudeDesktop;
    }
    if (arguments && HostedSession::isHosted(*arguments)) {
        return PermissionHost::unknownApp;
    }
    return std::nullopt;
}

} // namespace tessary
