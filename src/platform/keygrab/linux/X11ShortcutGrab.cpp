#include "platform/keygrab/linux/X11ShortcutGrab.h"

#include "platform/x11/X11Support.h"

#include <QCoreApplication>

#include <array>
#include <memory>
#include <optional>
#include <utility>
#include <vector>
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

// The keyboard as the server maps it now, and the modifier bit that Num Lock sets (which differs
// between keyboards). Both are asked for at once: one wait for the server, not two.
std::pair<KeyboardMap, std::uint16_t> readKeyboard(xcb_connection_t* connection) {
    const xcb_setup_t* setup = xcb_get_setup(connection);
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const xcb_get_keyboard_mapping_cookie_t keysymsAsked =
        xcb_get_keyboard_mapping(connection, setup->min_keycode, count);
    const xcb_get_modifier_mapping_cookie_t modifiersAsked = xcb_get_modifier_mapping(connection);
    const x11::Reply<xcb_get_keyboard_mapping_reply_t> keysyms(
        xcb_get_keyboard_mapping_reply(connection, keysymsAsked, nullptr));
    const x11::Reply<xcb_get_modifier_mapping_reply_t> modifiers(
        xcb_get_modifier_mapping_reply(connection, modifiersAsked, nullptr));

    KeyboardMap map;
    map.first = setup->min_keycode;
    if (!keysyms) {
        return {map, 0};
    }
    map.perKeycode = keysyms->keysyms_per_keycode;
    const xcb_keysym_t* values = xcb_get_keyboard_mapping_keysyms(keysyms.get());
    const int length = xcb_get_keyboard_mapping_keysyms_length(keysyms.get());
    map.keysyms.assign(values, values + std::max(0, length));

    const auto numLock = map.keycodeOf(numLockKeysym);
    if (!numLock || !modifiers) {
        return {map, 0};
    }
    const xcb_keycode_t* keycodes = xcb_get_modifier_mapping_keycodes(modifiers.get());
    const int perModifier = modifiers->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int slot = 0; slot < perModifier; ++slot) {
            if (keycodes[modifier * perModifier + slot] == *numLock) {
                return {map, static_cast<std::uint16_t>(1U << static_cast<unsigned>(modifier))};
            }
        }
    }
    return {map, 0};
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
    const auto [map, numLockMask] = readKeyboard(connection);
    m_numLockMask = numLockMask;

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
