// Each GitHub poll compares the new report with the last to find what changed. A poll runs every
// 15 to 90 seconds, but on the monitor's thread while the module may read: keep it far below a
// millisecond at the largest report an answer can hold.
#include "modules/github/widget/GitHubChanges.h"
#include "support/GitHubReports.h"

#include <benchmark/benchmark.h>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

// 30 pull requests, 10 review requests and 30 reviews asking for changes; `shift` moves states
// around so that the next report raises facts of every kind.
GitHubReport largeReport(int shift) {
    std::vector<PullRequestStatus> pullRequests;
    for (int i = 0; i < 30; ++i) {
        const int turn = (i + shift) % 4;
        const CheckState checks = turn == 0   ? CheckState::failing
                                  : turn == 1 ? CheckState::running
                                              : CheckState::passing;
        const MergeableState mergeable = turn == 3 ? MergeableState::conflicting : MergeableState::mergeable;
        const auto decision = turn == 2 ? std::optional(ReviewDecision::approved) : std::nullopt;
        PullRequestStatus status =
            pullRequest(u"acme/repo-%1"_s.arg(i % 6), 100 + i, checks, mergeable, decision);
        status.totalChecks = 12;
        status.completedChecks = 12 - turn;
        pullRequests.push_back(std::move(status));
    }
    std::vector<ReviewRequest> reviews;
    reviews.reserve(10);
    for (int i = 0; i < 10; ++i) {
        reviews.push_back(reviewRequest(u"other/service-%1"_s.arg(i), 200 + i + shift));
    }
    std::vector<ChangesRequestedReview> changes;
    changes.reserve(30);
    for (int i = 0; i < 30; ++i) {
        changes.push_back(changesRequested(u"other/lib-%1"_s.arg(i % 5), 300 + i, (i + shift) % 2 == 0,
                                           u"head-%1"_s.arg(shift)));
    }
    return report(std::move(pullRequests), std::move(reviews), std::move(changes));
}

void changesBetweenLargeReports(benchmark::State& state) {
    const std::optional<GitHubReport> previous = largeReport(0);
    const GitHubReport next = largeReport(1);
    const QSet<QString> seen{u"review:other/service-0#200"_s};
    const MergeableMemory memory = GitHubChanges::lastKnownMergeable({}, *previous);
    std::size_t raised = 0;
    for (auto _ : state) {
        const GitHubChanges::Step step = GitHubChanges::changes(next, previous, seen, memory);
        raised = step.changes.size();
        benchmark::DoNotOptimize(raised);
    }
    state.counters["facts"] = static_cast<double>(raised);
}
BENCHMARK(changesBetweenLargeReports)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
