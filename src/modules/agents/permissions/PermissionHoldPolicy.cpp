#include "modules/agents/permissions/PermissionHoldPolicy.h"

namespace tessary {

PermissionHoldPolicy PermissionHoldPolicy::of(const PermissionAgent& agent, bool isHeadless) {
    if (isHeadless) {
        return {headlessDeadline, AtDeadline::release, std::nullopt};
    }
    const double lifetime = agent.hookHidesTerminalQuestion ? hiddenQuestionLifetime
                                                            : static_cast<double>(agent.decisionDeadline);
    return {agent.decisionDeadline, AtDeadline::expire, lifetime};
}

} // namespace tessary
