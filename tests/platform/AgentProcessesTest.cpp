#include "platform/processes/linux/LiveAgentProcesses.h"
#include "support/FakeProcRoot.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>
#include <thread>
#include <unistd.h>

using namespace tessary;
using namespace Qt::StringLiterals;
using tessary::testing::FakeProcRoot;

Q_DECLARE_METATYPE(std::optional<QString>)

namespace {

// Child processes that the test starts and always ends.
class Children {
public:
    Children() = default;
    Children(const Children&) = delete;
    Children& operator=(const Children&) = delete;
    Children(Children&&) = delete;
    Children& operator=(Children&&) = delete;
    ~Children() {
        for (const auto& child : m_children) {
            child->kill();
            child->waitForFinished(5000);
        }
    }

    QProcess& start(const QString& program, const QStringList& arguments, const QString& directory = {},
                    const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
        auto child = std::make_unique<QProcess>();
        child->setProgram(program);
        child->setArguments(arguments);
        child->setProcessEnvironment(environment);
        if (!directory.isEmpty()) {
            child->setWorkingDirectory(directory);
        }
        child->start();
        child->waitForStarted(5000);
        // Started can be told before the new program has replaced the copy of this one.
        const QString self = QFile::symLinkTarget(u"/proc/self/exe"_s);
        const QString exe = u"/proc/%1/exe"_s.arg(child->processId());
        (void)QTest::qWaitFor([&] { return QFile::symLinkTarget(exe) != self; }, 5000);
        m_children.push_back(std::move(child));
        return *m_children.back();
    }

private:
    std::vector<std::unique_ptr<QProcess>> m_children;
};

qint32 pidOf(const QProcess& process) {
    return static_cast<qint32>(process.processId());
}

// A copy of `sleep` under another name, so that its executable's path is what the test says.
QString sleeperAt(const QString& path) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    const QString sleep = QStandardPaths::findExecutable(u"sleep"_s);
    if (!QFile::copy(sleep, path)) {
        return {};
    }
    QFile::setPermissions(path, QFile::permissions(path) | QFileDevice::ExeOwner);
    return QFileInfo(path).canonicalFilePath();
}

std::optional<AgentProcess> findPid(const QList<AgentProcess>& processes, qint32 pid) {
    for (const AgentProcess& process : processes) {
        if (process.pid == pid) {
            return process;
        }
    }
    return std::nullopt;
}

// Waits until `pid` has a child whose executable ends with `name`.
std::optional<qint32> childNamed(const LiveAgentProcesses& processes, qint32 pid, const QString& name) {
    std::optional<qint32> found;
    (void)QTest::qWaitFor(
        [&] {
            for (const ProcessLink& link : processes.descendants(pid)) {
                if (processes.executable(link.pid).value_or(QString()).endsWith(name)) {
                    found = link.pid;
                    return true;
                }
            }
            return false;
        },
        5000);
    return found;
}

} // namespace

class AgentProcessesTest : public QObject {
    Q_OBJECT
private slots:
    void init();

    void findsAgentsByPathAndStartName();
    void argumentsTerminalsAndFamily();
    void environmentValue();
    void endedProcessesAreGone();
    void scanIsCachedForOneSecond();
    void processesEndingDuringTheScan();
    void damagedAndVanishingEntries();
    void terminalDevice_data();
    void terminalDevice();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString path(const QString& relative) const { return m_dir->filePath(relative); }
};

void AgentProcessesTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void AgentProcessesTest::findsAgentsByPathAndStartName() {
    const QString codex = sleeperAt(path(u"vendor/codex/bin/worker"_s));
    const QString agy = sleeperAt(path(u"tools/agy.exe"_s));
    const QString plain = sleeperAt(path(u"plain/sleeper"_s));
    QVERIFY(!codex.isEmpty() && !agy.isEmpty() && !plain.isEmpty());
    QDir().mkpath(path(u"work/project one"_s));
    const QString work = QFileInfo(path(u"work/project one"_s)).canonicalFilePath();

    Children children;
    const qint32 codexPid = pidOf(children.start(codex, {u"30"_s}, work));
    const qint32 agyPid = pidOf(children.start(agy, {u"30"_s}));
    const qint32 plainPid = pidOf(children.start(plain, {u"30"_s}));
    // Started by the name "claude" from an executable whose path says nothing, as a runtime is.
    const qint32 namedPid =
        pidOf(children.start(u"bash"_s, {u"-c"_s, u"exec -a /home/u/.local/bin/claude \"$0\" 30"_s, plain}));
    // bash replaces itself in turn.
    QVERIFY(QTest::qWaitFor([&] { return QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(namedPid)) == plain; },
                            5000));

    const SystemClock clock;
    const LiveAgentProcesses processes(clock);
    const QDateTime now = clock.now();
    const QList<AgentProcess> live = processes.live(AgentProcessNames::agentNames());

    const auto codexProcess = findPid(live, codexPid);
    QVERIFY(codexProcess);
    QCOMPARE(codexProcess->agentName, u"codex"_s);
    QCOMPARE(codexProcess->directory, work);
    QVERIFY(qAbs(secondsBetween(codexProcess->startedAt, now)) < 10);
    QCOMPARE(findPid(live, agyPid).value_or(AgentProcess{}).agentName, u"agy"_s);
    QCOMPARE(findPid(live, namedPid).value_or(AgentProcess{}).agentName, u"claude"_s);
    QVERIFY(!findPid(live, plainPid));
    // Only the names asked for.
    QVERIFY(!findPid(processes.live({u"claude"_s}), codexPid));
}

