// The status-line envelope: the user's command comes back exactly, and the envelope run by the real
// /bin/sh prints what the user's command prints while its post reaches a loopback listener.
#include "modules/agents/installers/HookSettingsDocument.h"
#include "modules/agents/installers/StatusLineEnvelopeInstaller.h"
#include "support/TestFiles.h"

#include <QJsonDocument>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace tessary::testing;
using namespace Qt::StringLiterals;

namespace {

QJsonObject statusLine(const QString& command) {
    return QJsonObject{{u"type"_s, u"command"_s}, {u"command"_s, command}, {u"padding"_s, 0}};
}

QString commandIn(const QString& settingsFile, const char* key = StatusLineEnvelopeInstaller::statusLineKey) {
    return QJsonDocument::fromJson(readFile(settingsFile))
        .object()
        .value(QLatin1StringView(key))
        .toObject()
        .value(u"command"_s)
        .toString();
}

// Runs `command` with /bin/sh as Claude Code runs a status line: the payload on standard input.
QByteArray runInShell(const QString& command, const QByteArray& input, const QString& home) {
    QProcess shell;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home);
    shell.setProcessEnvironment(environment);
    shell.start(u"/bin/sh"_s, {u"-c"_s, command});
    shell.write(input);
    shell.closeWriteChannel();
    [&] { QVERIFY(shell.waitForFinished(10000)); }();
    return shell.readAllStandardOutput();
}

} // namespace

class StatusLineEnvelopeTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_home;
    StatusLineEnvelopeInstaller m_installer;

