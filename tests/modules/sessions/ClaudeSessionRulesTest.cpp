#include "modules/sessions/ClaudeContextWindow.h"
#include "modules/sessions/ClaudeTranscript.h"
#include "modules/sessions/ModelName.h"
#include "modules/sessions/RelativeText.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

using OptionalText = std::optional<QString>;
Q_DECLARE_METATYPE(OptionalText)

class ClaudeSessionRulesTest : public QObject {
    Q_OBJECT
private slots:
    void modelName_data();
    void modelName();
    void contextWindow_data();
    void contextWindow();
    void configuredModelFamily_data();
    void configuredModelFamily();
    void relativeSince_data();
    void relativeSince();
    void remainingAndDuration_data();
    void remainingAndDuration();
    void headDescription_data();
    void headDescription();
    void headValues();
};

void ClaudeSessionRulesTest::modelName_data() {
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("shown");
    QTest::newRow("dated") << u"claude-opus-4-5-20251101"_s << u"Opus 4.5"_s;
    QTest::newRow("window marker") << u"claude-sonnet-4-6[1m]"_s << u"Sonnet 4.6"_s;
    QTest::newRow("gpt") << u"gpt-5.1-codex-max"_s << u"GPT-5.1 Codex Max"_s;
    QTest::newRow("alias") << u"opus"_s << u"Opus"_s;
    QTest::newRow("alias with window") << u"opus[1m]"_s << u"Opus"_s;
    QTest::newRow("old order") << u"claude-3-5-sonnet-20241022"_s << u"3 5 Sonnet"_s;
    QTest::newRow("no date of 8 digits") << u"claude-haiku-4-5-2025"_s << u"Haiku 4.5.2025"_s;
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("only a prefix") << u"claude-"_s << u"claude-"_s;
    QTest::newRow("leading dash") << u"-4-5"_s << u"-4-5"_s;
    QTest::newRow("bracket first") << u"[1m]"_s << u"[1m]"_s;
    QTest::newRow("upper case family") << u"GPT-4o"_s << u"GPT 4o"_s;
}

void ClaudeSessionRulesTest::modelName() {
    QFETCH(QString, model);
    QFETCH(QString, shown);
    QCOMPARE(ModelName::display(model), shown);
}

