#include "modules/github/GitHubApi.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// Brackets of every kind close in order, outside quoted text.
bool bracketsBalance(const QString& text) {
    QString open;
    bool quoted = false;
    for (const QChar character : text) {
        if (character == u'"') {
            quoted = !quoted;
        } else if (quoted) {
            continue;
        } else if (character == u'{' || character == u'(') {
            open.append(character);
        } else if (character == u'}' || character == u')') {
            const QChar expected = character == u'}' ? u'{' : u'(';
            if (open.isEmpty() || open.back() != expected) {
                return false;
            }
            open.chop(1);
        }
    }
    return open.isEmpty() && !quoted;
}

// The "$name" variables declared in the operation's head, in order.
QStringList declaredVariables(const QString& operation) {
    const QString head = operation.left(operation.indexOf(u'{'));
    QStringList names;
    static const QRegularExpression variable(u"\\$(\\w+)\\s*:"_s);
    for (const auto& match : variable.globalMatch(head)) {
        names.append(match.captured(1));
    }
    return names;
}

// A request body as it goes out: serialised, read back, and checked for GraphQL's shape.
QJsonObject sent(const QJsonObject& body) {
    QJsonObject request = QJsonDocument::fromJson(QJsonDocument(body).toJson()).object();
    const QString operation = request[u"query"_s].toString();
    const QJsonObject variables = request[u"variables"_s].toObject();
    if (!bracketsBalance(operation)) {
        qWarning() << "brackets don't balance";
        return {};
    }
    QStringList declared = declaredVariables(operation);
    QStringList given = variables.keys();
    declared.sort();
    given.sort();
    if (declared != given) {
        qWarning() << "declared" << declared << "given" << given;
        return {};
    }
    return request;
}

QString rejection(const std::optional<GitHubProviderError>& error) {
    if (!error) {
        return u"merged"_s;
    }
    if (error->kind != GitHubProviderError::Kind::mergeRejected) {
        return rawValue(error->kind);
    }
    return u"rejected: "_s + error->message;
}

template <typename Value>
QString failure(const GitHubResult<Value>& result) {
    const auto* error = std::get_if<GitHubProviderError>(&result);
    return error ? rawValue(error->kind) : QString();
}

} // namespace

class GitHubRequestsTest : public QObject {
    Q_OBJECT

private slots:
    void statusRequestIsGraphQL() {
        const QJsonObject request = sent(GitHubStatusQuery::body(30));
        QCOMPARE(request[u"variables"_s][u"first"_s].toInt(), 30);
        const QString operation = request[u"query"_s].toString();
        QVERIFY(operation.startsWith(u"query($first: Int!)"_s));
        QVERIFY(operation.contains(u"first: $first"_s));
        // Both searches and the viewer are asked in the one request.
        QVERIFY(operation.contains(u"reviews: search("_s));
        QVERIFY(operation.contains(u"changesRequested: search("_s));
    }

    void mergeRequestIsGraphQL() {
        const QJsonObject request = sent(GitHubMergeRequest::body({u"PR_kwDO1"_s, u"abc123"_s}));
        QCOMPARE(request[u"variables"_s][u"id"_s].toString(), u"PR_kwDO1"_s);
        QCOMPARE(request[u"variables"_s][u"head"_s].toString(), u"abc123"_s);
        QVERIFY(request[u"query"_s].toString().startsWith(u"mutation("_s));
        QVERIFY(request[u"query"_s].toString().contains(u"SQUASH"_s));
    }

    void pullRequestQueriesAreGraphQL() {
        const auto variables = GitHubPullRequestQuery::variables(u"octo-org/tool.kit"_s, 17);
        QVERIFY(variables);
        QCOMPARE((*variables)[u"owner"_s].toString(), u"octo-org"_s);
        QCOMPARE((*variables)[u"name"_s].toString(), u"tool.kit"_s);
        QCOMPARE((*variables)[u"number"_s].toInt(), 17);
        for (const QString& query :
             {GitHubPullRequestQuery::commitsQuery(), GitHubPullRequestQuery::detailsQuery()}) {
            QVERIFY(!sent({{u"query"_s, query}, {u"variables"_s, *variables}}).isEmpty());
        }
        QVERIFY(GitHubPullRequestQuery::commitsQuery().contains(u"commits(last: 30)"_s));
        QVERIFY(GitHubPullRequestQuery::detailsQuery().contains(u"files(first: 50)"_s));
    }

    void repositoryValidation_data() {
        QTest::addColumn<QString>("repository");
        QTest::addColumn<bool>("valid");
        QTest::newRow("plain") << u"cli/cli"_s << true;
        QTest::newRow("all allowed characters") << u"Octo-Org_1/tool.kit-2_x"_s << true;
        QTest::newRow("three parts") << u"a/b/c"_s << false;
        QTest::newRow("one part") << u"cli"_s << false;
        QTest::newRow("empty owner") << u"/cli"_s << false;
        QTest::newRow("empty name") << u"cli/"_s << false;
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("space") << u"cli/my repo"_s << false;
        QTest::newRow("query characters") << u"cli/cli?x=1"_s << false;
        QTest::newRow("encoded slash") << u"cli/a%2Fb"_s << false;
        QTest::newRow("non-ASCII letter") << u"cli/répo"_s << false;
        QTest::newRow("walks up") << u"cli/.."_s << false;
        QTest::newRow("dot") << u"./cli"_s << false;
        QTest::newRow("dots inside a name") << u"cli/a..b"_s << true;
    }

