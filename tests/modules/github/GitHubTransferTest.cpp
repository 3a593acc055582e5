#include "modules/github/GitHubApi.h"

#include <QTest>

Q_DECLARE_METATYPE(tessary::GitHubRateLimit::Headers)
Q_DECLARE_METATYPE(std::optional<QString>)

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

std::optional<QString> header(const char* value) {
    return value == nullptr ? std::nullopt : std::optional(QString::fromLatin1(value));
}

// "unreadable" for an error's kind, else the value as text.
template <typename Value, typename Describe>
QString outcome(const GitHubResult<Value>& result, Describe describe) {
    if (const auto* error = std::get_if<GitHubProviderError>(&result)) {
        return error->kind == GitHubProviderError::Kind::requestFailed
                   ? u"requestFailed %1"_s.arg(error->statusCode)
                   : rawValue(error->kind);
    }
    return describe(std::get<Value>(result));
}

} // namespace

class GitHubTransferTest : public QObject {
    Q_OBJECT

private slots:
    // -1 seconds: not rate limited.
    void rateLimit_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<GitHubRateLimit::Headers>("headers");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<qint64>("waitSeconds");
        const QByteArray graphQLLimited =
            R"({"errors":[{"type":"RATE_LIMITED","message":"API rate limit exceeded"}]})";
        const QByteArray restLimited = R"({"message":"API rate limit exceeded for user ID 1."})";
        const QByteArray forbidden = R"({"message":"Resource not accessible by integration"})";
        const qint64 inTwoMinutes = now.toSecsSinceEpoch() + 120;
        const QByteArray reset = QByteArray::number(inTwoMinutes);

