#pragma once

#include "core/records/EnumText.h"

namespace tessary {

// The panes of the settings window, in the order of its sidebar.
enum class SettingsSection { general, displays, widgets, advanced };

template <>
struct EnumTable<SettingsSection> {
    static constexpr std::array<std::pair<SettingsSection, const char*>, 4> cases{{
        {SettingsSection::general, "general"},
        {SettingsSection::displays, "displays"},
        {SettingsSection::widgets, "widgets"},
        {SettingsSection::advanced, "advanced"},
    }};
};

} // namespace tessary
