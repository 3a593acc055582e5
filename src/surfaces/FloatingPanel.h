#pragma once

#include "platform/panels/PanelWindowTraits.h"

class QWidget;

namespace tessary {

// Shows a floating panel above the other windows with the window system told what it is: told once
// before its first show (when the window manager reads it), and again whenever it maps anew.
// `prepared` is the panel's own record of the first telling. True when the panel was hidden before,
// so that the caller can set up what a newly mapped window needs (its input region).
bool presentFloatingPanel(QWidget& panel, PanelWindowTraits& traits, bool& prepared);

} // namespace tessary
