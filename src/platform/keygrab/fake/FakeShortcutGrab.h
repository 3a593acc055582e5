#pragma once

#include "platform/keygrab/ShortcutGrab.h"

namespace tessary {

// Keeps the grabbed keys and presses them on request; `available` false stands for a system
// without global keys.
class FakeShortcutGrab final : public ShortcutGrab {
public:
    bool available = true;

    bool grab(const QList<QChar>& keys) override {
        m_keys = available ? keys : QList<QChar>{};
        return available;
    }
    void release() override { m_keys.clear(); }
    [[nodiscard]] QList<QChar> grabbedKeys() const override { return m_keys; }

    // A press reaches the listener only for a key that is grabbed, as on a real system.
    bool press(QChar key) {
        if (!m_keys.contains(key) || !onKey) {
            return false;
        }
        onKey(key);
        return true;
    }

private:
    QList<QChar> m_keys;
};

} // namespace tessary
