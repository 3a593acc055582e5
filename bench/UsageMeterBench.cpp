// The Claude usage widget is asked for its snapshot on every refresh (up to 2.5 times a second),
// on the main thread: with the session rows it carries, that must stay well under a millisecond.
// A poll's parse and the limit watch's step run once every two minutes and are measured beside it.
#include "modules/usage/ClaudeUsageParser.h"
#include "modules/usage/UsageSessionRows.h"

#include <benchmark/benchmark.h>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

const QByteArray answer = R"({"limits":[
  {"kind":"session","percent":61.4,"resets_at":"2026-09-13T03:59:59.622594+00:00","is_active":true},
  {"kind":"weekly_all","percent":38,"resets_at":"2026-09-18T15:00:00Z"},
  {"kind":"weekly_scoped","percent":84,"severity":"warning","resets_at":"2026-09-18T15:00:00Z",
   "scope":{"model":{"display_name":"Opus"}}}],
  "five_hour":{"utilization":61.4,"resets_at":"2026-09-13T03:59:59.622594+00:00"}})";

UsageReport parsed(const QDateTime& at) {
    return std::get<UsageReport>(ClaudeUsageParser::parse(answer, at));
}

void fill(SessionStore& sessions, AgentEventStore& events, int count) {
    QList<AgentSession> list;
    for (int i = 0; i < count; ++i) {
        AgentSession session;
        session.id = u"session-%1"_s.arg(i);
        session.title = u"Task number %1"_s.arg(i);
        session.project = u"project-%1"_s.arg(i % 4);
        session.directory = u"/home/u/project-%1"_s.arg(i % 4);
        session.model = u"claude-opus-4-1"_s;
        session.contextTokens = 40'000 + i * 1000;
        session.contextWindow = 200'000;
        session.lastActivity = now.addSecs(-60 * i);
        list.append(session);
        events.update(session.id, i % 3 == 0 ? AgentActivity::working : AgentActivity::waiting,
                      i % 3 == 0 ? std::optional(u"Bash"_s) : std::nullopt, std::nullopt,
                      now.addSecs(-30 * i));
    }
    sessions.update(list);
    if (count > 0) {
        PendingPermission request;
        request.id = u"toolu_1"_s;
        request.sessionID = u"session-1"_s;
        request.tool = u"Bash"_s;
        request.summary = u"npm test"_s;
        request.askedAt = now;
        events.request(request);
    }
}

void usageSnapshot(benchmark::State& state) {
    UsageStore store;
    store.update(parsed(now.addSecs(-120)));
    store.update(parsed(now));
    SessionStore sessions;
    AgentEventStore events;
    fill(sessions, events, static_cast<int>(state.range(0)));
    ManualClock clock(now);
    UsageMeterModule module(
        {store, clock,
         UsageSessionRows::sessions(sessions, events, u"claude"_s,
                                    QLatin1StringView(UsageMeterModule::moduleID), u"claude/"_s)});
    ModuleContext context;
    context.localization = Localization(AppLanguage::spanish);
    for (auto _ : state) {
        benchmark::DoNotOptimize(module.handle(HostEvent::moduleDataChanged, context));
    }
}
BENCHMARK(usageSnapshot)->Arg(0)->Arg(20)->Unit(benchmark::kMicrosecond);

void parseAnswer(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(ClaudeUsageParser::parse(answer, now));
    }
}
BENCHMARK(parseAnswer)->Unit(benchmark::kMicrosecond);

void storeUpdate(benchmark::State& state) {
    UsageStore store;
    const UsageReport report = parsed(now);
    for (auto _ : state) {
        store.update(report);
    }
}
BENCHMARK(storeUpdate)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
