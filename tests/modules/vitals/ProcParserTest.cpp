#include "modules/vitals/ProcParser.h"

#include "modules/vitals/HostFigures.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::optional<CPUTicks>)
Q_DECLARE_METATYPE(std::optional<ProcessStat>)

class ProcParserTest : public QObject {
    Q_OBJECT
private slots:
    void cpuTicks_data();
    void cpuTicks();
    void cpuCountAndBootTime();
    void processStat_data();
    void processStat();
    void statmAndFlags();
    void memInfo();
    void pressure_data();
    void pressure();
    void loadAverages();
    void commandLine();
    void counterGrowth_data();
    void counterGrowth();
    void cpuReading();
    void memoryReading_data();
    void memoryReading();
};

void ProcParserTest::cpuTicks_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<std::optional<CPUTicks>>("expected");

    QTest::newRow("modern kernel") << "cpu  100 5 40 800 20 3 2 1 0 0\ncpu0 50 2 20 400 10 1 1 0 0 0\n"_ba
                                   << std::optional(CPUTicks{100, 46, 820, 5});
    QTest::newRow("four fields of old kernels")
        << "cpu 10 1 4 80\n"_ba << std::optional(CPUTicks{10, 4, 80, 1});
    QTest::newRow("cpu line not first")
        << "intr 5\ncpu 1 2 3 4 5 6 7 8\n"_ba << std::optional(CPUTicks{1, 3 + 6 + 7 + 8, 4 + 5, 2});
    QTest::newRow("only per-core lines") << "cpu0 1 2 3 4\n"_ba << std::optional<CPUTicks>();
    QTest::newRow("cut short") << "cpu 1 2\n"_ba << std::optional<CPUTicks>();
    QTest::newRow("not a number") << "cpu 1 2 x 4\n"_ba << std::optional<CPUTicks>();
    QTest::newRow("negative") << "cpu 1 -2 3 4\n"_ba << std::optional<CPUTicks>();
    QTest::newRow("overflowing") << "cpu 99999999999999999999999 2 3 4\n"_ba << std::optional<CPUTicks>();
    QTest::newRow("empty") << QByteArray() << std::optional<CPUTicks>();
}

void ProcParserTest::cpuTicks() {
    QFETCH(QByteArray, text);
    QFETCH(std::optional<CPUTicks>, expected);
    QCOMPARE(ProcParser::cpuTicks(text), expected);
}

void ProcParserTest::cpuCountAndBootTime() {
    const QByteArray stat = "cpu 1 2 3 4\ncpu0 1 1 1 1\ncpu1 1 1 1 1\ncpufreq 3\nbtime 1790000000\nprocs 5\n";
    QCOMPARE(ProcParser::cpuCount(stat), 2);
    QCOMPARE(ProcParser::bootTime(stat), std::optional<std::int64_t>(1790000000));
    QCOMPARE(ProcParser::bootTime("btime\n"), std::nullopt);
}

void ProcParserTest::processStat_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<std::optional<ProcessStat>>("expected");

    // Fields after the command: state ppid pgrp session tty tpgid flags minflt cminflt majflt cmajflt
    // utime stime cutime cstime priority nice threads itreal starttime vsize rss ...
    const QByteArray tail =
        " S 1 42 42 34816 42 4194560 10 0 0 0 250 50 0 0 20 0 1 0 7000 1000 321 18446744073709551615\n";
    ProcessStat plain;
    plain.pid = 42;
    plain.command = u"node"_s;
    plain.state = 'S';
    plain.parent = 1;
    plain.flags = 4194560;
    plain.terminal = 34816;
    plain.userTicks = 250;
    plain.systemTicks = 50;
    plain.startTicks = 7000;
    plain.residentPages = 321;
    QTest::newRow("plain") << "42 (node)"_ba + tail << std::optional(plain);

    ProcessStat odd = plain;
    odd.command = u"a) (b c)"_s;
    QTest::newRow("command holding parentheses and blanks")
        << "42 (a) (b c))"_ba + tail << std::optional(odd);

    ProcessStat unicode = plain;
    unicode.command = u"café"_s;
    QTest::newRow("utf-8 command") << "42 (caf\xc3\xa9)"_ba + tail << std::optional(unicode);

    QTest::newRow("cut in the middle")
        << "42 (node) S 1 42 42 34816 42 4194560 10 0"_ba << std::optional<ProcessStat>();
    QTest::newRow("no parentheses") << "42 node S 1"_ba << std::optional<ProcessStat>();
    QTest::newRow("pid not a number") << "x (node)"_ba + tail << std::optional<ProcessStat>();
    QTest::newRow("pid zero") << "0 (node)"_ba + tail << std::optional<ProcessStat>();
    QTest::newRow("empty") << QByteArray() << std::optional<ProcessStat>();
    QTest::newRow("closing before opening") << "42 )node("_ba + tail << std::optional<ProcessStat>();
}

