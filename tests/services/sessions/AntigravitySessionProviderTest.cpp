#include "services/sessions/AntigravitySessionProvider.h"

#include "support/TestFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

const QString fullSchema = u"conversation_id TEXT, title TEXT, preview TEXT, step_count INTEGER, "
                           "last_modified_time TEXT, workspace_uris TEXT, status TEXT, "
                           "parent_conversation_id TEXT, not_fully_idle INTEGER, killed INTEGER"_s;

// Runs SQL through the real sqlite3 command line, as another program writing the database would.
void sqlite(const QString& database, const QString& sql) {
    QProcess process;
    process.start(u"sqlite3"_s, {u"-bail"_s, database});
    QVERIFY(process.waitForStarted());
    process.write(sql.toUtf8());
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(10'000));
    QVERIFY2(process.exitCode() == 0, process.readAllStandardError().constData());
}

// One row in the column order of `fullSchema`.
QString row(const QString& id, const QString& title, const QString& modified, const QString& directory,
            const QString& status = {}, const QString& parent = {}, int killed = 0) {
    const QString uris = directory.isEmpty() ? u"[]"_s : u"[\"https://x\",\"file://%1\"]"_s.arg(directory);
    return u"('%1','%2','first line\nsecond',3,'%3','%4','%5','%6',0,%7)"_s.arg(
        id, title, modified, uris, status, parent, QString::number(killed));
}

struct Stamp {
    QByteArray bytes;
    QDateTime modified;
    bool operator==(const Stamp&) const = default;
};

Stamp stampOf(const QString& path) {
    return {readFile(path), QFileInfo(path).lastModified()};
}

} // namespace

class AntigravitySessionProviderTest : public QObject {
    Q_OBJECT
private slots:
    void init() {
        QVERIFY(m_home.isValid());
        m_root = m_home.filePath(u".gemini/antigravity-cli"_s);
        m_database = m_root + u"/conversation_summaries.db"_s;
        m_work = m_home.filePath(u"work/app"_s);
        QVERIFY(QDir().mkpath(m_work + u"/src"_s));
        QVERIFY(QDir().mkpath(m_root + u"/conversations"_s));
    }
    void cleanup() {
        QDir(m_home.path()).removeRecursively();
        QVERIFY(QDir().mkpath(m_home.path()));
    }

    void readsTheSchemaInstalled_data() {
        QTest::addColumn<QString>("schema");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QString>("failure");
        QTest::addColumn<int>("scanLimit");

        const QStringList rows{
            row(u"older"_s, u"  Fix the build  "_s, u"2026-03-01T10:00:00Z"_s, m_work),
            row(u"busy"_s, u""_s, u"2026-03-01T10:05:00.250Z"_s, m_work, u"CASCADE_RUN_STATUS_RUNNING"_s),
            row(u"child"_s, u""_s, u"2026-03-01T10:03:00Z"_s, m_work, u"CASCADE_RUN_STATUS_IDLE"_s,
                u"older"_s),
            row(u"killed"_s, u"k"_s, u"2026-03-01T11:00:00Z"_s, m_work, {}, {}, 1),
            row(u"unstamped"_s, u"u"_s, u"0001-01-01T00:00:00Z"_s, m_work),
            row(u""_s, u"no id"_s, u"2026-03-01T11:00:00Z"_s, m_work),
        };
        QTest::newRow("every column")
            << fullSchema << rows << QStringList{u"busy"_s, u"older"_s} << QString() << 400;
        QTest::newRow("no not_fully_idle column")
            << QString(fullSchema).replace(u", not_fully_idle INTEGER"_s, QString())
            << QStringList{u"('a','A','','1','2026-03-01T10:00:00Z','[]','','',0)"_s} << QStringList{u"a"_s}
            << QString() << 400;
        // Without a modification time the newest rows are the last written, and 1 is read for the date.
        QTest::newRow("no last_modified_time column: rowid order")
            << u"conversation_id TEXT, title TEXT"_s
            << QStringList{u"('first','1')"_s, u"('second','2')"_s, u"('third','3')"_s}
            << QStringList{u"third"_s, u"second"_s} << QString() << 2;
        QTest::newRow("no conversation_id column")
            << u"title TEXT, last_modified_time TEXT"_s << QStringList{u"('x','2026-03-01T10:00:00Z')"_s}
            << QStringList{} << u"AntigravitySummaryDatabase.Failure.missingColumn"_s << 400;
    }
    void readsTheSchemaInstalled() {
        QFETCH(QString, schema);
        QFETCH(QStringList, rows);
        QFETCH(QStringList, expected);
        QFETCH(QString, failure);
        QFETCH(int, scanLimit);
        sqlite(m_database, u"PRAGMA journal_mode=WAL; CREATE TABLE conversation_summaries(%1); "
                           "INSERT INTO conversation_summaries VALUES %2;"_s.arg(schema, rows.join(u',')));

        const auto result = provider(scanLimit).fetchSessions(10);
        if (!failure.isEmpty()) {
            QVERIFY(std::holds_alternative<SessionProviderError>(result));
            QCOMPARE(std::get<SessionProviderError>(result).kind.rendered(), failure);
            return;
        }
        QVERIFY(std::holds_alternative<QList<AgentSession>>(result));
        QCOMPARE(idsOf(std::get<QList<AgentSession>>(result)), expected);
    }

