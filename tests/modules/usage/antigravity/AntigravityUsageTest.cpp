#include "modules/usage/antigravity/AntigravityUsageModule.h"
#include "modules/usage/antigravity/AntigravityUsageParser.h"

#include <QJsonDocument>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime fetchedAt(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);

QByteArray answer(const QByteArray& groups, const QByteArray& status = "\"SUCCESS\"") {
    return "{\"status\":" + status + ",\"command\":{\"data\":{\"groups\":" + groups + "}}}";
}

// A limit as "<title> <percent>", for comparing lists at a glance.
QStringList described(const UsageReport& report) {
    QStringList lines;
    for (const auto& limit : report.limits) {
        lines.append(std::get<usage_kind::WeeklyScoped>(limit.kind).name + u' ' +
                     QString::number(limit.percent));
    }
    return lines;
}

} // namespace

class AntigravityUsageTest : public QObject {
    Q_OBJECT
private slots:
    void readsGroupsAndBuckets_data() {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QStringList>("limits");

        QTest::newRow("untouched and nearly spent")
            << answer(R"([{"name":"Gemini models","buckets":[{"id":"w","remainingFraction":1}]},
                          {"name":"Claude and GPT-OSS Models","buckets":[{"id":"w","remainingFraction":0.125}]}])")
            << QStringList{u"Gemini 0"_s, u"Claude/GPT-OSS 88"_s};
        QTest::newRow("two buckets carry their windows")
            << answer(R"([{"name":"Gemini and Claude models","buckets":[
                   {"id":"a","window":"weekly","remainingFraction":0.5},{"id":"b","remainingFraction":0.25}]}])")
            << QStringList{u"Gemini/Claude weekly 50"_s, u"Gemini/Claude b 75"_s};
        QTest::newRow("a bucket without its fraction is dropped alone")
            << answer(R"([{"name":"Gemini","buckets":[{"id":"a","window":"5h"},
                   {"id":"b","window":"week","remainingFraction":0.9},{"id":"c","remainingFraction":"0.1"}]}])")
            << QStringList{u"Gemini week 10"_s};
        QTest::newRow("no name: the bucket's id, else ?")
            << answer(
                   R"([{"buckets":[{"id":"flash","remainingFraction":0.4}]},{"name":" ","buckets":[{"remainingFraction":0}]}])")
            << QStringList{u"flash 60"_s, u"? 100"_s};
        QTest::newRow("log lines before the answer")
            << "Loaded cached credentials.\n{not json\n  " +
                   answer(R"([{"name":"Gemini","buckets":[{"remainingFraction":0.75}]}])") + "\nbye\n"
            << QStringList{u"Gemini 25"_s};
        // Only a whole output can be one answer over several lines.
        QTest::newRow("an answer written over several lines")
            << QJsonDocument::fromJson(answer(R"([{"name":"G","buckets":[{"remainingFraction":0.5}]}])"))
                   .toJson(QJsonDocument::Indented)
            << QStringList{u"G 50"_s};
        QTest::newRow("no status, with groups")
            << QByteArray(R"({"command":{"data":{"groups":[]}}})") << QStringList{};
    }
    void readsGroupsAndBuckets() {
        QFETCH(QByteArray, output);
        QFETCH(QStringList, limits);
        const auto parsed = AntigravityUsageParser::parse(output, fetchedAt);
        QVERIFY(std::holds_alternative<UsageReport>(parsed));
        QCOMPARE(described(std::get<UsageReport>(parsed)), limits);
        QCOMPARE(std::get<UsageReport>(parsed).fetchedAt, fetchedAt);
    }

    void resetTimesAndTheRest() {
        const auto parsed = AntigravityUsageParser::parse(
            answer(
                R"([{"name":"G","buckets":[{"id":"a","remainingFraction":0.5,"resetTime":"2026-03-04T08:00:00.125Z"},
                   {"id":"b","remainingFraction":0.5,"resetTime":"2026-03-04T08:00:00+01:00"},
                   {"id":"c","remainingFraction":0.5,"resetTime":"next week"}]}])"),
            fetchedAt);
        const auto& limits = std::get<UsageReport>(parsed).limits;
        QCOMPARE(limits.at(0).resetsAt, QDateTime(QDate(2026, 3, 4), QTime(8, 0, 0, 125), Qt::UTC));
        QCOMPARE(limits.at(1).resetsAt, QDateTime(QDate(2026, 3, 4), QTime(7, 0), Qt::UTC));
        QCOMPARE(limits.at(2).resetsAt, std::nullopt);
        QCOMPARE(limits.at(0).severity, u"normal"_s);
        QVERIFY(!limits.at(0).isActive);
    }

    void failures_data() {
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<AntigravityUsageParserError>("error");
        using Kind = AntigravityUsageParserError::Kind;
        QTest::newRow("success without groups") << QByteArray(R"({"status":"SUCCESS","command":{"data":{}}})")
                                                << AntigravityUsageParserError{Kind::invalidPayload, {}};
        QTest::newRow("a failed command")
            << QByteArray(R"({"status":"ERROR","error":"not signed in"})")
            << AntigravityUsageParserError{Kind::commandFailed, u"not signed in"_s};
        QTest::newRow("a failed command without text")
            << QByteArray(R"({"status":"UNAUTHENTICATED"})")
            << AntigravityUsageParserError{Kind::commandFailed, {}};
        QTest::newRow("nothing but logs") << QByteArray("starting\nerror: no network\n")
                                          << AntigravityUsageParserError{Kind::invalidPayload, {}};
        QTest::newRow("status of the wrong type")
            << QByteArray(R"({"status":1,"command":{"data":{"groups":[]}}})")
            << AntigravityUsageParserError{Kind::invalidPayload, {}};
        QTest::newRow("empty") << QByteArray() << AntigravityUsageParserError{Kind::invalidPayload, {}};
    }
    void failures() {
        QFETCH(QByteArray, output);
        QFETCH(AntigravityUsageParserError, error);
        const auto parsed = AntigravityUsageParser::parse(output, fetchedAt);
        QVERIFY(std::holds_alternative<AntigravityUsageParserError>(parsed));
        QCOMPARE(std::get<AntigravityUsageParserError>(parsed), error);
    }

    // The widget's words when nothing was ever measured.
    void theWidgetWithoutAReading_data() {
        QTest::addColumn<bool>("installed");
        QTest::addColumn<QString>("subtitle");
        QTest::newRow("tool missing")
            << false << u"install the Antigravity CLI (agy) and sign in to read the quota"_s;
        QTest::newRow("tool present") << true << u"session expired; run 'agy' and sign in again"_s;
    }
    void theWidgetWithoutAReading() {
        QFETCH(bool, installed);
        QFETCH(QString, subtitle);
        UsageStore store;
        store.updateErrorDescription(u"session expired; run 'agy' and sign in again"_s);
        const ManualClock clock(fetchedAt);
        AntigravityUsageModule module(UsageMeterServices{store, clock, {}},
                                      [installed] { return installed; });
        ModuleContext context;
        const auto snapshot = module.handle(HostEvent::moduleDataChanged, context);
        QVERIFY(snapshot);
        QCOMPARE(snapshot->variants.compact.value, u"usage unavailable"_s);
        QCOMPARE(snapshot->variants.card->subtitle, subtitle);
        QCOMPARE(snapshot->variants.detail->title, u"Antigravity plan usage"_s);
        QCOMPARE(module.id(), u"tessary.antigravity-usage"_s);
    }
};

QTEST_GUILESS_MAIN(AntigravityUsageTest)
#include "AntigravityUsageTest.moc"
