#include "RealListeners.h"
#include "core/diagnostics/DiagnosticLogger.h"
#include "services/localservices/LocalServicesMonitor.h"
#include "services/shell/Shell.h"
#include "support/FakeProcRoot.h"
#include "support/MonitorHarness.h"

#include <QElapsedTimer>
#include <QFuture>
#include <QMutex>
#include <QtConcurrent/QtConcurrentRun>

#include <unistd.h>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

// Answers each program (by file name) from a script and records the calls.
class FakeRunner final : public ProcessRunner {
public:
    ShellResult run(const QString& executable, const QStringList& arguments, std::optional<double> timeout,
                    const std::optional<QProcessEnvironment>& environment) const override {
        Q_UNUSED(timeout);
        Q_UNUSED(environment);
        const QMutexLocker locker(&m_lock);
        const QString name = executable.mid(executable.lastIndexOf(u'/') + 1);
        m_calls.append(name + u' ' + arguments.join(u' '));
        const QString key = name + u' ' + arguments.value(0);
        if (m_answers.contains(key)) {
            return m_answers.value(key);
        }
        return m_answers.value(name, ShellFailure{ShellFailure::Kind::notFound, name + u" not found"_s});
    }

    // `key` is a program's name, or its name and first argument.
    void answer(const QString& key, const ShellResult& result) {
        const QMutexLocker locker(&m_lock);
        m_answers.insert(key, result);
    }
    QStringList calls() const {
        const QMutexLocker locker(&m_lock);
        return m_calls;
    }

private:
    mutable QMutex m_lock;
    QHash<QString, ShellResult> m_answers;
    mutable QStringList m_calls;
};

class FixedProber final : public SchemeProber {
public:
    std::optional<Scheme> scheme(int port) const override {
        ++probes;
        Q_UNUSED(port);
        return Scheme::http;
    }
    mutable std::atomic_int probes{0};
};

const LocalService* find(const std::vector<LocalService>& services, std::int32_t pid, int port) {
    for (const LocalService& service : services) {
        if (service.pid == pid && service.port == port) {
            return &service;
        }
    }
    return nullptr;
}

// Runs the scan off the main thread while the main loop keeps the in-process server answering.
LocalServicesScan scanWhileServing(LsofPortScanner& scanner) {
    QFuture<LocalServicesScan> future =
        QtConcurrent::run([&scanner] { return scanner.scan(QDateTime::currentDateTimeUtc(), {}); });
    if (!QTest::qWaitFor([&] { return future.isFinished(); }, 30000)) {
        qFatal("the scan did not finish");
    }
    return future.result();
}

std::vector<LocalService> servicesOf(const LocalServicesScan& scan) {
    if (const auto* error = std::get_if<LocalServicesError>(&scan)) {
        qWarning() << "scan failed:" << error->message;
        return {};
    }
    return std::get<std::vector<LocalService>>(scan);
}

const auto ownUID = static_cast<std::uint32_t>(::getuid());

} // namespace

class LocalServicesScanTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void realServersThroughLsofAndProc_data();
    void realServersThroughLsofAndProc();
    void lsofAndProcSeeTheSameListeners();
    void procListenersFromAFakeTree();
    void lsofExitsAndFailures_data();
    void lsofExitsAndFailures();
    void damagedLsofOutputLosesOnlyTheDamage();
    void containersThroughDocker();
    void noDockerEngineAddsNothing();
    void probesAreCachedPerProcessAndPort();
    void silentServerGivesNoSchemeWithinHalfASecond();
    void monitorTiesServersToTheAgentThatStartedThem();
    void monitorKeepsTheListOnFailure();

private:
    RealListeners m_listeners;
    AnsweringServer m_qtServer;
    int m_http = 0;
    int m_https = 0;
    int m_nginx = 0;
    int m_nginxTLS = 0;
    qint64 m_httpPID = 0;
    qint64 m_httpsPID = 0;
    qint64 m_nginxPID = 0;
    Shell m_shell;
    ProcFileSystem m_proc;
    TLSProbe m_prober;
};

