// The bus runs on every refresh (up to 2.5 times a second): publishing to seven modules and
// ranking their snapshots must stay far below a millisecond. Settings are decoded at start.
#include "core/settings/TessarySettings.h"
#include "modulekit/ModuleEventBus.h"

#include <benchmark/benchmark.h>

using namespace tessary;

namespace {

class SteadyModule final : public CorvaneModule {
public:
    explicit SteadyModule(int index)
        : m_id(QStringLiteral("module-%1").arg(index))
        , m_index(index) {}
    QString id() const override { return m_id; }
    QString displayName() const override { return m_id; }
    QString summary() const override { return {}; }
    std::optional<ModuleSnapshot> handle(HostEvent, const ModuleContext&) override {
        ModuleSnapshot snapshot;
        snapshot.id = m_id;
        snapshot.state = static_cast<ModuleState>(m_index % 6);
        snapshot.priority = m_index * 13 % 100;
        snapshot.generatedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000 + m_index, Qt::UTC);
        snapshot.variants.compact = {m_id, QStringLiteral("42%"), QStringLiteral("cpu")};
        for (int g = 0; g < 3; ++g) {
            GaugeMetric gauge;
            gauge.id = QString::number(g);
            gauge.fraction = 0.1 * g;
            snapshot.variants.gauges.push_back(gauge);
        }
        return snapshot;
    }

private:
    QString m_id;
    int m_index;
};

void publishAndRankSevenModules(benchmark::State& state) {
    ModuleEventBus bus;
    for (int i = 0; i < 7; ++i) {
        bus.registerModule(std::make_shared<SteadyModule>(i));
    }
    const ModuleContext context;
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'100, Qt::UTC);
    for (auto _ : state) {
        bus.publish({HostEvent::refreshRequested}, context, {});
        benchmark::DoNotOptimize(bus.rankedSnapshots(now));
    }
}
BENCHMARK(publishAndRankSevenModules);

void decodeSettings(benchmark::State& state) {
    TessarySettings settings;
    for (int i = 0; i < 8; ++i) {
        settings.displays.insert(QStringLiteral("DP-%1").arg(i),
                                 DisplaySettings{QStringLiteral("Display"), {}, {}});
        settings.widgets.insert(QStringLiteral("w%1").arg(i),
                                WidgetSettings{true, {{QStringLiteral("a"), QStringLiteral("b")}}});
    }
    const QByteArray blob = SettingsCodec::encode(settings);
    for (auto _ : state) {
        benchmark::DoNotOptimize(SettingsCodec::decode(blob));
    }
}
BENCHMARK(decodeSettings);

} // namespace

BENCHMARK_MAIN();
