#include "modules/agents/installers/AgentHookInstaller.h"

#include "modules/agents/installers/HookSettingsDocument.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

class AgentHookInstallerTest : public QObject {
    Q_OBJECT
private slots:
    void commands_data();
    void commands();
    void entries_data();
    void entries();
    void userGroupStaysFirstAndSurvivesDisconnect();
    void oldEntriesAreReplaced_data();
    void oldEntriesAreReplaced();
    void secondInstallGivesTheSameBytes();
    void connectIfPossibleOnConnectedFileWritesNothing();
    void connectIfPossibleRepairsPartialFile();
    void hooksThatAreNotAnObjectAreReplaced_data();
    void hooksThatAreNotAnObjectAreReplaced();
    void backupIsTakenOnceWithoutEarlierEntries();
    void backupKeepsTheFileMode();
    void disconnectOfTheLastHooksRemovesTheKey();
    void unparsableFileIsReplacedAndKept_data();
    void unparsableFileIsReplacedAndKept();
    void unparsableFileWithBackupIsKeptBesideIt();
    void unreadableFileIsLeftAlone();
    void symbolicLinkIsWrittenThrough();
    void danglingLinkGetsItsTarget();
    void agentNotInstalledCreatesNothing();
    void declineAndReconnect();
    void statusLineFollowsTheHooks();
    void killDuringWritesLeavesOldOrNew();
};

namespace {

struct Home {
    QTemporaryDir dir;
    QString path = dir.filePath(u"home"_s);
    QSettings defaults{dir.filePath(u"Tessary.conf"_s), QSettings::IniFormat};

    Home() { QDir().mkpath(path + u"/.claude"_s); }

    AgentHookInstaller claude() { return AgentHookInstaller::claude(path, &defaults); }
    AgentHookInstaller codex() {
        QDir().mkpath(path + u"/.codex"_s);
        return AgentHookInstaller::codex(path, &defaults);
    }
};

QJsonObject document(const QString& path) {
    return QJsonDocument::fromJson(readFile(path)).object();
}

QJsonArray groups(const QString& path, const QString& event) {
    return document(path).value(u"hooks"_s).toObject().value(event).toArray();
}

const QByteArray userPreToolUse =
    R"({"matcher":"Bash","hooks":[{"type":"command","command":"/home/u/check.sh"}]})";

} // namespace

void AgentHookInstallerTest::commands_data() {
    QTest::addColumn<QString>("agent");
    QTest::addColumn<int>("decisionLimit"); // curl's, five seconds past the program's own hold
    QTest::addColumn<QString>("sourceHeader");
    QTest::newRow("claude") << u"claude"_s << 545 << QString();
    QTest::newRow("codex") << u"codex"_s << 50 << u"-H \"X-Tessary-Source: codex\""_s;
}

// What the commands must hold; that they work is what the listener's tests show, running them with a
// real shell and curl.
void AgentHookInstallerTest::commands() {
    QFETCH(QString, agent);
    QFETCH(int, decisionLimit);
    QFETCH(QString, sourceHeader);
    Home home;
    const AgentHookInstaller installer = agent == u"claude"_s ? home.claude() : home.codex();
    QVERIFY(installer.decisionCommand().contains(u"curl -sS -m %1 "_s.arg(decisionLimit)));
    QVERIFY(installer.eventCommand().contains(u"curl -sS -m 2 "_s));
    for (const QString& command : {installer.eventCommand(), installer.decisionCommand()}) {
        // Quiet when Tessary is not running, and never an error for the agent.
        QVERIFY(command.startsWith(uR"x(d="$HOME/.tessary"; [ -r "$d/hook-endpoint" ] || exit 0;)x"_s));
        QVERIFY(command.endsWith(u"exit 0"_s));
        QCOMPARE(command.contains(u"X-Tessary-Source"_s), !sourceHeader.isEmpty());
        QVERIFY(sourceHeader.isEmpty() || command.contains(sourceHeader));
    }
    QVERIFY(installer.install());
    // As written in the file, with the slashes as they stand.
    const QByteArray bytes = readFile(installer.settingsFile);
    QVERIFY(!bytes.contains("\\/"));
    QVERIFY(bytes.contains(R"(\"$HOME/.tessary\")"));
}

