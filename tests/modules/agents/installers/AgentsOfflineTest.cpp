// The real agents, installed from the npm registry and run offline (tests/support/agents-offline), with
// the hooks written by AgentHookInstaller into a private home: each hook the agent fires reaches a
// recording listener on loopback, with the program's headers, and a decision given there is obeyed.
#include "modules/agents/installers/AgentHookInstaller.h"
#include "modules/agents/installers/StatusLineEnvelopeInstaller.h"
#include "modules/agents/live/ClaudeStatusLineStore.h"
#include "modules/usage/ClaudeStatusLineUse.h"
#include "support/OfflineAgents.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <QSettings>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

bool skippedForLackOfAgents = false;

struct Delivery {
    QString scenario;
    QString event;
    QHash<QByteArray, QByteArray> headers; // names in lower case
    QJsonObject body;
    // For a request without the token: its head and the process that sent it, with its parents.
    QByteArray head;
    QString sender;
};

qint64 parentOf(qint64 pid) {
    QFile stat(u"/proc/%1/stat"_s.arg(pid));
    if (!stat.open(QIODevice::ReadOnly)) {
        return 0;
    }
    // "pid (name) state ppid ...": the name may hold spaces and parentheses.
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 1 ? fields[1].toLongLong() : 0;
}

QByteArray commandLineOf(qint64 pid) {
    QFile file(u"/proc/%1/cmdline"_s.arg(pid));
    return file.open(QIODevice::ReadOnly) ? file.read(300).replace('\0', ' ').trimmed() : QByteArray("?");
}

// The process on this machine whose socket has the local port `port` on loopback, other than this one.
qint64 processWithPort(quint16 port) {
    QProcess lsof;
    lsof.start(u"lsof"_s, {u"-nP"_s, u"-a"_s, u"-iTCP@127.0.0.1:%1"_s.arg(port), u"-Fp"_s});
    if (!lsof.waitForFinished(5000)) {
        return 0;
    }
    for (const QByteArray& line : lsof.readAllStandardOutput().split('\n')) {
        const qint64 pid = line.startsWith('p') ? line.mid(1).toLongLong() : 0;
        if (pid > 0 && pid != QCoreApplication::applicationPid()) {
            return pid;
        }
    }
    return 0;
}

// A loopback HTTP/1.1 listener that records each hook and answers it as the program would: an empty
// 204, or for a decision an allow, except in the terminal scenarios of Claude Code, which the user
// answers in the terminal. Each event name is appended to a file, which the scenarios wait on.
//
// A request that does not carry the token is told apart by its sender: one sent from the agent's run
// is recorded, so that the test fails and says why; one from another program on this machine (a port
// it remembered that this listener now has) is refused, as the program would, and only reported.
class RecordingListener : public QObject {
public:
    RecordingListener(QString eventsFile, QByteArray token)
        : m_eventsFile(std::move(eventsFile))
        , m_token(std::move(token)) {
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = m_server.nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
                // A request cut short must not leave its bytes to the next socket at the same address.
                connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
                    m_buffers.remove(socket);
                    socket->deleteLater();
                });
            }
        });
        m_server.listen(QHostAddress::LocalHost, 0);
    }

    quint16 port() const { return m_server.serverPort(); }
    QList<Delivery> deliveries;
    QString scenario;
    // The script that runs the agent for the scenario.
    qint64 scenarioProcess = 0;

