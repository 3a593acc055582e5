#pragma once

#include "platform/panels/PanelWindowTraits.h"

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
};

} // namespace tessary
