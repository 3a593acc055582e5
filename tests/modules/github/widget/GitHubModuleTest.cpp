#include "modules/github/widget/GitHubModule.h"

#include "support/FakeGitHubProvider.h"
#include "support/GitHubReports.h"

#include <QTest>

#include <functional>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(GitHubReport)
Q_DECLARE_METATYPE(std::function<void(PullRequestStatus&)>)

namespace {

const QString web = u"acme/web"_s;

ModuleContext context(QMap<QString, QString> values = {}) {
    ModuleContext made;
    made.configuration.values = std::move(values);
    return made;
}

// "id=display (caption) fraction*": * marks the emphasized gauge.
QString line(const GaugeMetric& gauge) {
    QString text = gauge.id + u'=' + gauge.display.value_or(QString());
    if (gauge.caption) {
        text += u" ("_s + *gauge.caption + u')';
    }
    return text + u' ' + QString::number(gauge.fraction) + (gauge.isEmphasized ? u"*"_s : QString());
}

PullRequestStatus running(int number, int completed, int total) {
    PullRequestStatus status = pullRequest(web, number, CheckState::running);
    status.completedChecks = completed;
    status.totalChecks = total;
    return status;
}

PullRequestStatus mergeablePullRequest(const QString& head = u"h1"_s) {
    PullRequestStatus status = pullRequest(web, 1, CheckState::passing);
    status.mergeState = MergeState::clean;
    status.nodeID = u"PR_node1"_s;
    status.headOID = head;
    status.baseBranch = u"develop"_s;
    return status;
}

const DetailSection& row(const ModuleSnapshot& snapshot, const QString& id) {
    const DetailSection* found = snapshot.variants.detail->section(id);
    if (found == nullptr) {
        qFatal("no row %s", qPrintable(id));
    }
    return *found;
}

} // namespace

class GitHubModuleTest : public QObject {
    Q_OBJECT
private slots:
    void init();

    void headlineStateAndGauges_data();
    void headlineStateAndGauges();
    void withoutAReport_data();
    void withoutAReport();
    void mergeOffered_data();
    void mergeOffered();
    void mergeNamesTheLatestHead();
    void failedMergeStaysOnItsRowUntilTheNextAttempt();
    void rowsOpenTheirPullRequestAndSubmenus();
    void highlightSettingDecidesTheSignal();

private:
    ManualClock m_clock;
    std::unique_ptr<GitHubStore> m_store;
    std::unique_ptr<FakeGitHubProvider> m_provider;
    std::unique_ptr<GitHubModule> m_module;
};

void GitHubModuleTest::init() {
    m_store = std::make_unique<GitHubStore>();
    m_provider = std::make_unique<FakeGitHubProvider>();
    m_module = std::make_unique<GitHubModule>(*m_store, m_clock, m_provider.get());
}

void GitHubModuleTest::headlineStateAndGauges_data() {
    QTest::addColumn<GitHubReport>("report");
    QTest::addColumn<QString>("primary");
    QTest::addColumn<ModuleState>("state");
    QTest::addColumn<QString>("headline");
    QTest::addColumn<QStringList>("gauges");
    const auto passing = CheckState::passing;
    const auto failing = CheckState::failing;

    QTest::newRow("nothing open") << report({}) << u"ci"_s << ModuleState::quiet << u"no open PRs"_s
                                  << QStringList{u"ci=0 green (of 0 open PRs) 0*"_s, u"reviews=0 0"_s,
                                                 u"abertos=0 0"_s};
    auto draft = pullRequest(web, 3, failing);
    draft.isDraft = true;
    QTest::newRow("green, a draft aside, with a review waiting")
        << report({pullRequest(web, 1, passing), pullRequest(web, 2, CheckState::absent), draft},
                  {reviewRequest(u"o/api"_s, 4)})
        << u"ci"_s << ModuleState::attention << u"all green"_s
        << QStringList{u"ci=1 green (of 2 open PRs) 0.5*"_s, u"reviews=1 0"_s, u"abertos=2 0"_s};
    QTest::newRow("one running") << report({running(1, 3, 4), pullRequest(web, 2, passing)}) << u"ci"_s
                                 << ModuleState::active << u"web running"_s
                                 << QStringList{u"ci=running (3 of 4 checks) 0.75*"_s, u"reviews=0 0"_s,
                                                u"abertos=2 0"_s};
    QTest::newRow("two running, no checks known yet")
        << report({running(1, 0, 0), running(2, 0, 0)}) << u"ci"_s << ModuleState::active
        << u"2 builds running"_s << QStringList{u"ci=running 0*"_s, u"reviews=0 0"_s, u"abertos=2 0"_s};
    QTest::newRow("one failing beside one running")
        << report({pullRequest(web, 7, failing), running(2, 1, 2)}) << u"ci"_s << ModuleState::critical
        << u"1 CI broken"_s << QStringList{u"ci=broken (web#7) 1*"_s, u"reviews=0 0"_s, u"abertos=2 0"_s};
    QTest::newRow("two of four failing, reviews first")
        << report({pullRequest(web, 1, failing), pullRequest(web, 2, failing), pullRequest(web, 3, passing),
                   pullRequest(web, 4, passing)},
                  {reviewRequest(u"o/api"_s, 4), reviewRequest(u"o/api"_s, 5)})
        << u"reviews"_s << ModuleState::critical << u"2 CI broken"_s
        << QStringList{u"ci=2 CI broken 0.5"_s, u"reviews=2 0*"_s, u"abertos=4 0"_s};
}

