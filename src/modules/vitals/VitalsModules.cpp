#include "modules/vitals/VitalsModules.h"

#include "modules/vitals/ProcessGrouping.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

namespace tessary {

using namespace Qt::StringLiterals;

QString formattedBytes(std::uint64_t bytes, const Localization& localization) {
    return localization.locale().formattedDataSize(
        static_cast<qint64>(std::min<std::uint64_t>(bytes, INT64_MAX)), 1,
        QLocale::DataSizeTraditionalFormat);
}

namespace {

GaugeMetric::Tone toneFor(ModuleState state) {
    switch (state) {
    case ModuleState::critical:
        return GaugeMetric::Tone::critical;
    case ModuleState::attention:
        return GaugeMetric::Tone::warning;
    default:
        return GaugeMetric::Tone::normal;
    }
}

// The snapshot of a widget that has nothing to show, with the reason where there is one.
ModuleSnapshot unavailable(const QString& id, const QString& title, const QString& symbol,
                           const std::optional<QString>& reason, const QDateTime& now,
                           const Localization& localization) {
    ModuleSnapshot snapshot;
    snapshot.id = id;
    snapshot.state = ModuleState::unavailable;
    snapshot.generatedAt = now;
    snapshot.variants.compact = {title, localization.text(u"no data"_s), symbol};
    snapshot.variants.card = CardVariant{title, std::nullopt, reason};
    return snapshot;
}

bool isStale(const SystemVitalsSnapshot& snapshot, const QDateTime& now, double staleAfter) {
    return !snapshot.capturedAt.isValid() || secondsBetween(snapshot.capturedAt, now) > staleAfter;
}

// The panel rows of the processes, the highest figure first: `measure` gives a row's figure (rows
// without one are left out), `badge` the text of that figure.
template <typename Measure, typename Badge>
std::vector<DetailSection> processRows(const SystemVitalsSnapshot& snapshot, const QString& moduleID,
                                       int limit, const VitalsModuleServices& services,
                                       const Localization& localization, Measure measure, Badge badge) {
    std::vector<ProcessUsage> rows =
        ProcessGrouping::labeled(snapshot.processes, snapshot.labels, localization);
    std::vector<std::pair<double, ProcessUsage>> measured;
    for (ProcessUsage& row : rows) {
        if (const auto figure = measure(row)) {
            measured.emplace_back(*figure, std::move(row));
        }
    }
    std::stable_sort(measured.begin(), measured.end(), [](const auto& a, const auto& b) {
        return a.first != b.first ? a.first > b.first : a.second.name < b.second.name;
    });
    std::vector<DetailSection> sections;
    for (const auto& [figure, row] : measured) {
        if (static_cast<int>(sections.size()) >= limit) {
            break;
        }
        DetailSection section;
        section.id = u"process:"_s + row.id;
        section.title = row.name;
        section.subtitle = row.detail;
        section.badge = badge(row);
        if (ProcessGrouping::holdsAgent(row, snapshot.labels)) {
            section.swatch = RoleColor::purple;
            section.footnote = localization.text(u"Agent"_s);
        }
        if (services.terminator != nullptr) {
            section.command = ProcessCommands::command(row, moduleID, services.store, localization);
        }
        if (const auto failure = services.store.failure(row.id)) {
            section.footnote = localization.text(*failure);
        }
        section.icon = icon::Symbol{u"app"_s};
        sections.push_back(std::move(section));
    }
    return sections;
}

} // namespace

// CPU

ModuleState CPUModule::state(double percent) {
    if (percent >= criticalPercent) {
        return ModuleState::critical;
    }
    return percent >= attentionPercent ? ModuleState::attention : ModuleState::quiet;
}

std::optional<ModuleSnapshot> CPUModule::handle(HostEvent event, const ModuleContext& context) {
    Q_UNUSED(event);
    const Localization& localization = context.localization;
    const QDateTime now = m_services.clock.now();
    const QString title = localization.text(u"CPU"_s);
    const QString symbol = u"cpu"_s;
    const auto latest = m_services.store.latest();
    if (!latest) {
        return unavailable(id(), title, symbol, m_services.store.lastErrorDescription(), now, localization);
    }
    ModuleSnapshot snapshot;
    snapshot.id = id();
    snapshot.generatedAt = now;
    const bool stale = isStale(*latest, now, m_services.staleAfter);

    DetailVariant detail;
    detail.title = title;
    if (!latest->cpu) {
        // The first sampling is only a baseline: load needs two.
        snapshot.state = stale ? ModuleState::unavailable : ModuleState::quiet;
        snapshot.variants.compact = {title, u"…"_s, symbol};
        snapshot.variants.detail = detail;
        return snapshot;
    }
    const CPUReading& cpu = *latest->cpu;
    snapshot.state = stale ? ModuleState::unavailable : state(cpu.percent);
    snapshot.priority = static_cast<int>(std::lround(cpu.percent));
    const double fraction = std::clamp(cpu.percent / 100.0, 0.0, 1.0);
    const QString readout = localization.percent(fraction);

    GaugeMetric gauge;
    gauge.id = u"cpu"_s;
    gauge.label = title;
    gauge.fraction = fraction;
    gauge.tone = toneFor(state(cpu.percent));
    gauge.isEmphasized = true;
    gauge.scale = GaugeMetric::Scale::pressure;
    if (!cpu.load.empty()) {
        gauge.caption =
            localization.format(u"load %1"_s, localization.locale().toString(cpu.load.front(), 'f', 2));
    }
    snapshot.variants.compact = {title, readout, symbol};
    snapshot.variants.gauges = {gauge};

    QStringList parts{localization.format(u"user %1"_s, localization.percent(cpu.userPercent / 100.0)),
                      localization.format(u"system %1"_s, localization.percent(cpu.systemPercent / 100.0)),
                      cpu.cores == 1 ? localization.text(u"1 core"_s)
                                     : localization.format(u"%1 cores"_s, QString::number(cpu.cores))};
    snapshot.variants.card = CardVariant{title, parts.join(u" · "_s), std::nullopt};

    DetailSection inUse;
    inUse.id = u"in-use"_s;
    inUse.title = localization.text(u"In use"_s);
    inUse.subtitle = parts.join(u" · "_s);
    inUse.badge = readout;
    inUse.badgeGauge = gauge;
    if (cpu.load.size() == 3) {
        QStringList loads;
        for (const double value : cpu.load) {
            loads.append(localization.locale().toString(value, 'f', 2));
        }
        inUse.metrics.push_back({u"load"_s, localization.text(u"Load average"_s), loads.join(u"  "_s),
                                 std::nullopt, std::nullopt});
    }
    if (cpu.stallPercent) {
        inUse.metrics.push_back({u"stall"_s, localization.text(u"Waiting for a CPU"_s),
                                 localization.percent(*cpu.stallPercent / 100.0), std::nullopt,
                                 std::nullopt});
    }
    detail.sections.push_back(std::move(inUse));
    for (DetailSection& row : processRows(
             *latest, id(), rowLimit, m_services, localization,
             [](const ProcessUsage& row) { return row.cpuPercent; },
             [&](const ProcessUsage& row) {
                 return localization.percent(row.cpuPercent.value_or(0) / 100.0);
             })) {
        detail.sections.push_back(std::move(row));
    }
    snapshot.variants.detail = std::move(detail);
    return snapshot;
}

QFuture<void> CPUModule::perform(const DetailCommand& command) {
    return ProcessCommands::perform(command, m_services);
}

// Memory

MemoryPressure MemoryModule::effectivePressure(const MemoryReading& memory) {
    if (memory.pressure == MemoryPressure::normal && memory.usedFraction() >= warningFraction) {
        return MemoryPressure::warning;
    }
    return memory.pressure;
}

ModuleState MemoryModule::state(MemoryPressure pressure) {
    switch (pressure) {
    case MemoryPressure::critical:
        return ModuleState::critical;
    case MemoryPressure::warning:
        return ModuleState::attention;
    case MemoryPressure::normal:
        break;
    }
    return ModuleState::quiet;
}

std::optional<ModuleSnapshot> MemoryModule::handle(HostEvent event, const ModuleContext& context) {
    Q_UNUSED(event);
    const Localization& localization = context.localization;
    const QDateTime now = m_services.clock.now();
    const QString title = localization.text(u"Memory"_s);
    const QString symbol = u"memorychip"_s;
    const auto latest = m_services.store.latest();
    if (!latest || latest->memory.total == 0) {
        return unavailable(id(), title, symbol, m_services.store.lastErrorDescription(), now, localization);
    }
    const MemoryReading& memory = latest->memory;
    const MemoryPressure pressure = effectivePressure(memory);
    const double fraction = memory.usedFraction();
    const QString readout = localization.percent(fraction);

    ModuleSnapshot snapshot;
    snapshot.id = id();
    snapshot.generatedAt = now;
    snapshot.state =
        isStale(*latest, now, m_services.staleAfter) ? ModuleState::unavailable : state(pressure);
    snapshot.priority = static_cast<int>(std::lround(fraction * 100));

    const QString caption = localization.text(u"pressure "_s + rawValue(pressure));
    GaugeMetric gauge;
    gauge.id = u"memory"_s;
    gauge.label = title;
    gauge.fraction = fraction;
    gauge.caption = caption;
    gauge.tone = toneFor(state(pressure));
    gauge.isEmphasized = true;
    gauge.scale = GaugeMetric::Scale::pressure;
    snapshot.variants.compact = {title, readout, symbol};
    snapshot.variants.gauges = {gauge};
    const std::uint64_t used = memory.app + memory.wired + memory.compressed;
    snapshot.variants.card =
        CardVariant{title,
                    localization.format(u"%1 of %2"_s, formattedBytes(used, localization),
                                        formattedBytes(memory.total, localization)),
                    caption};

    DetailVariant detail;
    detail.title = title;
    DetailSection inUse;
    inUse.id = u"in-use"_s;
    inUse.title = localization.text(u"In use"_s);
    inUse.subtitle =
        QStringList{localization.format(u"app %1"_s, formattedBytes(memory.app, localization)),
                    localization.format(u"wired %1"_s, formattedBytes(memory.wired, localization)),
                    localization.format(u"compressed %1"_s, formattedBytes(memory.compressed, localization))}
            .join(u" · "_s);
    inUse.badge = readout;
    inUse.badgeGauge = gauge;
    inUse.footnote = caption;
    detail.sections.push_back(std::move(inUse));
    if (memory.swapTotal > 0) {
        DetailSection swap;
        swap.id = u"swap"_s;
        swap.title = localization.text(u"Swap"_s);
        swap.subtitle = localization.format(u"%1 of %2"_s, formattedBytes(memory.swapUsed, localization),
                                            formattedBytes(memory.swapTotal, localization));
        const double swapFraction = std::clamp(
            static_cast<double>(memory.swapUsed) / static_cast<double>(memory.swapTotal), 0.0, 1.0);
        swap.badge = localization.percent(swapFraction);
        detail.sections.push_back(std::move(swap));
    }
    for (DetailSection& row : processRows(
             *latest, id(), rowLimit, m_services, localization,
             [](const ProcessUsage& row) -> std::optional<double> {
                 return row.footprint > 0 ? std::optional<double>(static_cast<double>(row.footprint))
                                          : std::nullopt;
             },
             [&](const ProcessUsage& row) { return formattedBytes(row.footprint, localization); })) {
        detail.sections.push_back(std::move(row));
    }
    snapshot.variants.detail = std::move(detail);
    return snapshot;
}

QFuture<void> MemoryModule::perform(const DetailCommand& command) {
    return ProcessCommands::perform(command, m_services);
}

} // namespace tessary
