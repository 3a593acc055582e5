#include "surfaces/FloatingPanel.h"

#include <QApplication>
#include <QWidget>

namespace tessary {

namespace {
// A property on the widget rather than a list of our own: Qt already knows every top-level window.
constexpr const char* inFrontProperty = "tessary.keptInFront";

bool isKeptInFront(const QWidget& panel) {
    return panel.property(inFrontProperty).toBool();
}
} // namespace

bool presentFloatingPanel(QWidget& panel, PanelWindowTraits& traits, bool& prepared) {
    if (!prepared) {
        traits.prepare(static_cast<quintptr>(panel.winId()));
        prepared = true;
    }
    const bool wasVisible = panel.isVisible();
    if (wasVisible) {
        return false;
    }
    panel.show();
    traits.reassert(static_cast<quintptr>(panel.winId()));
    raiseFloatingPanel(panel);
    return true;
}

void raiseFloatingPanel(QWidget& panel) {
    panel.raise();
    if (isKeptInFront(panel)) {
        return;
    }
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        if (window != &panel && window->isVisible() && isKeptInFront(*window)) {
            window->raise();
        }
    }
}

void keepFloatingPanelInFront(QWidget& panel) {
    panel.setProperty(inFrontProperty, true);
}

} // namespace tessary
