#pragma once

// The texts a surface shows, as assistive technologies read them: what is visible, in the order
// it is drawn, and nothing that isn't.

#include "core/localization/Localization.h"
#include "modulekit/ModuleSnapshot.h"

#include <QString>

#include <vector>

namespace tessary {

struct ModuleDescription {
    QString name;        // "CPU, 42%": the compact title and value
    QString description; // the gauges' readouts, the card's lines and what changed
    bool operator==(const ModuleDescription&) const = default;
};

namespace SurfaceDescription {

[[nodiscard]] ModuleDescription module(const ModuleSnapshot& snapshot, const Localization& localization);
// The whole surface: its modules' names joined, and their descriptions one per line.
[[nodiscard]] ModuleDescription surface(const std::vector<ModuleSnapshot>& modules,
                                        const Localization& localization);

} // namespace SurfaceDescription

} // namespace tessary
