#include "core/diagnostics/CrashReports.h"

#include "core/diagnostics/CrashExceptionDeduplicator.h"
#include "core/diagnostics/CrashMarker.h"
#include "core/diagnostics/CrashReportText.h"
#include "core/diagnostics/DiagnosticsBundle.h"

#include <QTest>

#include <array>

using namespace tessary;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::optional<tessary::CrashMarker::Parsed>)

class CrashReportsTest : public QObject {
    Q_OBJECT
private slots:
    void renderedMarker_data() {
        QTest::addColumn<int>("signal");
        QTest::addColumn<qlonglong>("epoch");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("SIGILL") << 4 << 1LL
                                << QByteArray("epoch=1 crash error signal name=SIGILL number=4\n");
        QTest::newRow("SIGTRAP") << 5 << 0LL
                                 << QByteArray("epoch=0 crash error signal name=SIGTRAP number=5\n");
        QTest::newRow("SIGABRT") << 6 << 1767225600LL
                                 << QByteArray("epoch=1767225600 crash error signal name=SIGABRT number=6\n");
        QTest::newRow("SIGBUS is 7") << 7 << 9LL
                                     << QByteArray("epoch=9 crash error signal name=SIGBUS number=7\n");
        QTest::newRow("SIGUSR1 is 10")
            << 10 << 9LL << QByteArray("epoch=9 crash error signal name=SIGUSR1 number=10\n");
        QTest::newRow("SIGSEGV") << 11 << 9LL
                                 << QByteArray("epoch=9 crash error signal name=SIGSEGV number=11\n");
        QTest::newRow("below the table")
            << 3 << 9LL << QByteArray("epoch=9 crash error signal name=other number=3\n");
        QTest::newRow("above the table")
            << 12 << 9LL << QByteArray("epoch=9 crash error signal name=other number=12\n");
        QTest::newRow("negative epoch")
            << 11 << -5LL << QByteArray("epoch=0 crash error signal name=SIGSEGV number=11\n");
    }
    void renderedMarker() {
        QFETCH(int, signal);
        QFETCH(qlonglong, epoch);
        QFETCH(QByteArray, expected);
        std::array<char, CrashMarker::capacity> buffer{};
        const std::size_t written = CrashMarker::render(signal, epoch, buffer.data(), buffer.size());
        QCOMPARE(QByteArray(buffer.data(), static_cast<qsizetype>(written)), expected);
        // The line reads back as what was written.
        const auto parsed = CrashMarker::parse(expected.chopped(1));
        QVERIFY(parsed);
        QCOMPARE(parsed->signal, signal);
        QCOMPARE(parsed->at.toSecsSinceEpoch(), std::max<qlonglong>(epoch, 0));
    }

    void shortBufferCutsWithoutOverrun() {
        for (std::size_t capacity = 0; capacity < 60; ++capacity) {
            std::array<char, 64> buffer{};
            buffer.fill('!');
            const std::size_t written = CrashMarker::render(11, 1767225600, buffer.data(), capacity);
            QCOMPARE(written, capacity);
            QCOMPARE(buffer.at(capacity), '!');
        }
    }