void ProcParserTest::processStat() {
    QFETCH(QByteArray, text);
    QFETCH(std::optional<ProcessStat>, expected);
    QCOMPARE(ProcParser::processStat(text), expected);
}

void ProcParserTest::statmAndFlags() {
    QCOMPARE(ProcParser::processStatm("1000 300 100 5 0 200 0\n"),
             std::optional(ProcessStatm{1000, 300, 100}));
    QCOMPARE(ProcParser::processStatm("1000 300\n"), std::nullopt);
    QCOMPARE((ProcessStatm{1, 100, 300}).privatePages(), 0u);
    QCOMPARE((ProcessStatm{1, 300, 100}).privatePages(), 200u);

    QCOMPARE(ProcParser::fileFlags("pos:\t0\nflags:\t0102001\nmnt_id:\t30\n"), std::optional<int>(0102001));
    QCOMPARE(ProcParser::fileFlags("pos:\t0\nflags:\t09\n"), std::nullopt);
    QCOMPARE(ProcParser::fileFlags("pos:\t0\n"), std::nullopt);
}

void ProcParserTest::memInfo() {
    const auto info =
        ProcParser::memInfo("MemTotal:       16000 kB\nMemFree:  1000 kB\nMemAvailable:   8000 kB\n"
                            "Buffers: 500 kB\nCached:  3000 kB\nSwapTotal: 2000 kB\nSwapFree: 1500 kB\n"
                            "HugePages_Total: 0\nBogus line\nZswap: x kB\n");
    QVERIFY(info);
    QCOMPARE(info->total, std::optional<std::uint64_t>(16000 * 1024));
    QCOMPARE(info->available, std::optional<std::uint64_t>(8000 * 1024));
    QCOMPARE(info->swapFree, std::optional<std::uint64_t>(1500 * 1024));
    QCOMPARE(info->zswap, std::nullopt);
    QCOMPARE(info->shmem, std::nullopt);

    QCOMPARE(ProcParser::memInfo("MemFree: 10 kB\n"), std::nullopt); // no total: nothing to say
    QCOMPARE(ProcParser::memInfo("MemTotal: 0 kB\n"), std::nullopt);
    QCOMPARE(ProcParser::memInfo("MemTotal: 99999999999999999999 kB\n"), std::nullopt);
    QCOMPARE(ProcParser::memInfo(""), std::nullopt);
}

void ProcParserTest::pressure_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<double>("some");
    QTest::addColumn<double>("full"); // -1: absent
    QTest::addColumn<bool>("valid");

    QTest::newRow("memory")
        << "some avg10=12.50 avg60=3.00 avg300=1.00 total=123\nfull avg10=2.25 avg60=0.00 "
           "avg300=0.00 total=4\n"_ba
        << 12.5 << 2.25 << true;
    QTest::newRow("cpu of old kernels, no full line")
        << "some avg10=0.00 avg60=0.00 avg300=0.00 total=0\n"_ba << 0.0 << -1.0 << true;
    QTest::newRow("out of range is clamped")
        << "some avg10=150.00 avg60=1.00 avg300=0 total=0\n"_ba << 100.0 << -1.0 << true;
    QTest::newRow("garbage") << "some avg10=abc avg60=1 avg300=0 total=0\n"_ba << 0.0 << -1.0 << false;
    QTest::newRow("empty: no PSI") << QByteArray() << 0.0 << -1.0 << false;
}

void ProcParserTest::pressure() {
    QFETCH(QByteArray, text);
    QFETCH(double, some);
    QFETCH(double, full);
    QFETCH(bool, valid);
    const auto stall = ProcParser::pressure(text);
    QCOMPARE(stall.has_value(), valid);
    if (stall) {
        QCOMPARE(stall->someAvg10, some);
        QCOMPARE(stall->fullAvg10.value_or(-1), full);
    }
}

void ProcParserTest::loadAverages() {
    QCOMPARE(ProcParser::loadAverages("0.52 0.58 0.59 1/467 12345\n"),
             (std::vector<double>{0.52, 0.58, 0.59}));
    QVERIFY(ProcParser::loadAverages("0.52 0.58\n").empty());
    QVERIFY(ProcParser::loadAverages("0.52 x 0.59\n").empty());
}

void ProcParserTest::commandLine() {
    QCOMPARE(ProcParser::commandLine(QByteArray("node\0server.js\0--port\0003000\0", 27)),
             (std::vector<QString>{u"node"_s, u"server.js"_s, u"--port"_s, u"3000"_s}));
    // A process that rewrote its title leaves one argument with blanks and no end.
    QCOMPARE(ProcParser::commandLine("nginx: master process nginx"),
             (std::vector<QString>{u"nginx: master process nginx"_s}));
    QVERIFY(ProcParser::commandLine("").empty());
}