void AgentHookInstallerTest::entries_data() {
    QTest::addColumn<QString>("agent");
    QTest::addColumn<QString>("event");
    QTest::addColumn<QString>("matcher"); // empty: no matcher key
    QTest::addColumn<bool>("async");
    QTest::addColumn<int>("timeout");
    QTest::addColumn<QString>("statusMessage"); // empty: no key
    const QString notification =
        u"permission_prompt|idle_prompt|agent_needs_input|agent_completed|elicitation_dialog"_s;
    QTest::newRow("claude decision") << u"claude"_s << u"PermissionRequest"_s << u"*"_s << false << 555
                                     << QString();
    QTest::newRow("claude session end")
        << u"claude"_s << u"SessionEnd"_s << u"*"_s << false << 3 << QString();
    QTest::newRow("claude tool") << u"claude"_s << u"PreToolUse"_s << u"*"_s << true << 5 << QString();
    QTest::newRow("claude notification")
        << u"claude"_s << u"Notification"_s << notification << true << 5 << QString();
    QTest::newRow("claude directory") << u"claude"_s << u"CwdChanged"_s << u"*"_s << true << 5 << QString();
    QTest::newRow("codex decision") << u"codex"_s << u"PermissionRequest"_s << QString() << false << 60
                                    << u"Waiting for your answer on the Tessary card"_s;
    QTest::newRow("codex session end")
        << u"codex"_s << u"SessionEnd"_s << QString() << false << 3 << QString();
    QTest::newRow("codex interrupt") << u"codex"_s << u"Interrupt"_s << QString() << true << 3 << QString();
    QTest::newRow("codex stop") << u"codex"_s << u"Stop"_s << QString() << true << 5 << QString();
}

void AgentHookInstallerTest::entries() {
    QFETCH(QString, agent);
    QFETCH(QString, event);
    QFETCH(QString, matcher);
    QFETCH(bool, async);
    QFETCH(int, timeout);
    QFETCH(QString, statusMessage);
    Home home;
    const AgentHookInstaller installer = agent == u"claude"_s ? home.claude() : home.codex();
    QVERIFY(installer.install());
    const QJsonArray list = groups(installer.settingsFile, event);
    QCOMPARE(list.size(), 1);
    const QJsonObject group = list.first().toObject();
    QCOMPARE(group.contains(u"matcher"_s), !matcher.isEmpty());
    QCOMPARE(group.value(u"matcher"_s).toString(), matcher);
    const QJsonArray entries = group.value(u"hooks"_s).toArray();
    QCOMPARE(entries.size(), 1);
    const QJsonObject entry = entries.first().toObject();
    const QStringList keys =
        statusMessage.isEmpty()
            ? QStringList{u"async"_s, u"command"_s, u"timeout"_s, u"type"_s}
            : QStringList{u"async"_s, u"command"_s, u"statusMessage"_s, u"timeout"_s, u"type"_s};
    QCOMPARE(entry.keys(), keys);
    QCOMPARE(entry.value(u"type"_s).toString(), u"command"_s);
    QCOMPARE(entry.value(u"async"_s), QJsonValue(async));
    QVERIFY(entry.value(u"timeout"_s).isDouble());
    QCOMPARE(entry.value(u"timeout"_s).toInt(), timeout);
    QCOMPARE(entry.value(u"statusMessage"_s).toString(), statusMessage);
    const bool isDecision = event == u"PermissionRequest"_s;
    QCOMPARE(entry.value(u"command"_s).toString(),
             isDecision ? installer.decisionCommand() : installer.eventCommand());
}

