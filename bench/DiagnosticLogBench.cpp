// Logging is called from every subsystem, the main thread included: a suppressed debug line must cost a lock
// and nothing else, and an info line must leave the caller's thread without touching the disk.
#include "core/diagnostics/DiagnosticLog.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace tessary;

namespace {

void suppressedDebugLine(benchmark::State& state) {
    DiagnosticLogger::shared().setVerbose(false);
    double width = 320;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        DiagnosticLog::debug(DiagnosticCategory::panel, "detail.show", [&] {
            return DiagnosticFields{{"size", DiagnosticValue::size(width, 240)},
                                    {"animated", DiagnosticValue::boolean(true)}};
        });
        benchmark::DoNotOptimize(width);
    }
}
BENCHMARK(suppressedDebugLine);

// A logger as the application has it, minus the system log: the caller's share of an info line.
void infoLineIntoTheSink(benchmark::State& state) {
    QTemporaryDir dir;
    const SystemClock clock;
    DiagnosticLogger logger(clock, std::nullopt, nullptr);
    auto sink = DiagnosticFileSink::create(
        dir.path(), DiagnosticLog::fileLimit, DiagnosticLog::filePendingLimit,
        std::make_shared<DiagnosticSerialQueue>(QString::fromLatin1(DiagnosticLog::fileQueueLabel)), nullptr);
    if (!sink) {
        state.SkipWithError("no sink");
        return;
    }
    logger.attach(sink);
    qint64 n = 0;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        logger.log(DiagnosticLevel::info, DiagnosticCategory::monitor, "usage.fetched", [&] {
            return DiagnosticFields{
                {"provider", "claude"},
                {"elapsed", DiagnosticValue::milliseconds(++n % 900)},
                {"session", DiagnosticValue::shortID(QStringLiteral("3f2a9c1e-77b0-4c1d"))}};
        });
    }
    sink->flush();
    state.counters["dropped"] = static_cast<double>(sink->pending().dropped);
}
BENCHMARK(infoLineIntoTheSink);

// The same line carried all the way into the file before the next one starts.
void infoLineWrittenThrough(benchmark::State& state) {
    QTemporaryDir dir;
    const SystemClock clock;
    DiagnosticLogger logger(clock, std::nullopt, nullptr);
    auto sink =
        DiagnosticFileSink::create(dir.path(), DiagnosticLog::fileLimit, DiagnosticLog::filePendingLimit,
                                   std::make_shared<DiagnosticSerialQueue>(QStringLiteral("bench")), nullptr);
    if (!sink) {
        state.SkipWithError("no sink");
        return;
    }
    logger.attach(sink);
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        logger.log(DiagnosticLevel::info, DiagnosticCategory::monitor, "usage.fetched", [&] {
            return DiagnosticFields{{"provider", "claude"}, {"elapsed", DiagnosticValue::milliseconds(42)}};
        });
        sink->flush();
    }
}
BENCHMARK(infoLineWrittenThrough);

void nameFactory(benchmark::State& state) {
    const QString model = QStringLiteral("claude-sonnet-4-5-20250929");
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        benchmark::DoNotOptimize(DiagnosticValue::name(model));
    }
}
BENCHMARK(nameFactory);

} // namespace

BENCHMARK_MAIN();
