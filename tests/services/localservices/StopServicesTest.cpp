#include "RealListeners.h"
#include "modules/localservices/LocalServicesModule.h"
#include "modules/vitals/VitalsModules.h"
#include "platform/procfs/ProcFileSystem.h"
#include "services/localservices/DockerClient.h"
#include "services/localservices/SignalTerminator.h"
#include "services/shell/Shell.h"

#include <unistd.h>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

constexpr double grace = 0.5;

bool finishes(const QFuture<void>& future) {
    return QTest::qWaitFor([&] { return future.isFinished(); }, 15000);
}

LocalService serviceOf(const QProcess& process, int port) {
    LocalService service;
    service.pid = static_cast<std::int32_t>(process.processId());
    service.port = port;
    service.id = LocalService::identifier(service.pid, port);
    service.uid = static_cast<std::uint32_t>(::getuid());
    service.command = u"python3"_s;
    service.technology = {u"Python"_s, Technology::Kind::runtime};
    return service;
}

} // namespace

class StopServicesTest : public QObject {
    Q_OBJECT
private slots:
    void stopEndsAServerWithSIGTERM();
    void serverIgnoringSIGTERMNeedsTheForceStop();
    void killFromACPURow();
    void refusals_data();
    void refusals();
    void containerStopNeedsDocker();

private:
    LocalServicesModuleServices servicesFor(LocalServicesStore& store) {
        LocalServicesModuleServices services{store, m_clock};
        services.terminator = &m_terminator;
        services.delay = timerDelay;
        services.isAlive = [this](std::int32_t pid) { return m_proc.isAlive(pid); };
        services.gracePeriod = grace;
        services.forceGracePeriod = grace;
        services.currentUID = static_cast<std::uint32_t>(::getuid());
        return services;
    }

    SystemClock m_clock;
    Shell m_shell;
    ProcFileSystem m_proc;
    SignalTerminator m_terminator{m_shell, std::nullopt};
};

void StopServicesTest::stopEndsAServerWithSIGTERM() {
    RealListeners listeners;
    const int port = freePort();
    QProcess* server = listeners.pythonHTTP(port);
    QVERIFY(server && waitUntilListening(port));
    const LocalService service = serviceOf(*server, port);
    LocalServicesStore store;
    store.update({service}, m_clock.now(), {});
    LocalServicesModule module(servicesFor(store));

    const DetailCommand stop =
        *module.handle(HostEvent::moduleDataChanged, {})->variants.detail->sections.at(1).command;
    QCOMPARE(stop.id, u"stop:"_s + service.id);
    QVERIFY(finishes(module.perform(stop)));
    QVERIFY(QTest::qWaitFor([&] { return server->state() == QProcess::NotRunning; }, 5000));
    QCOMPARE(server->exitStatus(), QProcess::CrashExit); // ended by the signal
    QVERIFY(!m_proc.isAlive(service.pid));
    // Taken off the list at once, ahead of the next scan.
    QVERIFY(store.services().empty());
    QVERIFY(!store.isSurvivor(service.id));
}

void StopServicesTest::serverIgnoringSIGTERMNeedsTheForceStop() {
    RealListeners listeners;
    const int port = freePort();
    QProcess* server = listeners.stubbornPython(port);
    QVERIFY(server && waitUntilListening(port));
    const LocalService service = serviceOf(*server, port);
    LocalServicesStore store;
    store.update({service}, m_clock.now(), {});
    LocalServicesModule module(servicesFor(store));

    QVERIFY(finishes(module.perform({u"stop:"_s + service.id, u"tessary.ports"_s, u"Stop"_s})));
    QVERIFY(store.isSurvivor(service.id));
    QVERIFY(m_proc.isAlive(service.pid));
    QVERIFY(accepts(port));

    const DetailCommand force =
        *module.handle(HostEvent::moduleDataChanged, {})->variants.detail->sections.at(1).command;
    QCOMPARE(force.id, u"force:"_s + service.id);
    QVERIFY(finishes(module.perform(force)));
    QVERIFY(QTest::qWaitFor([&] { return server->state() == QProcess::NotRunning; }, 5000));
    QVERIFY(!accepts(port));
    QVERIFY(store.services().empty());
}

void StopServicesTest::killFromACPURow() {
    RealListeners listeners;
    const int port = freePort();
    QProcess* server = listeners.stubbornPython(port);
    QVERIFY(server && waitUntilListening(port));
    const auto pid = static_cast<std::int32_t>(server->processId());
    SystemVitalsStore store;
    SystemVitalsSnapshot snapshot;
    snapshot.capturedAt = m_clock.now();
    snapshot.processes = {{u"exe:/usr/bin/python3"_s, u"python3"_s, std::nullopt, {pid}, 12.0, 4096}};
    store.update(snapshot);
    VitalsModuleServices services{store, m_clock};
    services.terminator = &m_terminator;
    services.delay = timerDelay;
    services.isAlive = [this](std::int32_t candidate) { return m_proc.isAlive(candidate); };
    services.gracePeriod = grace;
    services.forceGracePeriod = grace;
    services.ownPID = static_cast<std::int32_t>(::getpid());
    CPUModule module(services);

    QVERIFY(finishes(module.perform({u"kill:exe:/usr/bin/python3"_s, u"tessary.cpu"_s, u"Kill"_s})));
    QVERIFY(store.isSurvivor(u"exe:/usr/bin/python3"_s));
    QVERIFY(
        finishes(module.perform({u"force-kill:exe:/usr/bin/python3"_s, u"tessary.cpu"_s, u"Force kill"_s})));
    QVERIFY(QTest::qWaitFor([&] { return server->state() == QProcess::NotRunning; }, 5000));
    QVERIFY(store.latest()->processes.empty());
}

void StopServicesTest::refusals_data() {
    QTest::addColumn<int>("pid");
    QTest::addColumn<QString>("message");
    QTest::newRow("init") << 1 << u"refusing to signal pid 1"_s;
    QTest::newRow("zero: the whole group") << 0 << u"refusing to signal pid 0"_s;
    QTest::newRow("negative: a group") << -5 << u"refusing to signal pid -5"_s;
    QTest::newRow("this program") << static_cast<int>(::getpid()) << u"refusing to signal this program"_s;
}

void StopServicesTest::refusals() {
    QFETCH(int, pid);
    const MaybeFailure failure = m_terminator.terminate(pid, true);
    QVERIFY(failure);
    QTEST(failure->userText, "message");
    // Still here to tell.
    QVERIFY(m_proc.isAlive(static_cast<std::int32_t>(::getpid())));
}

void StopServicesTest::containerStopNeedsDocker() {
    QFuture<MaybeFailure> none = m_terminator.stopContainer(u"web-1"_s);
    QCOMPARE(none.result(), MaybeFailure(Failure{u"docker not found"_s}));

    const auto docker = DockerClient::find();
    if (!docker) {
        QSKIP("no docker client installed");
    }
    // A client without an engine: the stop fails with docker's own words.
    SignalTerminator withDocker(m_shell, docker);
    QFuture<MaybeFailure> stopped = withDocker.stopContainer(u"tessary-no-such-container"_s);
    QVERIFY(QTest::qWaitFor([&] { return stopped.isFinished(); }, 40000));
    QVERIFY(stopped.result().has_value());
    QVERIFY(!stopped.result()->userText.isEmpty());
    QCOMPARE(withDocker.stopContainer(u"--help"_s).result(),
             MaybeFailure(Failure{u"not a container name"_s}));
}

QTEST_GUILESS_MAIN(StopServicesTest)
#include "StopServicesTest.moc"
