#pragma once

#include "platform/panels/PanelWindowTraits.h"

#include <array>
#include <cstdint>
#include <optional>

struct xcb_connection_t;

namespace tessary {

// The EWMH hints and the X Shape input region of a floating panel, sent over Qt's own xcb
// connection so that they reach the server in order with Qt's requests for the same window.
// Without an X11 connection (another Qt platform) every call does nothing.
class X11PanelWindowTraits final : public PanelWindowTraits {
public:
    void prepare(quintptr nativeWindow) override;
    void reassert(quintptr nativeWindow) override;
    void setInputRegion(quintptr nativeWindow, const std::vector<QRect>& rects) override;
    void clearInputRegion(quintptr nativeWindow) override;
    [[nodiscard]] bool isCompositing() const override;

private:
    struct Atoms {
        std::uint32_t netWmState = 0;
        std::uint32_t netWmDesktop = 0;
        std::array<std::uint32_t, 3> panelStates{}; // sticky, skip taskbar, skip pager
    };
    // The atoms of the hints, interned on first use; they last as long as the X server.
    const Atoms& atomsOf(xcb_connection_t* connection);

    std::optional<Atoms> m_atoms;
    // The compositing manager's selection, interned on the first question: asked on every show.
    mutable std::uint32_t m_compositorSelection = 0;
};

} // namespace tessary
