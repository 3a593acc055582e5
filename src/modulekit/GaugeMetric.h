#pragma once

#include "core/localization/Localization.h"

#include <QString>

#include <optional>

namespace tessary {

// One bar of a widget.
struct GaugeMetric {
    enum class Tone { normal, warning, critical };
    enum class Scale { pressure, progress }; // pressure: fuller is worse

    QString id;
    QString label;
    double fraction = 0;
    std::optional<QString> caption;
    Tone tone = Tone::normal;
    bool isEmphasized = false;
    std::optional<QString> display; // overrides the readout
    Scale scale = Scale::progress;
    bool isTextual = false;
    std::optional<QString> compactLabel;
    bool operator==(const GaugeMetric&) const = default;

    [[nodiscard]] QString readout(const Localization& localization) const {
        return display ? *display : localization.percent(fraction);
    }
};

// One row of a detail section.
struct DetailMetric {
    QString id;
    QString label;
    QString value;
    std::optional<QString> detail;
    std::optional<GaugeMetric> gauge;
    bool operator==(const DetailMetric&) const = default;
};

} // namespace tessary