    void repositoryValidation() {
        QFETCH(QString, repository);
        QFETCH(bool, valid);
        QCOMPARE(GitHubPullRequestQuery::isValidRepository(repository), valid);
        QCOMPARE(GitHubPullRequestQuery::variables(repository, 1).has_value(), valid);
        QCOMPARE(GitHubJobLog::logsURL(QUrl(u"https://api.github.com"_s), repository, 1).has_value(), valid);
    }

    void mergeAnswer_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("expected");
        QTest::newRow("merged") << QByteArray(
                                       R"({"data":{"mergePullRequest":{"pullRequest":{"merged":true}}}})")
                                << u"merged"_s;
        QTest::newRow("not merged")
            << QByteArray(R"({"data":{"mergePullRequest":{"pullRequest":{"merged":false}}}})")
            << u"rejected: GitHub did not confirm the merge"_s;
        QTest::newRow("merged as a text")
            << QByteArray(R"({"data":{"mergePullRequest":{"pullRequest":{"merged":"true"}}}})")
            << u"rejected: GitHub did not confirm the merge"_s;
        QTest::newRow("errors joined")
            << QByteArray(
                   R"({"data":{"mergePullRequest":null},"errors":[{"message":"Head branch was modified."},)"
                   R"({"type":"x"},{"message":"Required status check is failing."}]})")
            << u"rejected: Head branch was modified.; Required status check is failing."_s;
        QTest::newRow("errors without words") << QByteArray(R"({"errors":[{"type":"FORBIDDEN"}]})")
                                              << u"rejected: GitHub did not confirm the merge"_s;
        QTest::newRow("errors win over a merge")
            << QByteArray(
                   R"({"data":{"mergePullRequest":{"pullRequest":{"merged":true}}},"errors":[{"message":"m"}]})")
            << u"rejected: m"_s;
        QTest::newRow("empty errors")
            << QByteArray(R"({"data":{"mergePullRequest":{"pullRequest":{"merged":true}}},"errors":[]})")
            << u"merged"_s;
        QTest::newRow("empty object") << QByteArray("{}") << u"rejected: GitHub did not confirm the merge"_s;
        QTest::newRow("array") << QByteArray("[]") << u"malformedResponse"_s;
        QTest::newRow("not JSON") << QByteArray("Bad Gateway") << u"malformedResponse"_s;
    }

    void mergeAnswer() {
        QFETCH(QByteArray, data);
        QFETCH(QString, expected);
        QCOMPARE(rejection(GitHubMergeRequest::parse(data)), expected);
    }

    void commitsAnswer() {
        const auto result = GitHubPullRequestQuery::parseCommits(
            R"({"data":{"repository":{"pullRequest":{"commits":{"nodes":[)"
            R"({"commit":{"oid":"a1","messageHeadline":"Add parser","messageBody":"Why.\n\nMore.","committedDate":"2026-09-01T10:00:00Z"}},)"
            R"({"commit":{"messageHeadline":"no oid"}},)"
            R"({"commit":{"oid":"b2","messageHeadline":null,"committedDate":"yesterday"}},)"
            R"({"oid":"c3"},)"
            R"(7]}}}}})");
        QCOMPARE(failure(result), QString());
        const auto& commits = std::get<std::vector<PullRequestCommit>>(result);
        QCOMPARE(commits.size(), 2U);
        QCOMPARE(commits[0], (PullRequestCommit{u"a1"_s, u"Add parser"_s, u"Why.\n\nMore."_s,
                                                QDateTime(QDate(2026, 9, 1), QTime(10, 0), Qt::UTC)}));
        QCOMPARE(commits[1], (PullRequestCommit{u"b2"_s, QString(), QString(), std::nullopt}));
    }

    void detailsAnswer() {
        const auto result = GitHubPullRequestQuery::parseDetails(
            R"({"data":{"repository":{"pullRequest":{)"
            R"("body":null,"changedFiles":3,"additions":120,"deletions":2.5,)"
            R"("files":{"nodes":[{"path":"src/a.cpp"},{"path":7},{},{"path":"README.md"}]}}}}})");
        QCOMPARE(failure(result), QString());
        QCOMPARE(std::get<PullRequestDetails>(result),
                 (PullRequestDetails{QString(), 3, 120, 0, {u"src/a.cpp"_s, u"README.md"_s}}));
    }

    void pullRequestAnswerFailures_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("expected");
        QTest::newRow("no such repository")
            << QByteArray(
                   R"({"data":{"repository":null},"errors":[{"type":"NOT_FOUND","message":"Could not resolve"}]})")
            << u"detailsUnavailable"_s;
        QTest::newRow("no such pull request")
            << QByteArray(R"({"data":{"repository":{"pullRequest":null}},"errors":[]})")
            << u"detailsUnavailable"_s;
        QTest::newRow("pull request missing, no errors")
            << QByteArray(R"({"data":{"repository":{}}})") << u"malformedResponse"_s;
        QTest::newRow("errors not a list")
            << QByteArray(R"({"errors":{"message":"x"}})") << u"malformedResponse"_s;
        QTest::newRow("not JSON") << QByteArray("<html>") << u"malformedResponse"_s;
        QTest::newRow("a list") << QByteArray("[]") << u"malformedResponse"_s;
        QTest::newRow("an empty pull request reads as empty")
            << QByteArray(R"({"data":{"repository":{"pullRequest":{}}}})") << QString();
    }

    void pullRequestAnswerFailures() {
        QFETCH(QByteArray, data);
        QFETCH(QString, expected);
        QCOMPARE(failure(GitHubPullRequestQuery::parseCommits(data)), expected);
        QCOMPARE(failure(GitHubPullRequestQuery::parseDetails(data)), expected);
    }
};

QTEST_GUILESS_MAIN(GitHubRequestsTest)
#include "GitHubRequestsTest.moc"
