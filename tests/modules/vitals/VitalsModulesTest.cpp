#include "modules/vitals/VitalsModules.h"

#include "support/FakeProcessTerminator.h"

#include <QPromise>
#include <QTest>

#include <set>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

using FakeTerminator = testing::FakeProcessTerminator;

ModuleContext context(AppLanguage language = AppLanguage::english) {
    ModuleContext context;
    context.localization = Localization(language);
    return context;
}

SystemVitalsSnapshot snapshotAt(const QDateTime& at, std::optional<double> cpuPercent, double usedFraction,
                                MemoryPressure pressure) {
    SystemVitalsSnapshot snapshot;
    snapshot.capturedAt = at;
    if (cpuPercent) {
        snapshot.cpu =
            CPUReading{*cpuPercent, *cpuPercent * 0.75, *cpuPercent * 0.25, 8, {1.5, 1.0, 0.5}, std::nullopt};
    }
    snapshot.memory.total = 1000;
    snapshot.memory.app = static_cast<std::uint64_t>(usedFraction * 1000);
    snapshot.memory.pressure = pressure;
    snapshot.processes = {
        {u"app:/opt/google/chrome"_s, u"Chrome"_s, std::nullopt, {200, 201, 202}, 30.0, 600},
        {u"exe:/usr/bin/vim"_s, u"vim"_s, std::nullopt, {300}, 1.0, 900},
        {u"exe:/sbin/init"_s, u"init"_s, std::nullopt, {1}, std::nullopt, 5},
    };
    return snapshot;
}

const DetailSection* section(const ModuleSnapshot& snapshot, const QString& id) {
    for (const DetailSection& candidate : snapshot.variants.detail->sections) {
        if (candidate.id == id) {
            return &candidate;
        }
    }
    return nullptr;
}

} // namespace

class VitalsModulesTest : public QObject {
    Q_OBJECT
private slots:
    void init();

    void cpuState_data();
    void cpuState();
    void memoryPressureAndFraction_data();
    void memoryPressureAndFraction();
    void firstSampleHasNoLoadYet();
    void noSamplingOrStaleSamplingIsUnavailable();
    void cpuPanelListsTheBusiestRowsWithKill();
    void memoryPanelShowsInUseSwapAndFootprints();
    void killThenForceKill();
    void killOfAGoneRowTakesItOffAtOnce();
    void nothingBelowPid2NorThisProgramIsSignalled();

private:
    VitalsModuleServices services() {
        VitalsModuleServices services{m_store, m_clock};
        services.terminator = &m_terminator;
        services.delay = [this](double seconds) {
            m_delays.push_back(seconds);
            return QtFuture::makeReadyFuture();
        };
        services.isAlive = [this](std::int32_t pid) { return m_terminator.alive.contains(pid); };
        services.gracePeriod = 3;
        services.forceGracePeriod = 1;
        services.staleAfter = 30;
        services.ownPID = 300;
        return services;
    }

    ManualClock m_clock;
    SystemVitalsStore m_store;
    FakeTerminator m_terminator;
    std::vector<double> m_delays;
};

void VitalsModulesTest::init() {
    m_store.update({});
    m_terminator.sent.clear();
    m_terminator.alive.clear();
    m_terminator.stubborn.clear();
    m_terminator.refused.clear();
    m_delays.clear();
}

void VitalsModulesTest::cpuState_data() {
    QTest::addColumn<double>("percent");
    QTest::addColumn<ModuleState>("state");
    QTest::addColumn<GaugeMetric::Tone>("tone");
    QTest::newRow("69.9 is quiet") << 69.9 << ModuleState::quiet << GaugeMetric::Tone::normal;
    QTest::newRow("70 wants attention") << 70.0 << ModuleState::attention << GaugeMetric::Tone::warning;
    QTest::newRow("89.9") << 89.9 << ModuleState::attention << GaugeMetric::Tone::warning;
    QTest::newRow("90 is critical") << 90.0 << ModuleState::critical << GaugeMetric::Tone::critical;
}

void VitalsModulesTest::cpuState() {
    QFETCH(double, percent);
    m_store.update(snapshotAt(m_clock.now(), percent, 0.5, MemoryPressure::normal));
    CPUModule module(services());
    const auto snapshot = module.handle(HostEvent::moduleDataChanged, context());
    QVERIFY(snapshot);
    QTEST(snapshot->state, "state");
    QCOMPARE(snapshot->variants.gauges.size(), std::size_t(1));
    QTEST(snapshot->variants.gauges[0].tone, "tone");
    QCOMPARE(snapshot->variants.gauges[0].fraction, percent / 100);
    QCOMPARE(snapshot->group, ModuleGroup::none); // the bus fills it from group()
    QCOMPARE(module.group(), ModuleGroup::system);
}