        QTest::newRow("200 with a RATE_LIMITED error")
            << 200 << GitHubRateLimit::Headers{} << graphQLLimited << 60LL;
        QTest::newRow("200 with RATE_LIMITED and a reset")
            << 200 << GitHubRateLimit::Headers{header("0"), {}, QString::fromLatin1(reset)} << graphQLLimited
            << 120LL;
        QTest::newRow("200 whose text merely mentions RATE_LIMITED")
            << 200 << GitHubRateLimit::Headers{}
            << QByteArray(R"({"data":{"viewer":{"login":"RATE_LIMITED"}}})") << -1LL;
        QTest::newRow("200 with another error") << 200 << GitHubRateLimit::Headers{header("0"), {}, {}}
                                                << QByteArray(R"({"errors":[{"type":"NOT_FOUND"}]})") << -1LL;
        QTest::newRow("Retry-After capped to an hour")
            << 429 << GitHubRateLimit::Headers{{}, header("7200"), {}} << QByteArray() << 3600LL;
        QTest::newRow("Retry-After with blanks")
            << 429 << GitHubRateLimit::Headers{{}, header(" 30 "), {}} << QByteArray() << 30LL;
        QTest::newRow("Retry-After unreadable, remaining 3")
            << 429 << GitHubRateLimit::Headers{header("3"), header("abc"), {}} << QByteArray() << 60LL;
        QTest::newRow("Retry-After zero")
            << 429 << GitHubRateLimit::Headers{{}, header("0"), {}} << QByteArray() << 60LL;
        QTest::newRow("Retry-After negative")
            << 429 << GitHubRateLimit::Headers{{}, header("-5"), {}} << QByteArray() << 60LL;
        QTest::newRow("Retry-After infinite")
            << 429 << GitHubRateLimit::Headers{{}, header("inf"), {}} << QByteArray() << 60LL;
        QTest::newRow("429 reset in two minutes")
            << 429 << GitHubRateLimit::Headers{header("0"), {}, QString::fromLatin1(reset)} << QByteArray()
            << 120LL;
        QTest::newRow("reset in the past")
            << 429 << GitHubRateLimit::Headers{header("0"), {}, header("1000")} << QByteArray() << 60LL;
        QTest::newRow("reset far ahead is capped")
            << 429 << GitHubRateLimit::Headers{header("0"), {}, QString::number(inTwoMinutes + 86'400)}
            << QByteArray() << 3600LL;
        QTest::newRow("reset ignored while some remain")
            << 429 << GitHubRateLimit::Headers{header("5"), {}, QString::fromLatin1(reset)} << QByteArray()
            << 60LL;
        QTest::newRow("reset unreadable")
            << 429 << GitHubRateLimit::Headers{header("0"), {}, header("soon")} << QByteArray() << 60LL;
        QTest::newRow("403 with remaining 0")
            << 403 << GitHubRateLimit::Headers{header("0"), {}, {}} << forbidden << 60LL;
        QTest::newRow("403 with Retry-After")
            << 403 << GitHubRateLimit::Headers{{}, header("90"), {}} << forbidden << 90LL;
        QTest::newRow("403 with an unreadable Retry-After")
            << 403 << GitHubRateLimit::Headers{{}, header("later"), {}} << forbidden << 60LL;
        QTest::newRow("403 whose message says so")
            << 403 << GitHubRateLimit::Headers{header("12"), {}, {}} << restLimited << 60LL;
        QTest::newRow("403 without signs")
            << 403 << GitHubRateLimit::Headers{header("12"), {}, {}} << forbidden << -1LL;
        QTest::newRow("403 with a non-JSON body")
            << 403 << GitHubRateLimit::Headers{} << QByteArray("rate limit") << -1LL;
        QTest::newRow("500 is not a limit")
            << 500 << GitHubRateLimit::Headers{header("0"), header("5"), {}} << restLimited << -1LL;
        QTest::newRow("401") << 401 << GitHubRateLimit::Headers{} << QByteArray() << -1LL;
    }

    void rateLimit() {
        QFETCH(int, status);
        QFETCH(GitHubRateLimit::Headers, headers);
        QFETCH(QByteArray, body);
        QFETCH(qint64, waitSeconds);
        const auto retryAfter = GitHubRateLimit::retryAfter(status, headers, body, now);
        QCOMPARE(retryAfter.has_value(), waitSeconds >= 0);
        if (retryAfter) {
            QCOMPARE(now.secsTo(*retryAfter), waitSeconds);
        }
    }

    void logsURL_data() {
        QTest::addColumn<QString>("root");
        QTest::addColumn<qint64>("jobID");
        QTest::addColumn<QString>("expected");
        QTest::newRow("public API")
            << u"https://api.github.com"_s << 29'679'449'123LL
            << u"https://api.github.com/repos/cli/cli/actions/jobs/29679449123/logs"_s;
        QTest::newRow("root with a path and slash")
            << u"https://ghe.example.com/api/v3/"_s << 5LL
            << u"https://ghe.example.com/api/v3/repos/cli/cli/actions/jobs/5/logs"_s;
        QTest::newRow("no job") << u"https://api.github.com"_s << 0LL << QString();
        QTest::newRow("negative job") << u"https://api.github.com"_s << -3LL << QString();
        QTest::newRow("relative root") << u"api.github.com"_s << 5LL << QString();
    }

    void logsURL() {
        QFETCH(QString, root);
        QFETCH(qint64, jobID);
        QFETCH(QString, expected);
        const auto url = GitHubJobLog::logsURL(QUrl(root), u"cli/cli"_s, jobID);
        QCOMPARE(url ? url->toString() : QString(), expected);
    }

    void blobLocation_data() {
        QTest::addColumn<int>("status");
        QTest::addColumn<std::optional<QString>>("location");
        QTest::addColumn<QString>("expected");
        const auto blob = header("https://pipelines.actions.githubusercontent.com/logs/1?sig=x");
        for (const int redirect : {301, 302, 303, 307, 308}) {
            QTest::addRow("%d to https", redirect) << redirect << blob << *blob;
        }
        QTest::newRow("scheme in capitals")
            << 302 << header("HTTPS://blob.example.com/l") << u"https://blob.example.com/l"_s;
        QTest::newRow("to http") << 302 << header("http://blob.example.com/l") << u"logUnavailable"_s;
        QTest::newRow("relative") << 302 << header("/logs/1") << u"logUnavailable"_s;
        QTest::newRow("unparsable") << 302 << header("https://exa mple.com/%zz") << u"logUnavailable"_s;
        QTest::newRow("no location") << 302 << std::optional<QString>() << u"logUnavailable"_s;
        QTest::newRow("200 is not a redirect") << 200 << blob << u"requestFailed 200"_s;
        QTest::newRow("304") << 304 << blob << u"requestFailed 304"_s;
        QTest::newRow("404") << 404 << std::optional<QString>() << u"logUnavailable"_s;
        QTest::newRow("410") << 410 << std::optional<QString>() << u"logUnavailable"_s;
        QTest::newRow("401") << 401 << std::optional<QString>() << u"unauthorized"_s;
        QTest::newRow("403") << 403 << std::optional<QString>() << u"unauthorized"_s;
        QTest::newRow("500") << 500 << std::optional<QString>() << u"requestFailed 500"_s;
    }

    void blobLocation() {
        QFETCH(int, status);
        QFETCH(std::optional<QString>, location);
        QFETCH(QString, expected);
        QCOMPARE(outcome(GitHubJobLog::blobLocation(status, location),
                         [](const QUrl& url) { return url.toString(); }),
                 expected);
    }

    // The blob's length, the range asked for, and what the answer to GET gives.
    void range_data() {
        QTest::addColumn<int>("headStatus");
        QTest::addColumn<std::optional<QString>>("contentLength");
        QTest::addColumn<QString>("expected");
        QTest::newRow("empty") << 200 << header("0") << u"0 whole"_s;
        QTest::newRow("exactly the tail") << 200 << header("65536") << u"65536 whole"_s;
        QTest::newRow("one byte more") << 200 << header("65537") << u"65537 bytes=1-"_s;
        QTest::newRow("large") << 200 << header("10000000") << u"10000000 bytes=9934464-"_s;
        QTest::newRow("blanks") << 200 << header(" 12 ") << u"12 whole"_s;
        QTest::newRow("not a number") << 200 << header("12kB") << u"logUnavailable"_s;
        QTest::newRow("negative") << 200 << header("-1") << u"logUnavailable"_s;
        QTest::newRow("missing") << 200 << std::optional<QString>() << u"logUnavailable"_s;
        QTest::newRow("blob gone") << 404 << header("12") << u"logUnavailable"_s;
    }

    void range() {
        QFETCH(int, headStatus);
        QFETCH(std::optional<QString>, contentLength);
        QFETCH(QString, expected);
        QCOMPARE(outcome(GitHubJobLog::contentLength(headStatus, contentLength),
                         [](qint64 length) -> QString {
                             const auto range = GitHubJobLog::range(length);
                             return QString::number(length) + u' ' +
                                    (range ? QString::fromLatin1(*range) : u"whole"_s);
                         }),
                 expected);
    }

    void logText_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("rangeRequested");
        QTest::addColumn<QString>("expected");
        QTest::newRow("whole, line ends unified")
            << QByteArray("first\r\nsecond\r\n") << 200 << false << u"first\nsecond\n"_s;
        QTest::newRow("partial loses its cut line")
            << QByteArray("t line\r\nnext\nlast") << 206 << true << u"next\nlast"_s;
        QTest::newRow("partial without a break is kept")
            << QByteArray("only a piece") << 206 << true << u"only a piece"_s;
        QTest::newRow("invalid UTF-8 repaired")
            << QByteArray("ok \xff\xfe end") << 200 << false << u"ok \uFFFD\uFFFD end"_s;
        QTest::newRow("a character cut at the front goes with its line")
            << QByteArray("\xa9 cut\nwhole") << 206 << true << u"whole"_s;
        QTest::newRow("range ignored: cut here")
            << QByteArray(70'000, 'x') + "\nend" << 200 << true << u"end"_s;
        QTest::newRow("forbidden") << QByteArray("denied") << 403 << false << u"requestFailed 403"_s;
        QTest::newRow("range not satisfiable") << QByteArray() << 416 << true << u"requestFailed 416"_s;
    }

    void logText() {
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        QFETCH(bool, rangeRequested);
        QFETCH(QString, expected);
        QCOMPARE(outcome(GitHubJobLog::text(body, status, rangeRequested),
                         [](const QString& text) { return text; }),
                 expected);
    }

    void ignoredRangeKeepsOnlyTheTail() {
        QByteArray body;
        for (int line = 0; line < 20'000; ++line) {
            body += "line " + QByteArray::number(line) + '\n';
        }
        const QString text = std::get<QString>(GitHubJobLog::text(body, 200, true));
        QVERIFY(text.size() <= GitHubJobLog::tailLength);
        QVERIFY(text.startsWith(u"line "_s));
        QVERIFY(text.endsWith(u"line 19999\n"_s));
    }
};

QTEST_GUILESS_MAIN(GitHubTransferTest)
#include "GitHubTransferTest.moc"
