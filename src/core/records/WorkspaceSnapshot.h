#pragma once

// The read state of the screen: displays, windows, the active ones and the cursor.
// All geometry is in one global space with y growing downward.

#include <QDateTime>
#include <QPointF>
#include <QRectF>
#include <QString>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace tessary {

struct DisplaySnapshot {
    QString id;
    QString name;
    QRectF frame;
    QRectF visibleFrame; // without panels and docks
    double scale = 1;
    bool isMain = false;
    std::optional<QRectF> notchFrame;
    bool operator==(const DisplaySnapshot&) const = default;

    // Whether the top of the display is kept clear of windows for the notch: a camera notch, or a
    // panel that reserves a band along the top (the menu bar, a desktop's top panel).
    [[nodiscard]] bool keepsNotchBand() const { return notchFrame || visibleFrame.top() > frame.top(); }

    // The notch, or where one would stand: a band at the top centre as high as the menu bar
    // (32 when the display has none), so that docking works the same on every display.
    [[nodiscard]] QRectF effectiveNotchFrame() const {
        if (notchFrame) {
            return *notchFrame;
        }
        const double width = std::min(frame.width(), 180.0);
        const double menuBarHeight = visibleFrame.top() - frame.top();
        const double height = menuBarHeight > 0 ? menuBarHeight : 32.0;
        return {frame.center().x() - width / 2, frame.top(), width, height};
    }
};

enum class WindowObservationSource { coreGraphics, accessibility };

struct WindowSnapshot {
    std::uint32_t id = 0;
    std::int32_t ownerPID = 0;
    QString ownerName;
    std::optional<QString> title;
    QRectF frame;
    int layer = 0;
    double alpha = 1;
    bool isOnScreen = true;
    bool isFocused = false;
    bool isMinimized = false;
    bool isFullScreen = false;
    std::optional<QString> role;
    std::optional<QString> subrole;
    WindowObservationSource observationSource = WindowObservationSource::coreGraphics;
    bool operator==(const WindowSnapshot&) const = default;

    // The same window in the same place, visibility and focus; its title may differ.
    [[nodiscard]] bool standsAs(const WindowSnapshot& other) const {
        return id == other.id && ownerPID == other.ownerPID && frame == other.frame && layer == other.layer &&
               alpha == other.alpha && isOnScreen == other.isOnScreen && isFocused == other.isFocused &&
               isMinimized == other.isMinimized && isFullScreen == other.isFullScreen;
    }
};

struct WorkspaceSnapshot {
    std::vector<DisplaySnapshot> displays;
    DisplaySnapshot activeDisplay;
    std::vector<WindowSnapshot> windows;
    std::optional<WindowSnapshot> activeWindow;
    QString activeApplicationName;
    bool hasAccessibilityAccess = true;
    QPointF cursorLocation;
    QDateTime capturedAt;
    bool operator==(const WorkspaceSnapshot&) const = default;

    // Same displays, same active display and the same windows in the same places, order and focus:
    // a moved window is a change, so the refresh stays fast while windows move. A new title is not,
    // or a terminal that retitles itself all the time would keep the loop at its fast pace.
    [[nodiscard]] bool hasSameTopology(const WorkspaceSnapshot& other) const {
        return displays == other.displays && activeDisplay.id == other.activeDisplay.id &&
               std::equal(windows.cbegin(), windows.cend(), other.windows.cbegin(), other.windows.cend(),
                          [](const WindowSnapshot& a, const WindowSnapshot& b) { return a.standsAs(b); });
    }
};

} // namespace tessary
