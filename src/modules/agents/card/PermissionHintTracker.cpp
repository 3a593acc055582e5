#include "modules/agents/card/PermissionHintTracker.h"

namespace tessary {

bool PermissionHintTracker::front(const QString& id) {
    if (m_state && m_state->id == id) {
        return false;
    }
    m_state = State{Phase::asking, id};
    m_held.reset();
    return true;
}

void PermissionHintTracker::deliver(const QString& id, const std::optional<PermissionHint>& hint) {
    if (!m_state || m_state->id != id || m_state->phase != Phase::asking) {
        return;
    }
    m_state->phase = Phase::settled;
    if (hint && !hint->isEmpty()) {
        m_held = hint;
    }
}

std::optional<PermissionHint> PermissionHintTracker::release(const QString& id) const {
    if (!m_state || m_state->id != id) {
        return std::nullopt;
    }
    return m_held;
}

void PermissionHintTracker::clear() {
    m_state.reset();
    m_held.reset();
}

} // namespace tessary