void AgentHookInstallerTest::userGroupStaysFirstAndSurvivesDisconnect() {
    Home home;
    const AgentHookInstaller installer = home.claude();
    const QByteArray original =
        R"({"model": "opus", "env": {"A": "1"}, "hooks": {"PreToolUse": [)" + userPreToolUse + "]}}";
    writeFile(installer.settingsFile, original);

    QVERIFY(installer.install());
    QVERIFY(installer.isFullyInstalled());
    const QJsonArray list = groups(installer.settingsFile, u"PreToolUse"_s);
    QCOMPARE(list.size(), 2);
    QCOMPARE(list.at(0).toObject(), QJsonDocument::fromJson(userPreToolUse).object());
    QVERIFY(HookSettingsDocument::isProgramEntry(list.at(1).toObject().value(u"hooks"_s).toArray().first()));
    QCOMPARE(document(installer.settingsFile).value(u"model"_s).toString(), u"opus"_s);

    QVERIFY(installer.disconnect());
    QCOMPARE(document(installer.settingsFile), QJsonDocument::fromJson(original).object());
    QVERIFY(!installer.isInstalled());
}

void AgentHookInstallerTest::oldEntriesAreReplaced_data() {
    QTest::addColumn<QString>("oldCommand");
    QTest::newRow("Corvane") << uR"x(curl -H "X-Corvane-Token: $(cat ~/.corvane/hook-token)" http://x)x"_s;
    QTest::newRow("token only") << uR"x(curl -H "X-Tessary-Token: $(cat "$d/hook-token")" http://x)x"_s;
}

void AgentHookInstallerTest::oldEntriesAreReplaced() {
    QFETCH(QString, oldCommand);
    Home home;
    const AgentHookInstaller installer = home.claude();
    QJsonObject hooks;
    for (const QString& event : installer.eventNames()) {
        hooks.insert(event, QJsonArray{QJsonObject{
                                {u"matcher"_s, u"*"_s},
                                {u"hooks"_s, QJsonArray{QJsonObject{{u"type"_s, u"command"_s},
                                                                    {u"command"_s, oldCommand}}}}}});
    }
    writeFile(installer.settingsFile, QJsonDocument(QJsonObject{{u"hooks"_s, hooks}}).toJson());
    QVERIFY(!installer.isInstalled());
    QVERIFY(!installer.isFullyInstalled());

    QVERIFY(installer.connectIfPossible());
    QVERIFY(installer.isFullyInstalled());
    for (const QString& event : installer.eventNames()) {
        const QJsonArray list = groups(installer.settingsFile, event);
        QCOMPARE(list.size(), 1);
        QVERIFY(!list.first()
                     .toObject()
                     .value(u"hooks"_s)
                     .toArray()
                     .first()
                     .toObject()
                     .value(u"command"_s)
                     .toString()
                     .contains(oldCommand));
    }
    // The backup holds the file as it was without those entries.
    QCOMPARE(readFile(installer.backupFile()), QByteArray("{\n}\n"));
}

void AgentHookInstallerTest::secondInstallGivesTheSameBytes() {
    for (Home home; const AgentHookInstaller& installer : {home.claude(), home.codex()}) {
        writeFile(installer.settingsFile,
                  R"x({"permissions":{"allow":["Bash(ls:*)"]},"hooks":{"PreToolUse":[)x" + userPreToolUse +
                      "]}}");
        QVERIFY(installer.install());
        const QByteArray first = readFile(installer.settingsFile);
        QVERIFY(installer.install());
        QCOMPARE(readFile(installer.settingsFile), first);
        QVERIFY(installer.reconnect());
        QCOMPARE(readFile(installer.settingsFile), first);
    }
}