void LocalServicesScanTest::initTestCase() {
    QVERIFY(m_qtServer.listen(QHostAddress::LocalHost, 0));
    m_http = freePort();
    m_https = freePort();
    m_nginx = freePort();
    m_nginxTLS = freePort();
    QProcess* http = m_listeners.pythonHTTP(m_http);
    QProcess* https = m_listeners.pythonHTTPS(m_https);
    QProcess* nginx = m_listeners.nginx(m_nginx, m_nginxTLS);
    QVERIFY(http && https && nginx);
    m_httpPID = http->processId();
    m_httpsPID = https->processId();
    m_nginxPID = nginx->processId();
    QVERIFY(waitUntilListening(m_http));
    QVERIFY(waitUntilListening(m_https));
    QVERIFY(waitUntilListening(m_nginx));
    QVERIFY(waitUntilListening(m_nginxTLS));
    // Something written to the log, so that it is a file being written.
    QVERIFY(QTest::qWaitFor([&] { return QFileInfo(m_listeners.project() + u"/server.log"_s).size() >= 0; }));
}

void LocalServicesScanTest::realServersThroughLsofAndProc_data() {
    QTest::addColumn<bool>("throughLsof");
    QTest::newRow("lsof and ps") << true;
    QTest::newRow("/proc alone") << false;
}

void LocalServicesScanTest::realServersThroughLsofAndProc() {
    QFETCH(bool, throughLsof);
    LsofPortScanner::Configuration configuration = LsofPortScanner::systemConfiguration(ownUID);
    if (!throughLsof) {
        configuration.lsof.reset();
        configuration.ps.reset();
    }
    QVERIFY(!throughLsof || configuration.lsof);
    LsofPortScanner scanner(m_proc, m_shell, m_prober, configuration);
    const std::vector<LocalService> services = servicesOf(scanWhileServing(scanner));

    const LocalService* http = find(services, static_cast<std::int32_t>(m_httpPID), m_http);
    QVERIFY(http);
    QCOMPARE(http->id, LocalService::identifier(http->pid, m_http));
    QCOMPARE(http->command, u"python3"_s);
    QCOMPARE(http->address, u"127.0.0.1"_s);
    QCOMPARE(http->uid, std::optional(ownUID));
    QCOMPARE(http->technology, (Technology{u"Python"_s, Technology::Kind::runtime}));
    QCOMPARE(http->scheme, Scheme::http);
    QVERIFY(http->arguments && http->arguments->contains(u"http.server"_s));
    QCOMPARE(http->directory, std::optional(m_listeners.project()));
    QCOMPARE(http->logFile, std::optional(QUrl::fromLocalFile(m_listeners.project() + u"/server.log"_s)));
    QVERIFY(http->startedAt && qAbs(http->startedAt->secsTo(QDateTime::currentDateTimeUtc())) < 120);
    QVERIFY(http->resources && http->resources->residentBytes > 0);

    const LocalService* https = find(services, static_cast<std::int32_t>(m_httpsPID), m_https);
    QVERIFY(https);
    QCOMPARE(https->scheme, Scheme::https);
    QCOMPARE(https->technology.name, u"Python"_s);
    QCOMPARE(https->url(), QUrl(u"https://localhost:%1/"_s.arg(m_https)));

    const LocalService* nginx = find(services, static_cast<std::int32_t>(m_nginxPID), m_nginx);
    QVERIFY(nginx);
    QCOMPARE(nginx->command, u"nginx"_s);
    QCOMPARE(nginx->technology, (Technology{u"nginx"_s, Technology::Kind::unknown}));
    QCOMPARE(nginx->scheme, Scheme::http);
    // nginx answers plain HTTP on its TLS port with a 400: the handshake tells the truth.
    const LocalService* nginxTLS = find(services, static_cast<std::int32_t>(m_nginxPID), m_nginxTLS);
    QVERIFY(nginxTLS);
    QCOMPARE(nginxTLS->scheme, Scheme::https);

    const LocalService* qt = find(services, static_cast<std::int32_t>(::getpid()), m_qtServer.serverPort());
    QVERIFY(qt);
    QCOMPARE(qt->technology.kind, Technology::Kind::unknown);
    QVERIFY(u"test_local_services_scan"_s.startsWith(qt->command));
    QCOMPARE(qt->scheme, Scheme::http);
}

