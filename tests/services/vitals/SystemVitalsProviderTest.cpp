#include "core/diagnostics/DiagnosticLogger.h"
#include "services/vitals/SystemVitalsMonitor.h"
#include "support/FakeProcRoot.h"
#include "support/MonitorHarness.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;
using tessary::testing::FakeProcRoot;

namespace {

void machine(FakeProcRoot& proc, quint64 user, quint64 system, quint64 idle) {
    proc.write(u"stat"_s, QByteArray("cpu  ") + QByteArray::number(user) + " 0 " +
                              QByteArray::number(system) + " " + QByteArray::number(idle) +
                              " 0 0 0 0 0 0\ncpu0 0 0 0 0\ncpu1 0 0 0 0\nbtime 1790000000\n");
}

// A process: `ticks` of CPU time, started at `start` ticks after boot, with `privatePages` of its own.
void process(FakeProcRoot& proc, int pid, const QByteArray& command, quint64 ticks, quint64 start,
             quint64 privatePages, const QString& executable = {}, char state = 'S',
             quint32 flags = 4194560) {
    proc.stat({.pid = pid,
               .command = command,
               .state = state,
               .flags = flags,
               .userTicks = ticks,
               .startTicks = start});
    proc.write(QString::number(pid) + u"/statm"_s,
               "1000 " + QByteArray::number(privatePages + 10) + " 10 1 0 100 0\n");
    if (!executable.isEmpty()) {
        proc.link(QString::number(pid) + u"/exe"_s, executable);
    }
}

const ProcessUsage* row(const SystemVitalsSnapshot& snapshot, const QString& id) {
    for (const ProcessUsage& usage : snapshot.processes) {
        if (usage.id == id) {
            return &usage;
        }
    }
    return nullptr;
}

SystemVitalsSnapshot sampled(LiveSystemVitalsProvider& provider, const QDateTime& at) {
    auto result = provider.sample(at);
    if (auto* failure = std::get_if<ProviderFailure>(&result)) {
        qWarning() << failure->userText;
        return {};
    }
    return std::get<SystemVitalsSnapshot>(result);
}

} // namespace

class SystemVitalsProviderTest : public QObject {
    Q_OBJECT
private slots:
    void firstSampleIsABaselineThenLoadAndShares();
    void vanishingProcessesAndKernelThreadsAreLeftOut();
    void reusedProcessIDHasNoShare();
    void counterWrapAndMissingPressure();
    void unreadableMachineIsAFailure();
    void theRealProcFindsThisProcess();
    void monitorFillsTheStoreWithLabels();
};

void SystemVitalsProviderTest::firstSampleIsABaselineThenLoadAndShares() {
    FakeProcRoot proc;
    machine(proc, 1000, 500, 8500);
    proc.write(u"meminfo"_s, "MemTotal: 1000 kB\nMemAvailable: 600 kB\n");
    proc.write(u"loadavg"_s, "0.50 0.40 0.30 1/100 999\n");
    proc.write(u"pressure/cpu"_s, "some avg10=3.00 avg60=1.00 avg300=0.00 total=5\n");
    proc.write(u"pressure/memory"_s,
               "some avg10=0.00 avg60=0.00 avg300=0.00 total=0\nfull avg10=0.00 avg60=0.00 "
               "avg300=0.00 total=0\n");
    process(proc, 100, "chrome", 100, 5000, 100, u"/opt/google/chrome/chrome"_s);
    process(proc, 101, "chrome_crashpad", 50, 5001, 20, u"/opt/google/chrome/chrome_crashpad_handler"_s);
    process(proc, 105, "node", 10, 6000, 30, u"/usr/bin/node"_s);
    proc.write(u"105/cmdline"_s, QByteArray("node\0server.js\0", 15));
    proc.link(u"105/cwd"_s, u"/home/u/shop"_s);

    const ProcFileSystem fs(proc.root());
    LiveSystemVitalsProvider provider(fs, static_cast<std::uint32_t>(::getuid()));
    const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
    const SystemVitalsSnapshot first = sampled(provider, t0);
    QCOMPARE(first.cpu, std::nullopt);
    QCOMPARE(first.memory.total, std::uint64_t(1000 * 1024));
    QCOMPARE(first.memory.app, std::uint64_t(400 * 1024));
    const ProcessUsage* chrome = row(first, u"app:/opt/google/chrome"_s);
    QVERIFY(chrome);
    QCOMPARE(chrome->pids, (std::vector<std::int32_t>{100, 101}));
    QCOMPARE(chrome->cpuPercent, std::nullopt);
    const auto page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
    QCOMPARE(chrome->footprint, 120 * page);
    QVERIFY(row(first, u"run:node:/home/u/shop"_s));
    QCOMPARE(row(first, u"run:node:/home/u/shop"_s)->name, u"shop (node)"_s);

    // Four seconds later: the machine was half busy, chrome used 2 seconds of CPU time of 2 cores.
    const auto ticks = static_cast<quint64>(::sysconf(_SC_CLK_TCK));
    machine(proc, 1300, 600, 8900);
    process(proc, 100, "chrome", 100 + 2 * ticks, 5000, 100, u"/opt/google/chrome/chrome"_s);
    const SystemVitalsSnapshot second = sampled(provider, t0.addSecs(4));
    QVERIFY(second.cpu);
    QCOMPARE(second.cpu->percent, 50.0);
    QCOMPARE(second.cpu->cores, 2);
    QCOMPARE(second.cpu->load, (std::vector<double>{0.5, 0.4, 0.3}));
    QCOMPARE(second.cpu->stallPercent, std::optional<double>(3.0));
    QCOMPARE(row(second, u"app:/opt/google/chrome"_s)->cpuPercent, std::optional<double>(25.0));
    QCOMPARE(row(second, u"run:node:/home/u/shop"_s)->cpuPercent, std::optional<double>(0.0));
}

