// The Codex session monitor reads ~/.codex/sessions every 120 seconds. Each file's first line
// carries Codex's whole system prompt (about 22 KB) before the git fields, so every file that is
// looked at costs a 64 KiB head; a poll must still cost what the number of files costs, and a
// poll in which nothing changed must read no file at all.
//
// The benchmark writes 400 session files (the reader's scan limit) in day folders, each a 22 KB
// first line, the user's prompt and 300 KiB of turns (more than the reader's 256 KiB tail).
// Argument: one file in `every` is a session the user started; the others are reviewer threads,
// which the reader must look at and pass over (1: all are sessions; 20: the whole listing is read
// to find 20 sessions).
//
//   ColdPoll: a new provider each time, nothing kept from an earlier poll.
//   WarmPoll: the same provider polled again with nothing changed.

#include "modules/sessions/CodexSessionFileProvider.h"

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

constexpr int fileCount = 400;
constexpr int limit = 20;
constexpr qint64 turnBytes = qint64{300} * 1024;

QByteArray firstLine(int index, bool isSession) {
    const QByteArray id = "019c8a4d-8f45-7010-8b5d-" + QByteArray::number(100'000'000'000 + index);
    const QByteArray source = isSession ? R"("cli")" : R"({"subagent":{"other":"guardian"}})";
    return R"({"timestamp":"2026-03-01T11:00:00.000Z","ordinal":0,"type":"session_meta","payload":{"session_id":")" +
           id + R"(","id":")" + id +
           R"(","timestamp":"2026-03-01T10:59:58.500Z","cwd":"/home/ana/work/atlas","cli_version":"0.169.0","source":)" +
           source + R"(,"base_instructions":{"text":")" + QByteArray(21'500, 'x') +
           R"("},"git":{"commit_hash":"86b4a8d9","branch":"main","repository_url":"https://example.org/a"}}})" +
           '\n';
}

QByteArray turns() {
    const auto line = [](const char* type, const QJsonObject& payload) {
        return QJsonDocument(QJsonObject{{"type"_L1, QLatin1StringView(type)}, {"payload"_L1, payload}})
                   .toJson(QJsonDocument::Compact) +
               '\n';
    };
    QByteArray content =
        line("response_item", {{"type"_L1, "message"_L1},
                               {"role"_L1, "user"_L1},
                               {"content"_L1, QJsonArray{QJsonObject{{"text"_L1, "Fix it"_L1}}}}});
    for (int turn = 0; content.size() < turnBytes; ++turn) {
        content += line("turn_context", {{"model"_L1, "gpt-5.1-codex"_L1}, {"effort"_L1, "high"_L1}});
        content += line("response_item", {{"type"_L1, "function_call_output"_L1},
                                          {"output"_L1, QString(u"line of output "_s.repeated(200))}});
        content += line(
            "event_msg",
            {{"type"_L1, "token_count"_L1},
             {"info"_L1, QJsonObject{{"last_token_usage"_L1, QJsonObject{{"total_tokens"_L1, 1000 + turn}}},
                                     {"model_context_window"_L1, 258'400}}}});
        content += line("event_msg", {{"type"_L1, "task_complete"_L1}, {"duration_ms"_L1, 2538}});
    }
    return content;
}

class SessionFolder {
public:
    explicit SessionFolder(int every) {
        const QByteArray body = turns();
        for (int index = 0; index < fileCount; ++index) {
            const QString folder =
                m_folder.path() + u"/sessions/2026/03/%1"_s.arg(1 + index % 28, 2, 10, QLatin1Char('0'));
            QDir().mkpath(folder);
            QFile file(folder + u"/rollout-%1.jsonl"_s.arg(index));
            m_ok = m_ok && file.open(QIODevice::WriteOnly) &&
                   file.write(firstLine(index, index % every == 0)) > 0 && file.write(body) == body.size();
        }
    }
    [[nodiscard]] bool ok() const { return m_ok && m_folder.isValid(); }
    [[nodiscard]] CodexSessionFileProvider::Configuration configuration() const {
        return CodexSessionFileProvider::forHome(u"/nowhere"_s, m_folder.path());
    }

private:
    QTemporaryDir m_folder;
    bool m_ok = true;
};

const SessionFolder& folder(const benchmark::State& state) {
    static std::map<qint64, std::unique_ptr<SessionFolder>> made;
    auto& entry = made[state.range(0)];
    if (!entry) {
        entry = std::make_unique<SessionFolder>(static_cast<int>(state.range(0)));
    }
    return *entry;
}

void ColdPoll(benchmark::State& state) {
    const SessionFolder& sessions = folder(state);
    if (!sessions.ok()) {
        state.SkipWithError("the session files could not be written");
        return;
    }
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        const CodexSessionFileProvider provider(sessions.configuration());
        auto found = provider.fetchSessions(limit);
        benchmark::DoNotOptimize(found);
    }
}

void WarmPoll(benchmark::State& state) {
    const SessionFolder& sessions = folder(state);
    if (!sessions.ok()) {
        state.SkipWithError("the session files could not be written");
        return;
    }
    const CodexSessionFileProvider provider(sessions.configuration());
    (void)provider.fetchSessions(limit);
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        auto found = provider.fetchSessions(limit);
        benchmark::DoNotOptimize(found);
    }
}

void shares(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"every"})->Arg(1)->Arg(20)->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(ColdPoll)->Apply(shares);
BENCHMARK(WarmPoll)->Apply(shares);

BENCHMARK_MAIN();
