#include "modules/localservices/LsofParser.h"

#include "modules/localservices/DockerPortsParser.h"
#include "modules/localservices/ProcNetParser.h"
#include "support/TestFiles.h"

#include <QFile>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

using Listener = LsofParser::Listener;
Q_DECLARE_METATYPE(std::vector<Listener>)
Q_DECLARE_METATYPE(std::optional<QString>)

class LsofParserTest : public QObject {
    Q_OBJECT
private slots:
    void realOutputs_data();
    void realOutputs();
    void damagedOutput_data();
    void damagedOutput();
    void endpoint_data();
    void endpoint();
    void scanFailure_data();
    void scanFailure();
    void dockerPorts();
    void procNetTables();
};

namespace {

QString fixture(const char* name) {
    const QByteArray bytes = testing::readFile(testing::testData(u"lsof/"_s + QLatin1StringView(name)));
    if (bytes.isEmpty()) {
        qFatal("missing fixture %s", name);
    }
    return QString::fromUtf8(bytes);
}

} // namespace

void LsofParserTest::realOutputs_data() {
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("hasUID");
    QTest::newRow("-F pcn") << fixture("listen-F_pcn.txt") << false;
    QTest::newRow("-F pcuLfnPT") << fixture("listen-F_pcuLfnPT.txt") << true;
    QTest::newRow("all fields") << fixture("listen-F_all.txt") << true;
    QTest::newRow("-F0, zero-ended fields") << fixture("listen-F_pcuLfnPT0.bin") << true;
}

void LsofParserTest::realOutputs() {
    QFETCH(QString, output);
    QFETCH(bool, hasUID);
    const std::optional<std::uint32_t> uid = hasUID ? std::optional<std::uint32_t>(0) : std::nullopt;
    const std::vector<Listener> expected{
        {14699, uid, u"python3"_s, u"127.0.0.1"_s, 48821},
        {14699, uid, u"python3"_s, u"[::1]"_s, 48822},
        {14699, uid, u"python3"_s, u"*"_s, 48823},
    };
    QCOMPARE(LsofParser::parse(output), expected);
}

void LsofParserTest::damagedOutput_data() {
    QTest::addColumn<QString>("output");
    QTest::addColumn<std::vector<Listener>>("expected");

    QTest::newRow("address without process")
        << u"n*:80\np10\ncnode\nn*:3000\n"_s
        << std::vector<Listener>{{10, std::nullopt, u"node"_s, u"*"_s, 3000}};
    QTest::newRow("a bad pid drops its fields, not the next process")
        << u"pabc\ncx\nn*:1\np11\ncy\nn*:2\n"_s
        << std::vector<Listener>{{11, std::nullopt, u"y"_s, u"*"_s, 2}};
    QTest::newRow("a new process forgets the command and user")
        << u"p1\ncfirst\nu5\np2\nn*:9\n"_s << std::vector<Listener>{{2, std::nullopt, QString(), u"*"_s, 9}};
    QTest::newRow("ports that don't parse")
        << u"p1\ncx\nn*:http\nn*:0\nn*:70000\nn127.0.0.1:\nn:8080\nn*:-1\n"_s << std::vector<Listener>{};
    QTest::newRow("connected sockets are not listeners")
        << u"p1\ncx\nn127.0.0.1:5000->127.0.0.1:6000\n"_s << std::vector<Listener>{};
    QTest::newRow("cut in the middle of a line")
        << u"p1\ncnode\nn127.0.0.1:30"_s
        << std::vector<Listener>{{1, std::nullopt, u"node"_s, u"127.0.0.1"_s, 30}};
    QTest::newRow("unknown tags and blank lines")
        << u"\n\nx?\np1\nf3\ncnode\nTST=LISTEN\n\nn*:4\n"_s
        << std::vector<Listener>{{1, std::nullopt, u"node"_s, u"*"_s, 4}};
    QTest::newRow("uid out of range")
        << u"p1\nu99999999999\nn*:4\n"_s << std::vector<Listener>{{1, std::nullopt, QString(), u"*"_s, 4}};
    QTest::newRow("one port on many addresses keeps the widest")
        << u"p7\ncnode\nn[::1]:3000\nnlocalhost:3000\nn127.0.0.1:3000\nn10.0.0.2:3000\n"_s
        << std::vector<Listener>{{7, std::nullopt, u"node"_s, u"127.0.0.1"_s, 3000}};
    QTest::newRow("any address wins over loopback")
        << u"p7\ncnode\nn127.0.0.1:3000\nn*:3000\nn[::1]:3000\n"_s
        << std::vector<Listener>{{7, std::nullopt, u"node"_s, u"*"_s, 3000}};
    QTest::newRow("two processes on one port stay two")
        << u"p9\ncnginx\nn*:80\np8\ncnginx\nn*:80\n"_s
        << std::vector<Listener>{{8, std::nullopt, u"nginx"_s, u"*"_s, 80},
                                 {9, std::nullopt, u"nginx"_s, u"*"_s, 80}};
    QTest::newRow("nothing") << QString() << std::vector<Listener>{};
    QTest::newRow("binary noise") << u"\u0001\u0000p\u0000n\u0000\uFFFD:\n"_s << std::vector<Listener>{};
}

