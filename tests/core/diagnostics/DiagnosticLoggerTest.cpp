#include "core/diagnostics/DiagnosticLogger.h"

#include "CapturingSystemLog.h"
#include "core/diagnostics/DiagnosticLog.h"
#include "support/TestFiles.h"

#include <QTemporaryDir>
#include <QTest>

#include <thread>

using namespace tessary;
using namespace Qt::StringLiterals;
using tessary::testing::readFile;

struct tessary::DiagnosticLoggerProbe {
    static std::unique_lock<std::mutex> hold(DiagnosticLogger& logger) {
        return std::unique_lock(logger.m_mutex);
    }
};

namespace {

// 2026-03-14T08:26:53.589Z
const QDateTime sampleTime = QDateTime::fromMSecsSinceEpoch(1'773'476'813'589, Qt::UTC);

} // namespace

class DiagnosticLoggerTest : public QObject {
    Q_OBJECT
private slots:
    void message_data();
    void message();
    void timestamp_data();
    void timestamp();
    void localTimeFollowsTheZoneOfTheMoment();
    void ringBuffer_data();
    void ringBuffer();
    void debugWithVerboseOffDoesNotBuildItsFields();
    void mirrorsOnlyTheMessageAtTheMirroredLevel();
    void formattedLineIsNeitherKeptNorWritten();
    void crashGettersDoNotWaitForTheLock();
    void linesBeforeAttachStayOutOfTheFile();
    void concurrentCallersWriteWholeLines();
    void entryPointsForwardToTheSharedLogger();
};

void DiagnosticLoggerTest::message_data() {
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("expected");
    QTest::newRow("event alone") << DiagnosticLine::message("card.answer", {}) << u"card.answer"_s;
    QTest::newRow("pairs in order") << DiagnosticLine::message("detail.show",
                                                               {{"size", DiagnosticValue::size(320, 240)},
                                                                {"animated", DiagnosticValue::boolean(true)}})
                                    << u"detail.show size=320x240 animated=yes"_s;
    QTest::newRow("no quoting") << DiagnosticLine::message("x", {{"mode", "two words"}})
                                << u"x mode=two words"_s;
}

void DiagnosticLoggerTest::message() {
    QFETCH(QString, message);
    QFETCH(QString, expected);
    QCOMPARE(message, expected);
}

void DiagnosticLoggerTest::timestamp_data() {
    QTest::addColumn<QDateTime>("date");
    QTest::addColumn<int>("offsetSeconds");
    QTest::addColumn<QString>("expected");
    QTest::newRow("east") << sampleTime << 3600 << u"2026-03-14T09:26:53.589+01:00"_s;
    QTest::newRow("UTC keeps an offset") << sampleTime << 0 << u"2026-03-14T08:26:53.589+00:00"_s;
    QTest::newRow("west, half hour") << sampleTime << -(3 * 3600 + 1800)
                                     << u"2026-03-14T04:56:53.589-03:30"_s;
    QTest::newRow("crosses the day") << sampleTime << -9 * 3600 << u"2026-03-13T23:26:53.589-09:00"_s;
    QTest::newRow("whole second") << QDateTime::fromMSecsSinceEpoch(1'773'476'813'000, Qt::UTC) << 0
                                  << u"2026-03-14T08:26:53.000+00:00"_s;
    QTest::newRow("early year") << QDateTime(QDate(33, 1, 2), QTime(3, 4, 5, 6), Qt::UTC) << 0
                                << u"0033-01-02T03:04:05.006+00:00"_s;
}

void DiagnosticLoggerTest::timestamp() {
    QFETCH(QDateTime, date);
    QFETCH(int, offsetSeconds);
    QFETCH(QString, expected);
    QCOMPARE(DiagnosticLine::timestamp(date, QTimeZone(offsetSeconds)), expected);
}

void DiagnosticLoggerTest::localTimeFollowsTheZoneOfTheMoment() {
    const QByteArray saved = qgetenv("TZ");
    qputenv("TZ", "XST-05:30");
    QVERIFY(DiagnosticLine::timestamp(sampleTime, std::nullopt).endsWith(u"13:56:53.589+05:30"_s));
    qputenv("TZ", "YST+02");
    QVERIFY(DiagnosticLine::timestamp(sampleTime, std::nullopt).endsWith(u"06:26:53.589-02:00"_s));
    if (saved.isNull()) {
        qunsetenv("TZ");
    } else {
        qputenv("TZ", saved);
    }
}