void SystemVitalsProviderTest::vanishingProcessesAndKernelThreadsAreLeftOut() {
    FakeProcRoot proc;
    machine(proc, 1, 1, 1);
    proc.write(u"meminfo"_s, "MemTotal: 1000 kB\nMemAvailable: 600 kB\n");
    process(proc, 2, "kthreadd", 0, 1, 0, {}, 'S', 0x00200040);
    process(proc, 100, "vim", 5, 10, 10, u"/usr/bin/vim"_s);
    proc.write(u"102/stat"_s, "102 (gone) S 1 1 1 0 -1 0 0 0 0 0 1 0 0 0 20 0 1 0 7 1000 50 0\n"); // no statm
    QDir(proc.root()).mkpath(u"103"_s);            // nothing left
    proc.write(u"104/stat"_s, "104 (half) S 1 1"); // cut while it ended
    proc.write(u"104/statm"_s, "1 1 1 0 0 0 0\n");
    process(proc, 105, "zombie", 0, 10, 0, {}, 'Z');
    proc.write(u"self"_s, "not a process");

    const ProcFileSystem fs(proc.root());
    LiveSystemVitalsProvider provider(fs, static_cast<std::uint32_t>(::getuid()));
    const SystemVitalsSnapshot snapshot = sampled(provider, QDateTime::currentDateTimeUtc());
    QCOMPARE(snapshot.processes.size(), std::size_t(1));
    QCOMPARE(snapshot.processes[0].id, u"exe:/usr/bin/vim"_s);
}

void SystemVitalsProviderTest::reusedProcessIDHasNoShare() {
    FakeProcRoot proc;
    machine(proc, 1, 1, 1);
    proc.write(u"meminfo"_s, "MemTotal: 1000 kB\nMemAvailable: 600 kB\n");
    process(proc, 100, "vim", 5, 10, 10, u"/usr/bin/vim"_s);
    const ProcFileSystem fs(proc.root());
    LiveSystemVitalsProvider provider(fs, static_cast<std::uint32_t>(::getuid()));
    const QDateTime t0 = QDateTime::currentDateTimeUtc();
    sampled(provider, t0);
    process(proc, 100, "vim", 500, 99, 10, u"/usr/bin/vim"_s); // another process, same id
    QCOMPARE(sampled(provider, t0.addSecs(4)).processes.at(0).cpuPercent, std::nullopt);
    process(proc, 100, "vim", 500, 99, 10, u"/usr/bin/vim"_s);
    QCOMPARE(sampled(provider, t0.addSecs(8)).processes.at(0).cpuPercent, std::optional<double>(0.0));
}

