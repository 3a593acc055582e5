// The Antigravity session monitor reads the agent's summary database every 45 seconds, up to the
// 400 newest rows, while the agent may hold it. The benchmark builds a database of 400 rows in WAL
// mode (one conversation in five a subagent) with a file per conversation beside it, and measures:
//
//   ReadRows: opening read-only, the schema query and the 400 rows.
//   Sessions: the rows turned into the session list alone.
//   Poll: the provider's whole reading, the conversations' file dates included.
//   HeldPoll: the same while another connection holds the database in exclusive mode, which costs
//   the busy time-out and then a reading of the file as it stands.

#include "services/sessions/AntigravitySessionProvider.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

constexpr int rowCount = 400;

void execute(sqlite3* database, const QString& sql) {
    if (sqlite3_exec(database, sql.toUtf8().constData(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        qFatal("%s", sqlite3_errmsg(database));
    }
}

struct Fixture {
    QTemporaryDir home;
    QString root = home.filePath(u".gemini/antigravity-cli"_s);
    QString database = root + u"/conversation_summaries.db"_s;

    Fixture() {
        QDir().mkpath(root + u"/conversations"_s);
        sqlite3* opened = nullptr;
        sqlite3_open(database.toUtf8().constData(), &opened);
        execute(
            opened,
            u"PRAGMA journal_mode=WAL; CREATE TABLE conversation_summaries(conversation_id TEXT, "
            "title TEXT, preview TEXT, step_count INTEGER, last_modified_time TEXT, workspace_uris TEXT, "
            "status TEXT, parent_conversation_id TEXT, not_fully_idle INTEGER, killed INTEGER); BEGIN;"_s);
        for (int index = 0; index < rowCount; ++index) {
            const QString id = u"conversation-%1"_s.arg(index);
            const QString parent = index % 5 == 4 ? u"conversation-%1"_s.arg(index - 1) : QString();
            execute(opened,
                    u"INSERT INTO conversation_summaries VALUES('%1','Refactor the parser step %2',"
                    "'Look at the parser\nand the tests',%2,'2026-03-01T10:%3:%4.125Z',"
                    "'[\"file:///home/user/work/project-%5\"]','CASCADE_RUN_STATUS_IDLE','%6',0,0);"_s.arg(
                        id, QString::number(index), QString::number(index / 60 % 60).rightJustified(2, u'0'),
                        QString::number(index % 60).rightJustified(2, u'0'), QString::number(index % 30),
                        parent));
            QFile file(root + u"/conversations/"_s + id + u".pb"_s);
            file.open(QIODevice::WriteOnly);
            file.write("conversation");
        }
        execute(opened, u"COMMIT;"_s);
        sqlite3_close(opened);
    }

    [[nodiscard]] AntigravitySessionProvider provider() const {
        AntigravitySessionProvider::Configuration configuration;
        configuration.root = root;
        configuration.liveAgentDirectories = [] { return QStringList{u"/home/user/work/project-3"_s}; };
        return AntigravitySessionProvider(std::move(configuration));
    }
};

Fixture& fixture() {
    static Fixture shared;
    return shared;
}

void ReadRows(benchmark::State& state) {
    const AntigravitySummaryDatabase database(fixture().database);
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        auto rows = database.readRows(rowCount);
        benchmark::DoNotOptimize(rows);
    }
}
BENCHMARK(ReadRows)->Unit(benchmark::kMillisecond);

void Sessions(benchmark::State& state) {
    const auto rows = std::get<AntigravitySummaryDatabase::Rows>(
        AntigravitySummaryDatabase(fixture().database).readRows(rowCount));
    const QStringList live{u"/home/user/work/project-3"_s};
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        auto sessions =
            AntigravitySessions::sessions(rows, {}, live, 20, AntigravitySessionProvider::defaultResolvePath);
        benchmark::DoNotOptimize(sessions);
    }
}
BENCHMARK(Sessions)->Unit(benchmark::kMillisecond);

void Poll(benchmark::State& state) {
    const AntigravitySessionProvider provider = fixture().provider();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        auto sessions = provider.fetchSessions(20);
        benchmark::DoNotOptimize(sessions);
    }
}
BENCHMARK(Poll)->Unit(benchmark::kMillisecond);

void HeldPoll(benchmark::State& state) {
    sqlite3* holder = nullptr;
    sqlite3_open(fixture().database.toUtf8().constData(), &holder);
    execute(holder, u"PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE;"_s);
    const AntigravitySessionProvider provider = fixture().provider();
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        auto sessions = provider.fetchSessions(20);
        if (!std::holds_alternative<QList<AgentSession>>(sessions)) {
            state.SkipWithError("the held database wasn't read");
        }
        benchmark::DoNotOptimize(sessions);
    }
    execute(holder, u"ROLLBACK;"_s);
    sqlite3_close(holder);
}
BENCHMARK(HeldPoll)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

BENCHMARK_MAIN();