void ClaudeSessionRulesTest::contextWindow_data() {
    QTest::addColumn<OptionalText>("model");
    QTest::addColumn<qint64>("maximum");
    QTest::addColumn<OptionalText>("configured");
    QTest::addColumn<qint64>("window");
    const OptionalText none;
    QTest::newRow("nothing known") << none << qint64(0) << none << qint64(200'000);
    QTest::newRow("at the small window") << none << qint64(200'000) << none << qint64(200'000);
    QTest::newRow("just past it") << none << qint64(200'001) << none << qint64(1'000'000);
    QTest::newRow("haiku seen past it")
        << OptionalText(u"claude-haiku-4-5"_s) << qint64(250'000) << none << qint64(1'000'000);
    QTest::newRow("haiku with a large setting") << OptionalText(u"claude-HAIKU-4-5"_s) << qint64(0)
                                                << OptionalText(u"haiku[1m]"_s) << qint64(200'000);
    QTest::newRow("large setting") << OptionalText(u"claude-opus-4-6"_s) << qint64(0)
                                   << OptionalText(u"opus[1m]"_s) << qint64(1'000'000);
    QTest::newRow("marker is case sensitive")
        << none << qint64(0) << OptionalText(u"opus[1M]"_s) << qint64(200'000);
    QTest::newRow("plain setting") << none << qint64(0) << OptionalText(u"sonnet"_s) << qint64(200'000);
}

void ClaudeSessionRulesTest::contextWindow() {
    QFETCH(OptionalText, model);
    QFETCH(qint64, maximum);
    QFETCH(OptionalText, configured);
    QFETCH(qint64, window);
    QCOMPARE(ClaudeContextWindow::resolve(model, maximum, configured), window);
}

void ClaudeSessionRulesTest::configuredModelFamily_data() {
    QTest::addColumn<OptionalText>("configured");
    QTest::addColumn<OptionalText>("model");
    QTest::addColumn<OptionalText>("applies");
    const OptionalText none;
    QTest::newRow("same family") << OptionalText(u"opus[1m]"_s) << OptionalText(u"claude-opus-4-6"_s)
                                 << OptionalText(u"opus[1m]"_s);
    QTest::newRow("other family") << OptionalText(u"opus[1m]"_s) << OptionalText(u"claude-sonnet-4-5"_s)
                                  << none;
    QTest::newRow("unknown family") << OptionalText(u"best"_s) << OptionalText(u"best"_s) << none;
    QTest::newRow("no model") << OptionalText(u"opus"_s) << none << none;
    QTest::newRow("nothing configured") << none << OptionalText(u"claude-opus-4-6"_s) << none;
    // The first family in the order opus, sonnet, haiku, ... is a text's family.
    QTest::newRow("two family names")
        << OptionalText(u"sonnet-opus"_s) << OptionalText(u"opus"_s) << OptionalText(u"sonnet-opus"_s);
}

void ClaudeSessionRulesTest::configuredModelFamily() {
    QFETCH(OptionalText, configured);
    QFETCH(OptionalText, model);
    QFETCH(OptionalText, applies);
    QCOMPARE(ClaudeContextWindow::configuredModel(configured, model), applies);
}

void ClaudeSessionRulesTest::relativeSince_data() {
    QTest::addColumn<double>("secondsAgo");
    QTest::addColumn<QString>("text");
    QTest::newRow("same moment") << 0.0 << u"now"_s;
    QTest::newRow("half a second") << 0.5 << u"now"_s;
    QTest::newRow("seconds") << 42.0 << u"42 sec ago"_s;
    QTest::newRow("a minute") << 60.0 << u"1 min ago"_s;
    QTest::newRow("minutes, cut down") << 299.0 << u"4 min ago"_s;
    QTest::newRow("hours") << 7300.0 << u"2 hr ago"_s;
    QTest::newRow("a day") << 86'400.0 << u"1 day ago"_s;
    QTest::newRow("days") << 3 * 86'400.0 << u"3 days ago"_s;
    QTest::newRow("weeks") << 15 * 86'400.0 << u"2 wk ago"_s;
    QTest::newRow("years") << 800 * 86'400.0 << u"2 yr ago"_s;
    QTest::newRow("future") << -90.0 << u"in 1 min"_s;
}

void ClaudeSessionRulesTest::relativeSince() {
    QFETCH(double, secondsAgo);
    QFETCH(QString, text);
    const QDateTime now(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);
    QCOMPARE(RelativeText::since(now.addMSecs(static_cast<qint64>(-secondsAgo * 1000)), now, Localization()),
             text);
}

void ClaudeSessionRulesTest::remainingAndDuration_data() {
    QTest::addColumn<double>("seconds");
    QTest::addColumn<QString>("remaining");
    QTest::addColumn<QString>("duration");
    QTest::newRow("zero") << 0.0 << u"0m"_s << u"0s"_s;
    QTest::newRow("negative") << -50.0 << u"0m"_s << u"0s"_s;
    QTest::newRow("seconds") << 42.0 << u"1m"_s << u"42s"_s;
    QTest::newRow("rounded minute") << 119.6 << u"2m"_s << u"1m 59s"_s;
    QTest::newRow("whole hours hide minutes") << 7200.0 << u"2h"_s << u"2h"_s;
    QTest::newRow("hours and minutes") << 7500.0 << u"2h 5m"_s << u"2h 5m"_s;
    QTest::newRow("two units at most") << 93'784.0 << u"26h 3m"_s << u"1d 2h"_s;
    QTest::newRow("a gap ends the count") << 86'700.0 << u"24h 5m"_s << u"1d"_s;
    QTest::newRow("not a number") << std::nan("") << u"0m"_s << u"0s"_s;
    QTest::newRow("enormous") << 1e300 << QString() << QString();
}

void ClaudeSessionRulesTest::remainingAndDuration() {
    QFETCH(double, seconds);
    QFETCH(QString, remaining);
    QFETCH(QString, duration);
    const QString left = RelativeText::remaining(seconds, Localization());
    const QString length = RelativeText::duration(seconds, Localization());
    if (remaining.isEmpty()) {
        // Only that it gives some text, without overflowing.
        QVERIFY(!left.isEmpty() && !length.isEmpty());
        return;
    }
    QCOMPARE(left, remaining);
    QCOMPARE(length, duration);
}

void ClaudeSessionRulesTest::headDescription_data() {
    QTest::addColumn<QString>("head");
    QTest::addColumn<OptionalText>("description");
    const QString longText(100, u'a');
    QTest::newRow("text content") << uR"({"type":"user","message":{"content":"Find the bug\nand fix it"}})"_s
                                  << OptionalText(u"Find the bug"_s);
    QTest::newRow("array content")
        << uR"({"type":"user","message":{"content":[{"type":"image"},{"type":"text","text":"Look"}]}})"_s
        << OptionalText(u"Look"_s);
    QTest::newRow("tool results only, then text")
        << uR"({"type":"user","message":{"content":[{"type":"tool_result"}]}})"_s + u'\n' +
               uR"({"type":"user","message":{"content":"Second"}})"_s
        << OptionalText(u"Second"_s);
    QTest::newRow("cut to 60") << uR"({"type":"user","message":{"content":")"_s + longText + uR"("}})"_s
                               << OptionalText(QString(60, u'a'));
    QTest::newRow("assistant first") << uR"({"type":"assistant","message":{"content":"Hi"}})"_s
                                     << OptionalText();
    QTest::newRow("cut line") << uR"({"type":"user","message":{"content":"Fi)"_s << OptionalText();
    QTest::newRow("garbage") << u"\x01\x02{{{"_s << OptionalText();
}

void ClaudeSessionRulesTest::headDescription() {
    QFETCH(QString, head);
    QFETCH(OptionalText, description);
    QCOMPARE(ClaudeTranscript::headDescription(head), description);
}

void ClaudeSessionRulesTest::headValues() {
    const QString head =
        uR"({"type":"summary","timestamp":"yesterday"})"_s + u'\n' +
        uR"({"type":"custom-title","customTitle":"first","timestamp":"2026-03-01T10:00:00Z"})"_s + u'\n' +
        uR"({"type":"custom-title","customTitle":"second"})"_s + u'\n' +
        uR"({"type":"user","customTitle":"not this type"})"_s + u'\n' +
        uR"({"type":"custom-title","customTitle":7})"_s + u'\n' +
        uR"({"type":"custom-title","customTitle":"cut)"_s;
    QCOMPARE(ClaudeTranscript::lastValue("customTitle"_L1, "custom-title"_L1, head), u"second"_s);
    QCOMPARE(ClaudeTranscript::lastValue("agentColor"_L1, "agent-color"_L1, head), std::nullopt);
    QCOMPARE(ClaudeTranscript::startedAt(head), QDateTime(QDate(2026, 3, 1), QTime(10, 0), Qt::UTC));
    QCOMPARE(ClaudeTranscript::startedAt(u"{}\nnot json"_s), std::nullopt);
}

QTEST_GUILESS_MAIN(ClaudeSessionRulesTest)
#include "ClaudeSessionRulesTest.moc"
