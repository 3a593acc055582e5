// The Claude session monitor reads ~/.claude/projects every 45 seconds. A user's history there grows
// to thousands of transcripts of megabytes each, so a poll must cost what the number of files
// costs (one directory walk), not what their size costs: only the newest 20 transcripts are read,
// each through a bounded tail and head, and a poll in which nothing changed reads no file at all.
//
// The benchmark writes 1,000 transcripts of 2 MB, 1,000 of 10 MB and 100 of 2 MB, in 50 project
// folders, with a subagent transcript beside every tenth. Each file holds real transcript lines at
// its head (16 KiB) and its tail (320 KiB, more than the reader's 256 KiB); the part between is left
// as a hole in a sparse file, since no reader ever reaches it and writing 10 GB for each run would
// measure the disk, not the reader. Arguments: file size in MB, number of files.
//
//   ColdPoll: a new provider each time, nothing kept from an earlier poll.
//   WarmPoll: the same provider polled again with nothing changed.
//   OneFileChanged: one transcript is appended to between two polls.

#include "modules/sessions/ClaudeSessionFileProvider.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <map>
#include <memory>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

constexpr int projectCount = 50;
constexpr qint64 headBytes = qint64{16} * 1024;
constexpr qint64 tailBytes = qint64{320} * 1024;

QByteArray line(int index, const QString& session) {
    const QString text =
        u"Step %1: read the module, run the tests and report what failed and why."_s.arg(index);
    QJsonObject message{
        {"model"_L1, "claude-opus-4-6"_L1},
        {"role"_L1, "assistant"_L1},
        {"content"_L1, QJsonArray{QJsonObject{{"type"_L1, "text"_L1}, {"text"_L1, text.repeated(12)}},
                                  QJsonObject{{"type"_L1, "tool_use"_L1}, {"name"_L1, "Bash"_L1}}}},
        {"usage"_L1, QJsonObject{{"input_tokens"_L1, 3},
                                 {"cache_creation_input_tokens"_L1, 1000 + index},
                                 {"cache_read_input_tokens"_L1, 40'000},
                                 {"output_tokens"_L1, 300}}}};
    const QJsonObject object{{"type"_L1, index % 2 == 0 ? "assistant"_L1 : "user"_L1},
                             {"sessionId"_L1, session},
                             {"cwd"_L1, "/home/ana/work/atlas"_L1},
                             {"version"_L1, "2.1.330"_L1},
                             {"gitBranch"_L1, "main"_L1},
                             {"timestamp"_L1, "2026-03-01T11:00:00.000Z"_L1},
                             {"message"_L1, message}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

QByteArray lines(qint64 bytes, const QString& session) {
    QByteArray content;
    for (int index = 0; content.size() < bytes; ++index) {
        content += line(index, session);
    }
    return content;
}

bool writeSparse(const QString& path, qint64 size, const QByteArray& head, const QByteArray& tail) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(head) != head.size() ||
        !file.seek(size - tail.size())) {
        return false;
    }
    return file.write(tail) == tail.size();
}

// The projects folder of one file size, made once for the whole run.
class Projects {
public:
    Projects(qint64 fileBytes, int fileCount) {
        const QByteArray head = lines(headBytes, u"bench"_s);
        const QByteArray tail = '\n' + lines(tailBytes, u"bench"_s);
        for (int index = 0; index < fileCount; ++index) {
            const QString folder =
                root() + u"/-home-ana-work-project-"_s + QString::number(index % projectCount);
            const QString name = u"session-%1"_s.arg(index, 4, 10, QLatin1Char('0'));
            QDir().mkpath(folder);
            m_ok = m_ok && writeSparse(folder + u'/' + name + u".jsonl"_s, fileBytes, head, tail);
            if (index % 10 == 0) {
                QDir().mkpath(folder + u'/' + name + u"/subagents"_s);
                m_ok = m_ok &&
                       writeSparse(folder + u'/' + name + u"/subagents/agent-a1.jsonl"_s, qint64{256} * 1024,
                                   head.left(4096), tail.right(qsizetype{80} * 1024));
            }
        }
        m_changing = root() + u"/-home-ana-work-project-0/session-0000.jsonl"_s;
    }

    [[nodiscard]] bool ok() const { return m_ok && m_folder.isValid(); }
    [[nodiscard]] QString root() const { return m_folder.path() + u"/projects"_s; }
    [[nodiscard]] const QString& changing() const { return m_changing; }

private:
    QTemporaryDir m_folder;
    QString m_changing;
    bool m_ok = true;
};

Projects& projects(const benchmark::State& state) {
    static std::map<std::pair<qint64, qint64>, std::unique_ptr<Projects>> made;
    auto& entry = made[{state.range(0), state.range(1)}];
    if (!entry) {
        entry = std::make_unique<Projects>(state.range(0) * 1024 * 1024, static_cast<int>(state.range(1)));
    }
    return *entry;
}

ClaudeSessionFileProvider::Configuration configuration(const Projects& folder) {
    return {folder.root(), folder.root() + u"/../settings.json"_s, 300.0};
}

void ColdPoll(benchmark::State& state) {
    const Projects& folder = projects(state);
    if (!folder.ok()) {
        state.SkipWithError("the transcripts could not be written");
        return;
    }
    const SystemClock clock;
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        const ClaudeSessionFileProvider provider(configuration(folder), clock);
        auto sessions = provider.fetchSessions(20);
        benchmark::DoNotOptimize(sessions);
    }
}

void WarmPoll(benchmark::State& state) {
    const Projects& folder = projects(state);
    if (!folder.ok()) {
        state.SkipWithError("the transcripts could not be written");
        return;
    }
    const SystemClock clock;
    const ClaudeSessionFileProvider provider(configuration(folder), clock);
    (void)provider.fetchSessions(20);
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        auto sessions = provider.fetchSessions(20);
        benchmark::DoNotOptimize(sessions);
    }
}

void OneFileChanged(benchmark::State& state) {
    const Projects& folder = projects(state);
    if (!folder.ok()) {
        state.SkipWithError("the transcripts could not be written");
        return;
    }
    const SystemClock clock;
    const ClaudeSessionFileProvider provider(configuration(folder), clock);
    (void)provider.fetchSessions(20);
    QFile file(folder.changing());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        state.SkipWithError("the transcript could not be opened");
        return;
    }
    const QByteArray appended = line(1, u"bench"_s);
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        state.PauseTiming();
        file.write(appended);
        file.flush();
        state.ResumeTiming();
        auto sessions = provider.fetchSessions(20);
        benchmark::DoNotOptimize(sessions);
    }
}

} // namespace

namespace {

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"MB", "files"})->Args({2, 1000})->Args({10, 1000})->Args({2, 100});
    benchmark->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(ColdPoll)->Apply(sizes);
BENCHMARK(WarmPoll)->Apply(sizes);
BENCHMARK(OneFileChanged)->Apply(sizes);

BENCHMARK_MAIN();
