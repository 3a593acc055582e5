#include "app/logviewer/LogEntry.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class LogLineParserTest : public QObject {
    Q_OBJECT
private slots:
    void parses_data();
    void parses();
    void aGoodLineKeepsItsTimeAndZone();
    void anOverlongLineIsCut();
    void cutNeverSplitsASurrogatePair();
};

void LogLineParserTest::parses_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("category");
    QTest::addColumn<QString>("level");
    QTest::addColumn<QString>("message");
    const int line = int(LogEntry::Kind::line);
    const int notice = int(LogEntry::Kind::notice);
    const int damaged = int(LogEntry::Kind::damaged);

    QTest::newRow("a line")
        << "2026-03-14T09:26:53.589+01:00 panel info detail.show size=320x240 animated=yes"_ba << line
        << u"panel"_s << u"info"_s << u"detail.show size=320x240 animated=yes"_s;
    QTest::newRow("utc zone") << "2026-03-14T08:26:53.589Z settings error loginItem.failed"_ba << line
                              << u"settings"_s << u"error"_s << u"loginItem.failed"_s;
    QTest::newRow("carriage return before the newline")
        << "2026-03-14T09:26:53.589+01:00 app debug launch\r"_ba << line << u"app"_s << u"debug"_s
        << u"launch"_s;
    QTest::newRow("bad utf-8 in a message stays a line")
        << "2026-03-14T09:26:53.589+01:00 hooks info bad=\xff\xfe"_ba << line << u"hooks"_s << u"info"_s
        << u"bad=\uFFFD\uFFFD"_s;
    QTest::newRow("dropped lines notice")
        << "--- 2 diagnostic lines dropped: the file queue was full ---"_ba << notice << QString()
        << QString() << u"--- 2 diagnostic lines dropped: the file queue was full ---"_s;
    QTest::newRow("crash marker") << "epoch=1767225600 crash error signal name=SIGBUS number=7"_ba << line
                                  << u"crash"_s << u"error"_s << u"signal name=SIGBUS number=7"_s;
    QTest::newRow("marker with a wrong name")
        << "epoch=1767225600 crash error signal name=SIGBUS number=10"_ba << damaged << QString() << QString()
        << u"epoch=1767225600 crash error signal name=SIGBUS number=10"_s;
    QTest::newRow("no message") << "2026-03-14T09:26:53.589+01:00 panel info"_ba << damaged << QString()
                                << QString() << u"2026-03-14T09:26:53.589+01:00 panel info"_s;
    QTest::newRow("blank message") << "2026-03-14T09:26:53.589+01:00 panel info   "_ba << damaged << QString()
                                   << QString() << u"2026-03-14T09:26:53.589+01:00 panel info   "_s;
    QTest::newRow("unknown category")
        << "2026-03-14T09:26:53.589+01:00 kernel info boot"_ba << damaged << QString() << QString()
        << u"2026-03-14T09:26:53.589+01:00 kernel info boot"_s;
    QTest::newRow("unknown level") << "2026-03-14T09:26:53.589+01:00 app warning boot"_ba << damaged
                                   << QString() << QString()
                                   << u"2026-03-14T09:26:53.589+01:00 app warning boot"_s;
    QTest::newRow("level in capitals")
        << "2026-03-14T09:26:53.589+01:00 app INFO boot"_ba << damaged << QString() << QString()
        << u"2026-03-14T09:26:53.589+01:00 app INFO boot"_s;
    QTest::newRow("impossible date") << "2026-13-44T09:26:53.589+01:00 app info boot"_ba << damaged
                                     << QString() << QString()
                                     << u"2026-13-44T09:26:53.589+01:00 app info boot"_s;
    QTest::newRow("cut head of a line") << ":53.589+01:00 app info boot"_ba << damaged << QString()
                                        << QString() << u":53.589+01:00 app info boot"_s;
    QTest::newRow("control bytes are written out")
        << "\x1b[31mred\x00\x7f"_ba << damaged << QString() << QString() << u"\\x1B[31mred\\x00\\x7F"_s;
    QTest::newRow("tabs stay") << "a\tb"_ba << damaged << QString() << QString() << u"a\tb"_s;
    QTest::newRow("dashes alone are no notice")
        << "--- ---"_ba << damaged << QString() << QString() << u"--- ---"_s;
    QTest::newRow("empty") << QByteArray() << damaged << QString() << QString() << QString();
}

void LogLineParserTest::parses() {
    QFETCH(QByteArray, bytes);
    QFETCH(int, kind);
    QFETCH(QString, category);
    QFETCH(QString, level);
    QFETCH(QString, message);
    const LogEntry entry = LogLineParser::parse(bytes);
    QCOMPARE(int(entry.kind), kind);
    QCOMPARE(entry.message, message);
    if (entry.kind == LogEntry::Kind::line) {
        QCOMPARE(rawValue(entry.category), category);
        QCOMPARE(rawValue(entry.level), level);
        QVERIFY(entry.time.isValid());
    }
}

void LogLineParserTest::aGoodLineKeepsItsTimeAndZone() {
    const LogEntry entry =
        LogLineParser::parse("2026-03-14T09:26:53.589+01:00 card info card.answer via=card");
    QCOMPARE(entry.timestamp, u"2026-03-14T09:26:53.589+01:00"_s);
    QCOMPARE(entry.time.toUTC(), QDateTime(QDate(2026, 3, 14), QTime(8, 26, 53, 589), Qt::UTC));
}

void LogLineParserTest::anOverlongLineIsCut() {
    const QByteArray bytes = "2026-03-14T09:26:53.589+01:00 app info " + QByteArray(50'000, 'x');
    const LogEntry entry = LogLineParser::parse(bytes);
    QCOMPARE(entry.kind, LogEntry::Kind::line);
    QVERIFY(entry.message.size() <= LogLineParser::shownLimit + 1);
    QVERIFY(entry.message.endsWith(u'…'));
    // A very long line of multi-byte characters is cut too, and still ends visibly cut.
    const QString wide = LogLineParser::printable(QByteArray(100'000, '\xc3'));
    QCOMPARE(wide.size(), LogLineParser::shownLimit + 1);
}

void LogLineParserTest::cutNeverSplitsASurrogatePair() {
    QByteArray bytes;
    for (int i = 0; i < LogLineParser::shownLimit; ++i) {
        bytes += "\xf0\x9f\x98\x80"; // one emoji: two UTF-16 units
    }
    const QString text = LogLineParser::printable(bytes);
    QVERIFY(text.endsWith(u'…'));
    QVERIFY(!text.chopped(1).back().isHighSurrogate());
}

QTEST_GUILESS_MAIN(LogLineParserTest)
#include "LogLineParserTest.moc"
