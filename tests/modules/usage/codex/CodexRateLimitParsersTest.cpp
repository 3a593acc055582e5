#include "modules/usage/codex/CodexAppServerRateLimitParser.h"
#include "modules/usage/codex/CodexRateLimitParser.h"
#include "support/TestFiles.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// 2026-09-21T17:46:40Z
const QDateTime fetchedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
const Localization english(AppLanguage::english);

// "session=12 weekly=30@1790003600 weekly:Spark=5[Spark 5h]" per limit, space-separated; "!" marks
// a severity or an active limit, which Codex never names.
QString describe(const UsageReport& report) {
    QStringList parts;
    for (const UsageReport::Limit& limit : report.limits) {
        QString part = UsageLimitKinds::watchKey(limit.kind) + u'=' + QString::number(limit.percent);
        if (limit.resetsAt) {
            part += u'@' + QString::number(limit.resetsAt->toSecsSinceEpoch());
        }
        if (limit.compactLabel) {
            part += u'[' + *limit.compactLabel + u']';
        }
        if (!limit.isNormalSeverity() || limit.isActive) {
            part += u'!';
        }
        parts.append(part);
    }
    return parts.join(u' ');
}

QString describe(const CodexAppServerRateLimitParser::Result& result) {
    if (const auto* failure = std::get_if<CodexAppServerRateLimitParser::Failure>(&result)) {
        return rawValue(*failure);
    }
    return describe(std::get<UsageReport>(result));
}

// One line of a session file, as Codex writes its token counts.
QByteArray tokenCountLine(const QByteArray& timestamp, const QByteArray& rateLimits) {
    return "{\"timestamp\":\"" + timestamp +
           "\",\"type\":\"event_msg\",\"payload\":{\"type\":\"token_count\",\"info\":null,\"rate_limits\":" +
           rateLimits + "}}\n";
}

const QByteArray general42 =
    R"({"limit_id":"codex","limit_name":null,"primary":{"used_percent":42.0,"window_minutes":300,)"
    R"("resets_at":1790003600},"secondary":{"used_percent":7.0,"window_minutes":10080,"resets_at":1790086400},)"
    R"("credits":null})";
const QByteArray scoped90 =
    R"({"limit_id":"codex_bengalfox","limit_name":"GPT-5.3-Codex-Spark","primary":{"used_percent":90.0,)"
    R"("window_minutes":300,"resets_at":1790003600},"secondary":null})";
const QByteArray nullWindows = R"({"limit_id":"codex","primary":null,"secondary":null,"credits":null})";

} // namespace

class CodexRateLimitParsersTest : public QObject {
    Q_OBJECT

private slots:
    void appServerAnswer_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("expected");