void LocalServicesScanTest::lsofAndProcSeeTheSameListeners() {
    const auto lsof = LsofListenerSource::find();
    QVERIFY(lsof);
    const ListenerListing throughLsof = LsofListenerSource(m_shell, *lsof).listeners();
    const ListenerListing throughProc = ProcListenerSource(m_proc).listeners();
    const ListenerListing throughFiles =
        ProcListenerSource(m_proc, ProcListenerSource::SocketTable::files).listeners();
    QVERIFY(std::holds_alternative<std::vector<LsofParser::Listener>>(throughLsof));
    QVERIFY(std::holds_alternative<std::vector<LsofParser::Listener>>(throughProc));
    QVERIFY(std::holds_alternative<std::vector<LsofParser::Listener>>(throughFiles));
    // Other things may come and go meanwhile; ours must be in both, equal in every field.
    const QSet<int> ours{m_http, m_https, m_nginx, m_nginxTLS, m_qtServer.serverPort()};
    const auto mine = [&](const ListenerListing& listing) {
        std::vector<LsofParser::Listener> kept;
        for (const auto& listener : std::get<std::vector<LsofParser::Listener>>(listing)) {
            if (ours.contains(listener.port)) {
                kept.push_back(listener);
            }
        }
        return kept;
    };
    QVERIFY(mine(throughLsof).size() >= static_cast<std::size_t>(ours.size()));
    QCOMPARE(mine(throughProc), mine(throughLsof));
    QCOMPARE(mine(throughFiles), mine(throughLsof));
}

void LocalServicesScanTest::procListenersFromAFakeTree() {
    FakeProcRoot proc;
    const ProcFileSystem fake(proc.root());
    // Without tables there is nothing to say.
    const ListenerListing unreadable =
        ProcListenerSource(fake, ProcListenerSource::SocketTable::files).listeners();
    QVERIFY(std::holds_alternative<LocalServicesError>(unreadable));
    QCOMPARE(std::get<LocalServicesError>(unreadable).message,
             u"could not read "_s + proc.root() + u"/net/tcp"_s);

    proc.write(
        u"net/tcp"_s,
        "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n"
        "   0: 0100007F:0BB8 00000000:0000 0A 00000000:00000000 00:00000000 00000000  1000        0 501 1\n"
        "   1: 00000000:0BB8 00000000:0000 0A 00000000:00000000 00:00000000 00000000  1000        0 502 1\n"
        "   2: 0100007F:1F90 00000000:0000 0A 00000000:00000000 00:00000000 00000000  1000        0 503 1\n"
        "   3: 0100007F:1F91 0100007F:D2F0 01 00000000:00000000 00:00000000 00000000  1000        0 504 1\n");
    proc.stat({.pid = 40, .command = "node"});
    proc.stat({.pid = 41, .command = "nginx"});
    proc.link(u"40/fd/3"_s, u"socket:[501]"_s);
    proc.link(u"40/fd/4"_s, u"socket:[502]"_s);
    proc.link(u"40/fd/0"_s, u"/dev/null"_s);
    proc.link(u"41/fd/6"_s, u"socket:[503]"_s);
    proc.link(u"41/fd/7"_s, u"socket:[504]"_s); // connected, not listening
    proc.link(u"42/fd/6"_s, u"socket:[503]"_s); // ended: its stat is gone
    proc.link(u"41/fd/8"_s, u"socket:[99x]"_s);

    const ListenerListing listing =
        ProcListenerSource(fake, ProcListenerSource::SocketTable::files).listeners();
    const auto uid = std::optional(ownUID);
    QCOMPARE(std::get<std::vector<LsofParser::Listener>>(listing),
             (std::vector<LsofParser::Listener>{{40, uid, u"node"_s, u"*"_s, 3000},
                                                {41, uid, u"nginx"_s, u"127.0.0.1"_s, 8080}}));
}