void GitHubModuleTest::headlineStateAndGauges() {
    QFETCH(GitHubReport, report);
    QFETCH(QString, primary);
    m_store->update(report);
    const auto snapshot =
        m_module->handle(HostEvent::moduleDataChanged, context({{u"primary-signal"_s, primary}}));
    QTEST(snapshot->state, "state");
    QTEST(snapshot->variants.compact.value, "headline");
    QStringList gauges;
    for (const GaugeMetric& gauge : snapshot->variants.gauges) {
        gauges.append(line(gauge));
    }
    QTEST(gauges, "gauges");
    QCOMPARE(snapshot->variants.detail->title, u"GitHub · octo"_s);
}

void GitHubModuleTest::withoutAReport_data() {
    QTest::addColumn<std::optional<QString>>("error");
    QTest::addColumn<QString>("reason");
    QTest::newRow("before the first poll")
        << std::optional<QString>() << u"run 'gh auth login' so the widget can read the credential"_s;
    QTest::newRow("after a failed poll")
        << std::optional(u"the GitHub API answered 502"_s) << u"the GitHub API answered 502"_s;
}

void GitHubModuleTest::withoutAReport() {
    QFETCH(std::optional<QString>, error);
    if (error) {
        m_store->updateErrorDescription(*error);
    }
    const auto snapshot = m_module->handle(HostEvent::hostStarted, context());
    QCOMPARE(snapshot->state, ModuleState::unavailable);
    QCOMPARE(snapshot->variants.compact,
             (CompactVariant{u"GitHub"_s, u"no data"_s, u"arrow.triangle.branch"_s}));
    QTEST(snapshot->variants.card->detail.value_or(QString()), "reason");
}

void GitHubModuleTest::mergeOffered_data() {
    QTest::addColumn<std::function<void(PullRequestStatus&)>>("change");
    QTest::addColumn<bool>("withProvider");
    QTest::addColumn<bool>("offered");
    using Change = std::function<void(PullRequestStatus&)>;
    QTest::newRow("clean with node and head") << Change([](PullRequestStatus&) {}) << true << true;
    QTest::newRow("no provider") << Change([](PullRequestStatus&) {}) << false << false;
    QTest::newRow("draft") << Change([](PullRequestStatus& p) { p.isDraft = true; }) << true << false;
    QTest::newRow("behind its base") << Change([](PullRequestStatus& p) {
        p.mergeState = MergeState::behind;
    }) << true << false;
    QTest::newRow("no node id") << Change([](PullRequestStatus& p) { p.nodeID.reset(); }) << true << false;
    QTest::newRow("no head") << Change([](PullRequestStatus& p) { p.headOID.reset(); }) << true << false;
}

void GitHubModuleTest::mergeOffered() {
    QFETCH(std::function<void(PullRequestStatus&)>, change);
    QFETCH(bool, withProvider);
    PullRequestStatus status = mergeablePullRequest();
    change(status);
    m_store->update(report({status}));
    GitHubModule module(*m_store, m_clock, withProvider ? m_provider.get() : nullptr);
    const auto command = row(*module.handle(HostEvent::refreshRequested, context()), status.id).command;
    QTEST(command.has_value(), "offered");
    if (command) {
        QCOMPARE(command->confirmation, u"Squash and merge into develop?"_s);
        QVERIFY(command->isDestructive);
    }
}

void GitHubModuleTest::mergeNamesTheLatestHead() {
    m_store->update(report({mergeablePullRequest(u"h1"_s)}));
    const auto drawn = m_module->handle(HostEvent::refreshRequested, context());
    m_store->update(report({mergeablePullRequest(u"h2"_s)}));

    m_module->perform(*row(*drawn, u"acme/web#1"_s).command).waitForFinished();

    QCOMPARE(m_provider->merges, (std::vector<MergeRequest>{{u"PR_node1"_s, u"h2"_s}}));
    QCOMPARE(m_store->latestReport()->pullRequests.size(), 0U);
}