void SystemVitalsProviderTest::counterWrapAndMissingPressure() {
    FakeProcRoot proc;
    machine(proc, UINT64_MAX - 99, 0, 1000);
    proc.write(u"meminfo"_s, "MemTotal: 1000 kB\nMemAvailable: 10 kB\n");
    const ProcFileSystem fs(proc.root());
    LiveSystemVitalsProvider provider(fs, static_cast<std::uint32_t>(::getuid()));
    const QDateTime t0 = QDateTime::currentDateTimeUtc();
    const SystemVitalsSnapshot first = sampled(provider, t0);
    // No stall figures here: nearly nothing available is critical.
    QCOMPARE(first.memory.pressure, MemoryPressure::critical);
    machine(proc, 100, 0, 1200);
    const SystemVitalsSnapshot second = sampled(provider, t0.addSecs(4));
    QVERIFY(second.cpu);
    QCOMPARE(second.cpu->percent, 50.0);
    QCOMPARE(second.cpu->stallPercent, std::nullopt);
    QVERIFY(second.cpu->load.empty());
}

void SystemVitalsProviderTest::unreadableMachineIsAFailure() {
    FakeProcRoot proc;
    proc.write(u"meminfo"_s, "MemTotal: 1000 kB\n");
    const ProcFileSystem fs(proc.root());
    LiveSystemVitalsProvider provider(fs, 0);
    const auto result = provider.sample(QDateTime::currentDateTimeUtc());
    QVERIFY(std::holds_alternative<ProviderFailure>(result));
    QCOMPARE(std::get<ProviderFailure>(result).userText, LiveSystemVitalsProvider::unreadableText());
    proc.write(u"stat"_s, "garbage");
    QVERIFY(std::holds_alternative<ProviderFailure>(provider.sample(QDateTime::currentDateTimeUtc())));
}

void SystemVitalsProviderTest::theRealProcFindsThisProcess() {
    const ProcFileSystem fs;
    LiveSystemVitalsProvider provider(fs, static_cast<std::uint32_t>(::getuid()));
    const QDateTime t0 = QDateTime::currentDateTimeUtc();
    sampled(provider, t0);
    QTest::qWait(200);
    const SystemVitalsSnapshot snapshot = sampled(provider, t0.addMSecs(200));
    QVERIFY(snapshot.cpu);
    QVERIFY(snapshot.memory.total > 0);
    const auto own = static_cast<std::int32_t>(::getpid());
    const auto mine =
        std::find_if(snapshot.processes.begin(), snapshot.processes.end(), [&](const ProcessUsage& usage) {
            return std::find(usage.pids.begin(), usage.pids.end(), own) != usage.pids.end();
        });
    QVERIFY(mine != snapshot.processes.end());
    QVERIFY(mine->id.startsWith(u"exe:"_s) && mine->id.endsWith(u"test_system_vitals_provider"_s));
    QVERIFY(mine->cpuPercent.has_value());
    QVERIFY(mine->footprint > 0);
    QVERIFY(fs.isAlive(own));
    QVERIFY(!fs.isAlive(0));
    QCOMPARE(fs.ancestors(own).empty(), ::getppid() < 2);
}

void SystemVitalsProviderTest::monitorFillsTheStoreWithLabels() {
    FakeProcRoot proc;
    machine(proc, 1, 1, 1);
    proc.write(u"meminfo"_s, "MemTotal: 1000 kB\nMemAvailable: 600 kB\n");
    process(proc, 100, "vim", 5, 10, 10, u"/usr/bin/vim"_s);
    const ProcFileSystem fs(proc.root());
    LiveSystemVitalsProvider provider(fs, static_cast<std::uint32_t>(::getuid()));

    MonitorHarness harness;
    auto& [clock, scheduler, logger, runner] = harness;
    SystemVitalsStore store;
    int updates = 0;
    ProcessLabels labels{{100}, {}};
    SystemVitalsMonitor monitor(
        provider, store, clock, [&] { return labels; }, {scheduler, runner, &logger}, [&] { ++updates; });
    monitor.start();
    QVERIFY(QTest::qWaitFor([&] { return !monitor.isReading(); }, 5000));
    QCOMPARE(updates, 1);
    QCOMPARE(store.latest()->labels, labels);
    QCOMPARE(store.latest()->capturedAt, clock.now());
    QCOMPARE(scheduler.secondsUntilNext(), std::optional<double>(4));

    QFile::remove(proc.root() + u"/stat"_s);
    QVERIFY(scheduler.advanceToNext());
    QVERIFY(QTest::qWaitFor([&] { return !monitor.isReading(); }, 5000));
    QCOMPARE(updates, 2);
    QCOMPARE(store.lastErrorDescription(), std::optional(LiveSystemVitalsProvider::unreadableText()));
    QVERIFY(store.latest()); // the last sampling stays on show
    monitor.stop();
}

QTEST_GUILESS_MAIN(SystemVitalsProviderTest)
#include "SystemVitalsProviderTest.moc"