void LocalServicesScanTest::lsofExitsAndFailures_data() {
    QTest::addColumn<QString>("lsof");
    QTest::addColumn<bool>("answered");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("errorOutput");
    QTest::addColumn<QString>("message"); // empty: no failure
    QTest::newRow("warnings only") << u"/usr/bin/lsof"_s << true << 1
                                   << u"lsof: WARNING: can't stat() fuse file system /run/user/1000/doc\n"
                                      "      Output information may be incomplete.\n"_s
                                   << QString();
    QTest::newRow("missing") << u"/nonexistent/lsof"_s << false << 0 << QString()
                             << u"lsof not found at /nonexistent/lsof"_s;
    QTest::newRow("an error") << u"/usr/bin/lsof"_s << true << 1 << u"lsof: unsupported option -Z\n"_s
                              << u"lsof exited 1: lsof: unsupported option -Z"_s;
    QTest::newRow("another status") << u"/usr/bin/lsof"_s << true << 2 << QString() << u"lsof exited 2"_s;
    QTest::newRow("did not end in time")
        << u"/usr/bin/lsof"_s << false << 0 << QString() << u"lsof timed out"_s;
}

void LocalServicesScanTest::lsofExitsAndFailures() {
    QFETCH(QString, lsof);
    QFETCH(bool, answered);
    QFETCH(int, status);
    QFETCH(QString, errorOutput);
    QFETCH(QString, message);
    FakeRunner runner;
    if (answered) {
        runner.answer(u"lsof"_s, ShellOutcome{status, QString(), errorOutput});
    } else {
        runner.answer(u"lsof"_s, ShellFailure{ShellFailure::Kind::timedOut, u"lsof timed out"_s});
    }
    FixedProber prober;
    LsofPortScanner scanner(m_proc, runner, prober, {lsof, u"/usr/bin/ps"_s, std::nullopt, ownUID});
    const LocalServicesScan scan = scanner.scan(QDateTime::currentDateTimeUtc(), {});
    if (message.isEmpty()) {
        QVERIFY(std::holds_alternative<std::vector<LocalService>>(scan));
        QVERIFY(std::get<std::vector<LocalService>>(scan).empty());
        QVERIFY(!runner.calls().join(u'\n').contains(u"ps "_s)); // nothing to ask ps about
        return;
    }
    QVERIFY(std::holds_alternative<LocalServicesError>(scan));
    QCOMPARE(std::get<LocalServicesError>(scan).message, message);
    QCOMPARE(std::get<LocalServicesError>(scan).userText(Localization()),
             u"could not list local ports: "_s + std::get<LocalServicesError>(scan).message);
}

void LocalServicesScanTest::damagedLsofOutputLosesOnlyTheDamage() {
    const QString own = QString::number(::getpid());
    FakeRunner runner;
    runner.answer(u"lsof"_s, ShellOutcome{0,
                                          u"p\ncbroken\nn*:80\np"_s + own +
                                              u"\nctest_local_serv\nu0\nn*:notaport\nn127.0.0.1:1\nn[::1]:1\n"
                                              "x\xFF\xFEgarbage\np99999999999\nn*:2\n"_s,
                                          QString()});
    runner.answer(u"ps"_s, ShellFailure{ShellFailure::Kind::crashed, u"ps ended abnormally"_s});
    FixedProber prober;
    LsofPortScanner scanner(m_proc, runner, prober,
                            {u"/usr/bin/lsof"_s, u"/usr/bin/ps"_s, std::nullopt, ownUID});
    const std::vector<LocalService> services = servicesOf(scanner.scan(QDateTime::currentDateTimeUtc(), {}));
    QCOMPARE(services.size(), std::size_t(1));
    QCOMPARE(services[0].port, 1);
    QCOMPARE(services[0].address, u"127.0.0.1"_s);
    // ps failed: no arguments, and that is all.
    QCOMPARE(services[0].arguments, std::nullopt);
    QVERIFY(services[0].directory);
}