void VitalsModulesTest::memoryPressureAndFraction_data() {
    QTest::addColumn<double>("fraction");
    QTest::addColumn<MemoryPressure>("pressure");
    QTest::addColumn<ModuleState>("state");
    QTest::addColumn<QString>("caption");
    QTest::newRow("normal") << 0.5 << MemoryPressure::normal << ModuleState::quiet << u"pressure normal"_s;
    QTest::newRow("0.95 with normal pressure shows a warning")
        << 0.95 << MemoryPressure::normal << ModuleState::attention << u"pressure warning"_s;
    QTest::newRow("0.89 stays normal")
        << 0.89 << MemoryPressure::normal << ModuleState::quiet << u"pressure normal"_s;
    QTest::newRow("system warning") << 0.3 << MemoryPressure::warning << ModuleState::attention
                                    << u"pressure warning"_s;
    QTest::newRow("system critical") << 0.3 << MemoryPressure::critical << ModuleState::critical
                                     << u"pressure critical"_s;
}

void VitalsModulesTest::memoryPressureAndFraction() {
    QFETCH(double, fraction);
    QFETCH(MemoryPressure, pressure);
    m_store.update(snapshotAt(m_clock.now(), 10, fraction, pressure));
    MemoryModule module(services());
    const auto snapshot = module.handle(HostEvent::moduleDataChanged, context());
    QVERIFY(snapshot);
    QTEST(snapshot->state, "state");
    QTEST(*snapshot->variants.gauges[0].caption, "caption");
    QCOMPARE(snapshot->variants.gauges[0].fraction, fraction);
    QCOMPARE(snapshot->variants.compact.value, Localization().percent(fraction));
}

void VitalsModulesTest::firstSampleHasNoLoadYet() {
    m_store.update(snapshotAt(m_clock.now(), std::nullopt, 0.5, MemoryPressure::normal));
    CPUModule module(services());
    const auto snapshot = module.handle(HostEvent::hostStarted, context());
    QCOMPARE(snapshot->state, ModuleState::quiet);
    QCOMPARE(snapshot->variants.compact.value, u"…"_s);
    QVERIFY(snapshot->variants.gauges.empty());
}

void VitalsModulesTest::noSamplingOrStaleSamplingIsUnavailable() {
    SystemVitalsStore empty;
    empty.updateErrorDescription(u"could not read the system's figures"_s);
    CPUModule cpu({empty, m_clock});
    const auto nothing = cpu.handle(HostEvent::hostStarted, context());
    QCOMPARE(nothing->state, ModuleState::unavailable);
    QCOMPARE(nothing->variants.compact.value, u"no data"_s);
    QCOMPARE(nothing->variants.card->detail,
             std::optional<QString>(u"could not read the system's figures"_s));

    m_store.update(snapshotAt(m_clock.now(), 50, 0.5, MemoryPressure::normal));
    m_clock.advance(31);
    CPUModule stale(services());
    MemoryModule staleMemory(services());
    QCOMPARE(stale.handle(HostEvent::moduleDataChanged, context())->state, ModuleState::unavailable);
    QCOMPARE(staleMemory.handle(HostEvent::moduleDataChanged, context())->state, ModuleState::unavailable);
}

void VitalsModulesTest::cpuPanelListsTheBusiestRowsWithKill() {
    m_store.update(snapshotAt(m_clock.now(), 42, 0.5, MemoryPressure::normal));
    CPUModule module(services());
    const auto snapshot = module.handle(HostEvent::moduleDataChanged, context());
    const auto& sections = snapshot->variants.detail->sections;
    QCOMPARE(sections[0].id, u"in-use"_s);
    QCOMPARE(sections[0].title, u"In use"_s);
    QCOMPARE(*sections[0].subtitle, u"user 32% · system 11% · 8 cores"_s);
    // Rows without a CPU share (init) are left out; the busiest first.
    QCOMPARE(sections.size(), std::size_t(3));
    QCOMPARE(sections[1].title, u"Chrome"_s);
    QCOMPARE(*sections[1].badge, u"30%"_s);
    QCOMPARE(*sections[1].subtitle, u"3 processes"_s);
    const DetailCommand kill = *sections[1].command;
    QCOMPARE(kill.id, u"kill:app:/opt/google/chrome"_s);
    QCOMPARE(kill.title, u"Kill"_s);
    QCOMPARE(*kill.confirmation, u"Kill Chrome (3 processes)?"_s);
    QVERIFY(kill.isDestructive);
    QCOMPARE(*sections[2].command->confirmation, u"Kill vim?"_s);

    const auto spanish = module.handle(HostEvent::moduleDataChanged, context(AppLanguage::spanish));
    QCOMPARE(*spanish->variants.detail->sections[1].command->confirmation,
             u"¿Terminar Chrome (3 procesos)?"_s);
}

