#include "surfaces/FloatingPanel.h"

#include <QWidget>

namespace tessary {

bool presentFloatingPanel(QWidget& panel, PanelWindowTraits& traits, bool& prepared) {
    if (!prepared) {
        traits.prepare(static_cast<quintptr>(panel.winId()));
        prepared = true;
    }
    const bool wasVisible = panel.isVisible();
    panel.show();
    if (!wasVisible) {
        traits.reassert(static_cast<quintptr>(panel.winId()));
    }
    panel.raise();
    return !wasVisible;
}

} // namespace tessary