private:
    void read(QTcpSocket* socket) {
        QByteArray& buffer = m_buffers[socket];
        buffer += socket->readAll();
        const qsizetype end = buffer.indexOf("\r\n\r\n");
        if (end < 0) {
            return;
        }
        QHash<QByteArray, QByteArray> headers;
        const QList<QByteArray> lines = buffer.left(end).split('\n');
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines[i].indexOf(':');
            if (colon > 0) {
                headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
            }
        }
        const qsizetype length = headers.value("content-length", "0").toLongLong();
        if (headers.value("expect").toLower() == "100-continue" && buffer.size() == end + 4) {
            socket->write("HTTP/1.1 100 Continue\r\n\r\n");
        }
        if (buffer.size() < end + 4 + length) {
            return;
        }
        const QJsonObject body = QJsonDocument::fromJson(buffer.mid(end + 4, length)).object();
        const bool isHook = buffer.startsWith("POST /event HTTP/1.1\r\n");
        m_buffers.remove(socket);
        if (!isHook) {
            // Another program on this machine probing loopback ports: not a hook.
            socket->write("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
            socket->disconnectFromHost();
            return;
        }
        const QString event = body.value(u"hook_event_name"_s).toString();
        Delivery delivery{scenario, event, headers, body, {}, {}};
        if (headers.value("x-tessary-token") != m_token) {
            delivery.head = buffer.left(end);
            bool fromRun = false;
            delivery.sender = senderOf(socket->peerPort(), &fromRun);
            if (!fromRun) {
                qWarning("a request from outside the run, refused: %s\n%s", qPrintable(delivery.sender),
                         delivery.head.constData());
                socket->write("HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n");
                socket->disconnectFromHost();
                return;
            }
        }
        deliveries.append(delivery);
        QFile events(m_eventsFile);
        if (events.open(QIODevice::Append)) {
            events.write(event.toUtf8() + '\n');
        }
        const bool decides =
            headers.contains("x-tessary-decision") &&
            (headers.value("x-tessary-source") == "codex" || !scenario.startsWith(u"terminal"_s));
        if (decides) {
            const QByteArray reply =
                R"({"hookSpecificOutput":{"hookEventName":"PermissionRequest","decision":{"behavior":"allow"}}})";
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                          QByteArray::number(reply.size()) + "\r\nConnection: close\r\n\r\n" + reply);
        } else {
            socket->write("HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n");
        }
        socket->disconnectFromHost();
    }

    // The sending process and its parents; `fromRun` when the scenario's script is among them, or when
    // the sender cannot be found (then the request counts as the run's).
    QString senderOf(quint16 peerPort, bool* fromRun) const {
        const qint64 pid = processWithPort(peerPort);
        *fromRun = pid == 0;
        QStringList chain;
        for (qint64 process = pid; process > 1 && chain.size() < 12; process = parentOf(process)) {
            chain.append(u"%1 %2"_s.arg(process).arg(QString::fromLocal8Bit(commandLineOf(process))));
            *fromRun = *fromRun || process == scenarioProcess;
        }
        return pid == 0 ? u"sender not found"_s : chain.join(u" <- "_s);
    }

    QString m_eventsFile;
    QByteArray m_token;
    QTcpServer m_server;
    QHash<QTcpSocket*, QByteArray> m_buffers;
};

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class AgentsOfflineTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void claudeCodeFiresTheInstalledHooks();
    void codexFiresTheInstalledHooks();
    void claudeStatusLineThroughTheEnvelope();

private:
    struct Run {
        QTemporaryDir sandbox;
        QString home = sandbox.filePath(u"home"_s);
        QString eventsFile = sandbox.filePath(u"events"_s);
        QSettings defaults{sandbox.filePath(u"Tessary.conf"_s), QSettings::IniFormat};
        QString token = u"offline-test-token"_s;
        RecordingListener listener{eventsFile, token.toUtf8()};
        // "subscription" runs Claude Code with a subscription's token instead of an API key.
        QString login;
    };

    void prepare(Run& run);
    void runScenario(Run& run, const QString& agent, const QString& scenario);
    static QSet<QString> eventsOf(const Run& run, const QString& scenario = {});
    static void checkHeaders(const Run& run, const QString& agent);

    QString m_claude;
    QString m_codex;
};

void AgentsOfflineTest::initTestCase() {
    const OfflineAgents agents = installOfflineAgents();
    if (agents.status == 77) {
        skippedForLackOfAgents = true;
        QSKIP("the agents cannot be installed: the npm registry is out of reach");
    }
    QCOMPARE(agents.status, 0);
    m_claude = agents.claude;
    m_codex = agents.codex;
}

