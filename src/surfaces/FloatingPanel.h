#pragma once

#include "platform/panels/PanelWindowTraits.h"

class QWidget;

namespace tessary {

// Shows a floating panel above the other windows with the window system told what it is: told once
// before its first show (when the window manager reads it), and again whenever it maps anew. It is
// raised only as it maps: a panel the loop shows again on every refresh stays where it stands, so
// that it never comes over a panel the user is reading. `prepared` is the panel's own record of the
// first telling. True when the panel was hidden before, so that the caller can set up what a newly
// mapped window needs (its input region).
bool presentFloatingPanel(QWidget& panel, PanelWindowTraits& traits, bool& prepared);

// Raises `panel` over the other floating panels, and then every panel kept in front, so that
// nothing comes over those.
void raiseFloatingPanel(QWidget& panel);

// Keeps `panel` in front of every other floating panel (the permission card over the surfaces).
void keepFloatingPanelInFront(QWidget& panel);

} // namespace tessary