void AgentHookInstallerTest::connectIfPossibleOnConnectedFileWritesNothing() {
    Home home;
    const AgentHookInstaller installer = home.claude();
    QVERIFY(installer.install());
    struct stat before {};
    QCOMPARE(::stat(QFile::encodeName(installer.settingsFile).constData(), &before), 0);
    QFile::remove(installer.backupFile());

    QVERIFY(!installer.connectIfPossible());
    struct stat after {};
    QCOMPARE(::stat(QFile::encodeName(installer.settingsFile).constData(), &after), 0);
    QCOMPARE(after.st_ino, before.st_ino);
    QCOMPARE(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    QVERIFY(!QFile::exists(installer.backupFile()));
}

void AgentHookInstallerTest::connectIfPossibleRepairsPartialFile() {
    Home home;
    const AgentHookInstaller installer = home.codex();
    QVERIFY(installer.install());
    QJsonObject root = document(installer.settingsFile);
    QJsonObject hooks = root.value(u"hooks"_s).toObject();
    hooks.remove(u"Interrupt"_s);
    root.insert(u"hooks"_s, hooks);
    writeFile(installer.settingsFile, QJsonDocument(root).toJson());
    QVERIFY(installer.isInstalled());
    QVERIFY(!installer.isFullyInstalled());

    QVERIFY(installer.connectIfPossible());
    QVERIFY(installer.isFullyInstalled());
    QCOMPARE(groups(installer.settingsFile, u"Stop"_s).size(), 1);
}

void AgentHookInstallerTest::hooksThatAreNotAnObjectAreReplaced_data() {
    QTest::addColumn<QByteArray>("hooks");
    QTest::newRow("list") << QByteArray(R"([{"hooks":[]}])");
    QTest::newRow("text") << QByteArray(R"("off")");
    QTest::newRow("number") << QByteArray("3");
    QTest::newRow("null") << QByteArray("null");
}

void AgentHookInstallerTest::hooksThatAreNotAnObjectAreReplaced() {
    QFETCH(QByteArray, hooks);
    Home home;
    const AgentHookInstaller installer = home.claude();
    writeFile(installer.settingsFile, R"({"model":"sonnet","hooks":)" + hooks + "}");
    QVERIFY(!installer.isInstalled());
    QVERIFY(!installer.removeMatching());
    QVERIFY(installer.install());
    QVERIFY(installer.isFullyInstalled());
    QCOMPARE(document(installer.settingsFile).value(u"model"_s).toString(), u"sonnet"_s);
}

void AgentHookInstallerTest::backupIsTakenOnceWithoutEarlierEntries() {
    Home home;
    const AgentHookInstaller installer = home.claude();
    const QByteArray original = R"({"model":"opus"})";
    writeFile(installer.settingsFile, original);
    QVERIFY(installer.install());
    QCOMPARE(readFile(installer.backupFile()), original);

    writeFile(installer.settingsFile, R"({"model":"haiku"})");
    QVERIFY(installer.install());
    QVERIFY(installer.disconnect());
    QVERIFY(installer.reconnect());
    QCOMPARE(readFile(installer.backupFile()), original);
}

void AgentHookInstallerTest::backupKeepsTheFileMode() {
    // Settings can hold keys in `env`: the copy is as private as the file.
    Home home;
    const AgentHookInstaller installer = home.claude();
    writeFile(installer.settingsFile, R"({"env":{"ANTHROPIC_API_KEY":"sk"}})");
    QVERIFY(::chmod(QFile::encodeName(installer.settingsFile).constData(), 0600) == 0);
    QVERIFY(installer.install());
    struct stat backup {};
    struct stat settings {};
    QCOMPARE(::stat(QFile::encodeName(installer.backupFile()).constData(), &backup), 0);
    QCOMPARE(::stat(QFile::encodeName(installer.settingsFile).constData(), &settings), 0);
    QCOMPARE(backup.st_mode & 0777, 0600U);
    QCOMPARE(settings.st_mode & 0777, 0600U);
}

void AgentHookInstallerTest::disconnectOfTheLastHooksRemovesTheKey() {
    Home home;
    const AgentHookInstaller installer = home.codex();
    writeFile(installer.settingsFile, R"({"version":2})");
    QVERIFY(installer.install());
    QVERIFY(installer.disconnect());
    QCOMPARE(document(installer.settingsFile), (QJsonObject{{u"version"_s, 2}}));
    QVERIFY(!readFile(installer.settingsFile).contains("hooks"));
    QVERIFY(!installer.disconnect());
}

void AgentHookInstallerTest::unparsableFileIsReplacedAndKept_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("cut short") << QByteArray(R"({"model":"opus","hooks":{"Stop":[)");
    QTest::newRow("trailing comma") << QByteArray("{\"model\":\"opus\",}\n");
    QTest::newRow("list") << QByteArray(R"([{"model":"opus"}])");
    QTest::newRow("text") << QByteArray(R"("model")");
    QTest::newRow("invalid UTF-8") << QByteArray("{\"model\":\"\xc3\x28\"}");
    QTest::newRow("empty") << QByteArray();
}