void LocalServicesScanTest::containersThroughDocker() {
    const QString own = QString::number(::getpid());
    FakeRunner runner;
    runner.answer(u"lsof"_s,
                  ShellOutcome{0, u"p"_s + own + u"\ncdocker-proxy\nu0\nn*:18080\nn*:18081\n"_s, QString()});
    runner.answer(u"ps"_s,
                  ShellOutcome{0, u"  "_s + own + u" /usr/bin/docker-proxy -proto tcp\n"_s, QString()});
    runner.answer(u"docker ps"_s,
                  ShellOutcome{0, u"web-1\t0.0.0.0:18080->80/tcp, [::]:18080->80/tcp\n"_s, QString()});
    runner.answer(u"docker logs"_s, ShellOutcome{0, u"listening\nGET / 200\n"_s, u"warning: slow\n"_s});
    FixedProber prober;
    LsofPortScanner scanner(m_proc, runner, prober,
                            {u"/usr/bin/lsof"_s, u"/usr/bin/ps"_s, u"/usr/local/bin/docker"_s, ownUID});
    const std::vector<LocalService> services = servicesOf(scanner.scan(QDateTime::currentDateTimeUtc(), {}));
    QCOMPARE(services.size(), std::size_t(2));
    QCOMPARE(services[0].technology, (Technology{u"Docker"_s, Technology::Kind::container}));
    QCOMPARE(services[0].container, std::optional<QString>(u"web-1"_s));
    QCOMPARE(services[0].logLines, (QStringList{u"listening"_s, u"GET / 200"_s, u"warning: slow"_s}));
    QCOMPARE(services[0].arguments, std::optional<QString>(u"/usr/bin/docker-proxy -proto tcp"_s));
    QCOMPARE(services[1].container, std::nullopt);
    QVERIFY(runner.calls().contains(u"docker logs --tail 8 web-1"_s));
    QCOMPARE(runner.calls().filter(u"docker logs"_s).size(), 1); // once a container
}

void LocalServicesScanTest::noDockerEngineAddsNothing() {
    const auto docker = DockerClient::find();
    if (!docker) {
        QSKIP("no docker client installed");
    }
    QElapsedTimer timer;
    timer.start();
    const DockerClient client(m_shell, docker);
    QVERIFY(client.containers().empty());
    QVERIFY(client.logs(u"web-1"_s).empty());
    QVERIFY(timer.elapsed() < 2 * DockerClient::timeoutSeconds * 1000 + 1000);
    QVERIFY(DockerClient(m_shell, std::nullopt).containers().empty());
}

void LocalServicesScanTest::probesAreCachedPerProcessAndPort() {
    FakeRunner runner;
    const QString own = QString::number(::getpid());
    runner.answer(u"lsof"_s, ShellOutcome{0, u"p"_s + own + u"\ncnode\nn*:3001\nn*:3002\n"_s, QString()});
    FixedProber prober;
    LsofPortScanner scanner(m_proc, runner, prober, {u"/usr/bin/lsof"_s, std::nullopt, std::nullopt, ownUID});
    servicesOf(scanner.scan(QDateTime::currentDateTimeUtc(), {}));
    servicesOf(scanner.scan(QDateTime::currentDateTimeUtc(), {}));
    QCOMPARE(prober.probes.load(), 2);
    QCOMPARE(scanner.schemes().size(), 2);
    // A port that went away is forgotten.
    runner.answer(u"lsof"_s, ShellOutcome{0, u"p"_s + own + u"\ncnode\nn*:3001\n"_s, QString()});
    const auto services = servicesOf(scanner.scan(QDateTime::currentDateTimeUtc().addSecs(10), {}));
    QCOMPARE(scanner.schemes().size(), 1);
    QCOMPARE(prober.probes.load(), 2);
    QVERIFY(services[0].cpuPercent.has_value());                          // a second sighting has a CPU share
    QCOMPARE(services[0].arguments.value_or(QString()).isEmpty(), false); // from /proc without ps
}

void LocalServicesScanTest::silentServerGivesNoSchemeWithinHalfASecond() {
    QTcpServer silent; // accepts through the kernel's backlog, never answers
    QVERIFY(silent.listen(QHostAddress::LocalHost, 0));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(m_prober.scheme(silent.serverPort()), std::nullopt);
    const qint64 elapsed = timer.elapsed();
    QVERIFY2(elapsed >= 450 && elapsed < 800, qPrintable(QString::number(elapsed)));
    QCOMPARE(m_prober.scheme(freePort()), std::nullopt); // nothing listening
    QCOMPARE(m_prober.scheme(m_http), std::optional(Scheme::http));
    QCOMPARE(m_prober.scheme(m_https), std::optional(Scheme::https));
}

