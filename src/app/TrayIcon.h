#pragma once

#include <QIcon>

namespace tessary {

// The status icon: three rounded tiles, drawn at every size the tray may ask for.
QIcon makeTrayIcon();

} // namespace tessary
