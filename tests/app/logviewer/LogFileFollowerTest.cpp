#include "app/logviewer/LogFileFollower.h"

#include "core/diagnostics/DiagnosticFileSink.h"
#include "core/diagnostics/DiagnosticLine.h"
#include "core/diagnostics/DiagnosticRotation.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

class SilentSystemLog final : public DiagnosticSystemLog {
public:
    void write(DiagnosticLevel /*level*/, QLatin1StringView /*category*/, const QString& /*text*/) override {}
};

QString logLine(int number) {
    return DiagnosticLine::line(QDateTime(QDate(2026, 3, 14), QTime(9, 0, 0, number % 1000), Qt::UTC),
                                QTimeZone::utc(), DiagnosticCategory::monitor, DiagnosticLevel::info,
                                u"poll number=%1"_s.arg(number));
}

// Collects what a follower reads, in order.
struct Reader {
    explicit Reader(LogFileFollower& follower) {
        QObject::connect(&follower, &LogFileFollower::entriesRead, &follower,
                         [this](const QList<LogEntry>& read) { entries.append(read); });
    }
    [[nodiscard]] QStringList messages() const {
        QStringList result;
        for (const LogEntry& entry : entries) {
            result.append(entry.message);
        }
        return result;
    }
    QList<LogEntry> entries;
};

QStringList polls(int from, int to) {
    QStringList result;
    for (int i = from; i <= to; ++i) {
        result.append(u"poll number=%1"_s.arg(i));
    }
    return result;
}

} // namespace

class LogFileFollowerTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void readsThePreviousGenerationFirst();
    void followsAppendedLinesAndWaitsForTheNewline();
    void followsTheWritersRotationWithoutLosingALine();
    void readsAFileEmptiedInPlaceFromItsStart();
    void waitsForAFileThatIsNotThereYet();
    void anOverlongLineIsCutAndTheNextLineIsRead();
    void readsOnlyTheEndOfAHugeFile();
    void damagedBytesBecomeDamagedLines();
    void anUnreadableFileIsSaidSo();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::optional<LogFileFollower> m_follower;
    [[nodiscard]] QString current() const { return m_dir->filePath(DiagnosticRotation::currentFileName); }
    [[nodiscard]] QString previous() const { return m_dir->filePath(DiagnosticRotation::previousFileName); }
};

void LogFileFollowerTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    m_follower.emplace(m_dir->path());
}

void LogFileFollowerTest::cleanup() {
    m_follower.reset();
    m_dir.reset();
}