void VitalsModulesTest::memoryPanelShowsInUseSwapAndFootprints() {
    SystemVitalsSnapshot snapshot = snapshotAt(m_clock.now(), 10, 0.5, MemoryPressure::normal);
    snapshot.memory.swapTotal = 2048;
    snapshot.memory.swapUsed = 512;
    m_store.update(snapshot);
    MemoryModule module(services());
    const auto result = module.handle(HostEvent::moduleDataChanged, context());
    QVERIFY(section(*result, u"in-use"_s));
    QVERIFY(section(*result, u"in-use"_s)->subtitle->startsWith(u"app "_s));
    QCOMPARE(*section(*result, u"swap"_s)->badge, u"25%"_s);
    // By footprint: vim (900) before Chrome (600) before init (5).
    const auto& sections = result->variants.detail->sections;
    QCOMPARE(sections[2].title, u"vim"_s);
    QCOMPARE(sections[3].title, u"Chrome"_s);
    QCOMPARE(sections[4].title, u"init"_s);
}

void VitalsModulesTest::killThenForceKill() {
    m_store.update(snapshotAt(m_clock.now(), 42, 0.5, MemoryPressure::normal));
    m_terminator.alive = {200, 201, 202};
    m_terminator.stubborn = {201};
    CPUModule module(services());
    const DetailCommand kill =
        *module.handle(HostEvent::moduleDataChanged, context())->variants.detail->sections[1].command;
    module.perform(kill).waitForFinished();
    QCOMPARE(m_terminator.sent,
             (std::vector<std::pair<std::int32_t, bool>>{{200, false}, {201, false}, {202, false}}));
    QCOMPARE(m_delays, std::vector<double>{3});
    QVERIFY(m_store.isSurvivor(u"app:/opt/google/chrome"_s));
    QCOMPARE(m_store.killRequestedAt(u"app:/opt/google/chrome"_s), std::optional(m_clock.now()));

    const DetailCommand force =
        *module.handle(HostEvent::moduleDataChanged, context())->variants.detail->sections[1].command;
    QCOMPARE(force.id, u"force-kill:app:/opt/google/chrome"_s);
    QCOMPARE(force.title, u"Force kill"_s);
    QCOMPARE(*force.confirmation, u"Force kill Chrome?"_s);
    module.perform(force).waitForFinished();
    // Only the survivor is signalled again.
    QCOMPARE(m_terminator.sent.size(), std::size_t(4));
    QCOMPARE(m_terminator.sent.back(), (std::pair<std::int32_t, bool>{201, true}));
    QCOMPARE(m_delays.back(), 1.0);
    // Everything gone: the row leaves the list ahead of the next sampling.
    const auto latest = m_store.latest();
    QVERIFY(std::none_of(latest->processes.begin(), latest->processes.end(),
                         [](const ProcessUsage& row) { return row.name == u"Chrome"_s; }));
}

void VitalsModulesTest::killOfAGoneRowTakesItOffAtOnce() {
    m_store.update(snapshotAt(m_clock.now(), 42, 0.5, MemoryPressure::normal));
    CPUModule module(services());
    module.perform({u"kill:exe:/nowhere"_s, u"tessary.cpu"_s, u"Kill"_s}).waitForFinished();
    QVERIFY(m_terminator.sent.empty());
    QCOMPARE(m_store.latest()->processes.size(), std::size_t(3));

    // vim has ended since the sampling: its row goes, nothing is signalled.
    module.perform({u"kill:exe:/usr/bin/vim"_s, u"tessary.cpu"_s, u"Kill"_s}).waitForFinished();
    QVERIFY(m_terminator.sent.empty());
    QCOMPARE(m_store.latest()->processes.size(), std::size_t(2));

    m_terminator.alive = {200, 201, 202};
    m_terminator.refused = {200, 201, 202};
    module.perform({u"kill:app:/opt/google/chrome"_s, u"tessary.cpu"_s, u"Kill"_s}).waitForFinished();
    QCOMPARE(m_store.failure(u"app:/opt/google/chrome"_s),
             std::optional<QString>(u"could not signal pid 200"_s));
    QVERIFY(m_delays.empty()); // nothing was signalled, nothing waited for
    QCOMPARE(m_store.latest()->processes.size(), std::size_t(2));
}

void VitalsModulesTest::nothingBelowPid2NorThisProgramIsSignalled() {
    m_store.update(snapshotAt(m_clock.now(), 42, 0.5, MemoryPressure::normal));
    m_terminator.alive = {1, 300};
    MemoryModule module(services());
    module.perform({u"kill:exe:/sbin/init"_s, u"tessary.memory"_s, u"Kill"_s}).waitForFinished();
    module.perform({u"force-kill:exe:/usr/bin/vim"_s, u"tessary.memory"_s, u"Kill"_s}).waitForFinished();
    QVERIFY(m_terminator.sent.empty());
    QCOMPARE(m_store.failure(u"exe:/sbin/init"_s),
             std::optional<QString>(u"refusing to signal this process"_s));
    QVERIFY(m_store.failure(u"exe:/usr/bin/vim"_s));
}

QTEST_GUILESS_MAIN(VitalsModulesTest)
#include "VitalsModulesTest.moc"
