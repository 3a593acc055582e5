#include "modules/agents/live/AgentEventStore.h"

#include <QSet>
#include <QTest>

#include <atomic>
#include <thread>

using namespace tessary;
using namespace Qt::StringLiterals;

using Status = ClaudeAgentList::Status;
using WaitingFor = ClaudeAgentList::WaitingFor;

namespace {

const QDateTime t0 = QDateTime(QDate(2026, 3, 1), QTime(10, 0), Qt::UTC);

ClaudeAgentList::Reading reading(QList<ClaudeAgentList::Session> sessions,
                                 QList<ClaudeAgentList::BackgroundAgent> background = {}) {
    return {ClaudeAgentList{std::move(sessions), std::move(background)}, t0};
}

ClaudeAgentList::Session listed(const QString& id, Status status, std::optional<qint32> pid = std::nullopt) {
    ClaudeAgentList::Session session;
    session.sessionID = id;
    session.status = status;
    session.pid = pid;
    return session;
}

AgentSession session(const QString& id, const QString& directory) {
    AgentSession made;
    made.id = id;
    made.directory = directory;
    made.lastActivity = t0.addSecs(3600);
    return made;
}

// A process table of the test's making, counting its scans.
class TableScanner final : public AgentProcessScanning {
public:
    QList<AgentProcess> live(const QStringList& names) const override {
        ++scans;
        QList<AgentProcess> found;
        for (const AgentProcess& process : processes) {
            if (names.contains(process.agentName.value_or(QString()))) {
                found.append(process);
            }
        }
        return found;
    }
    bool exists(qint32 pid) const override {
        for (const AgentProcess& process : processes) {
            if (process.pid == pid) {
                return true;
            }
        }
        return running.contains(pid);
    }
    QList<AgentProcess> processes;
    QSet<qint32> running;
    mutable std::atomic_int scans{0};
};

} // namespace

class AgentEventStoreOfficialTest : public QObject {
    Q_OBJECT
private slots:
    void listReadingsMakeOfficialStates();
    void missingListSwitchesOfficialStatesOff();
    void listedPidsAndBackgroundAgents();
    void processScanIsSharedForASecond();
    void processesPlacedFromEveryWitness();
    void readersOnOtherThreads();
};

void AgentEventStoreOfficialTest::listReadingsMakeOfficialStates() {
    AgentEventStore store;
    store.update(u"anchored"_s, AgentActivity::blocked, u"Bash"_s, std::nullopt, t0.addSecs(-600));
    QVERIFY(store.officialSessionStates().isEmpty());

    QVERIFY(store.noteAgentList(
        reading({listed(u"plain"_s, Status::waiting), listed(u"anchored"_s, Status::waiting)}), t0));
    const auto first = store.officialSessionStates();
    QVERIFY(first.value(u"plain"_s).isBaseline);
    QCOMPARE(first.value(u"plain"_s).waitingFor, WaitingFor::unknown);
    QCOMPARE(first.value(u"anchored"_s).since, t0.addSecs(-600));
    QVERIFY(!first.value(u"anchored"_s).isBaseline);

    // The same list again is no change and keeps every beginning; a new session is no baseline.
    QVERIFY(!store.noteAgentList(
        reading({listed(u"plain"_s, Status::waiting), listed(u"anchored"_s, Status::waiting)}),
        t0.addSecs(30)));
    QCOMPARE(store.officialSessionStates(), first);
    QVERIFY(store.noteAgentList(
        reading({listed(u"plain"_s, Status::waiting), listed(u"new"_s, Status::busy)}), t0.addSecs(60)));
    const auto second = store.officialSessionStates();
    QVERIFY(!second.value(u"new"_s).isBaseline);
    QVERIFY(!second.contains(u"anchored"_s));

    // Resolved with the hooks: the list wins over a stale hook, a hook failure over the list.
    store.update(u"new"_s, AgentActivity::failed, std::nullopt, u"overloaded"_s, t0.addSecs(70));
    const auto resolved = LiveStatePrecedence::resolve(store.live(), store.officialSessionStates());
    QCOMPARE(resolved.value(u"new"_s).activity, AgentActivity::failed);
    QCOMPARE(resolved.value(u"plain"_s).activity, AgentActivity::blocked);
}

void AgentEventStoreOfficialTest::missingListSwitchesOfficialStatesOff() {
    AgentEventStore store;
    QVERIFY(!store.noteAgentList(std::nullopt, t0));
    QVERIFY(store.noteAgentList(reading({listed(u"s"_s, Status::busy, 42)}), t0));
    QVERIFY(store.noteAgentList(std::nullopt, t0.addSecs(5)));
    QVERIFY(store.officialSessionStates().isEmpty());
    QVERIFY(store.officialPIDs().isEmpty());
    QVERIFY(!store.agentListReading());
    QVERIFY(!store.noteAgentList(std::nullopt, t0.addSecs(10)));
    // The states were kept: the next reading carries the beginning over, and is no baseline.
    QVERIFY(store.noteAgentList(reading({listed(u"s"_s, Status::busy, 42)}), t0.addSecs(20)));
    QCOMPARE(store.officialSessionStates().value(u"s"_s).since, t0);
    QVERIFY(store.officialSessionStates().value(u"s"_s).isBaseline);
    QVERIFY(store.noteAgentList(reading({listed(u"s2"_s, Status::busy)}), t0.addSecs(30)));
    QVERIFY(!store.officialSessionStates().value(u"s2"_s).isBaseline);
}

