#pragma once

#include "modulekit/CorvaneModule.h"
#include "modules/vitals/ProcessCommands.h"

#include <cstdint>

namespace tessary {

// The CPU widget: how busy the processor is, and the rows that keep it so.
class CPUModule final : public CorvaneModule {
public:
    static constexpr auto moduleID = "tessary.cpu";
    // Rows shown in the panel, the busiest first.
    static constexpr int rowLimit = 8;
    static constexpr double attentionPercent = 70;
    static constexpr double criticalPercent = 90;

    explicit CPUModule(VitalsModuleServices services)
        : m_services(std::move(services)) {}

    [[nodiscard]] QString id() const override { return QLatin1StringView(moduleID); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("CPU"); }
    [[nodiscard]] QString summary() const override {
        return QStringLiteral("How busy the processor is, and which apps keep it busy.");
    }
    [[nodiscard]] ModuleGroup group() const override { return ModuleGroup::system; }

    std::optional<ModuleSnapshot> handle(HostEvent event, const ModuleContext& context) override;
    QFuture<void> perform(const DetailCommand& command) override;

    // The state that a load stands for: quiet under 70, attention from 70, critical from 90.
    static ModuleState state(double percent);

private:
    VitalsModuleServices m_services;
};

// The Memory widget: memory in use, pressure, and the rows that hold the most.
class MemoryModule final : public CorvaneModule {
public:
    static constexpr auto moduleID = "tessary.memory";
    static constexpr int rowLimit = 8;
    // With the system calling pressure normal, this much in use still counts as a warning.
    static constexpr double warningFraction = 0.9;

    explicit MemoryModule(VitalsModuleServices services)
        : m_services(std::move(services)) {}

    [[nodiscard]] QString id() const override { return QLatin1StringView(moduleID); }
    [[nodiscard]] QString displayName() const override { return QStringLiteral("Memory"); }
    [[nodiscard]] QString summary() const override {
        return QStringLiteral("Memory in use and under pressure, and which apps hold it.");
    }
    [[nodiscard]] ModuleGroup group() const override { return ModuleGroup::system; }

    std::optional<ModuleSnapshot> handle(HostEvent event, const ModuleContext& context) override;
    QFuture<void> perform(const DetailCommand& command) override;

    // The pressure the widget shows: the system's, raised to a warning at 90% in use.
    static MemoryPressure effectivePressure(const MemoryReading& memory);
    static ModuleState state(MemoryPressure pressure);

private:
    VitalsModuleServices m_services;
};

// Byte counts as people read them, in the language's locale: "1.5 GB".
QString formattedBytes(std::uint64_t bytes, const Localization& localization);

} // namespace tessary