void AgentProcessesTest::argumentsTerminalsAndFamily() {
    const SystemClock clock;
    const LiveAgentProcesses processes(clock);
    Children children;
    const QStringList passed{u"claude"_s, u"a b"_s, u"it's \"quoted\""_s, u""_s, u"café ☕"_s};
    // setsid: a new session, hence no controlling terminal, whatever the test runs in.
    const qint32 shell =
        pidOf(children.start(u"setsid"_s, QStringList{u"sh"_s, u"-c"_s, u"sleep 30; :"_s} + passed));
    const auto sleeper = childNamed(processes, shell, u"/sleep"_s);
    QVERIFY(sleeper);

    const auto arguments = processes.arguments(shell);
    QVERIFY(arguments);
    QCOMPARE(arguments->mid(1), QStringList({u"-c"_s, u"sleep 30; :"_s}) + passed);
    QCOMPARE(processes.hasControllingTerminal(shell), false);
    QVERIFY(!processes.tty(shell));

    // The test process, its child and its grandchild.
    const auto self = static_cast<qint32>(::getpid());
    const QList<ProcessLink> family = processes.descendants(self);
    qsizetype childAt = -1;
    qsizetype grandchildAt = -1;
    for (qsizetype i = 0; i < family.size(); ++i) {
        if (family.at(i).pid == shell) {
            QCOMPARE(family.at(i).parent, self);
            QVERIFY(family.at(i).startedAt.isValid());
            childAt = i;
        }
        if (family.at(i).pid == *sleeper) {
            QCOMPARE(family.at(i).parent, shell);
            grandchildAt = i;
        }
    }
    QVERIFY(childAt >= 0 && grandchildAt > childAt);
    QCOMPARE(processes.ancestors(*sleeper, AgentProcesses::ancestorLimit).mid(0, 2),
             (QList<qint32>{shell, self}));
    QCOMPARE(processes.ancestors(*sleeper, 1), QList<qint32>{shell});
    QVERIFY(processes.descendants(*sleeper).isEmpty());

    // Inside a terminal of its own.
    const qint32 script = pidOf(children.start(u"script"_s, {u"-qec"_s, u"sleep 30"_s, u"/dev/null"_s}));
    const auto terminalSleeper = childNamed(processes, script, u"/sleep"_s);
    QVERIFY(terminalSleeper);
    QCOMPARE(processes.hasControllingTerminal(*terminalSleeper), true);
    QVERIFY(processes.tty(*terminalSleeper).value_or(QString()).startsWith(u"/dev/pts/"_s));
}

void AgentProcessesTest::environmentValue() {
    const SystemClock clock;
    const LiveAgentProcesses processes(clock);
    Children children;
    QProcessEnvironment environment;
    environment.insert(u"TESSARY_PROBE"_s, u"x y=z"_s);
    environment.insert(u"TESSARY_EMPTY"_s, u""_s);
    environment.insert(u"PATH"_s, qEnvironmentVariable("PATH"));
    const qint32 pid = pidOf(children.start(u"sleep"_s, {u"30"_s}, {}, environment));
    // Until the child has replaced itself with sleep, its environment is still the test's own; and
    // the kernel names the new executable a moment before it lays out the new environment.
    QVERIFY(QTest::qWaitFor(
        [&] {
            return processes.executable(pid).value_or(QString()).endsWith(u"/sleep"_s) &&
                   processes.environmentValue(u"PATH"_s, pid).has_value();
        },
        5000));
    QCOMPARE(processes.environmentValue(u"TESSARY_PROBE"_s, pid), u"x y=z"_s);
    QCOMPARE(processes.environmentValue(u"TESSARY_EMPTY"_s, pid), u""_s);
    QVERIFY(!processes.environmentValue(u"TESSARY_ABSENT"_s, pid));
    QVERIFY(!processes.environmentValue(u"TESSARY"_s, pid));
    QVERIFY(!processes.environmentValue(u""_s, pid));
    QVERIFY(!processes.environmentValue(u"TESSARY_PROBE=x y"_s, pid));
    // Another user's process (init) can't be read.
    if (::getuid() != 0) {
        QVERIFY(!processes.environmentValue(u"PATH"_s, 1));
    }
}