void AgentHookInstallerTest::unparsableFileIsReplacedAndKept() {
    QFETCH(QByteArray, bytes);
    Home home;
    const AgentHookInstaller installer = home.claude();
    writeFile(installer.settingsFile, bytes);
    QVERIFY(!installer.isInstalled());
    QVERIFY(!installer.removeMatching());
    QCOMPARE(readFile(installer.settingsFile), bytes);

    QVERIFY(installer.install());
    QVERIFY(installer.isFullyInstalled());
    QCOMPARE(document(installer.settingsFile).keys(), QStringList{u"hooks"_s});
    QCOMPARE(readFile(installer.backupFile()), bytes);
}

void AgentHookInstallerTest::unparsableFileWithBackupIsKeptBesideIt() {
    Home home;
    const AgentHookInstaller installer = home.claude();
    writeFile(installer.settingsFile, R"({"model":"opus"})");
    QVERIFY(installer.install());
    const QByteArray broken = R"({"model":"opus", "hooks": {)";
    writeFile(installer.settingsFile, broken);

    QVERIFY(installer.connectIfPossible());
    QVERIFY(installer.isFullyInstalled());
    QCOMPARE(readFile(installer.backupFile()), QByteArray(R"({"model":"opus"})"));
    QCOMPARE(readFile(installer.unparsableCopyFile()), broken);
}

void AgentHookInstallerTest::unreadableFileIsLeftAlone() {
    Home home;
    const AgentHookInstaller installer = home.claude();
    // A folder where the file should be cannot be read by anyone.
    QVERIFY(QDir().mkpath(installer.settingsFile));
    QVERIFY(!installer.install());
    QVERIFY(!installer.connectIfPossible());
    QVERIFY(QFileInfo(installer.settingsFile).isDir());
    QVERIFY(!QFile::exists(installer.backupFile()));
    QVERIFY(QDir().rmdir(installer.settingsFile));

    if (::geteuid() == 0) {
        QSKIP("file modes do not stop the superuser from reading");
    }
    writeFile(installer.settingsFile, R"({"model":"opus"})");
    QVERIFY(::chmod(QFile::encodeName(installer.settingsFile).constData(), 0) == 0);
    QVERIFY(!installer.install());
    QVERIFY(::chmod(QFile::encodeName(installer.settingsFile).constData(), 0600) == 0);
    QCOMPARE(readFile(installer.settingsFile), QByteArray(R"({"model":"opus"})"));
}

void AgentHookInstallerTest::symbolicLinkIsWrittenThrough() {
    Home home;
    const AgentHookInstaller installer = home.claude();
    const QString target = home.path + u"/dotfiles/claude/settings.json"_s;
    writeFile(target, R"({"model":"opus"})");
    QVERIFY(QFile::link(u"../dotfiles/claude/settings.json"_s, installer.settingsFile));

    QVERIFY(installer.install());
    QVERIFY(QFileInfo(installer.settingsFile).isSymLink());
    QVERIFY(installer.isFullyInstalled());
    QCOMPARE(document(target).value(u"model"_s).toString(), u"opus"_s);
    QVERIFY(!QFileInfo(installer.backupFile()).isSymLink());
    QCOMPARE(readFile(installer.backupFile()), QByteArray(R"({"model":"opus"})"));
    // Nothing was left beside the link's target but the file.
    QCOMPARE(QDir(QFileInfo(target).absolutePath()).entryList(QDir::Files | QDir::Hidden),
             QStringList{u"settings.json"_s});

    QVERIFY(installer.disconnect());
    QVERIFY(QFileInfo(installer.settingsFile).isSymLink());
    QCOMPARE(document(target), (QJsonObject{{u"model"_s, u"opus"_s}}));
}

void AgentHookInstallerTest::danglingLinkGetsItsTarget() {
    Home home;
    const AgentHookInstaller installer = home.claude();
    const QString target = home.path + u"/.claude/real-settings.json"_s;
    QVERIFY(QFile::link(target, installer.settingsFile));
    QVERIFY(installer.install());
    QVERIFY(QFileInfo(installer.settingsFile).isSymLink());
    QVERIFY(QFileInfo(target).isFile());
    QVERIFY(installer.isFullyInstalled());
}