void LsofParserTest::damagedOutput() {
    QFETCH(QString, output);
    QTEST(LsofParser::parse(output), "expected");
}

void LsofParserTest::endpoint_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("port"); // 0: no endpoint
    QTest::newRow("ipv6 loopback") << u"[::1]:3000"_s << u"[::1]"_s << 3000;
    QTest::newRow("ipv6 full") << u"[fe80::1%eth0]:22"_s << u"[fe80::1%eth0]"_s << 22;
    QTest::newRow("any") << u"*:65535"_s << u"*"_s << 65535;
    QTest::newRow("port too big") << u"*:65536"_s << QString() << 0;
    QTest::newRow("no colon") << u"localhost"_s << QString() << 0;
    QTest::newRow("no address") << u":80"_s << QString() << 0;
}

void LsofParserTest::endpoint() {
    QFETCH(QString, text);
    QFETCH(int, port);
    const auto parsed = LsofParser::endpoint(text);
    QCOMPARE(parsed.has_value(), port != 0);
    if (parsed) {
        QTEST(parsed->address, "address");
        QCOMPARE(parsed->port, port);
    }
}

void LsofParserTest::scanFailure_data() {
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("errorOutput");
    QTest::addColumn<int>("listeners");
    QTest::addColumn<std::optional<QString>>("failure");

    const QString warning = u"lsof: WARNING: can't stat() fuse.gvfsd-fuse file system /run/user/1000/gvfs\n"
                            "      Output information may be incomplete.\n"_s;
    QTest::newRow("fine") << 0 << QString() << 2 << std::optional<QString>();
    QTest::newRow("warnings and nothing listening")
        << 1 << u"WARNING: can't stat() fuse\n"_s << 0 << std::optional<QString>();
    QTest::newRow("status 1 and silence: nothing listens") << 1 << QString() << 0 << std::optional<QString>();
    QTest::newRow("listeners found, whatever the status")
        << 1 << u"lsof: status error\n"_s << 3 << std::optional<QString>();
    QTest::newRow("status 1 with a real error")
        << 1 << u"lsof: illegal option character: Z\n"_s << 0
        << std::optional<QString>(u"lsof exited 1: lsof: illegal option character: Z"_s);
    QTest::newRow("lsof's own warning with its continuation")
        << 1 << warning << 0 << std::optional<QString>();
    QTest::newRow("warnings dropped, the rest stays")
        << 1 << warning + u"lsof: can't read /proc/1/fd\n"_s << 0
        << std::optional<QString>(u"lsof exited 1: lsof: can't read /proc/1/fd"_s);
    QTest::newRow("an indented line after an error stays")
        << 1 << u"lsof: error\n  detail\n"_s << 0
        << std::optional<QString>(u"lsof exited 1: lsof: error detail"_s);
    QTest::newRow("another status") << 2 << QString() << 0 << std::optional<QString>(u"lsof exited 2"_s);
}