void GitHubModuleTest::failedMergeStaysOnItsRowUntilTheNextAttempt() {
    const QString id = u"acme/web#1"_s;
    const QString refusal = u"Head branch was modified. Review and try the merge again."_s;
    m_store->update(report({mergeablePullRequest()}));
    m_provider->mergeOutcome = GitHubProviderError::mergeRejected(refusal);
    const auto command = *row(*m_module->handle(HostEvent::refreshRequested, context()), id).command;

    m_module->perform(command).waitForFinished();
    const auto after = m_module->handle(HostEvent::moduleDataChanged, context());
    QCOMPARE(row(*after, id).subtitle, u"merge failed: "_s + refusal + u" · Change 1"_s);

    m_provider->holdMerges = true;
    QFuture<void> retry = m_module->perform(command);
    QCOMPARE(m_store->mergeFailure(id), std::nullopt);
    m_provider->finishHeldMerge(std::nullopt);
    retry.waitForFinished();
    QCOMPARE(m_module->handle(HostEvent::moduleDataChanged, context())->variants.detail->section(id),
             nullptr);
}

void GitHubModuleTest::rowsOpenTheirPullRequestAndSubmenus() {
    PullRequestStatus failing = pullRequest(web, 1, CheckState::failing, MergeableState::conflicting);
    failing.checkRuns = {{u"lint"_s, PullRequestCheck::State::failed, 11, QUrl(u"https://ci/lint"_s), true},
                         {u"test"_s, PullRequestCheck::State::passed, 12, std::nullopt, true}};
    ChangesRequestedReview review = changesRequested(u"o/api"_s, 5, true);
    review.submittedAt = m_clock.now().addSecs(-7200);
    review.commentCount = 3;
    review.url = QUrl(u"https://github.com/o/api/pull/5"_s);
    PullRequestStatus running = pullRequest(web, 2, CheckState::running, MergeableState::mergeable);
    running.completedChecks = 3;
    running.totalChecks = 5;
    m_store->update(report({failing, running}, {reviewRequest(u"o/api"_s, 4)}, {review}));
    const auto snapshot = m_module->handle(HostEvent::refreshRequested, context());

    QStringList headings;
    for (const DetailSection& section : snapshot->variants.detail->sections) {
        if (section.isHeading) {
            headings.append(section.id);
        }
    }
    QCOMPARE(headings, (QStringList{u"mine"_s, u"reviews"_s, u"changes-requested"_s}));

    const DetailSection& mine = row(*snapshot, failing.id);
    QCOMPARE(mine.subtitle, u"merge conflict · Change 1"_s);
    QCOMPARE(mine.action, DetailAction(action::Open{*failing.url}));
    QCOMPARE(mine.activity, DetailSection::Activity::failed);
    QCOMPARE(row(*snapshot, running.id).activity, DetailSection::Activity::working);
    QCOMPARE(row(*snapshot, running.id).badge, u"3 of 5 checks"_s);
    QCOMPARE(mine.children.size(), 1U);
    QCOMPARE(mine.children.front().id, u"acme/web#1/failed/lint"_s);
    QCOMPARE(mine.children.front().action, DetailAction(action::Open{QUrl(u"https://ci/lint"_s)}));

    QStringList lines;
    for (const DetailSection& child : row(*snapshot, u"changes-requested/o/api#5"_s).children) {
        QVERIFY(child.id.startsWith(u"changes-requested-"_s));
        lines.append(child.title);
    }
    QCOMPARE(lines, (QStringList{u"Changes requested · 2 hr ago"_s, u"3 comments"_s,
                                 u"New commits since your review"_s, u"PR #5"_s}));
    QCOMPARE(snapshot->variants.detail->section(u"changes-requested-o/api#5/link"_s)->action,
             DetailAction(action::Open{*review.url}));
}

void GitHubModuleTest::highlightSettingDecidesTheSignal() {
    m_store->update(report({}));
    m_store->update(report({}, {reviewRequest(u"o/api"_s, 4)}));
    QVERIFY(m_module->handle(HostEvent::moduleDataChanged, context())->variants.signal.has_value());
    QVERIFY(!m_module->handle(HostEvent::moduleDataChanged, context({{u"highlight-changes"_s, u"off"_s}}))
                 ->variants.signal.has_value());
}

QTEST_GUILESS_MAIN(GitHubModuleTest)
#include "GitHubModuleTest.moc"
