#include "modules/sessions/RelativeText.h"

#include "core/time/Clock.h"

#include <QStringList>

#include <array>
#include <cmath>

namespace tessary::RelativeText {

namespace {

struct Unit {
    double seconds;
    const char* past;
    const char* pastPlural;
    const char* future;
    const char* futurePlural;
};

// Largest first; a date is told in the largest unit of which it holds at least one.
constexpr std::array<Unit, 7> relativeUnits{{
    {31'536'000, "%1 yr ago", "%1 yr ago", "in %1 yr", "in %1 yr"},
    {2'592'000, "%1 mo ago", "%1 mo ago", "in %1 mo", "in %1 mo"},
    {604'800, "%1 wk ago", "%1 wk ago", "in %1 wk", "in %1 wk"},
    {86'400, "%1 day ago", "%1 days ago", "in %1 day", "in %1 days"},
    {3'600, "%1 hr ago", "%1 hr ago", "in %1 hr", "in %1 hr"},
    {60, "%1 min ago", "%1 min ago", "in %1 min", "in %1 min"},
    {1, "%1 sec ago", "%1 sec ago", "in %1 sec", "in %1 sec"},
}};

struct Narrow {
    double seconds;
    const char* text;
};

constexpr std::array<Narrow, 4> narrowUnits{{{86'400, "%1d"}, {3'600, "%1h"}, {60, "%1m"}, {1, "%1s"}}};

// `total` whole seconds in the units from `first` to `last` of narrowUnits, zero units left out,
// at most `maximumUnits` of them; "0" of the smallest unit when nothing is left.
QString narrow(qint64 total, std::size_t first, std::size_t last, int maximumUnits,
               const Localization& localization) {
    const QLocale locale = localization.locale();
    QStringList parts;
    qint64 rest = total;
    for (std::size_t index = first; index <= last && parts.size() < maximumUnits; ++index) {
        const auto size = static_cast<qint64>(narrowUnits.at(index).seconds);
        const qint64 count = rest / size;
        rest -= count * size;
        if (count > 0) {
            parts.append(
                localization.format(QLatin1StringView(narrowUnits.at(index).text), locale.toString(count)));
        } else if (!parts.isEmpty()) {
            // A zero unit between two others ends the count: "1d 5m" would read as a misprint.
            break;
        }
    }
    if (parts.isEmpty()) {
        return localization.format(QLatin1StringView(narrowUnits.at(last).text), locale.toString(0));
    }
    return parts.join(u' ');
}

qint64 wholeSeconds(double seconds) {
    if (!std::isfinite(seconds) || seconds <= 0) {
        return 0;
    }
    // Beyond a million years nothing here is meaningful; the bound keeps the cast defined.
    return static_cast<qint64>(std::min(seconds, 3.2e13));
}

} // namespace

QString since(const QDateTime& date, const QDateTime& now, const Localization& localization) {
    const double delta = secondsBetween(date, now);
    const double magnitude = std::abs(delta);
    if (magnitude < 1) {
        return localization.text(QStringLiteral("now"));
    }
    for (const Unit& unit : relativeUnits) {
        if (magnitude >= unit.seconds) {
            const auto count = static_cast<qint64>(std::floor(magnitude / unit.seconds));
            const bool plural = count != 1;
            const char* pattern = delta >= 0 ? (plural ? unit.pastPlural : unit.past)
                                             : (plural ? unit.futurePlural : unit.future);
            return localization.format(QLatin1StringView(pattern), localization.locale().toString(count));
        }
    }
    return localization.text(QStringLiteral("now"));
}

QString remaining(double seconds, const Localization& localization) {
    // Minutes are rounded: 119.6 s left reads "2m".
    const qint64 total = wholeSeconds(std::round(std::max(seconds, 0.0) / 60) * 60);
    return narrow(total, 1, 2, 2, localization);
}

QString duration(double seconds, const Localization& localization) {
    return narrow(wholeSeconds(seconds), 0, 3, 2, localization);
}

} // namespace tessary::RelativeText
