// The status line's figures in the session rows and the usage gauge, read from payloads as Claude
// Code sends them.
#include "modules/usage/ClaudeStatusLineUse.h"

#include <QJsonDocument>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime at = QDateTime::fromString(u"2026-11-25T10:00:00Z"_s, Qt::ISODate);

QHash<QString, ClaudeStatusLineReading> readings(const QByteArray& payload, const QDateTime& when = at) {
    ClaudeStatusLineStore store;
    store.record(QJsonDocument::fromJson(payload).object(), when);
    return store.sessions();
}

UsageReport endpointReport(const QDateTime& fetchedAt) {
    UsageReport report;
    report.fetchedAt = fetchedAt;
    report.limits = {{usage_kind::Session{}, 10}, {usage_kind::WeeklyScoped{u"Opus"_s}, 55}};
    return report;
}

QString describe(const std::optional<UsageReport>& report) {
    if (!report) {
        return u"nothing"_s;
    }
    QStringList parts;
    for (const UsageReport::Limit& limit : report->limits) {
        parts.append(UsageLimitKinds::watchKey(limit.kind) + u'=' + QString::number(limit.percent));
    }
    return parts.join(u' ');
}

} // namespace

class ClaudeStatusLineUseTest : public QObject {
    Q_OBJECT
private slots:
    void contextComesFromTheStatusLine_data() {
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<qint64>("tokens");
        QTest::addColumn<std::optional<qint64>>("window");
        QTest::newRow("reported") << QByteArray(R"({"session_id":"s","context_window":{"used_percentage":25,)"
                                                R"("context_window_size":200000}})")
                                  << qint64{50000} << std::optional<qint64>(200000);
        QTest::newRow("exact tokens")
            << QByteArray(R"({"session_id":"s","context_window":{"used_percentage":2,)"
                          R"("context_window_size":1000000,"current_usage":{"input_tokens":100,)"
                          R"("output_tokens":10,"cache_creation_input_tokens":500,)"
                          R"("cache_read_input_tokens":20000}}})")
            << qint64{20600} << std::optional<qint64>(1000000);
        // The first payload of a session has no percentage yet: the transcript's figure stands.
        QTest::newRow("null percentage")
            << QByteArray(
                   R"({"session_id":"s","context_window":{"used_percentage":null,"context_window_size":200000}})")
            << qint64{1234} << std::optional<qint64>(100000);
        QTest::newRow("another session")
            << QByteArray(
                   R"({"session_id":"t","context_window":{"used_percentage":25,"context_window_size":200000}})")
            << qint64{1234} << std::optional<qint64>(100000);
    }

    void contextComesFromTheStatusLine() {
        QFETCH(QByteArray, payload);
        QFETCH(qint64, tokens);
        QFETCH(std::optional<qint64>, window);
        AgentSession session;
        session.id = u"s"_s;
        session.contextTokens = 1234;
        session.contextWindow = 100000;
        const QList<AgentSession> shown = ClaudeStatusLineUse::sessions({session}, readings(payload));
        QCOMPARE(shown.first().contextTokens, tokens);
        QCOMPARE(shown.first().contextWindow, window);
    }

    void limitsReachTheGauge_data() {
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QDateTime>("endpointFetched");
        QTest::addColumn<QString>("expected");
        const QByteArray limits =
            R"({"session_id":"s","rate_limits":{"five_hour":{"used_percentage":37.6,"resets_at":1795618800},)"
            R"("seven_day":{"used_percentage":12,"resets_at":1795964400}}})";
        QTest::newRow("newer than the endpoint, its model limit kept")
            << limits << at.addSecs(-60) << u"session=38 weekly=12 weekly:Opus=55"_s;
        QTest::newRow("no endpoint") << limits << QDateTime() << u"session=38 weekly=12"_s;
        QTest::newRow("older than the endpoint") << limits << at.addSecs(60) << u"nothing"_s;
        QTest::newRow("an API key login has none")
            << QByteArray(R"({"session_id":"s","context_window":{"used_percentage":5}})") << QDateTime()
            << u"nothing"_s;
        QTest::newRow("a passed reset starts again")
            << QByteArray(
                   R"({"session_id":"s","rate_limits":{"five_hour":{"used_percentage":90,"resets_at":1000}}})")
            << QDateTime() << u"session=0"_s;
    }

    void limitsReachTheGauge() {
        QFETCH(QByteArray, payload);
        QFETCH(QDateTime, endpointFetched);
        QFETCH(QString, expected);
        const std::optional<UsageReport> current =
            endpointFetched.isValid() ? std::optional(endpointReport(endpointFetched)) : std::nullopt;
        const auto report = ClaudeStatusLineUse::report(current, readings(payload));
        QCOMPARE(describe(report), expected);
        // Once on show, the same reading gives nothing new.
        if (report) {
            QCOMPARE(ClaudeStatusLineUse::report(report, readings(payload)), std::nullopt);
        }
    }
};

QTEST_GUILESS_MAIN(ClaudeStatusLineUseTest)
#include "ClaudeStatusLineUseTest.moc"
