#include "services/github/GitHubMonitor.h"

#include "support/MonitorHarness.h"

#include <QMutex>
#include <QTest>

#include <atomic>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

GitHubReport reportWith(CheckState checks) {
    PullRequestStatus pullRequest;
    pullRequest.id = u"cli/cli#8"_s;
    pullRequest.repository = u"cli/cli"_s;
    pullRequest.number = 8;
    pullRequest.checks = checks;
    return {u"monalisa"_s, {pullRequest}, {}, {}, {}};
}

// Answers in turn: "idle" (checks passed), "running" (checks under way) or "failure"; idle after.
struct ScriptedStatus {
    QMutex lock;
    QStringList answers;
    std::atomic_int calls{0};

    Provider<GitHubReport> provider() {
        return [this](const CancellationToken&) -> ProviderResult<GitHubReport> {
            ++calls;
            const QMutexLocker locker(&lock);
            const QString answer = answers.isEmpty() ? u"idle"_s : answers.takeFirst();
            if (answer == u"failure"_s) {
                const auto error =
                    GitHubProviderError::rateLimited(QDateTime::fromSecsSinceEpoch(0, Qt::UTC));
                return ProviderFailure{error.diagnosticKind(), error.userText(Localization()), false};
            }
            return reportWith(answer == u"running"_s ? CheckState::running : CheckState::passing);
        };
    }
};

} // namespace

// The GitHub monitor's cadence on a manual clock: looks every 4 s, fetches after 90 s, or after 15 s
// while a pull request runs, counted from the start of the last fetch, whether it failed or not.
class GitHubMonitorTest : public QObject {
    Q_OBJECT

private slots:
    void cadence_data() {
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<QList<int>>("fetchSeconds");
        QTest::newRow("idle: every 90 s, seen at the next look")
            << QStringList{u"idle"_s} << QList<int>{0, 92};
        QTest::newRow("a running pull request: every 15 s")
            << QStringList{u"running"_s, u"running"_s} << QList<int>{0, 16, 32, 124};
        QTest::newRow("a failure waits the interval too")
            << QStringList{u"failure"_s, u"failure"_s} << QList<int>{0, 92};
        QTest::newRow("a failure keeps the running pace of the report on show")
            << QStringList{u"running"_s, u"failure"_s} << QList<int>{0, 16, 32, 124};
    }

    void cadence() {
        QFETCH(QStringList, answers);
        QFETCH(QList<int>, fetchSeconds);
        MonitorHarness harness;
        ScriptedStatus script;
        script.answers = answers;
        LatestValueStore<GitHubReport> store;
        int updates = 0;
        GitHubMonitor<> monitor(script.provider(), store, harness.clock, harness.services(),
                                [&] { ++updates; });

        QList<int> fetched;
        monitor.start();
        for (int second = 0; second <= 130; second += 4) {
            if (second > 0) {
                harness.scheduler.advance(4);
            }
            QVERIFY(MonitorHarness::lands(monitor));
            if (script.calls.load() > fetched.size()) {
                fetched.append(second);
            }
            QCOMPARE(harness.scheduler.secondsUntilNext(), std::optional<double>(4));
        }
        monitor.stop();
        QCOMPARE(fetched, fetchSeconds);
        QCOMPARE(updates, fetched.size());
        if (answers.first() == u"failure"_s) {
            QCOMPARE(store.lastErrorDescription(), std::optional(u"the GitHub API rate limit was reached"_s));
        }
    }

    void aFailureIsLoggedOncePerKind() {
        MonitorHarness harness;
        ScriptedStatus script;
        script.answers = {u"failure"_s, u"failure"_s, u"idle"_s};
        LatestValueStore<GitHubReport> store;
        auto monitor = std::make_unique<GitHubMonitor<>>(script.provider(), store, harness.clock,
                                                         harness.services(), [] {});
        monitor->start();
        for (int look = 0; look < 60; ++look) {
            harness.scheduler.advance(4);
            QVERIFY(MonitorHarness::lands(*monitor));
        }
        QCOMPARE(script.calls.load(), 3);
        const QString log = harness.logger.recentLines().join(u'\n');
        QCOMPARE(log.count(u"GitHubProviderError.rateLimited"_s), 1);
        QCOMPARE(log.count(u" recovered"_s), 1);
        QCOMPARE(store.lastErrorDescription(), std::nullopt);
    }
};

QTEST_GUILESS_MAIN(GitHubMonitorTest)
#include "GitHubMonitorTest.moc"
