#include "modules/github/GitHubApi.h"
#include "support/TestFiles.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

Q_DECLARE_METATYPE(tessary::CheckState)

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime fetchedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

QJsonArray nodes(const QByteArray& json) {
    return QJsonDocument::fromJson("[" + json + "]").array();
}

// An answer to the status query for the viewer "octocat" with these nodes.
QByteArray answer(const QJsonArray& pullRequests, const QJsonArray& reviews = {},
                  const QJsonArray& changesRequested = {}) {
    const QJsonObject viewer{{u"login"_s, u"octocat"_s},
                             {u"pullRequests"_s, QJsonObject{{u"nodes"_s, pullRequests}}}};
    const QJsonObject data{{u"viewer"_s, viewer},
                           {u"reviews"_s, QJsonObject{{u"nodes"_s, reviews}}},
                           {u"changesRequested"_s, QJsonObject{{u"nodes"_s, changesRequested}}}};
    return QJsonDocument(QJsonObject{{u"data"_s, data}}).toJson(QJsonDocument::Compact);
}

GitHubReport parsed(const QByteArray& data) {
    const GitHubResult<GitHubReport> result = GitHubStatusParser::parse(data, fetchedAt);
    if (const auto* error = std::get_if<GitHubProviderError>(&result)) {
        qWarning() << "not parsed:" << rawValue(error->kind);
        return {};
    }
    return std::get<GitHubReport>(result);
}

QString describe(const PullRequestCheck::State state) {
    switch (state) {
    case PullRequestCheck::State::passed:
        return u"passed"_s;
    case PullRequestCheck::State::running:
        return u"running"_s;
    case PullRequestCheck::State::queued:
        return u"queued"_s;
    case PullRequestCheck::State::failed:
        return u"failed"_s;
    case PullRequestCheck::State::skipped:
        return u"skipped"_s;
    }
    return {};
}

// "name:state#id+url*" per check (id, an https URL and GitHub Actions marked), then "completed/total".
QString describeChecks(const PullRequestStatus& pullRequest) {
    QStringList parts;
    for (const PullRequestCheck& check : pullRequest.checkRuns) {
        QString part = check.name + u':' + describe(check.state);
        if (check.databaseID) {
            part += u'#' + QString::number(*check.databaseID);
        }
        if (check.detailsURL) {
            part += u'+';
        }
        if (check.isGitHubActions) {
            part += u'*';
        }
        parts.append(part);
    }
    parts.append(QString::number(pullRequest.completedChecks) + u'/' +
                 QString::number(pullRequest.totalChecks));
    return parts.join(u' ');
}

// "<id>[@<reviewedOID>][ new][ <comments>c][ <submittedAt>]" per changes-requested review.
QString describeChanges(const GitHubReport& report) {
    QStringList parts;
    for (const ChangesRequestedReview& review : report.changesRequestedReviews) {
        QString part = review.id();
        if (review.reviewedOID) {
            part += u'@' + *review.reviewedOID;
        }
        if (review.hasNewCommits) {
            part += u" new"_s;
        }
        if (review.commentCount != 0) {
            part += u' ' + QString::number(review.commentCount) + u'c';
        }
        if (review.submittedAt) {
            part += u' ' + review.submittedAt->toString(Qt::ISODate);
        }
        parts.append(part);
    }
    return parts.join(u", "_s);
}

QString pullRequestWithRollup(const QString& rollup) {
    return uR"({"number":1,"repository":{"nameWithOwner":"o/r"},"commits":{"nodes":[{"commit":{"statusCheckRollup":%1}}]}})"_s
        .arg(rollup);
}

QString pullRequestWithContexts(const QString& contexts) {
    return pullRequestWithRollup(
        uR"({"state":"PENDING","contexts":{"totalCount":9,"nodes":[%1]}})"_s.arg(contexts));
}

} // namespace

