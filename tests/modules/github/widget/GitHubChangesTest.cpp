#include "modules/github/widget/GitHubStore.h"
#include "support/GitHubReports.h"

#include <QTest>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::vector<GitHubReport>)

namespace {

const auto passing = CheckState::passing;
const auto failing = CheckState::failing;
const auto mergeable = MergeableState::mergeable;
const auto conflicting = MergeableState::conflicting;
const auto unknown = MergeableState::unknown;

// "id tone: text" of every fact of the signal, in its order (by tone).
QStringList facts(const GitHubStore& store) {
    QStringList lines;
    const auto signal = store.changeSignal(Localization());
    for (const auto& fact : signal ? signal->facts() : std::vector<ChangeSignal::Fact>{}) {
        lines.append(fact.id + u' ' + rawValue(fact.tone) + u": "_s + fact.text);
    }
    return lines;
}

} // namespace

class GitHubChangesTest : public QObject {
    Q_OBJECT
private slots:
    void factsAcrossReports_data();
    void factsAcrossReports();
    void mergeableMemoryKeepsTheLastKnownState();
    void removedPullRequestTakesItsFactsAndFailure();
};

void GitHubChangesTest::factsAcrossReports_data() {
    QTest::addColumn<std::vector<GitHubReport>>("reports");
    QTest::addColumn<QStringList>("facts");
    const QString web = u"acme/web"_s;

    QTest::newRow("first report is a baseline")
        << std::vector{report({pullRequest(web, 1, failing, conflicting)}, {reviewRequest(web, 9)})}
        << QStringList{};
    QTest::newRow("same facts again raise nothing")
        << std::vector{report({pullRequest(web, 1, failing)}), report({pullRequest(web, 1, failing)})}
        << QStringList{};
    QTest::newRow("passing to failing raises once")
        << std::vector{report({pullRequest(web, 1, passing)}), report({pullRequest(web, 1, failing)}),
                       report({pullRequest(web, 1, failing)})}
        << QStringList{u"ci:acme/web#1:failed critical: CI failed on web#1"_s};
    QTest::newRow("born failing or conflicting stays silent")
        << std::vector{report({}),
                       report({pullRequest(web, 1, failing), pullRequest(web, 2, passing, conflicting)})}
        << QStringList{};
    QTest::newRow("a review request on a new repository, from the second report on")
        << std::vector{report({}), report({}, {reviewRequest(u"other/api"_s, 4)})}
        << QStringList{u"review:other/api#4 attention: api#4 wants your review"_s};
    QTest::newRow("mergeable, unknown, conflicting raises a conflict")
        << std::vector{report({pullRequest(web, 1, passing, mergeable)}),
                       report({pullRequest(web, 1, passing, unknown)}),
                       report({pullRequest(web, 1, passing, conflicting)})}
        << QStringList{u"conflict:acme/web#1 attention: web#1 has conflicts"_s};
    QTest::newRow("unknown from the start, then conflicting, is silent")
        << std::vector{report({pullRequest(web, 1, passing, unknown)}),
                       report({pullRequest(web, 1, passing, unknown)}),
                       report({pullRequest(web, 1, passing, conflicting)})}
        << QStringList{};
    QTest::newRow("back to passing replaces failed with passed")
        << std::vector{report({pullRequest(web, 1, passing)}), report({pullRequest(web, 1, failing)}),
                       report({pullRequest(web, 1, passing)})}
        << QStringList{u"ci:acme/web#1:passed success: CI passed on web#1"_s};
    QTest::newRow("review decisions of a tracked pull request")
        << std::vector{report({pullRequest(web, 1, CheckState::running),
                               pullRequest(web, 2, CheckState::running)}),
                       report({pullRequest(web, 1, CheckState::running, mergeable, ReviewDecision::approved),
                               pullRequest(web, 2, CheckState::running, mergeable,
                                           ReviewDecision::changesRequested)})}
        << QStringList{u"changesRequested:acme/web#2 attention: Changes requested on web#2"_s,
                       u"approved:acme/web#1 success: web#1 approved"_s};
    QTest::newRow("new commits on a review already listed, not on a new one")
        << std::vector{report({}, {}, {changesRequested(web, 5, false)}),
                       report({}, {},
                              {changesRequested(web, 5, true, u"h2"_s), changesRequested(web, 6, true)})}
        << QStringList{u"newCommits:acme/web#5:h2 attention: New commits on web#5"_s};
    auto draft = pullRequest(web, 1, passing);
    draft.isDraft = true;
    QTest::newRow("a draft raises nothing") << std::vector{report({draft}), report({[&] {
                                                               auto failed = draft;
                                                               failed.checks = failing;
                                                               return failed;
                                                           }()})}
                                            << QStringList{};
}

void GitHubChangesTest::factsAcrossReports() {
    QFETCH(std::vector<GitHubReport>, reports);
    GitHubStore store;
    for (const GitHubReport& next : reports) {
        store.update(next);
    }
    QTEST(facts(store), "facts");
}

void GitHubChangesTest::mergeableMemoryKeepsTheLastKnownState() {
    MergeableMemory memory;
    memory =
        GitHubChanges::lastKnownMergeable(memory, report({pullRequest(u"a/b"_s, 1, passing, mergeable)}));
    memory = GitHubChanges::lastKnownMergeable(memory, report({pullRequest(u"a/b"_s, 1, passing, unknown),
                                                               pullRequest(u"a/b"_s, 2, passing, unknown)}));
    QCOMPARE(memory, (MergeableMemory{{u"a/b#1"_s, mergeable}}));
}

void GitHubChangesTest::removedPullRequestTakesItsFactsAndFailure() {
    const QString web = u"acme/web"_s;
    GitHubStore store;
    store.update(report({pullRequest(web, 1, passing), pullRequest(web, 2, passing)}));
    store.update(report({pullRequest(web, 1, failing), pullRequest(web, 2, failing)}));
    store.recordMergeFailure(u"acme/web#1"_s, u"refused"_s);
    store.updateErrorDescription(u"offline"_s);

    store.removePullRequest(u"acme/web#1"_s);

    QCOMPARE(store.latestReport()->pullRequests.size(), 1U);
    QCOMPARE(facts(store), QStringList{u"ci:acme/web#2:failed critical: CI failed on web#2"_s});
    QCOMPARE(store.mergeFailure(u"acme/web#1"_s), std::nullopt);
    QCOMPARE(store.lastErrorDescription(), u"offline"_s);
    // A poll that began before the merge still lists it: it comes back without raising again.
    store.update(report({pullRequest(web, 1, failing), pullRequest(web, 2, failing)}));
    QCOMPARE(facts(store).size(), 1);
    QCOMPARE(store.lastErrorDescription(), std::nullopt);
}

QTEST_GUILESS_MAIN(GitHubChangesTest)
#include "GitHubChangesTest.moc"
