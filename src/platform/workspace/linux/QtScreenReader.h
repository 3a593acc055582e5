#pragma once

#include "core/records/WorkspaceSnapshot.h"

#include <QPointF>
#include <QString>

#include <optional>
#include <vector>

namespace tessary {

// The displays and the cursor as Qt sees them, in Qt's device-independent coordinates. Linux
// displays have no notch; the shared logic gives each one a substitute area at the top centre.
class QtScreenReader {
public:
    // Every screen, the primary one first. Empty without a GUI application.
    [[nodiscard]] std::vector<DisplaySnapshot> readDisplays() const;
    // The room a display leaves for windows, without panels and docks.
    [[nodiscard]] std::optional<QRectF> visibleFrame(const QString& displayID) const;
    [[nodiscard]] QPointF cursorLocation() const;
};

} // namespace tessary