        // As Codex 0.169 answers with a ChatGPT login: the general limit twice, a model's own
        // limit, and keys this reader doesn't know.
        QTest::newRow("real answer with a model's limit and unknown keys")
            << QByteArray(
                   R"({"id":2,"result":{"ordinaryUsageAllowed":null,"rateLimits":{"limitId":"codex",)"
                   R"("limitName":null,"normalModelSlug":null,"primary":{"usedPercent":42,)"
                   R"("windowDurationMins":300,"resetsAt":1790003600},"secondary":{"usedPercent":7,)"
                   R"("windowDurationMins":10080,"resetsAt":1790086400},"credits":null,"planType":"plus"},)"
                   R"("rateLimitsByLimitId":{"codex":{"limitId":"codex","primary":{"usedPercent":42,)"
                   R"("resetsAt":1790003600}},"codex_bengalfox":{"limitId":"codex_bengalfox",)"
                   R"("limitName":"GPT-5.3-Codex-Spark","primary":{"usedPercent":12,"resetsAt":1790000100},)"
                   R"("secondary":null}},"rateLimitResetCredits":null,"rateLimitUpsell":null}})")
            << u"session=42@1790003600 weekly=7@1790086400 "
               u"weekly:GPT-5.3-Codex-Spark=12@1790000100[GPT-5.3-Codex-Spark 5h]"_s;
        QTest::newRow("decimal percent, held to 100; no map")
            << QByteArray(R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":100.4},)"
                          R"("secondary":{"usedPercent":-3.5}}}})")
            << u"session=100 weekly=0"_s;
        QTest::newRow("a reset already passed reads 0% without a reset")
            << QByteArray(
                   R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":88,"resetsAt":1789996400}}}})")
            << u"session=0"_s;
        QTest::newRow("scoped limits in the order of their ids, named by id without a name")
            << QByteArray(R"({"id":2,"result":{"rateLimits":{"limitId":"codex","primary":null},)"
                          R"("rateLimitsByLimitId":{"zeta":{"secondary":{"usedPercent":5}},)"
                          R"("alpha":{"limitId":"alpha-id","secondary":{"usedPercent":6}},"bad":[1]}}})")
            << u"weekly:alpha-id=6[alpha-id week] weekly:zeta=5[zeta week]"_s;
        QTest::newRow("no login: the error answer")
            << QByteArray(
                   R"({"error":{"code":-32600,"message":"codex account authentication required to read rate limits"},"id":2})")
            << u"invalidResponse"_s;
        QTest::newRow("no windows anywhere")
            << QByteArray(R"({"id":2,"result":{"rateLimits":{"primary":null,"secondary":null}}})")
            << u"noLimits"_s;
        QTest::newRow("rateLimits of the wrong type")
            << QByteArray(R"({"id":2,"result":{"rateLimits":[]}})") << u"invalidResponse"_s;
        QTest::newRow("not JSON") << QByteArray("{\"id\":2,\"result\":{") << u"invalidResponse"_s;
        QTest::newRow("percent of the wrong type counts as 0")
            << QByteArray(R"({"id":2,"result":{"rateLimits":{"primary":{"usedPercent":"90"}}}})")
            << u"session=0"_s;
    }

    void appServerAnswer() {
        QFETCH(QByteArray, answer);
        QFETCH(QString, expected);
        QCOMPARE(describe(CodexAppServerRateLimitParser::report(answer, fetchedAt, english)), expected);
    }

    void answerLine_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("answers");
        QTest::newRow("the answer") << QByteArray(R"({"id":2,"result":{}})") << true;
        QTest::newRow("an error answer") << QByteArray(R"({"error":{"code":-32600},"id":2})") << true;
        QTest::newRow("the answer to initialize") << QByteArray(R"({"id":1,"result":{}})") << false;
        QTest::newRow("a notification") << QByteArray(R"({"method":"configWarning","params":{}})") << false;
        QTest::newRow("id as text") << QByteArray(R"({"id":"2","result":{}})") << false;
        QTest::newRow("half a line") << QByteArray("{\"id\":2,\"res") << false;
    }

    void answerLine() {
        QFETCH(QByteArray, line);
        QFETCH(bool, answers);
        QCOMPARE(CodexAppServerRateLimitParser::isRateLimitsAnswer(line), answers);
    }

    void fileRecord_data() {
        QTest::addColumn<QByteArray>("rateLimits");
        QTest::addColumn<QString>("expected");

        QTest::newRow("both windows") << general42 << u"session=42@1790003600 weekly=7@1790086400"_s;
        QTest::newRow("100.4 reads 100, 99.5 reads 100")
            << QByteArray(R"({"primary":{"used_percent":100.4},"secondary":{"used_percent":99.5}})")
            << u"session=100 weekly=100"_s;
        QTest::newRow("a reset an hour ago: 0% and no reset")
            << QByteArray(R"({"primary":{"used_percent":97,"resets_at":1789996400},"secondary":null})")
            << u"session=0"_s;
        QTest::newRow("missing percent reads 0, a damaged reset is none")
            << QByteArray(R"({"secondary":{"resets_at":1e300}})") << u"weekly=0"_s;
        QTest::newRow("null windows") << nullWindows << u"none"_s;
    }

    void fileRecord() {
        QFETCH(QByteArray, rateLimits);
        QFETCH(QString, expected);
        const QDateTime capturedAt = fetchedAt.addSecs(-7200);
        const auto report =
            CodexRateLimitParser::report(QJsonDocument::fromJson(rateLimits).object(), capturedAt, fetchedAt);
        QCOMPARE(report ? describe(*report) : u"none"_s, expected);
        if (report) {
            QCOMPARE(report->capturedAt, std::optional(capturedAt));
            QCOMPARE(report->fetchedAt, fetchedAt);
        }
    }

    // The newest general record wins across the newest files; records of a model, with null
    // windows or damaged are passed over, and so are files past the limit.
    void sessionFiles_data() {
        QTest::addColumn<QList<QByteArray>>("files"); // newest first
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("capturedAt");

        const QByteArray older = tokenCountLine("2026-09-21T15:00:00.000Z", general42);
        const QByteArray newest97 =
            tokenCountLine("2026-09-21T16:00:00Z",
                           R"({"limit_id":"codex","primary":{"used_percent":97.2,"resets_at":1790003600}})");
        QTest::newRow("a model's record and null windows after the general one")
            << QList<QByteArray>{older + tokenCountLine("2026-09-21T16:00:00Z", scoped90) +
                                 tokenCountLine("2026-09-21T16:30:00Z", nullWindows)}
            << u"session=42@1790003600 weekly=7@1790086400"_s << u"2026-09-21T15:00:00Z"_s;
        QTest::newRow("the newest file has none: the second counts")
            << QList<QByteArray>{R"({"timestamp":"2026-09-21T17:00:00Z","type":"session_meta","payload":{}})"
                                 "\n",
                                 older}
            << u"session=42@1790003600 weekly=7@1790086400"_s << u"2026-09-21T15:00:00Z"_s;
        QTest::newRow("the newest record of the newest file")
            << QList<QByteArray>{older + newest97 + "{\"rate_limits\": cut", older}
            << u"session=97@1790003600"_s << u"2026-09-21T16:00:00Z"_s;
        QTest::newRow("no timestamp, no payload: passed over")
            << QList<QByteArray>{R"({"payload":{"rate_limits":{"primary":{"used_percent":1}}}})"
                                 "\n"
                                 R"({"timestamp":"2026-09-21T16:00:00Z","rate_limits":{"primary":{}}})"
                                 "\n"}
            << u"none"_s << QString();
        QTest::newRow("only the 8 newest files are read")
            << QList<QByteArray>{"", "", "", "", "", "", "", "", older} << u"none"_s << QString();
    }

    void sessionFiles() {
        QFETCH(QList<QByteArray>, files);
        QFETCH(QString, expected);
        QFETCH(QString, capturedAt);
        QTemporaryDir sessions;
        for (qsizetype i = 0; i < files.size(); ++i) {
            const QString path = sessions.filePath(u"2026/09/21/rollout-%1.jsonl"_s.arg(i));
            testing::writeFile(path, files[i]);
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(fetchedAt.addSecs(-60 * (i + 1)), QFileDevice::FileModificationTime));
        }
        testing::writeFile(sessions.filePath(u".hidden.jsonl"_s),
                           tokenCountLine("2026-09-21T17:40:00Z", general42));
        const auto report = CodexSessionRateLimits::report(sessions.path(), fetchedAt);
        QCOMPARE(report ? describe(*report) : u"none"_s, expected);
        if (report) {
            QCOMPARE(report->capturedAt->toString(Qt::ISODate), capturedAt);
        }
    }
};

QTEST_GUILESS_MAIN(CodexRateLimitParsersTest)
#include "CodexRateLimitParsersTest.moc"
