// The folder watcher walks and watches its trees on the main thread: once at start, again whenever the
// watched roots change, and a folder's rescan after each burst of events. Those passes must stay in the
// low milliseconds for trees the size of an agent's session folders.

#include "services/monitoring/FolderTreeWatcher.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace tessary;

namespace {

// `folders` folders, ten to a parent, with four small files in each.
void makeTree(const QString& root, int folders) {
    QStringList made{root};
    for (int index = 1; index < folders; ++index) {
        const QString folder = made.at((index - 1) / 10) + QStringLiteral("/f%1").arg(index);
        QDir().mkpath(folder);
        made.append(folder);
    }
    for (const QString& folder : std::as_const(made)) {
        for (int file = 0; file < 4; ++file) {
            QFile out(folder + QStringLiteral("/s%1.jsonl").arg(file));
            if (out.open(QIODevice::WriteOnly)) {
                out.write("{}\n");
            }
        }
    }
}

void watchWholeTree(benchmark::State& state) {
    QTemporaryDir dir;
    const QString root = dir.filePath(QStringLiteral("tree"));
    QDir().mkpath(root);
    makeTree(root, static_cast<int>(state.range(0)));
    ManualClock clock;
    ManualScheduler scheduler(clock);
    FolderTreeWatcher tree(scheduler, {});
    int files = 0;
    for (auto _ : state) {
        tree.watch({root});
        files = tree.watchedFileCount();
        state.PauseTiming();
        tree.clear();
        state.ResumeTiming();
    }
    state.counters["files"] = files;
}
BENCHMARK(watchWholeTree)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

// A burst in one folder of a large tree: ten files appear and the ten of the previous burst go, and the
// watcher is told once. The busy folder holds `state.range(0)` other files, all of which its rescan lists.
void burstInALargeTree(benchmark::State& state) {
    QTemporaryDir dir;
    const QString root = dir.filePath(QStringLiteral("tree"));
    QDir().mkpath(root);
    makeTree(root, 1000);
    const QString busy = root + QStringLiteral("/f1");
    for (int file = 0; file < state.range(0); ++file) {
        QFile out(busy + QStringLiteral("/old-%1.jsonl").arg(file));
        if (out.open(QIODevice::WriteOnly)) {
            out.write("{}");
        }
    }
    ManualClock clock;
    ManualScheduler scheduler(clock);
    int changes = 0;
    FolderTreeWatcher tree(scheduler, [&] { ++changes; });
    tree.watch({root});
    int round = 0;
    for (auto _ : state) {
        for (int file = 0; file < 10; ++file) {
            QFile::remove(busy + QStringLiteral("/burst-%1-%2.json").arg(round - 1).arg(file));
            QFile out(busy + QStringLiteral("/burst-%1-%2.json").arg(round).arg(file));
            if (out.open(QIODevice::WriteOnly)) {
                out.write("{}");
            }
        }
        ++round;
        // Let the kernel's events reach the watcher; only the flush is timed.
        QCoreApplication::processEvents();
        QElapsedTimer timer;
        timer.start();
        scheduler.advance(FolderTreeWatcher::latency);
        state.SetIterationTime(static_cast<double>(timer.nsecsElapsed()) / 1e9);
    }
    state.counters["changes"] = changes;
}
BENCHMARK(burstInALargeTree)->Arg(50)->Arg(2000)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
