#pragma once

#include <QChar>
#include <QList>

#include <functional>

namespace tessary {

// Alt-letter shortcuts that work whatever window has the focus, taken only while something on
// screen offers them (the permission card), and given back as soon as it goes. The keys are
// lower-case letters or digits; the modifier is Alt (Option on a Mac).
class ShortcutGrab {
public:
    ShortcutGrab() = default;
    ShortcutGrab(const ShortcutGrab&) = delete;
    ShortcutGrab& operator=(const ShortcutGrab&) = delete;
    ShortcutGrab(ShortcutGrab&&) = delete;
    ShortcutGrab& operator=(ShortcutGrab&&) = delete;
    virtual ~ShortcutGrab() = default;

    // Takes exactly `keys`, releasing any others held. False when the system gives no global keys
    // (no X server, another program holds them): the caller then works with the pointer alone.
    virtual bool grab(const QList<QChar>& keys) = 0;
    // Gives every key back.
    virtual void release() = 0;
    [[nodiscard]] virtual QList<QChar> grabbedKeys() const = 0;

    // Run on the main thread for each press of a grabbed key.
    std::function<void(QChar key)> onKey;
};

} // namespace tessary
