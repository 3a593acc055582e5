// The status answer is read once per poll (every 15 to 90 seconds) on a worker. Its largest form:
// 30 pull requests with 100 check contexts each, 10 review requests, 30 changes-requested pull
// requests with 20 reviews each, about a megabyte of JSON.
#include "modules/github/GitHubApi.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <benchmark/benchmark.h>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

QJsonObject author(int index) {
    return {{u"login"_s, u"author-%1"_s.arg(index)},
            {u"avatarUrl"_s, u"https://avatars.githubusercontent.com/u/%1?s=40"_s.arg(index)}};
}

QJsonObject context(int index) {
    if (index % 4 == 3) {
        return {{u"context"_s, u"ci/status-%1"_s.arg(index)}, {u"state"_s, u"SUCCESS"_s}};
    }
    return {{u"name"_s, u"job %1 (ubuntu-latest, release)"_s.arg(index)},
            {u"status"_s, index % 10 == 0 ? u"IN_PROGRESS"_s : u"COMPLETED"_s},
            {u"conclusion"_s, index % 7 == 0 ? u"FAILURE"_s : u"SUCCESS"_s},
            {u"databaseId"_s, 29'679'449'000.0 + index},
            {u"detailsUrl"_s, u"https://github.com/octo-org/service/actions/runs/1/job/%1"_s.arg(index)},
            {u"checkSuite"_s, QJsonObject{{u"app"_s, QJsonObject{{u"slug"_s, u"github-actions"_s}}}}}};
}

QJsonObject pullRequest(int number) {
    QJsonArray contexts;
    for (int index = 0; index < 100; ++index) {
        contexts.append(context(index));
    }
    const QJsonObject rollup{{u"state"_s, u"PENDING"_s},
                             {u"contexts"_s, QJsonObject{{u"totalCount"_s, 100}, {u"nodes"_s, contexts}}}};
    return {{u"id"_s, u"PR_kwDOABCDEF%1"_s.arg(number)},
            {u"number"_s, number},
            {u"title"_s, u"Make the thing %1 faster and safer"_s.arg(number)},
            {u"isDraft"_s, number % 5 == 0},
            {u"url"_s, u"https://github.com/octo-org/service/pull/%1"_s.arg(number)},
            {u"headRefOid"_s, u"0123456789abcdef0123456789abcdef%1"_s.arg(number, 8, 10, QChar(u'0'))},
            {u"baseRefName"_s, u"main"_s},
            {u"mergeable"_s, u"MERGEABLE"_s},
            {u"mergeStateStatus"_s, u"BLOCKED"_s},
            {u"reviewDecision"_s, u"REVIEW_REQUIRED"_s},
            {u"repository"_s, QJsonObject{{u"nameWithOwner"_s, u"octo-org/service"_s}}},
            {u"commits"_s,
             QJsonObject{{u"nodes"_s, QJsonArray{QJsonObject{
                                          {u"commit"_s, QJsonObject{{u"statusCheckRollup"_s, rollup}}}}}}}}};
}

QJsonObject reviewed(int number) {
    QJsonArray reviews;
    for (int index = 0; index < 20; ++index) {
        // The viewer's own review comes last, so the walk goes through them all.
        const bool isViewer = index == 19;
        reviews.append(QJsonObject{
            {u"state"_s, isViewer ? u"CHANGES_REQUESTED"_s : u"APPROVED"_s},
            {u"submittedAt"_s, u"2026-09-01T10:%1:00Z"_s.arg(index, 2, 10, QChar(u'0'))},
            {u"author"_s, QJsonObject{{u"login"_s, isViewer ? u"octocat"_s : u"reviewer-%1"_s.arg(index)}}},
            {u"commit"_s, QJsonObject{{u"oid"_s, u"fedcba98765432100123456789abcdef0000%1"_s.arg(index)}}},
            {u"comments"_s, QJsonObject{{u"totalCount"_s, index}}}});
    }
    return {{u"number"_s, number},
            {u"title"_s, u"Someone else's change %1"_s.arg(number)},
            {u"url"_s, u"https://github.com/octo-org/service/pull/%1"_s.arg(number)},
            {u"repository"_s, QJsonObject{{u"nameWithOwner"_s, u"octo-org/service"_s}}},
            {u"author"_s, author(number)},
            {u"headRefOid"_s, u"0123456789abcdef0123456789abcdef%1"_s.arg(number, 8, 10, QChar(u'0'))},
            {u"latestOpinionatedReviews"_s, QJsonObject{{u"nodes"_s, reviews}}}};
}

QByteArray largestAnswer() {
    QJsonArray pullRequests;
    QJsonArray reviewRequests;
    QJsonArray changesRequested;
    for (int index = 0; index < 30; ++index) {
        pullRequests.append(pullRequest(1000 + index));
        changesRequested.append(reviewed(3000 + index));
    }
    for (int index = 0; index < 10; ++index) {
        QJsonObject request = reviewed(2000 + index);
        request.remove(u"latestOpinionatedReviews"_s);
        reviewRequests.append(request);
    }
    const QJsonObject data{
        {u"viewer"_s, QJsonObject{{u"login"_s, u"octocat"_s},
                                  {u"pullRequests"_s, QJsonObject{{u"nodes"_s, pullRequests}}}}},
        {u"reviews"_s, QJsonObject{{u"nodes"_s, reviewRequests}}},
        {u"changesRequested"_s, QJsonObject{{u"nodes"_s, changesRequested}}}};
    // GitHub answers in compact JSON.
    return QJsonDocument(QJsonObject{{u"data"_s, data}}).toJson(QJsonDocument::Compact);
}

void parseLargestStatus(benchmark::State& state) {
    const QByteArray answer = largestAnswer();
    const auto report = std::get<GitHubReport>(GitHubStatusParser::parse(answer, now));
    if (report.pullRequests.size() != 30 || report.changesRequestedReviews.size() != 30 ||
        report.reviewRequests.size() != 10 || report.pullRequests.front().checkRuns.size() != 100) {
        state.SkipWithError("the answer did not read whole");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(GitHubStatusParser::parse(answer, now));
    }
    state.SetBytesProcessed(state.iterations() * answer.size());
}
BENCHMARK(parseLargestStatus)->Unit(benchmark::kMillisecond);

// The JSON reading alone, the floor under the parse.
void readLargestStatusJSON(benchmark::State& state) {
    const QByteArray answer = largestAnswer();
    for (auto _ : state) {
        benchmark::DoNotOptimize(QJsonDocument::fromJson(answer));
    }
}
BENCHMARK(readLargestStatusJSON)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