void AgentEventStoreOfficialTest::listedPidsAndBackgroundAgents() {
    AgentEventStore store;
    ClaudeAgentList::BackgroundAgent job;
    job.id = u"job-1"_s;
    job.sessionID = u"s"_s;
    job.state = ClaudeAgentList::BackgroundAgent::State::working;
    store.noteAgentList(reading({listed(u"s"_s, Status::busy, 42), listed(u"t"_s, Status::idle)}, {job}), t0);
    QCOMPARE(store.officialPIDs(), (QHash<QString, qint32>{{u"s"_s, 42}}));
    QCOMPARE(store.listedBackgroundAgents(), QList{job});
    QVERIFY(store.backgroundAgentStates().value(u"job-1"_s).isBaseline);
    QCOMPARE(store.agentListReading()->list.sessions.size(), 2);

    // A changed background list is a change on its own.
    job.state = ClaudeAgentList::BackgroundAgent::State::done;
    QVERIFY(store.noteAgentList(
        reading({listed(u"s"_s, Status::busy, 42), listed(u"t"_s, Status::idle)}, {job}), t0.addSecs(5)));
    QCOMPARE(store.backgroundAgentStates().value(u"job-1"_s).finishedAt, t0.addSecs(5));
}

void AgentEventStoreOfficialTest::processScanIsSharedForASecond() {
    AgentEventStore store;
    TableScanner scanner;
    scanner.processes = {{7, u"/w"_s, t0, u"claude"_s}};
    const QList<AgentSession> sessions{session(u"s"_s, u"/w"_s)};
    QCOMPARE(store.processes(sessions, scanner, t0), (QHash<QString, qint32>{{u"s"_s, 7}}));
    QCOMPARE(store.processes(sessions, scanner, t0.addMSecs(1000)).value(u"s"_s), 7);
    QCOMPARE(scanner.scans.load(), 1);
    QCOMPARE(store.lastProcessScan()->at, t0);
    store.processes(sessions, scanner, t0.addMSecs(1001));
    QCOMPARE(scanner.scans.load(), 2);
    // A clock set back makes a new scan.
    store.processes(sessions, scanner, t0.addSecs(-30));
    QCOMPARE(scanner.scans.load(), 3);

    // A scan handed in is used, and kept for the callers after it.
    const QList<AgentProcess> handed{{9, u"/w"_s, t0, u"claude"_s}};
    QCOMPARE(store.processes(sessions, handed, scanner, t0.addSecs(100)).value(u"s"_s), 9);
    QCOMPARE(store.processes(sessions, scanner, t0.addSecs(100)).value(u"s"_s), 9);
    QCOMPARE(scanner.scans.load(), 3);
}

void AgentEventStoreOfficialTest::processesPlacedFromEveryWitness() {
    AgentEventStore store;
    TableScanner scanner;
    scanner.processes = {
        {10, u"/a"_s, t0, u"claude"_s},     {11, u"/two"_s, t0, u"claude"_s},
        {12, u"/two"_s, t0, u"claude"_s},   {13, u"/a/b"_s, t0, u"claude"_s},
        {14, u"/hooked"_s, t0, u"codex"_s},
    };
    scanner.running = {50};
    store.noteAgentList(reading({listed(u"listed"_s, Status::busy, 50)}), t0);
    store.note(u"hooked"_s, 14);
    store.noteAgent(u"hooked"_s, u"codex"_s);
    AgentSession hooked = session(u"hooked"_s, u"/elsewhere"_s);
    hooked.agentName = u"codex"_s;
    const QList<AgentSession> sessions{session(u"listed"_s, u"/a"_s), hooked, session(u"pair"_s, u"/two"_s),
                                       session(u"nested"_s, u"/a/b/c"_s)};
    const auto placed = store.processes(sessions, scanner, t0);
    QCOMPARE(placed, (QHash<QString, qint32>{{u"listed"_s, 50}, {u"hooked"_s, 14}, {u"nested"_s, 13}}));
}

void AgentEventStoreOfficialTest::readersOnOtherThreads() {
    // Hooks, lists and scans arrive from several threads; every reading stays whole.
    AgentEventStore store;
    TableScanner scanner;
    scanner.processes = {{10, u"/a"_s, t0, u"claude"_s}};
    std::atomic_bool stop{false};
    std::thread writer([&] {
        for (int round = 0; !stop && round < 5000; ++round) {
            store.noteAgentList(reading({listed(u"s"_s, round % 2 == 0 ? Status::busy : Status::idle, 10)}),
                                t0.addSecs(round));
            store.update(u"s"_s, AgentActivity::working, std::nullopt, std::nullopt, t0.addSecs(round));
        }
    });
    for (int round = 0; round < 2000; ++round) {
        const auto states = store.officialSessionStates();
        QVERIFY(states.size() <= 1);
        const auto placed =
            store.processes({session(u"s"_s, u"/a"_s)}, scanner, t0.addSecs(qint64{round} * 2));
        QVERIFY(placed.value(u"s"_s) == 10);
    }
    stop = true;
    writer.join();
}

QTEST_GUILESS_MAIN(AgentEventStoreOfficialTest)
#include "AgentEventStoreOfficialTest.moc"
