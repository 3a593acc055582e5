#pragma once

// Text in the program's windows, written once for all of them.

#include <QString>

class QLabel;
class QWidget;

namespace tessary {

// A label for text that is read, not decorated: plain text, wrapping, named for assistive technologies.
QLabel* makeTextLabel(const QString& text, QWidget* parent, double scale = 1.0, bool bold = false);
// Secondary text, in the palette's own dimmed colour (follows light, dark and high contrast).
void dimLabel(QLabel* label);
// The text without its mnemonic marker: "&Language" gives "Language", "R&&D" gives "R&D".
QString withoutMnemonic(const QString& text);

} // namespace tessary
