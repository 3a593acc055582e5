#pragma once

#include "modules/agents/card/PermissionHint.h"

#include <QString>

#include <optional>

namespace tessary {

// Makes sure each request asks for its hint at most once, and that a hint that comes back after
// its request left the front is dropped.
class PermissionHintTracker {
public:
    enum class Phase { asking, settled };
    struct State {
        Phase phase = Phase::asking;
        QString id;
        bool operator==(const State&) const = default;
    };

    // Notes the request in front. True when a hint is to be asked for it now.
    bool front(const QString& id);
    // A hint arrived for `id`: kept only while that request is in front and still asking.
    void deliver(const QString& id, const std::optional<PermissionHint>& hint);
    // The hint to show for `id`, if it is the one in front.
    [[nodiscard]] std::optional<PermissionHint> release(const QString& id) const;
    // No request in front any more.
    void clear();

    [[nodiscard]] const std::optional<State>& state() const { return m_state; }

private:
    std::optional<State> m_state;
    std::optional<PermissionHint> m_held;
};

} // namespace tessary
