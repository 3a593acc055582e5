#include "modules/usage/ClaudeUsageParser.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime fetchedAt = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

// "session=12 weekly=30! weekly:Opus=80 [warning] @2026-09-13T04:00:00Z" per limit, space-separated.
QString describe(const ClaudeUsageParseResult& result) {
    if (std::holds_alternative<ClaudeUsageParserError>(result)) {
        return u"invalid"_s;
    }
    QStringList parts;
    for (const UsageReport::Limit& limit : std::get<UsageReport>(result).limits) {
        QString part = UsageLimitKinds::watchKey(limit.kind) + u'=' + QString::number(limit.percent);
        if (limit.isActive) {
            part += u'!';
        }
        if (!limit.isNormalSeverity()) {
            part += u'[' + limit.severity + u']';
        }
        if (limit.resetsAt) {
            part += u'@' + limit.resetsAt->toString(Qt::ISODateWithMs);
        }
        parts.append(part);
    }
    return parts.join(u' ');
}

} // namespace

class ClaudeUsageParserTest : public QObject {
    Q_OBJECT

private slots:
    void parse_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected");

        QTest::newRow("legacy windows, as the endpoint answers today")
            << QByteArray(
                   R"({"five_hour":{"utilization":37.0,"resets_at":"2026-09-13T03:59:59.622594+00:00"},)"
                   R"("seven_day":{"utilization":12.4,"resets_at":"2026-09-18T15:00:00+00:00"},)"
                   R"("seven_day_oauth_apps":null,"seven_day_opus":{"utilization":0.0,"resets_at":null}})")
            << u"session=37@2026-09-13T03:59:59.623Z weekly=12@2026-09-18T15:00:00.000Z"_s;
        QTest::newRow("limits list in wire order")
            << QByteArray(
                   R"({"limits":[)"
                   R"({"kind":"weekly_all","percent":55.5,"resets_at":"2026-09-18T15:00:00Z"},)"
                   R"({"kind":"session","percent":91,"severity":"warning","is_active":true},)"
                   R"({"kind":"weekly_scoped","percent":20,"scope":{"model":{"display_name":"Opus"}}}]})")
            << u"weekly=56@2026-09-18T15:00:00.000Z session=91![warning] weekly:Opus=20"_s;
        QTest::newRow("the list wins over the windows")
            << QByteArray(R"({"limits":[{"kind":"session","percent":3}],"five_hour":{"utilization":90}})")
            << u"session=3"_s;
        QTest::newRow("an empty list falls back to the windows")
            << QByteArray(R"({"limits":[],"five_hour":{"utilization":9.5}})") << u"session=10"_s;
        QTest::newRow("only unknown kinds fall back to the windows")
            << QByteArray(R"({"limits":[{"kind":"daily","percent":3}],"seven_day":{"utilization":4}})")
            << u"weekly=4"_s;
        QTest::newRow("only unknown kinds and no windows")
            << QByteArray(R"({"limits":[{"kind":"daily","percent":3}]})") << u"invalid"_s;
        QTest::newRow("a short model name reads modelo")
            << QByteArray(
                   R"({"limits":[{"kind":"weekly_scoped","percent":1,"scope":{"model":{"display_name":"Fa"}}}]})")
            << u"weekly:modelo=1"_s;
        QTest::newRow("a missing scope reads modelo")
            << QByteArray(R"({"limits":[{"kind":"weekly_scoped","percent":1}]})") << u"weekly:modelo=1"_s;
        QTest::newRow("an entry without percent is dropped")
            << QByteArray(R"({"limits":[{"kind":"session"},{"kind":"weekly_all","percent":2}]})")
            << u"weekly=2"_s;
        QTest::newRow("an entry without kind is dropped")
            << QByteArray(R"({"limits":[{"percent":50},{"kind":"session","percent":2}]})") << u"session=2"_s;
        QTest::newRow("a bad date leaves the reset out")
            << QByteArray(R"({"five_hour":{"utilization":1,"resets_at":"tomorrow"}})") << u"session=1"_s;
        QTest::newRow("a date without offset is not guessed")
            << QByteArray(R"({"five_hour":{"utilization":1,"resets_at":"2026-09-13T03:59:59"}})")
            << u"session=1"_s;
        QTest::newRow("an impossible date")
            << QByteArray(R"({"five_hour":{"utilization":1,"resets_at":"2026-02-30T03:59:59Z"}})")
            << u"session=1"_s;
        QTest::newRow("a window without utilization is absent")
            << QByteArray(
                   R"({"five_hour":{"resets_at":"2026-09-13T03:59:59Z"},"seven_day":{"utilization":7}})")
            << u"weekly=7"_s;
        QTest::newRow("figures are clamped, not wrapped")
            << QByteArray(
                   R"({"limits":[{"kind":"session","percent":-4},{"kind":"weekly_all","percent":1e300}]})")
            << u"session=0 weekly=1000"_s;

        QTest::newRow("wrong types count as absent")
            << QByteArray(R"({"limits":{"kind":"session"},"five_hour":{"utilization":"37","resets_at":5},)"
                          R"("seven_day":{"utilization":8,"resets_at":["x"]}})")
            << u"weekly=8"_s;
        QTest::newRow("wrong types inside an entry")
            << QByteArray(R"({"limits":[7,"x",{"kind":1,"percent":3},{"kind":"session","percent":"3"},)"
                          R"({"kind":"session","percent":4,"severity":3,"is_active":"yes",)"
                          R"("scope":"x","resets_at":false}]})")
            << u"session=4"_s;

        QTest::newRow("an empty object") << QByteArray("{}") << u"invalid"_s;
        QTest::newRow("an array") << QByteArray("[]") << u"invalid"_s;
        QTest::newRow("not JSON") << QByteArray("<html>502 Bad Gateway</html>") << u"invalid"_s;
        QTest::newRow("nothing") << QByteArray() << u"invalid"_s;
        QTest::newRow("cut short") << QByteArray(R"({"five_hour":{"utilization":37)") << u"invalid"_s;
        QTest::newRow("an error body")
            << QByteArray(R"({"type":"error","error":{"type":"rate_limit_error"}})") << u"invalid"_s;
    }

    void parse() {
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        const ClaudeUsageParseResult result = ClaudeUsageParser::parse(body, fetchedAt);
        QCOMPARE(describe(result), expected);
        if (const auto* report = std::get_if<UsageReport>(&result)) {
            QCOMPARE(report->fetchedAt, fetchedAt);
            QVERIFY(!report->capturedAt);
        }
    }
};

QTEST_GUILESS_MAIN(ClaudeUsageParserTest)
#include "ClaudeUsageParserTest.moc"