private slots:
    void init() {
        QVERIFY(m_home.isValid());
        QDir(m_home.path()).removeRecursively();
        m_installer = StatusLineEnvelopeInstaller::forHome(m_home.path());
    }

    void theUsersCommandComesBackExactly_data() {
        QTest::addColumn<QString>("command");
        QTest::newRow("plain") << u"~/.claude/statusline.sh"_s;
        QTest::newRow("single quotes") << uR"(echo 'it'"'"'s' | sed 's/a/b/')"_s;
        QTest::newRow("expansions") << uR"(printf "%s\n" "$HOME" `date` \$x)"_s;
        QTest::newRow("lines and tabs") << u"jq -r '.model\n\t.display_name'"_s;
        QTest::newRow("our own words") << uR"(echo "printf '%s' \"$tessary_in\" 2>/dev/null | eval ")"_s;
        QTest::newRow("empty") << QString();
    }

    void theUsersCommandComesBackExactly() {
        QFETCH(QString, command);
        const QJsonObject user{{u"statusLine"_s, statusLine(command)},
                               {u"subagentStatusLine"_s, statusLine(command + u" --sub"_s)},
                               {u"model"_s, u"opus"_s}};
        writeFile(m_installer.settingsFile, HookSettingsDocument::serialize(user));
        const QByteArray before = readFile(m_installer.settingsFile);

        QVERIFY(m_installer.install());
        QCOMPARE(m_installer.statusLineOwner(), StatusLineOwner::tessary);
        QCOMPARE(commandIn(m_installer.settingsFile), StatusLineEnvelopeInstaller::wrapping(command));
        const auto inside = StatusLineEnvelopeInstaller::wrapped(commandIn(m_installer.settingsFile));
        QCOMPARE(inside, (StatusLineEnvelopeInstaller::Wrapped{command, false}));
        // A second install wraps nothing twice.
        const QByteArray once = readFile(m_installer.settingsFile);
        QVERIFY(m_installer.install());
        QCOMPARE(readFile(m_installer.settingsFile), once);

        QVERIFY(m_installer.remove());
        QCOMPARE(readFile(m_installer.settingsFile), before);
        QCOMPARE(m_installer.statusLineOwner(), StatusLineOwner::user);
        // Nothing saved outlives the envelope.
        QCOMPARE(QJsonDocument::fromJson(readFile(m_installer.originalFile)).object(), QJsonObject{});
    }

    void whatIsNotACommandIsLeftAlone_data() {
        QTest::addColumn<QByteArray>("settings");
        QTest::newRow("another type") << QByteArray(R"({"statusLine": {"type": "static", "text": "hi"}})");
        QTest::newRow("a number for a command")
            << QByteArray(R"({"statusLine": {"type": "command", "command": 42}})");
        QTest::newRow("a text for the object") << QByteArray(R"({"statusLine": "echo hi"})");
        QTest::newRow("no status line") << QByteArray(R"({"model": "opus"})");
        QTest::newRow("not JSON") << QByteArray(R"({"statusLine": {"type": "command", "comm)");
    }

    void whatIsNotACommandIsLeftAlone() {
        QFETCH(QByteArray, settings);
        writeFile(m_installer.settingsFile, settings);
        const bool parses = HookSettingsDocument::parse(settings).has_value();
        QCOMPARE(m_installer.install(), parses);
        QCOMPARE(m_installer.remove(), parses);
        QCOMPARE(readFile(m_installer.settingsFile), settings);
        QVERIFY(!QFile::exists(m_installer.originalFile));
    }

    void anAddedStatusLineIsRemovedWhole() {
        // Without settings at all the file is made; with a status line of the user's nothing is added.
        QVERIFY(m_installer.addStatusLine());
        QCOMPARE(commandIn(m_installer.settingsFile), StatusLineEnvelopeInstaller::addedCommand());
        QVERIFY(m_installer.install());
        QCOMPARE(commandIn(m_installer.settingsFile), StatusLineEnvelopeInstaller::addedCommand());
        QVERIFY(m_installer.remove());
        QCOMPARE(m_installer.statusLineOwner(), StatusLineOwner::absent);

        writeFile(m_installer.settingsFile, R"({"statusLine": {"type": "command", "command": "mine"}})");
        QVERIFY(m_installer.addStatusLine());
        QCOMPARE(commandIn(m_installer.settingsFile), u"mine"_s);
    }

    void aProjectsOwnStatusLineIsNamed() {
        writeFile(m_home.filePath(u"api/.claude/settings.local.json"_s),
                  R"({"statusLine":{"type":"command"}})");
        writeFile(m_home.filePath(u"web/.claude/settings.json"_s), R"({"model":"opus"})");
        writeFile(
            m_installer.projectsFile,
            QJsonDocument(QJsonObject{{u"projects"_s, QJsonObject{{m_home.filePath(u"api"_s), QJsonObject{}},
                                                                  {m_home.filePath(u"web"_s), QJsonObject{}},
                                                                  {m_home.filePath(u"gone"_s), 1}}}})
                .toJson());
        QVERIFY(m_installer.addStatusLine());
        QCOMPARE(m_installer.state(),
                 (StatusLineState{StatusLineOwner::tessary, true, {m_home.filePath(u"api"_s)}}));
    }

    void aLostOriginalsFileStillRestores() {
        const QString command = u"echo 'kept'"_s;
        writeFile(m_installer.settingsFile,
                  HookSettingsDocument::serialize({{u"statusLine"_s, statusLine(command)}}));
        QVERIFY(m_installer.install());
        writeFile(m_installer.originalFile, "{ damaged");
        QVERIFY(m_installer.remove());
        QCOMPARE(commandIn(m_installer.settingsFile), command);
    }

    void shellUnquotingTakesOnlyQuotedWords_data() {
        QTest::addColumn<QString>("word");
        QTest::addColumn<std::optional<QString>>("text");
        QTest::newRow("quoted") << u"'a b'"_s << std::optional(u"a b"_s);
        QTest::newRow("escaped quote") << uR"('it'\''s')"_s << std::optional(u"it's"_s);
        QTest::newRow("empty") << u"''"_s << std::optional(QString());
        QTest::newRow("bare word") << u"ab"_s << std::optional<QString>();
        QTest::newRow("unterminated") << u"'ab"_s << std::optional<QString>();
        QTest::newRow("trailing backslash") << u"'a'\\"_s << std::optional<QString>();
    }

    void shellUnquotingTakesOnlyQuotedWords() {
        QFETCH(QString, word);
        QFETCH(std::optional<QString>, text);
        QCOMPARE(StatusLineEnvelopeInstaller::shellUnquoted(word), text);
    }

    void theEnvelopePrintsTheUsersLineAndPosts() {
        const QByteArray payload =
            R"({"session_id":"s1","model":{"id":"m","display_name":"Opus"},"context_window":{"used_percentage":42}})"
            "\n\n";
        // The user's line sees standard input whole, trailing newlines included.
        const QString user = uR"sh(printf "[%s]" "$(cat | wc -c | tr -d ' ')"; echo ' it'\''s mine')sh"_s;
        const QByteArray expected = runInShell(user, payload, m_home.path());
        QCOMPARE(expected, QByteArray("[") + QByteArray::number(payload.size()) + "] it's mine\n");

        // Without the program's files there is nothing to post to: the line prints all the same.
        QCOMPARE(runInShell(StatusLineEnvelopeInstaller::wrapping(user), payload, m_home.path()), expected);

        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost));
        writeFile(m_home.filePath(u".tessary/hook-endpoint"_s),
                  "http://127.0.0.1:" + QByteArray::number(listener.serverPort()) + "/hook");
        writeFile(m_home.filePath(u".tessary/hook-token"_s), "token-1");
        QCOMPARE(runInShell(StatusLineEnvelopeInstaller::wrapping(user), payload, m_home.path()), expected);
        QVERIFY(listener.waitForNewConnection(5000));
        QTcpSocket* post = listener.nextPendingConnection();
        QByteArray request;
        QTRY_VERIFY_WITH_TIMEOUT((request += post->readAll()).endsWith(payload), 5000);
        QVERIFY(request.contains("X-Tessary-StatusLine: 1\r\n"));
        QVERIFY(request.contains("X-Tessary-Token: token-1\r\n"));
        post->write("HTTP/1.1 204 No Content\r\nContent-Length: 0\r\n\r\n");
        post->flush();

        // The line the program adds names the model and the context used.
        QCOMPARE(runInShell(StatusLineEnvelopeInstaller::addedCommand(), payload, m_home.path()),
                 QByteArray("[Opus] 42% context\n"));
    }
};

QTEST_GUILESS_MAIN(StatusLineEnvelopeTest)
#include "StatusLineEnvelopeTest.moc"
