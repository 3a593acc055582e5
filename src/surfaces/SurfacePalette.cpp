#include "surfaces/SurfacePalette.h"

#include "core/records/EnumText.h"

namespace tessary::SurfacePalette {

QColor gaugeColor(const GaugeMetric& gauge) {
    switch (gauge.tone) {
    case GaugeMetric::Tone::critical:
        return criticalRed;
    case GaugeMetric::Tone::warning:
        return warningAmber;
    case GaugeMetric::Tone::normal:
        break;
    }
    return gauge.scale == GaugeMetric::Scale::pressure ? pressureMint : progressBlue;
}

QColor roleColor(RoleColor color) {
    switch (color) {
    case RoleColor::red:
        return {255, 107, 107};
    case RoleColor::blue:
        return {100, 160, 255};
    case RoleColor::green:
        return {104, 214, 128};
    case RoleColor::yellow:
        return {250, 212, 85};
    case RoleColor::purple:
        return {176, 132, 255};
    case RoleColor::orange:
        return {255, 159, 67};
    case RoleColor::pink:
        return {255, 121, 198};
    case RoleColor::cyan:
        return {86, 214, 230};
    }
    return progressBlue;
}

QColor toneColor(ChangeSignal::Fact::Tone tone) {
    switch (tone) {
    case ChangeSignal::Fact::Tone::critical:
        return criticalRed;
    case ChangeSignal::Fact::Tone::attention:
        return warningAmber;
    case ChangeSignal::Fact::Tone::success:
        return successGreen;
    case ChangeSignal::Fact::Tone::info:
        break;
    }
    return progressBlue;
}

QColor namedColor(const std::optional<QString>& name) {
    if (!name || name->isEmpty()) {
        return neutralGrey;
    }
    if (const auto role = enumFromRaw<RoleColor>(name->toLower())) {
        return roleColor(*role);
    }
    const QColor parsed = QColor::fromString(*name);
    return parsed.isValid() ? parsed : neutralGrey;
}

} // namespace tessary::SurfacePalette