void AgentProcessesTest::endedProcessesAreGone() {
    const SystemClock clock;
    const LiveAgentProcesses processes(clock);
    Children children;
    // The shell's first child is left unreaped by the program that replaces the shell: a zombie.
    QProcess& parent =
        children.start(u"sh"_s, {u"-c"_s, u"sleep 0.1 & echo $!; exec sleep 30"_s}, m_dir->path());
    QVERIFY(parent.waitForReadyRead(5000));
    const qint32 zombie = parent.readAllStandardOutput().trimmed().toInt();
    QVERIFY(zombie > 0);
    QVERIFY(QTest::qWaitFor([&] { return !processes.exists(zombie); }, 5000));
    QVERIFY(QFile::exists(u"/proc/"_s + QString::number(zombie)));

    const qint32 running = pidOf(parent);
    QVERIFY(processes.exists(running));
    QVERIFY(processes.startedAt(running));
    parent.kill();
    QVERIFY(parent.waitForFinished(5000));
    QVERIFY(!processes.exists(running));
    QVERIFY(!processes.startedAt(running));
    QVERIFY(!processes.arguments(running));
    QVERIFY(!processes.directory(running));
    QVERIFY(!processes.hasControllingTerminal(running));
    QVERIFY(processes.descendants(running).isEmpty());
    QVERIFY(processes.ancestors(running, AgentProcesses::ancestorLimit).isEmpty());
    QVERIFY(!processes.exists(0));
    QVERIFY(!processes.exists(-5));
}

void AgentProcessesTest::scanIsCachedForOneSecond() {
    FakeProcRoot proc;
    proc.write(u"stat"_s, "cpu 1 2 3 4\nbtime 1790000000\n");
    proc.link(u"10/exe"_s, u"/opt/claude/bin/claude"_s);
    proc.stat({.pid = 10, .startTicks = 100});
    ManualClock clock;
    const LiveAgentProcesses processes(clock, proc.root());
    QCOMPARE(processes.live(AgentProcessNames::agentNames()).size(), 1);

    proc.link(u"11/exe"_s, u"/usr/lib/codex/codex"_s);
    proc.stat({.pid = 11, .startTicks = 200});
    clock.advance(1.0);
    QCOMPARE(processes.live(AgentProcessNames::agentNames()).size(), 1);
    QCOMPARE(processes.scanCount(), 1);
    clock.advance(0.1);
    QCOMPARE(processes.live(AgentProcessNames::agentNames()).size(), 2);
    QCOMPARE(processes.scanCount(), 2);
    // Other names are another scan; so is a clock set back.
    QCOMPARE(processes.live({u"codex"_s}).size(), 1);
    QCOMPARE(processes.scanCount(), 3);
    clock.advance(-60);
    QCOMPARE(processes.live({u"codex"_s}).size(), 1);
    QCOMPARE(processes.scanCount(), 4);

    // Many readers at one moment make one scan.
    clock.advance(120);
    std::vector<std::thread> readers;
    readers.reserve(8);
    for (int i = 0; i < 8; ++i) {
        readers.emplace_back([&] { (void)processes.live({u"codex"_s}); });
    }
    for (auto& reader : readers) {
        reader.join();
    }
    QCOMPARE(processes.scanCount(), 5);
}

void AgentProcessesTest::processesEndingDuringTheScan() {
    // A shell starts and ends hundreds of short-lived agent processes while the table is scanned
    // over and over: every answer is whole, and nothing fails.
    const QString blip = sleeperAt(path(u"claude/bin/blip"_s));
    QVERIFY(!blip.isEmpty());
    const QString steady = sleeperAt(path(u"codex/bin/steady"_s));
    Children children;
    const qint32 steadyPid = pidOf(children.start(steady, {u"30"_s}));
    QProcess& churn = children.start(
        u"sh"_s,
        {u"-c"_s, u"i=0; while [ $i -lt 400 ]; do \"$0\" 0.00$((i % 10)) & i=$((i+1)); done; wait"_s, blip});

    ManualClock clock(QDateTime::currentDateTimeUtc());
    const LiveAgentProcesses processes(clock);
    int transient = 0;
    while (churn.state() == QProcess::Running) {
        clock.advance(2);
        const QList<AgentProcess> live = processes.live(AgentProcessNames::agentNames());
        QVERIFY(findPid(live, steadyPid));
        for (const AgentProcess& process : live) {
            QVERIFY(process.pid > 0 && process.startedAt.isValid() && process.agentName);
            if (process.agentName == u"claude"_s) {
                ++transient;
            }
            // The process may be gone by now: each answer is then empty, not wrong.
            if (const auto arguments = processes.arguments(process.pid)) {
                QVERIFY(!arguments->isEmpty());
            }
        }
        for (const ProcessLink& link : processes.descendants(pidOf(churn))) {
            QVERIFY(link.pid > 0);
        }
        QTest::qWait(1);
    }
    QCOMPARE(churn.exitStatus(), QProcess::NormalExit);
    qInfo("short-lived agent processes seen: %d", transient);
}

