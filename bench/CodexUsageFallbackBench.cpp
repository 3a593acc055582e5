// When Codex's app-server can't answer, its plan usage is read from the session files: the newest
// general rate-limit record among the 8 newest files, each searched backward from its end with a
// budget of 16 MiB. The worst case is a history where none of those files holds a record, so that
// every byte of every budget is read.
//
// The benchmark writes 10 session files of 17 MiB of real-looking lines (assistant messages and
// function calls, no rate limits); the two oldest end with a record, which the reading must not
// reach. It reports the bytes read per reading (8 budgets of 16 MiB) beside the time.
//
//   WorstFallback: no record in any file it may read.
//   RecordNearTheEnd: the usual case, a record a few lines before the end of the newest file.

#include "modules/usage/codex/CodexRateLimitParser.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

constexpr qint64 fileBytes = qint64{17} * 1024 * 1024;
constexpr int fileCount = 10;
const QDateTime fetchedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

const QByteArray record =
    R"({"timestamp":"2026-09-21T16:00:00.000Z","type":"event_msg","payload":{"type":"token_count",)"
    R"("info":null,"rate_limits":{"limit_id":"codex","primary":{"used_percent":42.0,"window_minutes":300,)"
    R"("resets_at":1790003600},"secondary":null}}})"
    "\n";

QByteArray filler() {
    QByteArray lines;
    for (int i = 0; i < 64; ++i) {
        lines +=
            R"({"timestamp":"2026-09-21T15:00:00.000Z","type":"response_item","payload":{"type":"message",)"
            R"("role":"assistant","content":[{"type":"output_text","text":"Step )" +
            QByteArray::number(i) +
            R"(: read the module, ran the tests, and the two failures come from the parser's )"
            R"(handling of a cut line; the fix keeps the previous reading."}]}})"
            "\n";
        lines += R"({"timestamp":"2026-09-21T15:00:01.000Z","type":"response_item","payload":)"
                 R"({"type":"function_call","name":"shell","arguments":"{\"command\":[\"bash\",\"-lc\",)"
                 R"(\"ctest --output-on-failure -R parser\"]}","call_id":"call_)" +
                 QByteArray::number(i) + R"("}})" + "\n";
    }
    return lines;
}

// The bytes this process has read so far, as the kernel counts them (rchar of /proc/self/io).
qint64 bytesReadSoFar() {
    QFile io(u"/proc/self/io"_s);
    if (!io.open(QIODevice::ReadOnly)) {
        return 0;
    }
    for (const QByteArray& line : io.readAll().split('\n')) {
        if (line.startsWith("rchar:")) {
            return line.mid(6).trimmed().toLongLong();
        }
    }
    return 0;
}

class History {
public:
    explicit History(bool recordInNewest) {
        const QByteArray lines = filler();
        for (int i = 0; i < fileCount; ++i) {
            const QString path = m_root.filePath(u"2026/09/21/rollout-%1.jsonl"_s.arg(i));
            QDir().mkpath(QFileInfo(path).absolutePath());
            QFile file(path);
            if (!file.open(QIODevice::WriteOnly)) {
                return;
            }
            for (qint64 written = 0; written < fileBytes; written += lines.size()) {
                file.write(lines);
            }
            // The oldest two hold a record the reading must not reach; the newest, in the usual
            // case, one a few lines before its end.
            if (i >= fileCount - 2 || (recordInNewest && i == 0)) {
                file.write(record);
                file.write(lines.first(4096));
                file.write("\n");
            }
            // Written out first: a later flush would move the date to now.
            file.flush();
            file.setFileTime(fetchedAt.addSecs(-60 * (i + 1)), QFileDevice::FileModificationTime);
        }
    }

    [[nodiscard]] QString root() const { return m_root.path(); }

private:
    QTemporaryDir m_root;
};

void WorstFallback(benchmark::State& state) {
    const History history(false);
    const qint64 before = bytesReadSoFar();
    for (auto _ : state) {
        const auto report = CodexSessionRateLimits::report(history.root(), fetchedAt);
        if (report) {
            state.SkipWithError("a record past the files that may be read was found");
            return;
        }
        benchmark::DoNotOptimize(report);
    }
    // At most 8 budgets of 16 MiB, and the listing of the folders.
    const qint64 read = bytesReadSoFar() - before;
    state.counters["bytes_read"] =
        benchmark::Counter(static_cast<double>(read), benchmark::Counter::kAvgIterations);
    state.counters["limit"] =
        static_cast<double>(CodexSessionRateLimits::fileLimit * CodexSessionRateLimits::maximumBytes);
    state.SetBytesProcessed(read);
}
BENCHMARK(WorstFallback)->Unit(benchmark::kMillisecond);

void RecordNearTheEnd(benchmark::State& state) {
    const History history(true);
    for (auto _ : state) {
        const auto report = CodexSessionRateLimits::report(history.root(), fetchedAt);
        if (!report) {
            state.SkipWithError("the record of the newest file was not found");
            return;
        }
        benchmark::DoNotOptimize(report);
    }
}
BENCHMARK(RecordNearTheEnd)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