void DiagnosticLoggerTest::ringBuffer_data() {
    QTest::addColumn<int>("capacity");
    QTest::addColumn<int>("appended");
    QTest::addColumn<QList<int>>("expected");
    QTest::newRow("not full") << 3 << 2 << QList<int>{0, 1};
    QTest::newRow("exactly full") << 3 << 3 << QList<int>{0, 1, 2};
    QTest::newRow("wrapped once") << 3 << 4 << QList<int>{1, 2, 3};
    QTest::newRow("capacity 0 holds one") << 0 << 3 << QList<int>{2};
    QTest::newRow("negative capacity holds one") << -5 << 2 << QList<int>{1};
}

void DiagnosticLoggerTest::ringBuffer() {
    QFETCH(int, capacity);
    QFETCH(int, appended);
    QFETCH(QList<int>, expected);
    DiagnosticRingBuffer<int> ring(capacity);
    for (int i = 0; i < appended; ++i) {
        ring.append(i);
    }
    QCOMPARE(ring.elements(), expected);
}

void DiagnosticLoggerTest::debugWithVerboseOffDoesNotBuildItsFields() {
    ManualClock clock;
    DiagnosticLogger logger(clock, QTimeZone(0), nullptr);
    int built = 0;
    const auto fields = [&] {
        ++built;
        return DiagnosticFields{{"n", DiagnosticValue::count(built)}};
    };
    logger.log(DiagnosticLevel::debug, DiagnosticCategory::ui, "hover", fields);
    QCOMPARE(built, 0);
    QVERIFY(logger.recentLines().isEmpty());

    logger.log(DiagnosticLevel::info, DiagnosticCategory::ui, "hover", fields);
    logger.log(DiagnosticLevel::error, DiagnosticCategory::ui, "hover", fields);
    QCOMPARE(built, 2);

    logger.setVerbose(true);
    QVERIFY(logger.isVerbose());
    logger.log(DiagnosticLevel::debug, DiagnosticCategory::ui, "hover", fields);
    QCOMPARE(built, 3);
    QCOMPARE(logger.recentLines().last(), u"2026-09-21T14:13:20.000+00:00 ui debug hover n=3"_s);
}

void DiagnosticLoggerTest::mirrorsOnlyTheMessageAtTheMirroredLevel() {
    ManualClock clock;
    auto systemLog = std::make_shared<CapturingSystemLog>();
    DiagnosticLogger logger(clock, QTimeZone(0), systemLog);
    QVERIFY(logger.sendsToSystemLog());
    logger.setVerbose(true);
    logger.log(DiagnosticLevel::debug, DiagnosticCategory::jump, "jump.start");
    logger.log(DiagnosticLevel::info, DiagnosticCategory::hooks, "hook.event", [] {
        return DiagnosticFields{{"kind", "PreToolUse"}};
    });
    logger.log(DiagnosticLevel::error, DiagnosticCategory::cadenzo, "wire.failed");
    const QList<CapturingSystemLog::Entry> expected{
        {DiagnosticLevel::debug, u"jump"_s, u"jump.start"_s},
        {DiagnosticLevel::info, u"hooks"_s, u"hook.event kind=PreToolUse"_s},
        {DiagnosticLevel::error, u"cadenzo"_s, u"wire.failed"_s},
    };
    QCOMPARE(systemLog->entries(), expected);
    QCOMPARE(SyslogDiagnosticSystemLog::formatted("hooks"_L1, u"hook.event kind=PreToolUse"_s),
             QByteArray("hooks: hook.event kind=PreToolUse"));

    DiagnosticLogger silent(clock, QTimeZone(0), nullptr);
    QVERIFY(!silent.sendsToSystemLog());
}

void DiagnosticLoggerTest::formattedLineIsNeitherKeptNorWritten() {
    ManualClock clock;
    auto systemLog = std::make_shared<CapturingSystemLog>();
    DiagnosticLogger logger(clock, QTimeZone(-7200), systemLog);
    clock.advance(0.25);
    const QString line = logger.formattedLine(DiagnosticLevel::error, DiagnosticCategory::crash, "exception",
                                              {{"origin", "uncaught"}});
    QCOMPARE(line, u"2026-09-21T12:13:20.250-02:00 crash error exception origin=uncaught"_s);
    QVERIFY(logger.recentLines().isEmpty());
    QVERIFY(systemLog->entries().isEmpty());
}

