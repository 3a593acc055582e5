// The usage widgets build their session rows on every refresh of the workspace loop, up to 2.5 times
// a second, from the stores as they stand. Measured for 20 sessions, each with a live state, hook
// news, two subagents and tasks, a third of them hosted by Orca, and three requests waiting.

#include "modules/sessionpanel/SessionPanel.h"

#include <benchmark/benchmark.h>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

SessionPanel::Inputs inputs(const QDateTime& now) {
    SessionPanel::Inputs made;
    for (int index = 0; index < 20; ++index) {
        AgentSession session;
        session.id = u"session-%1"_s.arg(index);
        session.project = u"project-%1"_s.arg(index % 4);
        session.title = u"Fix the parser of the %1th file"_s.arg(index);
        session.model = u"claude-opus-4-6"_s;
        session.contextTokens = 20'000 + qint64{5'000} * index;
        session.contextWindow = 200'000;
        session.lastActivity = now.addSecs(qint64{-30} * index);
        session.directory = u"/home/ana/work/project-%1"_s.arg(index % 4);
        session.toolName = u"Claude Code"_s;
        session.toolVersion = u"2.1.330"_s;
        if (index % 3 == 0) {
            session.attachHost(u"Orca"_s, u"term-%1"_s.arg(index), u"Workspace %1"_s.arg(index % 2));
        }
        for (int sub = 0; sub < 2; ++sub) {
            AgentSession::Subagent subagent;
            subagent.id = u"agent-%1-%2"_s.arg(index).arg(sub);
            subagent.description = u"Read the docs"_s;
            subagent.model = u"claude-haiku-4-5"_s;
            subagent.lastActivity = now.addSecs(-10);
            session.subagents.append(subagent);
        }
        made.sessions.append(session);

        AgentLiveState state;
        state.activity = static_cast<AgentActivity>(index % 4);
        state.tool = u"Bash"_s;
        state.since = now.addSecs(qint64{-30} * index);
        made.live.insert(session.id, state);

        SessionHookState hooks;
        hooks.tasks = {{u"1"_s, u"Build"_s, true}, {u"2"_s, u"Test"_s, false}};
        hooks.lastInterruption = SessionHookState::Interruption{std::nullopt, now.addSecs(-100)};
        made.hooks.insert(session.id, hooks);
        if (index % 7 == 0) {
            PendingPermission request;
            request.id = u"request-%1"_s.arg(index);
            request.sessionID = session.id;
            request.tool = u"Bash"_s;
            request.summary = u"rm -rf build"_s;
            request.askedAt = now.addSecs(-5);
            made.requests.append(request);
        }
    }
    return made;
}

void GroupedSections(benchmark::State& state) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const SessionPanel::Inputs read = inputs(now);
    const SessionPanel::Context context{u"claude-usage"_s, u"claude/"_s, now, Localization(), 300.0};
    for (auto _ : state) { // NOLINT(clang-analyzer-deadcode.DeadStores): the loop variable only counts
        auto rows = SessionPanel::groupedSections(read, context);
        benchmark::DoNotOptimize(rows);
    }
}

} // namespace

BENCHMARK(GroupedSections)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