    void parsedMarker_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("read");
        QTest::newRow("marker") << QByteArray("epoch=12 crash error signal name=SIGBUS number=7") << true;
        QTest::newRow("with CR") << QByteArray("epoch=12 crash error signal name=SIGBUS number=7\r") << true;
        QTest::newRow("name of another number")
            << QByteArray("epoch=12 crash error signal name=SIGBUS number=10") << false;
        QTest::newRow("cut") << QByteArray("epoch=12 crash error signal name=SIGB") << false;
        QTest::newRow("no digits") << QByteArray("epoch= crash error signal name=SIGBUS number=7") << false;
        QTest::newRow("sign") << QByteArray("epoch=-1 crash error signal name=SIGBUS number=7") << false;
        QTest::newRow("huge epoch") << QByteArray(
                                           "epoch=999999999999 crash error signal name=other number=99")
                                    << false;
        QTest::newRow("log line") << QByteArray("2026-03-14T09:26:53.589+01:00 app info launch") << false;
        QTest::newRow("empty") << QByteArray() << false;
    }
    void parsedMarker() {
        QFETCH(QByteArray, line);
        QFETCH(bool, read);
        QCOMPARE(CrashMarker::parse(line).has_value(), read);
    }

    void redaction_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("plain words") << QByteArray("basic_string: construct null not valid")
                                     << QByteArray("basic_string: construct null not valid");
        QTest::newRow("home path") << QByteArray("cannot open /home/ana/secret-plan.txt")
                                   << QByteArray("cannot open /#/#/#-#.#");
        QTest::newRow("token") << QByteArray("bad token ghp_a1B2c3D4e5") << QByteArray("bad token #");
        QTest::newRow("capitals and digits")
            << QByteArray("Ana wrote 42 files") << QByteArray("# wrote # files");
        QTest::newRow("non-ASCII") << QByteArray("contraseña mal") << QByteArray("# mal");
        QTest::newRow("assignment") << QByteArray("key=hunter") << QByteArray("key=#");
        QTest::newRow("control bytes") << QByteArray("a\nb\x1b") << QByteArray("a b ");
    }
    void redaction() {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, expected);
        QCOMPARE(CrashReportText::redacted(text), expected);
        // A bounded buffer is never overrun.
        std::array<char, 8> small{};
        small.fill('!');
        QVERIFY(CrashReportText::redact(text, small.data(), 2, 6) <= 6);
        QCOMPARE(small.at(6), '!');
        QCOMPARE(small.at(1), '!');
    }

    void exceptionBlock() {
        const QString block = CrashReportText::exceptionBlock(u"header"_s, u"open\n/home/ana/x failed"_s,
                                                              {u"frame one"_s}, std::nullopt);
        QCOMPARE(block, u"header\n  reason open /#/#/# failed\n  stack:\n    frame one\n"
                        u"  recent lines: unavailable (lock busy)\n  end of exception\n"_s);
        QVERIFY(CrashReportText::exceptionBlock(u"h"_s, std::nullopt, {}, QStringList{u"l"_s})
                    .contains(u"  reason (none)\n  stack:\n  recent lines (1)\n    l\n"_s));
    }

    void deduplication() {
        CrashExceptionDeduplicator deduplicator;
        const QDateTime start = QDateTime::fromSecsSinceEpoch(1000, Qt::UTC);
        int first = 0;
        int second = 0;
        QVERIFY(deduplicator.shouldRecord(&first, start));
        QVERIFY(!deduplicator.shouldRecord(&first, start.addMSecs(4999)));
        QVERIFY(deduplicator.shouldRecord(&first, start.addMSecs(5000)));
        QVERIFY(deduplicator.shouldRecord(&second, start.addMSecs(5001)));
    }

    void coredumpJson_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<int>("count");
        const QByteArray entry = R"({"time":1767225600123456,"pid":42,"uid":1000,"gid":1000,"sig":11,)"
                                 R"("corefile":"present","exe":"/usr/bin/tessary","size":1024})";
        QTest::newRow("one") << QByteArray("[" + entry + "]") << 1;
        QTest::newRow("another program")
            << QByteArray(R"([{"time":1767225600123456,"sig":6,"exe":"/usr/bin/tessary-helper"}])") << 0;
        QTest::newRow("no time") << QByteArray(R"([{"sig":6,"exe":"/usr/bin/tessary"}])") << 0;
        QTest::newRow("signal as text")
            << QByteArray(R"([{"time":1,"sig":"6","exe":"/usr/bin/tessary"}])") << 0;
        QTest::newRow("not an array") << QByteArray(R"({"time":1,"sig":6,"exe":"/usr/bin/tessary"})") << 0;
        QTest::newRow("cut") << QByteArray("[" + entry.chopped(5)) << 0;
        QTest::newRow("entries of other kinds") << QByteArray("[1, null, \"x\", " + entry + "]") << 1;
        QTest::newRow("no entries message") << QByteArray("No coredumps found.") << 0;
    }
    void coredumpJson() {
        QFETCH(QByteArray, json);
        QFETCH(int, count);
        const auto reports = CrashReports::fromCoredumpJson(json, u"tessary"_s);
        QCOMPARE(static_cast<int>(reports.size()), count);
        if (count == 1) {
            QCOMPARE(reports.front(), (CrashReport{QDateTime::fromMSecsSinceEpoch(1767225600123LL, Qt::UTC),
                                                   11, CrashReport::Source::coredump}));
        }
    }

    void markersInLog() {
        const QByteArray log = "2026-01-01T00:00:00.000+00:00 app info launch\n"
                               "epoch=1767225600 crash error signal name=SIGSEGV number=11\n"
                               "\xff\xfe garbage\n"
                               "epoch=1767225700 crash error signal name=SIGABRT number=6";
        const auto reports = CrashReports::fromLog(log);
        QCOMPARE(reports.size(), std::size_t{2});
        QCOMPARE(reports.at(1).signal, 6);
    }

    void previousRun() {
        const QDateTime launch = QDateTime::fromMSecsSinceEpoch(1767225600500LL, Qt::UTC);
        const CrashReport old{launch.addSecs(-3600), 11, CrashReport::Source::marker};
        const CrashReport recent{launch.addSecs(-60), 6, CrashReport::Source::marker};
        using namespace PreviousRunCheck;
        // A first run reports nothing that came before.
        QCOMPARE(CrashReports::previousRun({old}, std::nullopt, launch), Outcome(FirstRun{old.at}));
        const auto empty = CrashReports::previousRun({}, std::nullopt, launch);
        QVERIFY(std::get<FirstRun>(empty).markSeen < launch);
        // A crash within the second of the first launch is still newer than the mark.
        const CrashReport sameSecond{QDateTime::fromSecsSinceEpoch(launch.toSecsSinceEpoch(), Qt::UTC), 7,
                                     CrashReport::Source::marker};
        QCOMPARE(CrashReports::previousRun({sameSecond}, std::get<FirstRun>(empty).markSeen, launch),
                 Outcome(Crashed{sameSecond}));
        QCOMPARE(CrashReports::previousRun({old, recent}, old.at, launch), Outcome(Crashed{recent}));
        QCOMPARE(CrashReports::previousRun({old, recent}, recent.at, launch), Outcome(NothingNew{}));
    }

    void bundleFileName() {
        const QDateTime date(QDate(2026, 3, 4), QTime(9, 5));
        QCOMPARE(DiagnosticsBundle::defaultFileName(date), u"Tessary-diagnostics-2026-03-04-0905.zip"_s);
    }

    void cleanedLog_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("expected");
        const QByteArray stamp = "2026-03-14T09:26:53.589+01:00 ";
        QTest::newRow("log line") << stamp + "app info launch version=0.1.0 verbose=false"
                                  << stamp + "app info launch version=0.1.0 verbose=false";
        QTest::newRow("marker") << QByteArray("epoch=12 crash error signal name=SIGBUS number=7")
                                << QByteArray("epoch=12 crash error signal name=SIGBUS number=7");
        QTest::newRow("home path in a field") << stamp + "app info launch file=/home/ana/notes.txt"
                                              << stamp + "app info launch (fields left out)";
        QTest::newRow("token in a field") << stamp + "hooks info auth token=ghp_0123456789abcdefABCDEF"
                                          << stamp + "hooks info auth (fields left out)";
        QTest::newRow("prompt after the event") << stamp + "app info prompt please delete my repository"
                                                << stamp + "app info prompt (fields left out)";
        QTest::newRow("planted text")
            << QByteArray("refactor /home/ana/project with ghp_secret") << QByteArray("(line left out)");
        QTest::newRow("unknown category") << stamp + "secrets info launch" << QByteArray("(line left out)");
        QTest::newRow("exception line")
            << QByteArray("  reason open /home/ana") << QByteArray("  reason open /#/#");
    }
    void cleanedLog() {
        QFETCH(QByteArray, line);
        QFETCH(QByteArray, expected);
        QCOMPARE(DiagnosticsBundle::cleanedLog(line), expected + '\n');
    }

    void aboutTextCarriesNoNames() {
        TessarySettings settings;
        settings.displays.insert(
            u"DP-1"_s,
            DisplaySettings{u"Ana's Studio Display"_s, {u"github"_s}, DisplaySettings::Visibility::always});
        const QString about = DiagnosticsBundle::aboutText({{u"version"_s, u"0.1.0"_s}}, settings);
        QVERIFY(about.startsWith(u"Tessary diagnostics\nversion: 0.1.0\n"_s));
        QVERIFY(about.contains(u"displays remembered: 1, always visible: 1, widgets off per display: 1"_s));
        QVERIFY(!about.contains(u"Ana"_s));
        QVERIFY(!about.contains(u"DP-1"_s));
    }
};

QTEST_GUILESS_MAIN(CrashReportsTest)
#include "CrashReportsTest.moc"
