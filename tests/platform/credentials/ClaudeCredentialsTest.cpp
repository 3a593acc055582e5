#include "platform/credentials/linux/ClaudeCredentialsFile.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

QString describe(const TokenReading& reading) {
    if (const auto* token = std::get_if<AccessToken>(&reading)) {
        return QString::fromUtf8(token->bearerHeaderValue());
    }
    return rawValue(std::get<CredentialsProblem>(reading));
}

// JSON written with single quotes, to keep the tables readable.
QByteArray quoted(const char* text) {
    return QByteArray(text).replace('\'', '"');
}

} // namespace

class ClaudeCredentialsTest : public QObject {
    Q_OBJECT

private slots:
    void record_data() {
        QTest::addColumn<QByteArray>("record");
        QTest::addColumn<QString>("expected");
        QTest::newRow("as Claude Code writes it")
            << quoted("{'claudeAiOauth':{'accessToken':'sk-ant-oat01-abc','refreshToken':'sk-ant-ort01-def',"
                      "'expiresAt':1790000000000,'scopes':['user:inference','user:profile'],"
                      "'subscriptionType':'max'}}")
            << u"Bearer sk-ant-oat01-abc"_s;
        QTest::newRow("other records beside it")
            << quoted("{'mcpOAuth':{},'claudeAiOauth':{'accessToken':'t1'}}") << u"Bearer t1"_s;
        QTest::newRow("no claudeAiOauth") << quoted("{'mcpOAuth':{'x':{'accessToken':'t'}}}") << u"noToken"_s;
        QTest::newRow("claudeAiOauth not an object") << quoted("{'claudeAiOauth':'t'}") << u"noToken"_s;
        QTest::newRow("empty token") << quoted("{'claudeAiOauth':{'accessToken':''}}") << u"noToken"_s;
        QTest::newRow("blank token") << quoted("{'claudeAiOauth':{'accessToken':'   '}}") << u"noToken"_s;
        QTest::newRow("token not a text") << quoted("{'claudeAiOauth':{'accessToken':42}}") << u"noToken"_s;
        QTest::newRow("a token that would split the header")
            << quoted("{'claudeAiOauth':{'accessToken':'abc\\r\\nX-Evil: 1'}}") << u"noToken"_s;
        QTest::newRow("not JSON") << QByteArray("claudeAiOauth=abc") << u"malformed"_s;
        QTest::newRow("an array") << QByteArray("[]") << u"malformed"_s;
        QTest::newRow("empty") << QByteArray() << u"malformed"_s;
        QTest::newRow("cut short") << quoted("{'claudeAiOauth':{'accessToken':'abc") << u"malformed"_s;
    }

    void record() {
        QFETCH(QByteArray, record);
        QFETCH(QString, expected);
        QCOMPARE(describe(ClaudeCredentials::tokenFrom(record)), expected);
    }

    void file() {
        QTemporaryDir home;
        QVERIFY(home.isValid());
        const QString path = ClaudeCredentialsFile::defaultPath(home.path(), QString());
        QCOMPARE(path, home.filePath(u".claude/.credentials.json"_s));
        const ClaudeCredentialsFile credentials(path);
        QCOMPARE(describe(credentials.readToken()), u"notFound"_s);

        QVERIFY(QDir(home.path()).mkpath(u".claude"_s));
        const QByteArray record = R"({"claudeAiOauth":{"accessToken":"sk-ant-oat01-xyz"}})";
        testing::writeFile(path, record);
        QVERIFY(::chmod(QFile::encodeName(path).constData(), 0600) == 0);
        const QByteArray before = testing::readFile(path);
        const QDateTime modified = QFileInfo(path).lastModified();
        QCOMPARE(describe(credentials.readToken()), u"Bearer sk-ant-oat01-xyz"_s);
        // Only ever read: the user's file is left exactly as it was.
        QCOMPARE(QFileInfo(path).lastModified(), modified);
        QCOMPARE(testing::readFile(path), before);
        QCOMPARE(QFileInfo(path).permissions() & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());

        if (::geteuid() != 0) {
            QVERIFY(::chmod(QFile::encodeName(path).constData(), 0000) == 0);
            QCOMPARE(describe(credentials.readToken()), u"unreadable"_s);
            QVERIFY(::chmod(QFile::encodeName(path).constData(), 0600) == 0);
        }
    }

    void oddThingsInThePlaceOfTheFile() {
        QTemporaryDir home;
        QVERIFY(QDir(home.path()).mkpath(u".claude/.credentials.json"_s));
        const QString folderPath = home.filePath(u".claude/.credentials.json"_s);
        QCOMPARE(describe(ClaudeCredentialsFile(folderPath).readToken()), u"unreadable"_s);

        // A pipe would block a reader for ever.
        const QString fifo = home.filePath(u"fifo.json"_s);
        QVERIFY(::mkfifo(QFile::encodeName(fifo).constData(), 0600) == 0);
        QCOMPARE(describe(ClaudeCredentialsFile(fifo).readToken()), u"unreadable"_s);

        // A huge file is read no further than the limit.
        const QString huge = home.filePath(u"huge.json"_s);
        {
            QFile file(huge);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(ClaudeCredentials::maximumSize * 4));
        }
        QCOMPARE(describe(ClaudeCredentialsFile(huge).readToken()), u"malformed"_s);

        // A link to the real file, as dotfile managers make, is followed.
        const QString real = home.filePath(u"real.json"_s);
        testing::writeFile(real, R"({"claudeAiOauth":{"accessToken":"linked"}})");
        const QString link = home.filePath(u"link.json"_s);
        QVERIFY(QFile::link(real, link));
        QCOMPARE(describe(ClaudeCredentialsFile(link).readToken()), u"Bearer linked"_s);
    }

    void configFolderFromTheEnvironment() {
        QCOMPARE(ClaudeCredentialsFile::defaultPath(u"/home/u"_s, u"/opt/claude"_s),
                 u"/opt/claude/.credentials.json"_s);
        qputenv("CLAUDE_CONFIG_DIR", "/srv/claude-config");
        QCOMPARE(ClaudeCredentialsFile::defaultPath(u"/home/u"_s), u"/srv/claude-config/.credentials.json"_s);
        qunsetenv("CLAUDE_CONFIG_DIR");
        QCOMPARE(ClaudeCredentialsFile::defaultPath(u"/home/u"_s), u"/home/u/.claude/.credentials.json"_s);
    }
};

QTEST_GUILESS_MAIN(ClaudeCredentialsTest)
#include "ClaudeCredentialsTest.moc"