class GitHubStatusParserTest : public QObject {
    Q_OBJECT

private slots:
    void damagedAnswers_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::newRow("nothing") << QByteArray();
        QTest::newRow("not JSON") << QByteArray("<html>502 Bad Gateway</html>");
        QTest::newRow("cut short") << answer(nodes(R"({"number":1})")).chopped(3);
        QTest::newRow("an array") << QByteArray(R"([{"data":{"viewer":{"login":"octocat"}}}])");
        QTest::newRow("errors only") << QByteArray(
            R"({"errors":[{"type":"NOT_FOUND","message":"Could not resolve"}]})");
        QTest::newRow("data null") << QByteArray(R"({"data":null})");
        QTest::newRow("viewer a string") << QByteArray(R"({"data":{"viewer":"octocat"}})");
        QTest::newRow("login missing") << QByteArray(R"({"data":{"viewer":{}}})");
        QTest::newRow("login a number") << QByteArray(R"({"data":{"viewer":{"login":7}}})");
    }

    void damagedAnswers() {
        QFETCH(QByteArray, data);
        const GitHubResult<GitHubReport> result = GitHubStatusParser::parse(data, fetchedAt);
        QVERIFY(std::holds_alternative<GitHubProviderError>(result));
        QCOMPARE(std::get<GitHubProviderError>(result).kind, GitHubProviderError::Kind::malformedResponse);
    }

    void listsOfTheWrongShapeCountAsEmpty() {
        const GitHubReport report = parsed(
            R"({"data":{"viewer":{"login":"octocat","pullRequests":{"nodes":{"0":1}}},"reviews":[],"changesRequested":{"nodes":null}}})");
        QCOMPARE(report.login, u"octocat"_s);
        QCOMPARE(report.capturedAt, fetchedAt);
        QVERIFY(report.pullRequests.empty());
        QVERIFY(report.reviewRequests.empty());
        QVERIFY(report.changesRequestedReviews.empty());
    }

    void unreadableNodesAreDropped_data() {
        QTest::addColumn<QString>("node");
        QTest::newRow("number missing") << uR"({"repository":{"nameWithOwner":"o/r"}})"_s;
        QTest::newRow("number a fraction") << uR"({"number":1.5,"repository":{"nameWithOwner":"o/r"}})"_s;
        QTest::newRow("number a text") << uR"({"number":"1","repository":{"nameWithOwner":"o/r"}})"_s;
        QTest::newRow("number beyond int") << uR"({"number":1e12,"repository":{"nameWithOwner":"o/r"}})"_s;
        QTest::newRow("repository missing") << uR"({"number":1})"_s;
        QTest::newRow("repository a text") << uR"({"number":1,"repository":"o/r"})"_s;
        QTest::newRow("nameWithOwner null") << uR"({"number":1,"repository":{"nameWithOwner":null}})"_s;
        QTest::newRow("not an object") << uR"("o/r#1")"_s;
        QTest::newRow("null") << uR"(null)"_s;
    }

    void unreadableNodesAreDropped() {
        QFETCH(QString, node);
        const QJsonArray list =
            nodes(node.toUtf8() + R"(,{"number":2,"repository":{"nameWithOwner":"o/r"},"title":"kept"})");
        const GitHubReport report = parsed(answer(list, list));
        QCOMPARE(report.pullRequests.size(), 1U);
        QCOMPARE(report.pullRequests.front().id, u"o/r#2"_s);
        QCOMPARE(report.reviewRequests.size(), 1U);
        QCOMPARE(report.reviewRequests.front().title, u"kept"_s);
    }

    void pullRequestFields() {
        const GitHubReport report = parsed(answer(
            nodes(R"({)"
                  R"("id":"PR_kwDO1","number":42,"title":"Speed up","isDraft":false,)"
                  R"("url":"https://github.com/o/r/pull/42","headRefOid":"abc","baseRefName":"main",)"
                  R"("mergeable":"CONFLICTING","mergeStateStatus":"DIRTY","reviewDecision":"APPROVED",)"
                  R"("repository":{"nameWithOwner":"octo-org/tool.kit"}},)"
                  R"({"number":7,"repository":{"nameWithOwner":"o/r"},"isDraft":"yes","title":null,)"
                  R"("url":"http://github.com/o/r/pull/7","mergeable":"MAYBE","mergeStateStatus":"NEW",)"
                  R"("reviewDecision":"LGTM"})")));
        QCOMPARE(report.pullRequests.size(), 2U);

        const PullRequestStatus& full = report.pullRequests[0];
        QCOMPARE(full.id, u"octo-org/tool.kit#42"_s);
        QCOMPARE(full.shortRepository(), u"tool.kit"_s);
        QCOMPARE(full.title, u"Speed up"_s);
        QCOMPARE(full.mergeable, MergeableState::conflicting);
        QCOMPARE(full.mergeState, MergeState::dirty);
        QCOMPARE(full.reviewDecision, std::optional(ReviewDecision::approved));
        QCOMPARE(full.url, std::optional(QUrl(u"https://github.com/o/r/pull/42"_s)));
        QCOMPARE(full.nodeID, std::optional(u"PR_kwDO1"_s));
        QCOMPARE(full.headOID, std::optional(u"abc"_s));
        QCOMPARE(full.baseBranch, std::optional(u"main"_s));
        QCOMPARE(full.checks, CheckState::absent);

        const PullRequestStatus& bare = report.pullRequests[1];
        QCOMPARE(bare.title, QString());
        QCOMPARE(bare.isDraft, false);
        QCOMPARE(bare.url, std::nullopt);
        QCOMPARE(bare.mergeable, MergeableState::unknown);
        QCOMPARE(bare.mergeState, MergeState::unknown);
        QCOMPARE(bare.reviewDecision, std::nullopt);
        QCOMPARE(bare.nodeID, std::nullopt);
    }

    void rollupState_data() {
        QTest::addColumn<QString>("rollup");
        QTest::addColumn<CheckState>("expected");
        QTest::newRow("success") << uR"({"state":"SUCCESS"})"_s << CheckState::passing;
        QTest::newRow("failure") << uR"({"state":"FAILURE"})"_s << CheckState::failing;
        QTest::newRow("error") << uR"({"state":"ERROR"})"_s << CheckState::failing;
        QTest::newRow("pending") << uR"({"state":"PENDING"})"_s << CheckState::running;
        QTest::newRow("expected") << uR"({"state":"EXPECTED"})"_s << CheckState::running;
        QTest::newRow("unknown word") << uR"({"state":"STALE"})"_s << CheckState::absent;
        QTest::newRow("state a number") << uR"({"state":1})"_s << CheckState::absent;
        QTest::newRow("no rollup") << uR"(null)"_s << CheckState::absent;
    }

    void rollupState() {
        QFETCH(QString, rollup);
        QFETCH(CheckState, expected);
        const GitHubReport report = parsed(answer(nodes(pullRequestWithRollup(rollup).toUtf8())));
        QCOMPARE(report.pullRequests.size(), 1U);
        QCOMPARE(report.pullRequests.front().checks, expected);
    }

    void checks_data() {
        QTest::addColumn<QString>("contexts");
        QTest::addColumn<QString>("expected");
        QTest::newRow("completed without conclusion passes")
            << uR"({"name":"build","status":"COMPLETED","conclusion":null})"_s << u"build:passed 1/9"_s;
        QTest::newRow("check run conclusions")
            << uR"({"name":"a","status":"COMPLETED","conclusion":"SUCCESS"},)"
               uR"({"name":"b","status":"COMPLETED","conclusion":"NEUTRAL"},)"
               uR"({"name":"c","status":"COMPLETED","conclusion":"SKIPPED"},)"
               uR"({"name":"d","status":"COMPLETED","conclusion":"TIMED_OUT"},)"
               uR"({"name":"e","status":"COMPLETED","conclusion":"CANCELLED"})"_s
            << u"a:passed b:skipped c:skipped d:failed e:failed 5/9"_s;
        QTest::newRow("check run statuses")
            << uR"({"status":"QUEUED"},{"status":"WAITING"},{"status":"REQUESTED"},)"
               uR"({"status":"IN_PROGRESS"},{"status":"PENDING"})"_s
            << u"check:queued check:queued check:queued check:running check:running 0/9"_s;
        QTest::newRow("status contexts")
            << uR"({"context":"ci/a","state":"SUCCESS"},{"context":"ci/b","state":"FAILURE"},)"
               uR"({"context":"ci/c","state":"ERROR"},{"context":"ci/d","state":"EXPECTED"},)"
               uR"({"context":"ci/e","state":"PENDING"},{"state":"SOMETHING"})"_s
            << u"ci/a:passed ci/b:failed ci/c:failed ci/d:queued ci/e:running check:running 4/9"_s;
        QTest::newRow("identifiers, https links and GitHub Actions")
            << uR"({"name":"lint","status":"IN_PROGRESS","databaseId":3141592653,)"
               uR"("detailsUrl":"HTTPS://github.com/o/r/runs/1","checkSuite":{"app":{"slug":"github-actions"}}},)"
               uR"({"name":"other","status":"IN_PROGRESS","databaseId":7.5,)"
               uR"("detailsUrl":"http://ci.example.com/1","checkSuite":{"app":{"slug":"circleci"}}},)"
               uR"({"name":"odd","status":"IN_PROGRESS","detailsUrl":"file:///etc/passwd","checkSuite":{"app":null}})"_s
            << u"lint:running#3141592653+* other:running odd:running 0/9"_s;
        QTest::newRow("status wins over state")
            << uR"({"name":"both","status":"IN_PROGRESS","state":"SUCCESS"})"_s << u"both:running 0/9"_s;
        QTest::newRow("nodes that are neither are skipped")
            << uR"({},{"name":"x","status":5},null,"text",{"context":"ci","state":"SUCCESS"})"_s
            << u"ci:passed 1/9"_s;
    }

    void checks() {
        QFETCH(QString, contexts);
        QFETCH(QString, expected);
        const GitHubReport report = parsed(answer(nodes(pullRequestWithContexts(contexts).toUtf8())));
        QCOMPARE(report.pullRequests.size(), 1U);
        QCOMPARE(describeChecks(report.pullRequests.front()), expected);
    }

    void reviewRequestFields() {
        const GitHubReport report = parsed(answer(
            {},
            nodes(
                R"()"
                R"({"number":5,"title":"Docs","url":"https://github.com/o/r/pull/5","headRefOid":"h5",)"
                R"("repository":{"nameWithOwner":"o/r"},)"
                R"("author":{"login":"hubot","avatarUrl":"https://avatars.githubusercontent.com/u/1?s=40"}},)"
                R"({"number":6,"repository":{"nameWithOwner":"o/r"},)"
                R"("author":{"login":"mallory","avatarUrl":"http://evil.example.com/a.png"}},)"
                R"({})")));
        QCOMPARE(report.reviewRequests.size(), 2U);
        const ReviewRequest& first = report.reviewRequests[0];
        QCOMPARE(first.id(), u"o/r#5"_s);
        QCOMPARE(first.author, std::optional(u"hubot"_s));
        QCOMPARE(first.avatarURL, std::optional(QUrl(u"https://avatars.githubusercontent.com/u/1?s=40"_s)));
        QCOMPARE(first.headOID, std::optional(u"h5"_s));
        QCOMPARE(report.reviewRequests[1].author, std::optional(u"mallory"_s));
        QCOMPARE(report.reviewRequests[1].avatarURL, std::nullopt);
        QCOMPARE(report.reviewRequests[1].title, QString());
    }

    void changesRequested_data() {
        QTest::addColumn<QString>("node");
        QTest::addColumn<QString>("expected");
        const QString head = uR"("number":3,"repository":{"nameWithOwner":"o/r"},"headRefOid":"new",)"_s;
        QTest::newRow("viewer asked for changes before the head moved")
            << head + uR"("latestOpinionatedReviews":{"nodes":[)"
                      uR"({"state":"APPROVED","author":{"login":"someone"}},)"
                      uR"({"state":"CHANGES_REQUESTED","author":{"login":"octocat"},"commit":{"oid":"old"},)"
                      uR"("submittedAt":"2026-09-01T10:00:00Z","comments":{"totalCount":4}}]}})"_s
            << u"o/r#3@old new 4c 2026-09-01T10:00:00Z"_s;
        QTest::newRow("same head, offset date in UTC")
            << head + uR"("latestOpinionatedReviews":{"nodes":[)"
                      uR"({"state":"CHANGES_REQUESTED","author":{"login":"octocat"},"commit":{"oid":"new"},)"
                      uR"("submittedAt":"2026-09-01T12:00:00+02:00"}]}})"_s
            << u"o/r#3@new 2026-09-01T10:00:00Z"_s;
        QTest::newRow("unknown reviewed commit is not new")
            << head + uR"("latestOpinionatedReviews":{"nodes":[)"
                      uR"({"state":"CHANGES_REQUESTED","author":{"login":"octocat"},"commit":null,)"
                      uR"("submittedAt":"2026-09-01T10:00:00.123Z"}]}})"_s
            << u"o/r#3"_s;
        QTest::newRow("a date without offset is not guessed")
            << head + uR"("latestOpinionatedReviews":{"nodes":[)"
                      uR"({"state":"CHANGES_REQUESTED","author":{"login":"octocat"},)"
                      uR"("submittedAt":"2026-09-01T10:00:00"}]}})"_s
            << u"o/r#3"_s;
        QTest::newRow("the viewer's first review decides: approved")
            << head + uR"("latestOpinionatedReviews":{"nodes":[)"
                      uR"({"state":"APPROVED","author":{"login":"octocat"}},)"
                      uR"({"state":"CHANGES_REQUESTED","author":{"login":"octocat"}}]}})"_s
            << QString();
        QTest::newRow("login compared exactly")
            << head + uR"("latestOpinionatedReviews":{"nodes":[)"
                      uR"({"state":"CHANGES_REQUESTED","author":{"login":"OctoCat"}}]}})"_s
            << QString();
        QTest::newRow("no reviews") << head + uR"("latestOpinionatedReviews":null})"_s << QString();
        QTest::newRow("asked again: shows as a review request")
            << uR"("number":9,"repository":{"nameWithOwner":"o/r"},"latestOpinionatedReviews":{"nodes":[)"
               uR"({"state":"CHANGES_REQUESTED","author":{"login":"octocat"}}]}})"_s
            << QString();
    }

    void changesRequested() {
        QFETCH(QString, node);
        QFETCH(QString, expected);
        const QJsonArray reviewRequests = nodes(R"({"number":9,"repository":{"nameWithOwner":"o/r"}})");
        const GitHubReport report = parsed(answer({}, reviewRequests, nodes("{" + node.toUtf8())));
        QCOMPARE(describeChanges(report), expected);
    }

    void onlyDraftsAreClear() {
        const GitHubReport report =
            parsed(answer(nodes(pullRequestWithRollup(u"{\"state\":\"FAILURE\"}"_s)
                                    .replace(u"\"number\":1"_s, u"\"number\":1,\"isDraft\":true"_s)
                                    .toUtf8())));
        QCOMPARE(report.pullRequests.size(), 1U);
        QCOMPARE(report.state(), GitHubReport::State::clear);
        QCOMPARE(report.pressure(), 0.0);
    }

    // Pull request nodes from the GitHub CLI's own test answers, moved into this query's shape: the
    // CLI asks for the head commit's rollup under "statusCheckRollup", this query under "commits".
    void realContextNodes() {
        const QByteArray original =
            testing::readFile(testing::testData(u"github-graphql/cli-cli-prStatusChecks.json"_s));
        QVERIFY(!original.isEmpty());
        const auto asIs = GitHubStatusParser::parse(original, fetchedAt);
        QVERIFY(std::holds_alternative<GitHubProviderError>(asIs));

        QJsonArray pullRequests;
        const QJsonObject data = QJsonDocument::fromJson(original).object()[u"data"_s].toObject();
        for (const auto edge : data[u"viewerCreated"_s][u"edges"_s].toArray()) {
            QJsonObject node = edge[u"node"_s].toObject();
            node[u"commits"_s] = node.take(u"statusCheckRollup"_s);
            node[u"repository"_s] = QJsonObject{{u"nameWithOwner"_s, u"cli/cli"_s}};
            pullRequests.append(node);
        }
        const GitHubReport report = parsed(answer(pullRequests));
        QStringList described;
        for (const PullRequestStatus& pullRequest : report.pullRequests) {
            described.append(pullRequest.id + u' ' + describeChecks(pullRequest));
        }
        QCOMPARE(described, QStringList({u"cli/cli#8 check:passed 1/0"_s, u"cli/cli#7 check:running 0/0"_s,
                                         u"cli/cli#6 check:running check:failed check:skipped 2/0"_s,
                                         u"cli/cli#5 check:passed 1/0"_s}));
        QCOMPARE(report.pullRequests[0].reviewDecision, std::optional(ReviewDecision::changesRequested));
        QCOMPARE(report.pullRequests[2].mergeable, MergeableState::mergeable);
        QCOMPARE(report.pullRequests[3].mergeable, MergeableState::conflicting);
        QCOMPARE(report.pullRequests[1].url, std::optional(QUrl(u"https://github.com/cli/cli/pull/7"_s)));
    }
};

QTEST_GUILESS_MAIN(GitHubStatusParserTest)
#include "GitHubStatusParserTest.moc"