void LsofParserTest::scanFailure() {
    QFETCH(int, status);
    QFETCH(QString, errorOutput);
    QFETCH(int, listeners);
    QTEST(LsofParser::scanFailure(status, errorOutput, static_cast<std::size_t>(listeners)), "failure");
}

void LsofParserTest::dockerPorts() {
    const QString output = u"web\t0.0.0.0:8080->80/tcp, [::]:8080->80/tcp\n"
                           "db\t5432/tcp\n"
                           "api\t127.0.0.1:9000-9002->9000-9002/tcp, :::7000->7000/tcp\n"
                           "broken\t0.0.0.0:x->80/tcp, 0.0.0.0:1-99999->1/tcp\n"
                           "\t0.0.0.0:1->1/tcp\n"
                           "no tab at all\n"_s;
    const std::map<int, QString> expected{
        {7000, u"api"_s}, {8080, u"web"_s}, {9000, u"api"_s}, {9001, u"api"_s}, {9002, u"api"_s}};
    QCOMPARE(DockerPortsParser::containers(output), expected);
    QVERIFY(DockerPortsParser::containers(QString()).empty());
}

void LsofParserTest::procNetTables() {
    // Written by this machine's kernel (little-endian).
    const QByteArray tcp =
        "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n"
        "   0: 0100007F:BEB5 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 19906 1 "
        "0 100 0 0 10 0\n"
        "   1: 00000000:BEB7 00000000:0000 0A 00000000:00000000 00:00000000 00000000  1000        0 19908 1 "
        "0 100 0 0 10 0\n"
        "   2: 0100007F:BEB5 0100007F:D2F0 01 00000000:00000000 00:00000000 00000000     0        0 55555 1 "
        "0 20 4 30 10 -1\n"
        "   3: garbage\n"
        "   4: 0100007F:0000 00000000:0000 0A 00000000:00000000 00:00000000 00000000     0        0 777 1\n";
    const QByteArray tcp6 = "  sl  local_address                         remote_address                      "
                            "  st tx_queue rx_queue tr "
                            "tm->when retrnsmt   uid  timeout inode\n"
                            "   0: 00000000000000000000000001000000:BEB6 "
                            "00000000000000000000000000000000:0000 0A 00000000:00000000 "
                            "00:00000000 00000000     0        0 19907 1 0 100 0 0 10 0\n"
                            "   1: 00000000000000000000000000000000:1F90 "
                            "00000000000000000000000000000000:0000 0A 00000000:00000000 "
                            "00:00000000 00000000     0        0 30001 1 0 100 0 0 10 0\n"
                            "   2: 0000000000000000FFFF00000100007F:1F91 "
                            "00000000000000000000000000000000:0000 0A 00000000:00000000 "
                            "00:00000000 00000000     0        0 30002 1 0 100 0 0 10 0\n"
                            "   3: 000080FE00000000FF00000002000000:0016 "
                            "00000000000000000000000000000000:0000 0A 00000000:00000000 "
                            "00:00000000 00000000     0        0 30003 1 0 100 0 0 10 0\n";
    using Socket = ProcNetParser::ListeningSocket;
    QCOMPARE(ProcNetParser::listening(tcp),
             (std::vector<Socket>{{19906, u"127.0.0.1"_s, 48821}, {19908, u"*"_s, 48823}}));
    QCOMPARE(ProcNetParser::listening(tcp6), (std::vector<Socket>{{19907, u"[::1]"_s, 48822},
                                                                  {30001, u"*"_s, 8080},
                                                                  {30002, u"[::ffff:127.0.0.1]"_s, 8081},
                                                                  {30003, u"[fe80::ff:0:2]"_s, 22}}));
    QVERIFY(ProcNetParser::listening("").empty());
    QCOMPARE(ProcNetParser::address("0100007"), QString());
}

QTEST_GUILESS_MAIN(LsofParserTest)
#include "LsofParserTest.moc"
