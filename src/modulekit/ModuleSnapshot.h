#pragma once

#include "core/records/EnumText.h"
#include "modulekit/ChangeSignal.h"
#include "modulekit/Detail.h"
#include "modulekit/GaugeMetric.h"

#include <QDateTime>
#include <QString>

#include <optional>
#include <vector>

namespace tessary {

enum class ModuleState { quiet, active, success, attention, critical, unavailable };
template <>
struct EnumTable<ModuleState> {
    static constexpr std::array<std::pair<ModuleState, const char*>, 6> cases{{
        {ModuleState::quiet, "quiet"},
        {ModuleState::active, "active"},
        {ModuleState::success, "success"},
        {ModuleState::attention, "attention"},
        {ModuleState::critical, "critical"},
        {ModuleState::unavailable, "unavailable"},
    }};
};

enum class ModuleGroup { agents, code, none, system };
template <>
struct EnumTable<ModuleGroup> {
    static constexpr std::array<std::pair<ModuleGroup, const char*>, 4> cases{{
        {ModuleGroup::agents, "agents"},
        {ModuleGroup::code, "code"},
        {ModuleGroup::none, "none"},
        {ModuleGroup::system, "system"},
    }};
};

struct CompactVariant {
    QString title;
    QString value;
    QString symbolName;
    bool operator==(const CompactVariant&) const = default;
};

struct CardVariant {
    QString title;
    std::optional<QString> subtitle;
    std::optional<QString> detail;
    bool operator==(const CardVariant&) const = default;
};

// What a snapshot shows at each size.
struct SnapshotVariants {
    CompactVariant compact;
    std::optional<CardVariant> card;
    std::vector<GaugeMetric> gauges;
    std::optional<DetailVariant> detail;
    std::optional<ChangeSignal> signal;
    bool operator==(const SnapshotVariants&) const = default;

    // The first emphasized gauge; else the fullest, the first among equals.
    [[nodiscard]] std::optional<GaugeMetric> primaryGauge() const;
    [[nodiscard]] SnapshotVariants withSignal(std::optional<ChangeSignal> replacement) const {
        SnapshotVariants copy = *this;
        copy.signal = std::move(replacement);
        return copy;
    }
};

// The value a module publishes.
struct ModuleSnapshot {
    QString id;
    ModuleState state = ModuleState::quiet;
    int priority = 0;
    QDateTime generatedAt;
    std::optional<double> ttl; // seconds; absent means for ever
    SnapshotVariants variants;
    ModuleGroup group = ModuleGroup::none;
    bool operator==(const ModuleSnapshot&) const = default;

    // Exactly at its ttl a snapshot is still valid.
    [[nodiscard]] bool isExpired(const QDateTime& at) const;
    [[nodiscard]] ModuleSnapshot grouped(ModuleGroup replacement) const {
        ModuleSnapshot copy = *this;
        copy.group = replacement;
        return copy;
    }
    [[nodiscard]] ModuleSnapshot withSignal(std::optional<ChangeSignal> signal) const {
        ModuleSnapshot copy = *this;
        copy.variants = variants.withSignal(std::move(signal));
        return copy;
    }
};

} // namespace tessary