void AgentsOfflineTest::prepare(Run& run) {
    QVERIFY(run.sandbox.isValid());
    QVERIFY(run.listener.port() != 0);
    QVERIFY(QDir().mkpath(run.home + u"/.tessary"_s));
    QFile endpoint(run.home + u"/.tessary/hook-endpoint"_s);
    QVERIFY(endpoint.open(QIODevice::WriteOnly));
    endpoint.write("http://127.0.0.1:" + QByteArray::number(run.listener.port()) + "/event");
    endpoint.close();
    QFile token(run.home + u"/.tessary/hook-token"_s);
    QVERIFY(token.open(QIODevice::WriteOnly));
    token.write(run.token.toUtf8());
}

void AgentsOfflineTest::runScenario(Run& run, const QString& agent, const QString& scenario) {
    run.listener.scenario = scenario;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"AGENTS_OFFLINE_EVENTS"_s, run.eventsFile);
    environment.insert(u"AGENTS_OFFLINE_LOGIN"_s, run.login);
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(agentsOfflineScript(), {agent, run.home, run.sandbox.filePath(scenario), scenario});
    run.listener.scenarioProcess = process.processId();
    // The listener answers on this thread while the agent runs.
    QTRY_VERIFY_WITH_TIMEOUT(process.state() == QProcess::NotRunning, 6 * 60 * 1000);
    QCOMPARE(process.exitCode(), 0);
    // Hooks that run in the background may still be posting.
    QTest::qWait(1500);
}

QSet<QString> AgentsOfflineTest::eventsOf(const Run& run, const QString& scenario) {
    QSet<QString> events;
    for (const Delivery& delivery : run.listener.deliveries) {
        if (scenario.isEmpty() || delivery.scenario == scenario) {
            events.insert(delivery.event);
        }
    }
    return events;
}

void AgentsOfflineTest::checkHeaders(const Run& run, const QString& agent) {
    for (const Delivery& delivery : run.listener.deliveries) {
        QVERIFY2(delivery.headers.value("x-tessary-token") == run.token.toUtf8(),
                 qPrintable(u"%1 in %2 without the token, from %3:\n%4"_s.arg(
                     delivery.event, delivery.scenario, delivery.sender, QString::fromUtf8(delivery.head))));
        bool isNumber = false;
        QVERIFY(delivery.headers.value("x-tessary-agent").toLongLong(&isNumber) > 1 && isNumber);
        QCOMPARE(delivery.headers.contains("x-tessary-decision"), delivery.event == u"PermissionRequest"_s);
        QCOMPARE(delivery.headers.value("x-tessary-source"),
                 agent == u"codex"_s ? QByteArray("codex") : QByteArray());
        QVERIFY(!delivery.body.value(u"session_id"_s).toString().isEmpty());
    }
}

