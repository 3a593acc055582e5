#include "platform/keygrab/linux/X11ShortcutGrab.h"

#include "platform/x11/X11Support.h"

#include <QCoreApplication>

#include <array>
#include <memory>
#include <xcb/xcb.h>

namespace tessary {

namespace {

constexpr xcb_keysym_t numLockKeysym = 0xff7f;

// Every keycode with its keysyms, as the server maps the keyboard now.
struct KeyboardMap {
    std::uint8_t first = 0;
    int perKeycode = 0;
    std::vector<xcb_keysym_t> keysyms;

    [[nodiscard]] std::optional<std::uint8_t> keycodeOf(xcb_keysym_t wanted) const {
        if (perKeycode <= 0) {
            return std::nullopt;
        }
        const std::size_t count = keysyms.size() / static_cast<std::size_t>(perKeycode);
        for (std::size_t index = 0; index < count; ++index) {
            // The unshifted keysym: what the key types without modifiers.
            if (keysyms[index * static_cast<std::size_t>(perKeycode)] == wanted) {
                return static_cast<std::uint8_t>(first + index);
            }
        }
        return std::nullopt;
    }
};

KeyboardMap readKeyboardMap(xcb_connection_t* connection) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    KeyboardMap map;
    map.first = setup->min_keycode;
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const x11::Reply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        connection, xcb_get_keyboard_mapping(connection, setup->min_keycode, count), nullptr));
    if (!reply) {
        return map;
    }
    map.perKeycode = reply->keysyms_per_keycode;
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(reply.get());
    const int length = xcb_get_keyboard_mapping_keysyms_length(reply.get());
    map.keysyms.assign(keysyms, keysyms + std::max(0, length));
    return map;
}

// The modifier bit that Num Lock sets, which differs between keyboards.
std::uint16_t numLockMask(xcb_connection_t* connection, const KeyboardMap& map) {
    const auto numLock = map.keycodeOf(numLockKeysym);
    if (!numLock) {
        return 0;
    }
    const x11::Reply<xcb_get_modifier_mapping_reply_t> reply(
        xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr));
    if (!reply) {
        return 0;
    }
    const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(reply.get());
    const int perModifier = reply->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int slot = 0; slot < perModifier; ++slot) {
            if (keycodes[modifier * perModifier + slot] == *numLock) {
                return static_cast<std::uint16_t>(1U << static_cast<unsigned>(modifier));
            }
        }
    }
    return 0;
}

std::array<std::uint16_t, 4> modifierVariants(std::uint16_t numLock) {
    constexpr auto alt = static_cast<std::uint16_t>(XCB_MOD_MASK_1);
    constexpr auto caps = static_cast<std::uint16_t>(XCB_MOD_MASK_LOCK);
    return {alt, static_cast<std::uint16_t>(alt | caps), static_cast<std::uint16_t>(alt | numLock),
            static_cast<std::uint16_t>(alt | caps | numLock)};
}

} // namespace

X11ShortcutGrab::X11ShortcutGrab() = default;

X11ShortcutGrab::~X11ShortcutGrab() {
    release();
    if (m_filterInstalled && QCoreApplication::instance() != nullptr) {
        QCoreApplication::instance()->removeNativeEventFilter(this);
    }
}

bool X11ShortcutGrab::grab(const QList<QChar>& keys) {
    if (keys == m_keys && !m_keys.isEmpty()) {
        return true;
    }
    release();
    xcb_connection_t* connection = x11::qtConnection();
    if (connection == nullptr || keys.isEmpty()) {
        return false;
    }
    const xcb_window_t root = x11::rootWindow(connection);
    const KeyboardMap map = readKeyboardMap(connection);
    m_numLockMask = numLockMask(connection, map);

    QHash<std::uint8_t, QChar> keycodes;
    for (QChar key : keys) {
        const QChar lower = key.toLower();
        if (lower.unicode() > 0x7e) {
            continue; // Latin-1 keysyms equal their code points; nothing else is offered
        }
        if (const auto keycode = map.keycodeOf(lower.unicode())) {
            keycodes.insert(*keycode, lower);
        }
    }
    if (keycodes.isEmpty()) {
        return false;
    }

    std::vector<xcb_void_cookie_t> cookies;
    for (auto it = keycodes.cbegin(); it != keycodes.cend(); ++it) {
        for (std::uint16_t modifiers : modifierVariants(m_numLockMask)) {
            cookies.push_back(xcb_grab_key_checked(connection, 1, root, modifiers, it.key(),
                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        }
    }
    bool refused = false;
    for (const xcb_void_cookie_t cookie : cookies) {
        if (const x11::Reply<xcb_generic_error_t> error(xcb_request_check(connection, cookie)); error) {
            refused = true; // another program holds this combination
        }
    }
    m_keycodes = keycodes;
    m_keys = keys;
    if (refused) {
        release();
        return false;
    }
    if (!m_filterInstalled && QCoreApplication::instance() != nullptr) {
        QCoreApplication::instance()->installNativeEventFilter(this);
        m_filterInstalled = true;
    }
    return true;
}

void X11ShortcutGrab::release() {
    xcb_connection_t* connection = x11::qtConnection();
    if (connection != nullptr && !m_keycodes.isEmpty()) {
        const xcb_window_t root = x11::rootWindow(connection);
        for (auto it = m_keycodes.cbegin(); it != m_keycodes.cend(); ++it) {
            for (std::uint16_t modifiers : modifierVariants(m_numLockMask)) {
                xcb_ungrab_key(connection, it.key(), root, modifiers);
            }
        }
        xcb_flush(connection);
    }
    m_keycodes.clear();
    m_keys.clear();
}

bool X11ShortcutGrab::nativeEventFilter(const QByteArray& eventType, void* message, qintptr* /*result*/) {
    if (eventType != "xcb_generic_event_t" || message == nullptr || m_keycodes.isEmpty()) {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    constexpr std::uint8_t sentFlag = 0x80;
    if ((event->response_type & static_cast<std::uint8_t>(~sentFlag)) != XCB_KEY_PRESS) {
        return false;
    }
    const auto* press = static_cast<const xcb_key_press_event_t*>(message);
    if ((press->state & XCB_MOD_MASK_1) == 0) {
        return false;
    }
    const auto key = m_keycodes.constFind(press->detail);
    if (key == m_keycodes.constEnd()) {
        return false;
    }
    if (onKey) {
        onKey(*key);
    }
    return true;
}

} // namespace tessary