void ProcParserTest::counterGrowth_data() {
    QTest::addColumn<quint64>("previous");
    QTest::addColumn<quint64>("current");
    QTest::addColumn<quint64>("growth");
    QTest::newRow("grew") << quint64(100) << quint64(150) << quint64(50);
    QTest::newRow("same") << quint64(100) << quint64(100) << quint64(0);
    QTest::newRow("wrapped around 64 bits") << quint64(UINT64_MAX - 9) << quint64(20) << quint64(30);
    QTest::newRow("went back (iowait)") << quint64(5000) << quint64(4990) << quint64(0);
}

void ProcParserTest::counterGrowth() {
    QFETCH(quint64, previous);
    QFETCH(quint64, current);
    QFETCH(quint64, growth);
    QCOMPARE(HostFigures::counterGrowth(previous, current), growth);
}

void ProcParserTest::cpuReading() {
    const CPUTicks before{1000, 500, 8000, 0};
    // 300 user + 100 nice + 100 system busy, 500 idle: half the machine.
    const CPUTicks after{1300, 600, 8500, 100};
    const auto reading = HostFigures::cpuReading(before, after, 4, {1.0, 0.5, 0.2}, 12.5);
    QVERIFY(reading);
    QCOMPARE(reading->percent, 50.0);
    QCOMPARE(reading->userPercent, 40.0);
    QCOMPARE(reading->systemPercent, 10.0);
    QCOMPARE(reading->cores, 4);
    QCOMPARE(reading->stallPercent, std::optional<double>(12.5));

    QCOMPARE(HostFigures::cpuReading(before, before, 4, {}, std::nullopt), std::nullopt);
    // A counter that wrapped between two readings still gives a sane reading.
    const CPUTicks nearTop{UINT64_MAX - 49, 0, 100, 0};
    const CPUTicks wrapped{50, 0, 200, 0};
    QCOMPARE(HostFigures::cpuReading(nearTop, wrapped, 1, {}, std::nullopt)->percent, 50.0);
}

void ProcParserTest::memoryReading_data() {
    QTest::addColumn<QByteArray>("meminfo");
    QTest::addColumn<QByteArray>("psi");
    QTest::addColumn<quint64>("app");
    QTest::addColumn<quint64>("wired");
    QTest::addColumn<quint64>("compressed");
    QTest::addColumn<QString>("pressure");

    const QByteArray base = "MemTotal: 1000 kB\nMemAvailable: 400 kB\nSUnreclaim: 50 kB\nKernelStack: 10 kB\n"
                            "PageTables: 20 kB\nUnevictable: 20 kB\nSwapTotal: 100 kB\nSwapFree: 60 kB\n";
    QTest::newRow("normal") << base << "some avg10=1.00 avg60=0 avg300=0 total=0\n"_ba << quint64(500 * 1024)
                            << quint64(100 * 1024) << quint64(0) << u"normal"_s;
    QTest::newRow("stalls warn") << base << "some avg10=15.00 avg60=0 avg300=0 total=0\n"_ba
                                 << quint64(500 * 1024) << quint64(100 * 1024) << quint64(0) << u"warning"_s;
    QTest::newRow("full stalls are critical")
        << base << "some avg10=15.00 avg60=0 avg300=0 total=0\nfull avg10=11.00 avg60=0 avg300=0 total=0\n"_ba
        << quint64(500 * 1024) << quint64(100 * 1024) << quint64(0) << u"critical"_s;
    QTest::newRow("zswap is compressed")
        << base + "Zswap: 30 kB\n"
        << QByteArray() << quint64(470 * 1024) << quint64(100 * 1024) << quint64(30 * 1024) << u"normal"_s;
    QTest::newRow("no PSI, nearly nothing available")
        << "MemTotal: 1000 kB\nMemAvailable: 20 kB\n"_ba << QByteArray() << quint64(980 * 1024) << quint64(0)
        << quint64(0) << u"critical"_s;
    QTest::newRow("old kernel without MemAvailable")
        << "MemTotal: 1000 kB\nMemFree: 100 kB\nBuffers: 50 kB\nCached: 300 kB\nSReclaimable: 50 kB\nShmem: 100 kB\n"_ba
        << QByteArray() << quint64(600 * 1024) << quint64(0) << quint64(0) << u"normal"_s;
}

void ProcParserTest::memoryReading() {
    QFETCH(QByteArray, meminfo);
    QFETCH(QByteArray, psi);
    const auto info = ProcParser::memInfo(meminfo);
    QVERIFY(info);
    const MemoryReading reading = HostFigures::memoryReading(*info, ProcParser::pressure(psi));
    QFETCH(quint64, app);
    QFETCH(quint64, wired);
    QFETCH(quint64, compressed);
    QCOMPARE(quint64(reading.app), app);
    QCOMPARE(quint64(reading.wired), wired);
    QCOMPARE(quint64(reading.compressed), compressed);
    QTEST(rawValue(reading.pressure), "pressure");
    QCOMPARE(reading.total, quint64(1000 * 1024));
    QVERIFY(reading.usedFraction() >= 0 && reading.usedFraction() <= 1);
}

QTEST_GUILESS_MAIN(ProcParserTest)
#include "ProcParserTest.moc"