void LocalServicesScanTest::monitorTiesServersToTheAgentThatStartedThem() {
    MonitorHarness harness;
    auto& [clock, scheduler, logger, runner] = harness;
    LocalServicesStore store;
    LsofPortScanner::Configuration configuration = LsofPortScanner::systemConfiguration(ownUID);
    configuration.lsof.reset(); // the quicker path; lsof's is tested above
    LsofPortScanner scanner(m_proc, m_shell, m_prober, configuration);
    // This test process started the python servers: it stands for an agent.
    const auto own = static_cast<std::int32_t>(::getpid());
    const LocalServicesMonitor::Sessions sessions = [&] {
        LocalServicesMonitor::SessionContext context;
        context.sessions = {{u"s1"_s, u"Serve the site"_s, m_listeners.project(), own},
                            {u"s2"_s, u"Elsewhere"_s, m_listeners.folder(), std::nullopt}};
        context.agents = {{own, m_listeners.project()}};
        context.runningSessionIDs = {u"s1"_s, u"s2"_s};
        return context;
    };
    int updates = 0;
    LocalServicesMonitor monitor(scanner, store, m_proc, clock, sessions, {scheduler, runner, &logger},
                                 [&] { ++updates; });
    QCOMPARE(LocalServicesMonitor::periods.interval, 10.0);
    monitor.start();
    QVERIFY(QTest::qWaitFor([&] { return !monitor.isReading(); }, 30000));
    QCOMPARE(updates, 1);
    const auto http = store.service(LocalService::identifier(static_cast<std::int32_t>(m_httpPID), m_http));
    QVERIFY(http);
    QCOMPARE(http->owner,
             std::optional(SessionLink{u"s1"_s, u"Serve the site"_s, SessionLink::Evidence::ancestry}));
    // nginx runs from a folder of the second session's project, as a child of this process too, but
    // only sessions of this agent count for ancestry; its folder isn't in them.
    const auto nginx =
        store.service(LocalService::identifier(static_cast<std::int32_t>(m_nginxPID), m_nginx));
    QVERIFY(nginx);
    QCOMPARE(nginx->owner,
             std::optional(SessionLink{u"s2"_s, u"Elsewhere"_s, SessionLink::Evidence::directory}));
    QCOMPARE(scheduler.secondsUntilNext(), std::optional<double>(10));
    monitor.stop();
}

void LocalServicesScanTest::monitorKeepsTheListOnFailure() {
    MonitorHarness harness;
    auto& [clock, scheduler, logger, runner] = harness;
    LocalServicesStore store;
    FakeRunner fake;
    fake.answer(u"lsof"_s,
                ShellOutcome{0, u"p"_s + QString::number(::getpid()) + u"\ncx\nn*:4000\n"_s, QString()});
    FixedProber prober;
    LsofPortScanner scanner(m_proc, fake, prober, {u"/usr/bin/lsof"_s, std::nullopt, std::nullopt, ownUID});
    int updates = 0;
    LocalServicesMonitor monitor(scanner, store, m_proc, clock, {}, {scheduler, runner, &logger},
                                 [&] { ++updates; });
    monitor.start();
    QVERIFY(QTest::qWaitFor([&] { return !monitor.isReading(); }, 10000));
    QCOMPARE(store.services().size(), std::size_t(1));

    fake.answer(u"lsof"_s, ShellOutcome{2, QString(), u"lsof: broken\n"_s});
    QVERIFY(scheduler.advanceToNext());
    QVERIFY(QTest::qWaitFor([&] { return !monitor.isReading(); }, 10000));
    QCOMPARE(updates, 2);
    QCOMPARE(store.services().size(), std::size_t(1));
    QCOMPARE(store.lastErrorDescription(), std::optional<QString>(u"lsof exited 2: lsof: broken"_s));
    QVERIFY(logger.recentLines().join(u'\n').contains(u"failed"_s));
    monitor.stop();
}

QTEST_GUILESS_MAIN(LocalServicesScanTest)
#include "LocalServicesScanTest.moc"
