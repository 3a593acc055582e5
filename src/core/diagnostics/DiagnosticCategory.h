#pragma once

#include "core/records/EnumText.h"

#include <QLatin1StringView>

#include <array>
#include <utility>

namespace tessary {

// The area a log line belongs to; written in the line and used as the system log's category.
enum class DiagnosticCategory {
    app,
    ui,
    panel,
    jump,
    card,
    monitor,
    crash,
    hooks,
    desktop,
    cadenzo,
    settings
};

template <>
struct EnumTable<DiagnosticCategory> {
    static constexpr std::array<std::pair<DiagnosticCategory, const char*>, 11> cases{{
        {DiagnosticCategory::app, "app"},
        {DiagnosticCategory::ui, "ui"},
        {DiagnosticCategory::panel, "panel"},
        {DiagnosticCategory::jump, "jump"},
        {DiagnosticCategory::card, "card"},
        {DiagnosticCategory::monitor, "monitor"},
        {DiagnosticCategory::crash, "crash"},
        {DiagnosticCategory::hooks, "hooks"},
        {DiagnosticCategory::desktop, "desktop"},
        {DiagnosticCategory::cadenzo, "cadenzo"},
        {DiagnosticCategory::settings, "settings"},
    }};
};

// Ordered: a debug line is written only in verbose mode, info and error always.
enum class DiagnosticLevel { debug, info, error };

template <>
struct EnumTable<DiagnosticLevel> {
    static constexpr std::array<std::pair<DiagnosticLevel, const char*>, 3> cases{{
        {DiagnosticLevel::debug, "debug"},
        {DiagnosticLevel::info, "info"},
        {DiagnosticLevel::error, "error"},
    }};
};

// The raw value as a fixed text, without building a QString; for the hot path of the logger.
template <typename E>
constexpr QLatin1StringView diagnosticRawText(E value) {
    for (const auto& [item, raw] : EnumTable<E>::cases) {
        if (item == value) {
            return QLatin1StringView(raw);
        }
    }
    return {};
}

} // namespace tessary