void DiagnosticLoggerTest::crashGettersDoNotWaitForTheLock() {
    ManualClock clock;
    DiagnosticLogger logger(clock, QTimeZone(0), nullptr);
    logger.log(DiagnosticLevel::info, DiagnosticCategory::app, "launch");
    QCOMPARE(logger.recentLinesIfAvailable().value_or(QStringList{}).size(), 1);
    QVERIFY(logger.sinkIfAvailable().has_value());
    QCOMPARE(logger.sinkIfAvailable().value(), nullptr);

    std::optional<QStringList> lines{QStringList{}};
    std::optional<std::shared_ptr<DiagnosticFileSink>> sink;
    {
        const auto held = DiagnosticLoggerProbe::hold(logger);
        // Another thread plays the crash path while this one holds the lock.
        std::thread crash([&] {
            lines = logger.recentLinesIfAvailable();
            sink = logger.sinkIfAvailable();
        });
        crash.join();
    }
    QVERIFY(!lines.has_value());
    QVERIFY(!sink.has_value());
}

void DiagnosticLoggerTest::linesBeforeAttachStayOutOfTheFile() {
    QTemporaryDir dir;
    ManualClock clock;
    DiagnosticLogger logger(clock, QTimeZone(0), nullptr);
    logger.log(DiagnosticLevel::info, DiagnosticCategory::app, "early");
    auto sink = DiagnosticFileSink::create(
        dir.path(), 100'000, 100, std::make_shared<DiagnosticSerialQueue>(u"test.diagnostics"_s), nullptr);
    QVERIFY(sink);
    logger.attach(sink);
    QCOMPARE(logger.sink(), sink);
    logger.log(DiagnosticLevel::info, DiagnosticCategory::app, "late");
    sink->flush();
    QCOMPARE(readFile(sink->currentFile()), QByteArray("2026-09-21T14:13:20.000+00:00 app info late\n"));
    QCOMPARE(logger.recentLines().size(), 2);
}

void DiagnosticLoggerTest::concurrentCallersWriteWholeLines() {
    QTemporaryDir dir;
    const SystemClock clock;
    DiagnosticLogger logger(clock, std::nullopt, nullptr);
    constexpr qint64 threads = 4;
    constexpr qint64 perThread = 400;
    auto sink =
        DiagnosticFileSink::create(dir.path(), 10'000'000, threads * perThread,
                                   std::make_shared<DiagnosticSerialQueue>(u"test.diagnostics"_s), nullptr);
    QVERIFY(sink);
    logger.attach(sink);
    std::vector<std::thread> workers;
    workers.reserve(threads);
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&logger, t] {
            for (int i = 0; i < perThread; ++i) {
                logger.log(DiagnosticLevel::info, DiagnosticCategory::monitor, "poll", [&] {
                    return DiagnosticFields{{"thread", DiagnosticValue::count(t)},
                                            {"n", DiagnosticValue::count(i)}};
                });
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    sink->flush();
    const QList<QByteArray> lines = readFile(sink->currentFile()).split('\n');
    QCOMPARE(lines.size(), threads * perThread + 1);
    QList<int> next(threads, 0);
    for (qsizetype i = 0; i + 1 < lines.size(); ++i) {
        const QList<QByteArray> parts = lines.at(i).split(' ');
        QCOMPARE(parts.size(), 6);
        const int thread = parts.at(4).mid(7).toInt();
        QVERIFY(thread >= 0 && thread < threads);
        // Each thread's lines arrive in the order it logged them.
        QCOMPARE(parts.at(5), "n=" + QByteArray::number(next[thread]++));
    }
}

void DiagnosticLoggerTest::entryPointsForwardToTheSharedLogger() {
    DiagnosticLogger& shared = DiagnosticLogger::shared();
    QVERIFY(shared.sendsToSystemLog());
    QVERIFY(!shared.isVerbose());
    bool built = false;
    DiagnosticLog::debug(DiagnosticCategory::ui, "hidden", [&] {
        built = true;
        return DiagnosticFields{};
    });
    QVERIFY(!built);
    DiagnosticLog::info(DiagnosticCategory::settings, "verboseLogging", [] {
        return DiagnosticFields{{"enabled", DiagnosticValue::boolean(true)}};
    });
    QVERIFY(shared.recentLines().last().endsWith(u" settings info verboseLogging enabled=yes"_s));
    DiagnosticLog::error(DiagnosticCategory::desktop, "desktop.cowork");
    QVERIFY(shared.recentLines().last().endsWith(u" desktop error desktop.cowork"_s));
    shared.setVerbose(true);
    DiagnosticLog::debug(DiagnosticCategory::ui, "shown");
    QVERIFY(shared.recentLines().last().endsWith(u" ui debug shown"_s));
    shared.setVerbose(false);
    DiagnosticLog::flush(); // no sink: returns at once
}

QTEST_GUILESS_MAIN(DiagnosticLoggerTest)
#include "DiagnosticLoggerTest.moc"
