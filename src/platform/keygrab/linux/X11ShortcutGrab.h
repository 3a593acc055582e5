#pragma once

#include "platform/keygrab/ShortcutGrab.h"

#include <QAbstractNativeEventFilter>
#include <QHash>

#include <cstdint>

namespace tessary {

// Passive grabs of Alt+key on the root window over Qt's own xcb connection, with the Num Lock and
// Caps Lock variants, so that the keys reach the program whichever window has the focus while the
// focus itself stays where it is. Presses come back through Qt's native event filter.
class X11ShortcutGrab final : public ShortcutGrab, private QAbstractNativeEventFilter {
public:
    X11ShortcutGrab();
    ~X11ShortcutGrab() override;
    X11ShortcutGrab(const X11ShortcutGrab&) = delete;
    X11ShortcutGrab& operator=(const X11ShortcutGrab&) = delete;
    X11ShortcutGrab(X11ShortcutGrab&&) = delete;
    X11ShortcutGrab& operator=(X11ShortcutGrab&&) = delete;

    bool grab(const QList<QChar>& keys) override;
    void release() override;
    [[nodiscard]] QList<QChar> grabbedKeys() const override { return m_keys; }

private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

    QList<QChar> m_keys;
    QHash<std::uint8_t, QChar> m_keycodes; // keycode grabbed to the key it stands for
    std::uint16_t m_numLockMask = 0;
    bool m_filterInstalled = false;
};

} // namespace tessary
