// The log viewer reads both generations of the log when it opens (up to 2 MB) and polls the file every
// 0.4 seconds while it is shown: opening must feel immediate and an idle poll must cost next to nothing.
#include "app/logviewer/LogEntryModel.h"
#include "app/logviewer/LogFileFollower.h"
#include "core/diagnostics/DiagnosticLine.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

QByteArray line(int number) {
    return DiagnosticLine::line(
               QDateTime(QDate(2026, 3, 14), QTime(9, 0).addMSecs(number), Qt::UTC), QTimeZone(3600),
               DiagnosticCategory::monitor, DiagnosticLevel::info,
               u"poll monitor=localServices count=%1 took=38ms changed=no"_s.arg(number % 40))
        .toUtf8();
}

// A folder with both generations full, as the file sink leaves them: 1 MB each.
void fill(const QTemporaryDir& dir) {
    for (const auto* name : {"tessary.1.log", "tessary.log"}) {
        QFile file(QDir(dir.path()).filePath(QString::fromLatin1(name)));
        if (!file.open(QIODevice::WriteOnly)) {
            return;
        }
        QByteArray bytes;
        for (int i = 0; bytes.size() < 1'000'000; ++i) {
            bytes += line(i) + '\n';
        }
        file.write(bytes);
    }
}

void parseOneLine(benchmark::State& state) {
    const QByteArray bytes = line(7);
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        benchmark::DoNotOptimize(LogLineParser::parse(bytes));
    }
}
BENCHMARK(parseOneLine);

// What the viewer does when it is shown: read both files and fill the table behind its filter.
void openAFullLog(benchmark::State& state) {
    const QTemporaryDir dir;
    fill(dir);
    qsizetype rows = 0;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        LogEntryModel entries;
        LogFilterModel filter;
        filter.setSourceModel(&entries);
        LogFileFollower follower(dir.path());
        QObject::connect(&follower, &LogFileFollower::entriesRead, &entries,
                         [&entries](const QList<LogEntry>& read) { entries.append(read); });
        follower.load();
        rows = filter.rowCount();
        benchmark::DoNotOptimize(rows);
    }
    state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(openAFullLog)->Unit(benchmark::kMillisecond);

// The poll of a shown viewer when nothing was written.
void idlePoll(benchmark::State& state) {
    const QTemporaryDir dir;
    fill(dir);
    LogFileFollower follower(dir.path());
    follower.load();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        follower.poll();
    }
}
BENCHMARK(idlePoll)->Unit(benchmark::kMicrosecond);

// A category filter chosen over a full table.
void filterAFullTable(benchmark::State& state) {
    const QTemporaryDir dir;
    fill(dir);
    LogEntryModel entries;
    LogFilterModel filter;
    filter.setSourceModel(&entries);
    LogFileFollower follower(dir.path());
    QObject::connect(&follower, &LogFileFollower::entriesRead, &entries,
                     [&entries](const QList<LogEntry>& read) { entries.append(read); });
    follower.load();
    bool hooks = false;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        hooks = !hooks;
        filter.setCategory(hooks ? std::optional(DiagnosticCategory::hooks) : std::nullopt);
        benchmark::DoNotOptimize(filter.rowCount());
    }
    state.counters["rows"] = static_cast<double>(entries.rowCount());
}
BENCHMARK(filterAFullTable)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