void AgentsOfflineTest::claudeCodeFiresTheInstalledHooks() {
    if (m_claude.isEmpty()) {
        QSKIP("Claude Code could not be installed");
    }
    Run run;
    prepare(run);
    QVERIFY(QDir().mkpath(run.home + u"/.claude"_s));
    const AgentHookInstaller installer = AgentHookInstaller::claude(run.home, &run.defaults);
    QVERIFY(installer.connectIfPossible());

    // Print mode exits as soon as its turn ends and may cut off the asynchronous hooks still posting
    // (Stop, StopFailure, PostCompact): the terminal scenarios are the ones that must deliver them.
    const QStringList scenarios{u"print-tools"_s, u"print-compact"_s, u"terminal"_s,
                                u"terminal-rate-limit"_s};
    for (const QString& scenario : scenarios) {
        runScenario(run, u"claude"_s, scenario);
        if (QTest::currentTestFailed()) {
            return;
        }
    }
    // The version in use accepted every entry: a skipped one is told on standard error.
    for (const QString& scenario : scenarios) {
        const QByteArray errors = readAll(run.sandbox.filePath(scenario) + u".err"_s);
        QVERIFY2(!errors.contains("settings"), errors.constData());
    }
    checkHeaders(run, u"claude"_s);

    const QStringList names = installer.eventNames();
    const QSet<QString> installed(names.cbegin(), names.cend());
    const QSet<QString> fired = eventsOf(run);
    QVERIFY2(installed.contains(fired), qPrintable(QStringList((fired - installed).values()).join(u' ')));
    const QStringList required{u"SessionStart"_s,       u"UserPromptSubmit"_s,
                               u"PreToolUse"_s,         u"PostToolUse"_s,
                               u"PostToolUseFailure"_s, u"CwdChanged"_s,
                               u"PermissionRequest"_s,  u"SubagentStart"_s,
                               u"SubagentStop"_s,       u"PreCompact"_s,
                               u"PostCompact"_s,        u"StopFailure"_s,
                               u"Notification"_s,       u"Stop"_s,
                               u"PostModelSwitch"_s,    u"SessionEnd"_s};
    for (const QString& event : required) {
        QVERIFY2(fired.contains(event), qPrintable(event));
    }
    QVERIFY(eventsOf(run, u"terminal"_s).contains(u"Notification"_s));
    qInfo("not fired offline: %s", qPrintable(QStringList((installed - fired).values()).join(u' ')));

    // The allow given by the listener was obeyed: the command that needed a permission ran (after the
    // scenario's change of folder).
    QVERIFY(QFile::exists(run.sandbox.filePath(u"print-tools/sub/needs-permission.txt"_s)));
    // A permission left to the terminal was not.
    QVERIFY(!QFile::exists(run.sandbox.filePath(u"terminal/sub/needs-permission.txt"_s)));
    // The agent changed nothing of ours in its settings.
    QVERIFY(installer.isFullyInstalled());
}

void AgentsOfflineTest::claudeStatusLineThroughTheEnvelope() {
    if (m_claude.isEmpty()) {
        QSKIP("Claude Code could not be installed");
    }
    Run run;
    run.login = u"subscription"_s;
    prepare(run);
    // The user's own status line, as written by hand, with a quote the envelope has to keep.
    const QByteArray userSettings = R"({
  "statusLine": {
    "type": "command",
    "command": "cat >/dev/null; echo \"USER-LINE it's mine\"",
    "padding": 1
  },
  "cleanupPeriodDays": 30
}
)";
    const QString settingsFile = run.home + u"/.claude/settings.json"_s;
    QVERIFY(QDir().mkpath(run.home + u"/.claude"_s));
    QFile user(settingsFile);
    QVERIFY(user.open(QIODevice::WriteOnly));
    user.write(userSettings);
    user.close();
    const QJsonObject userDocument = QJsonDocument::fromJson(userSettings).object();
    const QString userCommand = userDocument.value(u"statusLine"_s).toObject().value(u"command"_s).toString();

    const AgentHookInstaller installer = AgentHookInstaller::claude(run.home, &run.defaults);
    QVERIFY(installer.connectIfPossible());
    const auto envelope = StatusLineEnvelopeInstaller::forHome(run.home);
    QCOMPARE(envelope.statusLineOwner(), StatusLineOwner::tessary);

    runScenario(run, u"claude"_s, u"terminal-status-line"_s);
    // Run by /bin/sh, the envelope printed the user's line on Claude Code's screen.
    QVERIFY(readAll(run.sandbox.filePath(u"terminal-status-line.out"_s)).contains("USER-LINE it's mine"));
    // Its payload reached the listener, and the plan's limits from the API's headers went with it.
    ClaudeStatusLineStore store;
    for (const Delivery& delivery : run.listener.deliveries) {
        if (delivery.headers.value("x-tessary-statusline") == "1") {
            QCOMPARE(delivery.headers.value("x-tessary-token"), run.token.toUtf8());
            store.record(delivery.body, QDateTime::currentDateTimeUtc());
        }
    }
    QCOMPARE(store.sessions().size(), 1);
    const ClaudeStatusLineReading reading = store.sessions().cbegin().value();
    QVERIFY(reading.contextWindowSize && *reading.contextWindowSize > 0);
    QVERIFY(reading.fiveHour && reading.sevenDay);
    QCOMPARE(reading.fiveHour->usedPercentage, 37.6);
    const auto usage = ClaudeStatusLineUse::report(std::nullopt, store.sessions());
    QVERIFY(usage && usage->limits.size() == 2);
    QCOMPARE(usage->limits.at(0).percent, 38);
    QCOMPARE(usage->limits.at(1).percent, 12);

    // Disconnecting gives the user's settings back as they were, their command to the byte.
    QVERIFY(installer.disconnect());
    const QJsonObject restored = QJsonDocument::fromJson(readAll(settingsFile)).object();
    QCOMPARE(restored, userDocument);
    QCOMPARE(restored.value(u"statusLine"_s).toObject().value(u"command"_s).toString().toUtf8(),
             userCommand.toUtf8());
    QCOMPARE(envelope.statusLineOwner(), StatusLineOwner::user);
}

