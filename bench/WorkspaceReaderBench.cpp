// The screen is read on every refresh, up to 2.5 times a second, on the main thread: one read with
// 50 client windows must stay under 2 ms.
//
// It needs a real X server with a window manager. With DISPLAY set it uses that one; without, it
// runs itself again under tests/support/run-test --x11, which starts a private Xvfb with openbox:
//   build/bench/bench/bench_workspace_reader            (or through `make bench`)
//   DISPLAY=:1 build/bench/bench/bench_workspace_reader  (an X server of your own)
#include "platform/workspace/linux/X11WorkspaceReader.h"
#include "spatial/workspace/WorkspaceSnapshotAssembler.h"
#include "support/X11TestWindows.h"

#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QThread>

#include <benchmark/benchmark.h>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

constexpr int clientWindows = 50;

// A desktop of 50 overlapping windows owned by another process (this one's parent).
std::unique_ptr<testing::X11TestWindows> openWindows() {
    auto windows = std::make_unique<testing::X11TestWindows>();
    if (!windows->isConnected()) {
        return nullptr;
    }
    const auto pid = static_cast<std::uint32_t>(getppid());
    for (int i = 0; i < clientWindows; ++i) {
        const QRect geometry(30 * (i % 20), 25 * (i % 15), 500 + 7 * i, 300 + 5 * i);
        windows->create(geometry, "Bench" + QByteArray::number(i % 7), u"Window %1 — a title"_s.arg(i), pid);
    }
    // The window manager takes them in its own time.
    const QDeadlineTimer deadline(10'000);
    while (windows->stacking().size() < clientWindows && !deadline.hasExpired()) {
        QThread::msleep(20);
    }
    return windows->stacking().size() >= clientWindows ? std::move(windows) : nullptr;
}

void readWorkspaceWith50Windows(benchmark::State& state) {
    const auto windows = openWindows();
    const SystemClock clock;
    const auto reader = X11WorkspaceReader::connect(clock);
    if (!windows || !reader) {
        state.SkipWithError("no X server with a window manager");
        return;
    }
    std::size_t listed = 0;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        const auto snapshot = reader->read();
        listed = snapshot ? snapshot->windows.size() : 0;
        benchmark::DoNotOptimize(snapshot);
    }
    state.counters["windows"] = static_cast<double>(listed);
}
BENCHMARK(readWorkspaceWith50Windows)->Unit(benchmark::kMicrosecond);

// The shared rules alone, without the X server: what part of a read is not waiting for replies.
void assemble50Windows(benchmark::State& state) {
    WorkspaceReading reading;
    DisplaySnapshot display;
    display.id = u"DP-1"_s;
    display.frame = QRectF(0, 0, 1920, 1080);
    display.visibleFrame = QRectF(0, 0, 1920, 1040);
    display.isMain = true;
    reading.displays = {display};
    for (int i = 0; i < clientWindows; ++i) {
        ObservedWindow observed;
        observed.window.id = static_cast<std::uint32_t>(1000 + i);
        observed.window.ownerPID = 100 + i % 7;
        observed.window.ownerName = u"Bench"_s;
        observed.window.title = u"Window %1"_s.arg(i);
        observed.window.frame = QRectF(30 * (i % 20), 25 * (i % 15), 500, 300);
        observed.fullScreenState = false;
        reading.windows.push_back(observed);
    }
    reading.focusedWindowID = 1010;
    reading.ownPID = 1;
    const WorkspaceSnapshotAssembler assembler;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        benchmark::DoNotOptimize(assembler.assemble(reading));
    }
}
BENCHMARK(assemble50Windows)->Unit(benchmark::kMicrosecond);

// Without an X server, runs this program again under a private one; returns only on failure.
void reexecUnderPrivateXServer(int argc, char** argv) {
    const std::string runner = std::string(TESSARY_SOURCE_DIR) + "/tests/support/run-test";
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    std::vector<std::string> arguments{runner, "--x11", self};
    for (int i = 1; i < argc; ++i) {
        arguments.emplace_back(argv[i]);
    }
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (auto& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    qputenv("TESSARY_BENCH_PRIVATE_X", "1");
    execv(runner.c_str(), pointers.data());
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        if (qEnvironmentVariableIsEmpty("TESSARY_BENCH_PRIVATE_X")) {
            reexecUnderPrivateXServer(argc, argv);
        }
        fprintf(stderr, "bench_workspace_reader: no X server, and none could be started\n");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication application(argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
