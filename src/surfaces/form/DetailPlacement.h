#pragma once

// Where the shared detail panel stands beside the surface it hangs from, and the texts it derives
// from a module's detail content. Pure, so that the rules are checked without a display.

#include "core/localization/Localization.h"
#include "modulekit/Detail.h"

#include <QRectF>
#include <QSizeF>

namespace tessary {

namespace DetailPlacement {

enum class Side { below, beside };

// Space between the surface and the panel.
constexpr double gap = 10;

// The panel's frame for `size` next to `anchor` (the drawn part of the surface, global space)
// inside `visible`. `below` hangs it under the anchor, centred on it, as under the notch; `beside`
// puts it on the side with more room, its top level with the anchor's. Where the preferred place
// lacks room the panel takes the other, and it never leaves the visible frame (it shrinks to fit
// only when the visible frame is smaller than the panel).
[[nodiscard]] QRectF frame(const QRectF& anchor, const QSizeF& size, const QRectF& visible, Side side);

} // namespace DetailPlacement

namespace DetailTexts {

// The question asked before a command runs: its own confirmation, or for a destructive command
// without one "<title>?"; nothing when the command runs at once.
[[nodiscard]] std::optional<QString> confirmation(const DetailCommand& command,
                                                  const Localization& localization);
// Whether the command asks for text before it runs.
[[nodiscard]] bool asksForInput(const DetailCommand& command);
// The name a row is read by: title, badge and subtitle (or the text of its runs).
[[nodiscard]] QString rowName(const DetailSection& section);
// What a row says beyond its name: its metrics ("label: value"), steps, location and footnote.
[[nodiscard]] QString rowDescription(const DetailSection& section, const Localization& localization);
// The word for a live mark and for a step's state.
[[nodiscard]] QString activityText(DetailSection::Activity activity, const Localization& localization);
[[nodiscard]] QString stepStateText(DetailStep::State state, const Localization& localization);

} // namespace DetailTexts

} // namespace tessary