    void sessionsCarryTheirSubagentsAndTellBusyFromKilled() {
        sqlite(m_database,
               u"PRAGMA journal_mode=WAL; CREATE TABLE conversation_summaries(%1); "
               "INSERT INTO conversation_summaries VALUES %2, %3, %4, %5;"_s.arg(
                   fullSchema,
                   row(u"busy"_s, u""_s, u"2026-03-01T10:05:00Z"_s, m_work, u"CASCADE_RUN_STATUS_RUNNING"_s),
                   row(u"stale"_s, u"t"_s, u"2026-03-01T10:01:00Z"_s, m_home.filePath(u"gone"_s),
                       u"CASCADE_RUN_STATUS_BUSY"_s),
                   row(u"child"_s, u""_s, u"2026-03-01T10:03:00Z"_s, m_work, u"CASCADE_RUN_STATUS_RUNNING"_s,
                       u"busy"_s),
                   row(u"child2"_s, u"Review"_s, u"2026-03-01T10:04:00Z"_s, m_work,
                       u"CASCADE_RUN_STATUS_IDLE"_s, u"busy"_s)));
        // The conversation's own file was written after the row's time.
        const QString written = m_root + u"/conversations/stale.pb"_s;
        writeFile(written, "x");
        QFile file(written);
        QVERIFY(file.open(QIODevice::ReadWrite));
        const QDateTime later = QDateTime(QDate(2026, 3, 1), QTime(10, 9), Qt::UTC);
        QVERIFY(file.setFileTime(later, QFileDevice::FileModificationTime));
        file.close();
        // The live agent runs in a folder below the session's, reached through a link.
        QVERIFY(QFile::link(m_work, m_home.filePath(u"link"_s)));

        const auto result = provider(400, {m_home.filePath(u"link/src"_s)}).fetchSessions(10);
        const auto& sessions = std::get<QList<AgentSession>>(result);
        QCOMPARE(idsOf(sessions), (QStringList{u"stale"_s, u"busy"_s}));
        QCOMPARE(sessions[0].lastActivity, later);
        QCOMPARE(sessions[0].lastSpeaker, AgentSession::Speaker::agent);
        QCOMPARE(sessions[1].lastSpeaker, AgentSession::Speaker::user);
        QCOMPARE(sessions[1].title, u"first line"_s);
        QCOMPARE(sessions[1].directory, m_work);
        QCOMPARE(sessions[1].project, u"app"_s);
        QCOMPARE(sessions[1].agentName, u"agy"_s);
        QCOMPARE(sessions[1].toolName, u"Antigravity"_s);
        QCOMPARE(idsOf(sessions[1].subagents), (QStringList{u"child2"_s, u"child"_s}));
        QCOMPARE(sessions[1].subagents[0].description, u"Review"_s);
        QCOMPARE(sessions[1].subagents[0].isWorking, false);
        QCOMPARE(sessions[1].subagents[1].description, u"agent"_s);
        QCOMPARE(sessions[1].subagents[1].isWorking, true);
    }

