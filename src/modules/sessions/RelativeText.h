#pragma once

#include "core/localization/Localization.h"

#include <QDateTime>
#include <QString>

namespace tessary {

// Dates and durations in words, in the chosen language's locale.
namespace RelativeText {

// A date relative to now, in short units: "5 min ago", "2 hr ago", "in 3 days"; "now" within a second.
QString since(const QDateTime& date, const QDateTime& now, const Localization& localization);

// Time left, in hours and minutes with zero units left out: "2h 5m", "45m", "0m"; negative counts as 0.
QString remaining(double seconds, const Localization& localization);

// A length of time in at most the two largest units of days, hours, minutes and seconds:
// "3d 4h", "2h 5m", "42s".
QString duration(double seconds, const Localization& localization);

} // namespace RelativeText

} // namespace tessary