void LogFileFollowerTest::readsThePreviousGenerationFirst() {
    appendFile(previous(), (logLine(1) + u'\n' + logLine(2)).toUtf8()); // its last line lacks the newline
    appendFile(current(), (logLine(3) + u'\n').toUtf8());
    Reader reader(*m_follower);
    m_follower->start(60'000);
    QCOMPARE(reader.messages(), polls(1, 3));
    QCOMPARE(m_follower->status(), LogFileFollower::Status::following);
}

void LogFileFollowerTest::followsAppendedLinesAndWaitsForTheNewline() {
    appendFile(current(), (logLine(1) + u'\n').toUtf8());
    Reader reader(*m_follower);
    m_follower->start(60'000);
    QCOMPARE(reader.messages(), polls(1, 1));

    const QByteArray second = logLine(2).toUtf8();
    appendFile(current(), second.first(20));
    m_follower->poll();
    QCOMPARE(reader.messages(), polls(1, 1)); // half a line is not a line yet
    appendFile(current(), second.sliced(20) + '\n' + logLine(3).toUtf8() + '\n');
    m_follower->poll();
    QCOMPARE(reader.messages(), polls(1, 3));
    m_follower->poll();
    QCOMPARE(reader.entries.size(), 3);
}

void LogFileFollowerTest::followsTheWritersRotationWithoutLosingALine() {
    // The real sink, with a limit so small that it rotates every few lines.
    const qint64 lineBytes = logLine(100).toUtf8().size() + 1;
    auto sink = DiagnosticFileSink::create(m_dir->path(), lineBytes * 3, 1000,
                                           std::make_shared<DiagnosticSerialQueue>(u"test.sink"_s),
                                           std::make_shared<SilentSystemLog>());
    QVERIFY(sink);
    Reader reader(*m_follower);
    m_follower->start(60'000);

    int written = 0;
    for (int round = 0; round < 8; ++round) {
        // Two lines between polls and three to a file: every other time, the first of the two lands in the
        // old file and the second in a new one. The first is read through the follower's open handle.
        for (int i = 0; i < 2; ++i) {
            sink->append(logLine(100 + written++));
        }
        sink->flush();
        m_follower->poll();
    }
    QCOMPARE(reader.messages(), polls(100, 100 + written - 1));
    QVERIFY(QFile::exists(previous()));
}

void LogFileFollowerTest::readsAFileEmptiedInPlaceFromItsStart() {
    appendFile(current(), (logLine(1) + u'\n' + logLine(2) + u'\n').toUtf8());
    Reader reader(*m_follower);
    m_follower->start(60'000);
    QFile file(current());
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.resize(0));
    file.close();
    appendFile(current(), (logLine(3) + u'\n').toUtf8());
    m_follower->poll();
    QCOMPARE(reader.messages(), polls(1, 3));
}

void LogFileFollowerTest::waitsForAFileThatIsNotThereYet() {
    QSignalSpy status(&*m_follower, &LogFileFollower::statusChanged);
    Reader reader(*m_follower);
    m_follower->start(60'000);
    QCOMPARE(m_follower->status(), LogFileFollower::Status::waiting);
    QVERIFY(reader.entries.isEmpty());
    appendFile(current(), (logLine(1) + u'\n').toUtf8());
    m_follower->poll();
    QCOMPARE(m_follower->status(), LogFileFollower::Status::following);
    QCOMPARE(reader.messages(), polls(1, 1));
    QCOMPARE(status.count(), 1);
}

void LogFileFollowerTest::anOverlongLineIsCutAndTheNextLineIsRead() {
    Reader reader(*m_follower);
    m_follower->start(60'000);
    appendFile(current(), QByteArray(LogFileFollower::lineLimit * 3, 'z'));
    m_follower->poll();
    appendFile(current(), "more\n"_ba + logLine(1).toUtf8() + '\n');
    m_follower->poll();
    QCOMPARE(reader.entries.size(), 2);
    QCOMPARE(reader.entries.at(0).kind, LogEntry::Kind::damaged);
    QVERIFY(reader.entries.at(0).message.endsWith(u'…'));
    QCOMPARE(reader.entries.at(1).message, u"poll number=1"_s);
}

void LogFileFollowerTest::readsOnlyTheEndOfAHugeFile() {
    QByteArray big;
    int count = 0;
    while (big.size() < LogFileFollower::initialReadLimit + 5000) {
        big += logLine(count++).toUtf8() + '\n';
    }
    appendFile(current(), big);
    Reader reader(*m_follower);
    m_follower->start(60'000);
    QVERIFY(reader.entries.size() < count);
    // No cut first line: every entry read is a whole line, ending with the last one written.
    for (const LogEntry& entry : reader.entries) {
        QCOMPARE(entry.kind, LogEntry::Kind::line);
    }
    QCOMPARE(reader.entries.last().message, u"poll number=%1"_s.arg(count - 1));
}

void LogFileFollowerTest::damagedBytesBecomeDamagedLines() {
    appendFile(current(), "\x00\x01\x02garbage\n\n"_ba + logLine(1).toUtf8() + "\n\xff\xfe\xfd\n"_ba);
    Reader reader(*m_follower);
    m_follower->start(60'000);
    QCOMPARE(reader.entries.size(), 3); // the empty line is no entry
    QCOMPARE(reader.entries.at(0).kind, LogEntry::Kind::damaged);
    QCOMPARE(reader.entries.at(1).kind, LogEntry::Kind::line);
    QCOMPARE(reader.entries.at(2).kind, LogEntry::Kind::damaged);
}

void LogFileFollowerTest::anUnreadableFileIsSaidSo() {
    appendFile(current(), (logLine(1) + u'\n').toUtf8());
    QFile::setPermissions(current(), QFileDevice::WriteOwner);
    if (QFile(current()).open(QIODevice::ReadOnly)) {
        QSKIP("running with rights that read any file");
    }
    m_follower->start(60'000);
    QCOMPARE(m_follower->status(), LogFileFollower::Status::unreadable);
    QFile::setPermissions(current(), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    m_follower->poll();
    QCOMPARE(m_follower->status(), LogFileFollower::Status::following);
}

QTEST_GUILESS_MAIN(LogFileFollowerTest)
#include "LogFileFollowerTest.moc"