void AgentProcessesTest::damagedAndVanishingEntries() {
    FakeProcRoot proc;
    proc.write(u"stat"_s, "cpu 1 2 3 4\nbtime 1790000000\n");
    // Found by its path, with its folder and start: boot plus 12.5 seconds.
    proc.link(u"10/exe"_s, u"/home/u/.local/share/claude/versions/2.1.39"_s);
    proc.link(u"10/cwd"_s, u"/work/a"_s);
    proc.stat({.pid = 10,
               .startTicks = static_cast<std::uint64_t>(12.5 * static_cast<double>(::sysconf(_SC_CLK_TCK)))});
    // Ended between the listing and the reading of its state.
    proc.link(u"11/exe"_s, u"/opt/claude/claude"_s);
    // Its folder can't be read: kept, without one.
    proc.link(u"12/exe"_s, u"/opt/codex/codex"_s);
    proc.stat({.pid = 12, .startTicks = 100});
    // A kernel thread has no executable, whatever its command line says.
    proc.write(u"13/cmdline"_s, QByteArray("claude\0", 7));
    proc.stat({.pid = 13, .startTicks = 100});
    // A runtime started by the name "claude".
    proc.link(u"14/exe"_s, u"/usr/bin/node"_s);
    proc.write(u"14/cmdline"_s, QByteArray("/usr/local/bin/claude\0--resume\0", 31));
    proc.stat({.pid = 14, .startTicks = 100});
    // A state file cut short.
    proc.link(u"15/exe"_s, u"/opt/agy/agy"_s);
    proc.write(u"15/stat"_s, "15 (agy) S 1 1");
    // A zombie.
    proc.link(u"16/exe"_s, u"/opt/claude/claude"_s);
    proc.stat({.pid = 16, .state = 'Z', .startTicks = 100});
    proc.write(u"not-a-pid/stat"_s, "x");

    ManualClock clock;
    const LiveAgentProcesses processes(clock, proc.root());
    const QList<AgentProcess> live = processes.live(AgentProcessNames::agentNames());
    QList<qint32> pids;
    for (const AgentProcess& process : live) {
        pids.append(process.pid);
    }
    QCOMPARE(pids, (QList<qint32>{10, 12, 14}));
    QCOMPARE(live.at(0).directory, u"/work/a"_s);
    QCOMPARE(live.at(0).startedAt, QDateTime::fromMSecsSinceEpoch(1'790'000'012'500, Qt::UTC));
    QCOMPARE(live.at(0).agentName, u"claude"_s);
    QVERIFY(!live.at(1).directory);
    QCOMPARE(live.at(2).agentName, u"claude"_s);
    QCOMPARE(processes.arguments(14), (QStringList{u"/usr/local/bin/claude"_s, u"--resume"_s}));
    QVERIFY(processes.exists(10));
    QVERIFY(!processes.exists(16));
    QVERIFY(!processes.exists(11));
    QVERIFY(!processes.hasControllingTerminal(15));
}

void AgentProcessesTest::terminalDevice_data() {
    QTest::addColumn<qint32>("terminal");
    QTest::addColumn<std::optional<QString>>("device");
    using Device = std::optional<QString>;
    const auto encode = [](quint32 major, quint32 minor) {
        return static_cast<qint32>((minor & 0xffU) | (major << 8) | ((minor & ~0xffU) << 12));
    };
    QTest::newRow("none") << 0 << Device();
    QTest::newRow("pts 3") << 34819 << Device(u"/dev/pts/3"_s);
    QTest::newRow("pts 300") << encode(136, 300) << Device(u"/dev/pts/300"_s);
    QTest::newRow("second pts major") << encode(137, 2) << Device(u"/dev/pts/258"_s);
    QTest::newRow("virtual console") << encode(4, 1) << Device(u"/dev/tty1"_s);
    QTest::newRow("serial") << encode(4, 64) << Device(u"/dev/ttyS0"_s);
    QTest::newRow("unknown major") << encode(188, 0) << Device();
}

void AgentProcessesTest::terminalDevice() {
    QFETCH(qint32, terminal);
    QFETCH(std::optional<QString>, device);
    QCOMPARE(LiveAgentProcesses::terminalDevice(terminal), device);
}

QTEST_GUILESS_MAIN(AgentProcessesTest)
#include "AgentProcessesTest.moc"
