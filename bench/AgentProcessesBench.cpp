// The live state asks which agents run whenever it places sessions on processes, from the hook
// listener, the monitors and the interface. A full scan reads every process of the machine, so it
// is made at most once a second and the readings in between are handed the kept scan. Both are
// measured here over the machine's processes plus 500 children that the benchmark starts (a quarter
// of them under an agent's name).

#include "platform/processes/linux/LiveAgentProcesses.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <vector>

extern char** environ;

using namespace tessary;

namespace {

// `count` sleeping children, every fourth one a copy of sleep named as an agent; ended with the value.
class SleepingChildren {
public:
    explicit SleepingChildren(int count) {
        const QByteArray sleep = QFile::encodeName(QStandardPaths::findExecutable(QStringLiteral("sleep")));
        const QString agentPath = m_folder.filePath(QStringLiteral("claude/bin/claude"));
        QDir().mkpath(QFileInfo(agentPath).absolutePath());
        QFile::copy(QString::fromLocal8Bit(sleep), agentPath);
        QFile::setPermissions(agentPath, QFile::permissions(agentPath) | QFileDevice::ExeOwner);
        const QByteArray agent = QFile::encodeName(agentPath);
        for (int index = 0; index < count; ++index) {
            const QByteArray& program = index % 4 == 0 ? agent : sleep;
            QByteArray seconds("600");
            std::vector<char*> arguments{const_cast<char*>(program.constData()), seconds.data(), nullptr};
            pid_t pid = 0;
            if (::posix_spawn(&pid, program.constData(), nullptr, nullptr, arguments.data(), environ) == 0) {
                m_pids.push_back(pid);
            }
        }
    }
    SleepingChildren(const SleepingChildren&) = delete;
    SleepingChildren& operator=(const SleepingChildren&) = delete;
    SleepingChildren(SleepingChildren&&) = delete;
    SleepingChildren& operator=(SleepingChildren&&) = delete;
    ~SleepingChildren() {
        for (const pid_t pid : m_pids) {
            ::kill(pid, SIGKILL);
        }
        for (const pid_t pid : m_pids) {
            ::waitpid(pid, nullptr, 0);
        }
    }

    [[nodiscard]] std::size_t count() const { return m_pids.size(); }

private:
    QTemporaryDir m_folder;
    std::vector<pid_t> m_pids;
};

SleepingChildren& children() {
    static SleepingChildren started(500);
    return started;
}

int processCount() {
    return static_cast<int>(
        QDir(QStringLiteral("/proc")).entryList({QStringLiteral("[0-9]*")}, QDir::Dirs).size());
}

// A full scan: the clock moves past the kept scan's life before each reading.
void fullScan(benchmark::State& state) {
    (void)children();
    ManualClock clock(QDateTime::currentDateTimeUtc());
    const LiveAgentProcesses processes(clock);
    qsizetype agents = 0;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        clock.advance(AgentProcesses::scanLifetime + 0.5);
        agents = processes.live(AgentProcessNames::agentNames()).size();
        benchmark::DoNotOptimize(agents);
    }
    state.counters["agents"] = static_cast<double>(agents);
    state.counters["processes"] = processCount();
}
BENCHMARK(fullScan)->Unit(benchmark::kMillisecond);

// Readings within the second: the kept scan is copied out.
void keptScan(benchmark::State& state) {
    (void)children();
    ManualClock clock(QDateTime::currentDateTimeUtc());
    const LiveAgentProcesses processes(clock);
    (void)processes.live(AgentProcessNames::agentNames());
    qsizetype agents = 0;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        agents = processes.live(AgentProcessNames::agentNames()).size();
        benchmark::DoNotOptimize(agents);
    }
    state.counters["agents"] = static_cast<double>(agents);
    state.counters["scans"] = processes.scanCount();
}
BENCHMARK(keptScan)->Unit(benchmark::kMicrosecond);

// The processes below one parent: a pass over every process's state.
void descendants(benchmark::State& state) {
    (void)children();
    const SystemClock clock;
    const LiveAgentProcesses processes(clock);
    const auto self = static_cast<qint32>(::getpid());
    qsizetype found = 0;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        found = processes.descendants(self).size();
        benchmark::DoNotOptimize(found);
    }
    state.counters["descendants"] = static_cast<double>(found);
}
BENCHMARK(descendants)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