    // The agent holds the database in exclusive locking mode: the reading waits its time-out, then
    // reads the file as it stands; the database, its log and the agent's folder are left as found.
    void aHeldDatabaseIsReadAsItStandsAndNeverWritten() {
        sqlite(m_database, u"PRAGMA journal_mode=WAL; CREATE TABLE conversation_summaries(%1); "
                           "INSERT INTO conversation_summaries VALUES %2;"_s.arg(
                               fullSchema, row(u"a"_s, u"A"_s, u"2026-03-01T10:00:00Z"_s, m_work)));
        writeFile(m_root + u"/conversations/a.pb"_s, "conversation");
        QProcess holder;
        hold(holder, m_database, true);
        const Stamp database = stampOf(m_database);
        const Stamp log = stampOf(m_database + u"-wal"_s);
        const Stamp conversation = stampOf(m_root + u"/conversations/a.pb"_s);
        QVERIFY(QFileInfo::exists(m_database + u"-wal"_s));

        const auto result = provider(400).fetchSessions(10);
        QVERIFY(std::holds_alternative<QList<AgentSession>>(result));
        QCOMPARE(idsOf(std::get<QList<AgentSession>>(result)), QStringList{u"a"_s});
        QCOMPARE(stampOf(m_database), database);
        QCOMPARE(stampOf(m_database + u"-wal"_s), log);
        QCOMPARE(stampOf(m_root + u"/conversations/a.pb"_s), conversation);
        release(holder);
    }

    // Without a write-ahead log there is no snapshot to fall back on: the reading fails with
    // SQLite's busy code, and the monitor keeps the last list.
    void aLockedDatabaseWithoutLogFailsWithItsReason() {
        sqlite(
            m_database,
            u"CREATE TABLE conversation_summaries(%1); INSERT INTO conversation_summaries VALUES %2;"_s.arg(
                fullSchema, row(u"a"_s, u"A"_s, u"2026-03-01T10:00:00Z"_s, m_work)));
        QProcess holder;
        hold(holder, m_database, false);
        const auto result = provider(400).fetchSessions(10);
        QVERIFY(std::holds_alternative<SessionProviderError>(result));
        const auto& error = std::get<SessionProviderError>(result);
        QCOMPARE(error.kind, DiagnosticValue("AntigravitySummaryDatabase.Failure.sqlite"));
        QCOMPARE(error.userText, u"Antigravity's session list can't be read (SQLite 5)"_s);
        release(holder);
    }

    void halfWrittenOrMissingDatabases_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("fails");
        QTest::newRow("not a database") << QByteArray("SQLite format 3\0garbage", 23) << true;
        QTest::newRow("empty file") << QByteArray() << true;
        QTest::newRow("no file") << QByteArray("-") << false;
    }
    void halfWrittenOrMissingDatabases() {
        QFETCH(QByteArray, content);
        QFETCH(bool, fails);
        if (content != "-") {
            writeFile(m_database, content);
        }
        const auto result = provider(400).fetchSessions(10);
        QCOMPARE(std::holds_alternative<SessionProviderError>(result), fails);
        if (content != "-") {
            QCOMPARE(readFile(m_database), content);
        }
    }

private:
    AntigravitySessionProvider provider(int scanLimit, const QStringList& live = {}) {
        AntigravitySessionProvider::Configuration configuration;
        configuration.root = m_root;
        configuration.scanLimit = scanLimit;
        configuration.liveAgentDirectories = [live] { return live; };
        return AntigravitySessionProvider(std::move(configuration));
    }

    // A second sqlite3 that takes the database's lock and keeps it until released.
    static void hold(QProcess& holder, const QString& database, bool exclusiveMode) {
        holder.start(u"sqlite3"_s, {database});
        QVERIFY(holder.waitForStarted());
        if (exclusiveMode) {
            holder.write("PRAGMA locking_mode=EXCLUSIVE;\n");
        }
        // The command line buffers its output into a pipe, so the lock is told by a file instead.
        const QString marker = database + u".held"_s;
        holder.write("BEGIN EXCLUSIVE;\n.shell touch '" + marker.toUtf8() + "'\n");
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(marker), 10'000);
    }
    static void release(QProcess& holder) {
        holder.write("ROLLBACK;\n");
        holder.closeWriteChannel();
        QVERIFY(holder.waitForFinished(10'000));
    }

    QTemporaryDir m_home;
    QString m_root;
    QString m_database;
    QString m_work;
};

QTEST_GUILESS_MAIN(AntigravitySessionProviderTest)
#include "AntigravitySessionProviderTest.moc"
