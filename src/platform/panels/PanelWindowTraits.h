#pragma once

#include <QRect>
#include <QtGlobal>

#include <vector>

namespace tessary {

// What the window system must know about a surface's floating panel beyond Qt's window flags:
// that it stands on every desktop, stays out of the taskbar, the pager and window cycling, and
// lets the pointer through wherever it draws nothing. Windows are named by their native id
// (QWindow::winId()); rectangles are in the window's native pixels, relative to its top left.
class PanelWindowTraits {
public:
    PanelWindowTraits() = default;
    PanelWindowTraits(const PanelWindowTraits&) = delete;
    PanelWindowTraits& operator=(const PanelWindowTraits&) = delete;
    PanelWindowTraits(PanelWindowTraits&&) = delete;
    PanelWindowTraits& operator=(PanelWindowTraits&&) = delete;
    virtual ~PanelWindowTraits() = default;

    // Once the native window exists, before it is first shown: what the window manager reads when
    // the window maps.
    virtual void prepare(quintptr nativeWindow) = 0;
    // After every show: the same again for a window manager that only listens to a mapped window.
    virtual void reassert(quintptr nativeWindow) = 0;
    // Only these rectangles take pointer input; everywhere else a click reaches the window below.
    // An empty list lets every click through.
    virtual void setInputRegion(quintptr nativeWindow, const std::vector<QRect>& rects) = 0;
    // The whole window takes pointer input again.
    virtual void clearInputRegion(quintptr nativeWindow) = 0;
    // Whether a compositing manager blends translucent windows with what is below. Without one,
    // a panel clips itself to its drawn form, or its clear parts show as black.
    [[nodiscard]] virtual bool isCompositing() const = 0;
};

} // namespace tessary