void AgentsOfflineTest::codexFiresTheInstalledHooks() {
    if (m_codex.isEmpty()) {
        QSKIP("Codex could not be installed");
    }
    Run run;
    prepare(run);
    QVERIFY(QDir().mkpath(run.home + u"/.codex"_s));
    const AgentHookInstaller installer = AgentHookInstaller::codex(run.home, &run.defaults);
    QVERIFY(installer.connectIfPossible());

    runScenario(run, u"codex"_s, u"exec-tools"_s);
    const QSet<QString> exec = eventsOf(run, u"exec-tools"_s);
    for (const QString& event : {u"SessionStart"_s, u"UserPromptSubmit"_s, u"PreToolUse"_s, u"PostToolUse"_s,
                                 u"PermissionRequest"_s, u"SessionEnd"_s}) {
        QVERIFY2(exec.contains(event), qPrintable(event));
    }
    // The allow given by the listener let the command leave the sandbox.
    QVERIFY(QFile::exists(run.sandbox.filePath(u"exec-tools/needs-permission.txt"_s)));

    // In the terminal the hooks wait for the user's trust; once trusted, a later run needs no flag.
    const qsizetype before = run.listener.deliveries.size();
    runScenario(run, u"codex"_s, u"terminal"_s);
    QVERIFY(readAll(run.sandbox.filePath(u"terminal.out"_s)).contains("Trust all and continue"));
    QSet<QString> sessions;
    for (qsizetype i = before; i < run.listener.deliveries.size(); ++i) {
        sessions.insert(run.listener.deliveries[i].body.value(u"session_id"_s).toString());
    }
    QVERIFY2(sessions.size() >= 2, "the run after the trust fired no hook");
    const QSet<QString> terminal = eventsOf(run, u"terminal"_s);
    for (const QString& event :
         {u"Stop"_s, u"PreCompact"_s, u"PostCompact"_s, u"Interrupt"_s, u"SessionEnd"_s}) {
        QVERIFY2(terminal.contains(event), qPrintable(event));
    }
    checkHeaders(run, u"codex"_s);

    const QStringList names = installer.eventNames();
    const QSet<QString> installed(names.cbegin(), names.cend());
    const QSet<QString> fired = eventsOf(run);
    QVERIFY(installed.contains(fired));
    qInfo("not fired offline: %s", qPrintable(QStringList((installed - fired).values()).join(u' ')));
    QVERIFY(installer.isFullyInstalled());
}

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    AgentsOfflineTest test;
    const int status = QTest::qExec(&test, argc, argv);
    // Counted as skipped by CTest when the agents could not be had.
    return skippedForLackOfAgents && status == 0 ? 77 : status;
}

#include "AgentsOfflineTest.moc"
