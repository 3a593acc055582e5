#pragma once

#include "modules/agents/permissions/PermissionAgent.h"

#include <optional>

namespace tessary {

// How long a request is held before it is answered with nothing, and what happens to its entry then.
struct PermissionHoldPolicy {
    enum class AtDeadline {
        // The entry stays on show, marked expired.
        expire,
        // The entry goes: nobody sits at a headless session to answer it.
        release,
    };

    // Seconds.
    int deadline = 0;
    AtDeadline atDeadline = AtDeadline::expire;
    // Seconds a request shown without a hold stays on show; none for a headless session.
    std::optional<double> unheldLifetime;

    // Seconds a headless session's request is held.
    static constexpr int headlessDeadline = 45;
    // Seconds an entry stays on show where the agent shows no question of its own.
    static constexpr double hiddenQuestionLifetime = 1800.0;

    static PermissionHoldPolicy of(const PermissionAgent& agent, bool isHeadless);

    bool operator==(const PermissionHoldPolicy&) const = default;
};

} // namespace tessary