void AgentHookInstallerTest::agentNotInstalledCreatesNothing() {
    Home home;
    const AgentHookInstaller installer = AgentHookInstaller::codex(home.path, &home.defaults);
    QVERIFY(!installer.isAgentInstalled());
    QVERIFY(!installer.connectIfPossible());
    QVERIFY(!QFileInfo::exists(home.path + u"/.codex"_s));
    QVERIFY(!installer.isInstalled());
}

void AgentHookInstallerTest::declineAndReconnect() {
    Home home;
    const AgentHookInstaller installer = home.claude();
    QVERIFY(installer.connectIfPossible());
    QVERIFY(installer.disconnect());
    QVERIFY(installer.isDeclined());
    QVERIFY(home.defaults.value(u"corvane.hooks.declined"_s).toBool());
    QVERIFY(!installer.connectIfPossible());
    QVERIFY(!installer.isInstalled());

    QVERIFY(installer.reconnect());
    QVERIFY(!installer.isDeclined());
    QVERIFY(!home.defaults.contains(u"corvane.hooks.declined"_s));
    QVERIFY(installer.isFullyInstalled());
    // The decline of one agent leaves the other alone, and each is kept under its own key.
    QVERIFY(home.codex().disconnect() == false);
    QVERIFY(!installer.isDeclined());
    QVERIFY(home.codex().reconnect());
    QVERIFY(home.codex().disconnect());
    QVERIFY(home.defaults.value(u"tessary.codex.hooks.declined"_s).toBool());
    QVERIFY(!installer.isDeclined());
}

void AgentHookInstallerTest::statusLineFollowsTheHooks() {
    Home home;
    AgentHookInstaller installer = home.claude();
    int installs = 0;
    int removals = 0;
    installer.statusLine = StatusLineHooks{[&] { return ++installs > 0; }, [&] { return ++removals > 0; }};

    QVERIFY(installer.connectIfPossible());
    QCOMPARE(installs, 1);
    QVERIFY(!installer.connectIfPossible());
    QCOMPARE(installs, 2);
    QVERIFY(installer.disconnect());
    QCOMPARE(removals, 1);
    QVERIFY(!installer.connectIfPossible());
    QCOMPARE(installs, 2);
    QVERIFY(installer.reconnect());
    QCOMPARE(installs, 3);

    installer.agentInstalledCheck = [] { return false; };
    QVERIFY(!installer.connectIfPossible());
    QCOMPARE(installs, 3);
}

void AgentHookInstallerTest::killDuringWritesLeavesOldOrNew() {
    Home home;
    const AgentHookInstaller installer = home.claude();
    const QByteArray user = R"({"env": {"A": "1"}, "hooks": {"PreToolUse": [)" + userPreToolUse + "]}}";
    writeFile(installer.settingsFile,
              HookSettingsDocument::serialize(QJsonDocument::fromJson(user).object()));
    const QByteArray without = readFile(installer.settingsFile);
    QVERIFY(installer.install());
    const QByteArray with = readFile(installer.settingsFile);
    QVERIFY(with != without);

    auto* random = QRandomGenerator::global();
    int killedMidway = 0;
    for (int round = 0; round < 40; ++round) {
        const pid_t child = ::fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            // Each write replaces the file with the other of the two forms.
            for (;;) {
                installer.removeMatching();
                installer.install();
            }
        }
        ::usleep(static_cast<useconds_t>(random->bounded(1000, 30000)));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        killedMidway += WIFSIGNALED(status) ? 1 : 0;

        const QByteArray now = readFile(installer.settingsFile);
        QVERIFY2(now == with || now == without, now.left(200).constData());
        QVERIFY(HookSettingsDocument::parse(now).has_value());
    }
    QCOMPARE(killedMidway, 40);
}

QTEST_GUILESS_MAIN(AgentHookInstallerTest)
#include "AgentHookInstallerTest.moc"
