#pragma once

// The colours of the dark glass that every surface, panel and card is drawn on: a smoked glass that
// reads over any wallpaper, white type, and one colour per tone.

#include "modulekit/ChangeSignal.h"
#include "modulekit/Detail.h"
#include "modulekit/GaugeMetric.h"

#include <QColor>
#include <QString>

#include <optional>

namespace tessary::SurfacePalette {

const QColor textPrimary(246, 247, 250);
const QColor textSecondary(255, 255, 255, 164);
const QColor textTertiary(255, 255, 255, 116);
const QColor track(255, 255, 255, 34);
const QColor divider(255, 255, 255, 23);
const QColor hoverWash(255, 255, 255, 18);
const QColor progressBlue(112, 170, 255);
const QColor pressureMint(92, 214, 172);
const QColor warningAmber(247, 186, 77);
const QColor criticalRed(255, 102, 102);
const QColor successGreen(104, 214, 128);
// What stands for a colour nobody named.
const QColor neutralGrey(140, 146, 160);

[[nodiscard]] QColor gaugeColor(const GaugeMetric& gauge);
[[nodiscard]] QColor roleColor(RoleColor color);
[[nodiscard]] QColor toneColor(ChangeSignal::Fact::Tone tone);
// A colour given by name from outside (an agent's session colour): one of the role colours by its
// name, else any colour Qt can read ("#7f5af0"), else neutral grey.
[[nodiscard]] QColor namedColor(const std::optional<QString>& name);

} // namespace tessary::SurfacePalette
