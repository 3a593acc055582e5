#include "core/diagnostics/DiagnosticFileSink.h"

#include "CapturingSystemLog.h"
#include "core/diagnostics/DiagnosticLog.h"
#include "core/diagnostics/DiagnosticRotation.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

mode_t modeOf(const QString& path) {
    struct stat info {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 ? (info.st_mode & 07777) : 0;
}

ino_t inodeOf(const QString& path) {
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_ino : 0;
}

} // namespace

class DiagnosticFileSinkTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void makesAPrivateFolderAndFile();
    void tightensAnOlderFolderAndFile();
    void refusesWhatItCannotMake_data();
    void refusesWhatItCannotMake();
    void rotation_data();
    void rotation();
    void rotationKeepsTheDescriptorNumber();
    void dropsLinesWhenTheWriterFallsBehind();
    void writeSynchronouslyBypassesTheQueueAndTheSize();
    void aWriteFailureIsReportedOnceAndWritingGoesOn();
    void aFailedRotationEmptiesTheFile();
    void defaultDirectory_data();
    void defaultDirectory();
    void startFileLoggingAttachesTheApplicationSink();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::shared_ptr<DiagnosticSerialQueue> m_queue;
    std::shared_ptr<CapturingSystemLog> m_systemLog;
    std::shared_ptr<DiagnosticFileSink> makeSink(const QString& directory, qint64 limit,
                                                 qint64 pendingLimit = 100);
};

void DiagnosticFileSinkTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    m_queue = std::make_shared<DiagnosticSerialQueue>(u"test.diagnostics"_s);
    m_systemLog = std::make_shared<CapturingSystemLog>();
}

std::shared_ptr<DiagnosticFileSink> DiagnosticFileSinkTest::makeSink(const QString& directory, qint64 limit,
                                                                     qint64 pendingLimit) {
    return DiagnosticFileSink::create(directory, limit, pendingLimit, m_queue, m_systemLog);
}

void DiagnosticFileSinkTest::makesAPrivateFolderAndFile() {
    const QString logs = m_dir->filePath(u"state/tessary/logs"_s);
    auto sink = makeSink(logs, 1000);
    QVERIFY(sink);
    QCOMPARE(sink->currentFile(), logs + u"/tessary.log"_s);
    QCOMPARE(sink->previousFile(), logs + u"/tessary.1.log"_s);
    QCOMPARE(modeOf(logs), mode_t(0700));
    QCOMPARE(modeOf(m_dir->filePath(u"state/tessary"_s)), mode_t(0700));
    QCOMPARE(modeOf(sink->currentFile()), mode_t(0600));
    QVERIFY(m_systemLog->entries().isEmpty());
}

void DiagnosticFileSinkTest::tightensAnOlderFolderAndFile() {
    const QString logs = m_dir->filePath(u"logs"_s);
    QVERIFY(QDir().mkpath(logs));
    ::chmod(QFile::encodeName(logs).constData(), 0755);
    writeFile(logs + u"/tessary.log"_s, "older\n");
    ::chmod(QFile::encodeName(logs + u"/tessary.log"_s).constData(), 0644);

    // The older content counts toward the limit: the first new line already rotates.
    auto sink = makeSink(logs, 10);
    QVERIFY(sink);
    QCOMPARE(modeOf(logs), mode_t(0700));
    QCOMPARE(modeOf(sink->currentFile()), mode_t(0600));
    sink->append(u"new line"_s);
    sink->flush();
    QCOMPARE(readFile(sink->previousFile()), QByteArray("older\n"));
    QCOMPARE(readFile(sink->currentFile()), QByteArray("new line\n"));
    QCOMPARE(modeOf(sink->previousFile()), mode_t(0600));
}

void DiagnosticFileSinkTest::refusesWhatItCannotMake_data() {
    QTest::addColumn<QString>("obstacle");
    QTest::addColumn<QString>("report");
    QTest::newRow("a file where a folder goes")
        << u"folder-is-file"_s << u"diagnostics folder not created: generic#20"_s;
    QTest::newRow("a folder where the file goes")
        << u"file-is-folder"_s << u"diagnostics file not opened: errno 21"_s;
    QTest::newRow("a link where the file goes")
        << u"file-is-link"_s << u"diagnostics file not opened: errno 40"_s;
}

void DiagnosticFileSinkTest::refusesWhatItCannotMake() {
    QFETCH(QString, obstacle);
    QFETCH(QString, report);
    const QString logs = m_dir->filePath(u"logs"_s);
    if (obstacle == u"folder-is-file"_s) {
        writeFile(m_dir->filePath(u"logs"_s), "x");
    } else if (obstacle == u"file-is-folder"_s) {
        QVERIFY(QDir().mkpath(logs + u"/tessary.log"_s));
    } else {
        QVERIFY(QDir().mkpath(logs));
        writeFile(m_dir->filePath(u"elsewhere"_s), "theirs");
        QVERIFY(QFile::link(m_dir->filePath(u"elsewhere"_s), logs + u"/tessary.log"_s));
    }
    QVERIFY(!makeSink(logs, 1000));
    const QList<CapturingSystemLog::Entry> expected{{DiagnosticLevel::error, u"diagnostics"_s, report}};
    QCOMPARE(m_systemLog->entries(), expected);
    QCOMPARE(readFile(m_dir->filePath(u"elsewhere"_s)), obstacle == u"file-is-link"_s ? "theirs" : "");
}

void DiagnosticFileSinkTest::rotation_data() {
    QTest::addColumn<QByteArray>("existing");
    QTest::addColumn<QByteArray>("olderGeneration");
    QTest::addColumn<int>("limit");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QByteArray>("current");
    QTest::addColumn<QByteArray>("previous");
    QTest::newRow("an empty file takes a line over the limit")
        << QByteArray() << QByteArray() << 10 << QStringList{u"0123456789ABCDEF"_s}
        << QByteArray("0123456789ABCDEF\n") << QByteArray();
    QTest::newRow("exactly at the limit stays")
        << QByteArray() << QByteArray() << 10 << QStringList{u"abcd"_s, u"efgh"_s}
        << QByteArray("abcd\nefgh\n") << QByteArray();
    QTest::newRow("one byte over rotates")
        << QByteArray() << QByteArray() << 10 << QStringList{u"abcd"_s, u"efgh"_s, u"i"_s}
        << QByteArray("i\n") << QByteArray("abcd\nefgh\n");
    QTest::newRow("the older generation is replaced")
        << QByteArray("1234567") << QByteArray("oldest\n") << 10 << QStringList{u"abcd"_s}
        << QByteArray("abcd\n") << QByteArray("1234567");
    QTest::newRow("size is counted in UTF-8 bytes")
        << QByteArray() << QByteArray() << 10 << QStringList{u"\u00e9\u00e9\u00e9\u00e9"_s, u"x"_s}
        << QByteArray("x\n") << QByteArray("\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\n");
}

void DiagnosticFileSinkTest::rotation() {
    QFETCH(QByteArray, existing);
    QFETCH(QByteArray, olderGeneration);
    QFETCH(int, limit);
    QFETCH(QStringList, lines);
    QFETCH(QByteArray, current);
    QFETCH(QByteArray, previous);
    const QString logs = m_dir->path();
    if (!existing.isEmpty()) {
        writeFile(logs + u"/tessary.log"_s, existing);
    }
    if (!olderGeneration.isEmpty()) {
        writeFile(logs + u"/tessary.1.log"_s, olderGeneration);
    }
    auto sink = makeSink(logs, limit);
    QVERIFY(sink);
    for (const QString& line : lines) {
        sink->append(line);
    }
    sink->flush();
    QCOMPARE(readFile(sink->currentFile()), current);
    QCOMPARE(QFile::exists(sink->previousFile()), !previous.isEmpty());
    QCOMPARE(readFile(sink->previousFile()), previous);
    QVERIFY(!sink->failureReported());
}

void DiagnosticFileSinkTest::rotationKeepsTheDescriptorNumber() {
    auto sink = makeSink(m_dir->path(), 20);
    QVERIFY(sink);
    const int descriptor = sink->descriptor();
    for (int i = 0; i < 10; ++i) {
        sink->append(u"line number %1"_s.arg(i)); // 14 bytes: every line after the first rotates
    }
    sink->flush();
    QCOMPARE(sink->descriptor(), descriptor);
    struct stat open {};
    QCOMPARE(::fstat(descriptor, &open), 0);
    QCOMPARE(open.st_ino, inodeOf(sink->currentFile()));
    QCOMPARE(open.st_mode & 07777, mode_t(0600));
    QCOMPARE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);

    // What the crash path writes on that number lands in the current file.
    sink->writeSynchronously("crash marker\n");
    QCOMPARE(readFile(sink->currentFile()), QByteArray("line number 9\ncrash marker\n"));
    QCOMPARE(readFile(sink->previousFile()), QByteArray("line number 8\n"));
}

void DiagnosticFileSinkTest::dropsLinesWhenTheWriterFallsBehind() {
    auto sink = makeSink(m_dir->path(), 100'000, 2);
    QVERIFY(sink);
    QSemaphore gate;
    m_queue->async([&gate] { gate.acquire(); });
    for (int i = 1; i <= 4; ++i) {
        sink->append(u"line %1"_s.arg(i));
    }
    QCOMPARE(sink->pending(), (DiagnosticFileSink::Pending{2, 2}));
    gate.release();
    sink->flush();
    QCOMPARE(readFile(sink->currentFile()),
             QByteArray("line 1\nline 2\n--- 2 diagnostic lines dropped: the file queue was full ---\n"));
    QCOMPARE(sink->pending(), (DiagnosticFileSink::Pending{0, 0}));

    // The count starts again: a backlog that never fills writes no notice.
    sink->append(u"line 5"_s);
    sink->flush();
    QVERIFY(readFile(sink->currentFile()).endsWith("full ---\nline 5\n"));
}

void DiagnosticFileSinkTest::writeSynchronouslyBypassesTheQueueAndTheSize() {
    auto sink = makeSink(m_dir->path(), 10);
    QVERIFY(sink);
    sink->append(u"abc"_s);
    sink->flush();
    QSemaphore gate;
    m_queue->async([&gate] { gate.acquire(); });
    // Written at once, though the queue is blocked, over the limit without rotating, and without a newline.
    sink->writeSynchronously("0123456789XYZ");
    QCOMPARE(readFile(sink->currentFile()), QByteArray("abc\n0123456789XYZ"));
    gate.release();
    // The size still counts only the queued lines: 4 + 2 bytes stays under the limit.
    sink->append(u"d"_s);
    sink->flush();
    QCOMPARE(readFile(sink->currentFile()), QByteArray("abc\n0123456789XYZd\n"));
    QVERIFY(!QFile::exists(sink->previousFile()));
}

void DiagnosticFileSinkTest::aWriteFailureIsReportedOnceAndWritingGoesOn() {
    auto sink = makeSink(m_dir->path(), 100'000);
    QVERIFY(sink);
    const int descriptor = sink->descriptor();
    const int saved = ::dup(descriptor);
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    QVERIFY(saved >= 0 && full >= 0);
    QVERIFY(::dup2(full, descriptor) == descriptor);
    ::close(full);

    sink->append(u"lost 1"_s);
    sink->append(u"lost 2"_s);
    sink->writeSynchronously("lost 3\n");
    sink->flush();
    const QList<CapturingSystemLog::Entry> expected{
        {DiagnosticLevel::error, u"diagnostics"_s, u"diagnostics file write failed: errno 28"_s}};
    QCOMPARE(m_systemLog->entries(), expected);
    QVERIFY(sink->failureReported());

    QVERIFY(::dup2(saved, descriptor) == descriptor);
    ::close(saved);
    sink->append(u"kept"_s);
    sink->flush();
    QCOMPARE(readFile(sink->currentFile()), QByteArray("kept\n"));
    QCOMPARE(m_systemLog->entries().size(), 1);
}

void DiagnosticFileSinkTest::aFailedRotationEmptiesTheFile() {
    // A non-empty folder in the place of the older generation makes the rename fail.
    QVERIFY(QDir().mkpath(m_dir->filePath(u"tessary.1.log/inside"_s)));
    auto sink = makeSink(m_dir->path(), 10);
    QVERIFY(sink);
    sink->append(u"first"_s);
    sink->append(u"second"_s);
    sink->append(u"third"_s);
    sink->flush();
    // Each failed rotation empties the file; only the first failure is reported.
    QCOMPARE(readFile(sink->currentFile()), QByteArray("third\n"));
    const QList<CapturingSystemLog::Entry> expected{
        {DiagnosticLevel::error, u"diagnostics"_s, u"diagnostics file rotate failed: errno 21"_s}};
    QCOMPARE(m_systemLog->entries(), expected);
}

void DiagnosticFileSinkTest::defaultDirectory_data() {
    QTest::addColumn<QByteArray>("stateHome");
    QTest::addColumn<QString>("expected");
    QTest::newRow("XDG_STATE_HOME") << QByteArray("/var/tmp/state") << u"/var/tmp/state/tessary/logs"_s;
    QTest::newRow("unset") << QByteArray() << QDir::homePath() + u"/.local/state/tessary/logs"_s;
    QTest::newRow("relative is ignored")
        << QByteArray("state") << QDir::homePath() + u"/.local/state/tessary/logs"_s;
}

void DiagnosticFileSinkTest::defaultDirectory() {
    QFETCH(QByteArray, stateHome);
    QFETCH(QString, expected);
    const QByteArray saved = qgetenv("XDG_STATE_HOME");
    qputenv("XDG_STATE_HOME", stateHome);
    const QString directory = DiagnosticFileSink::defaultDirectory();
    qputenv("XDG_STATE_HOME", saved);
    QCOMPARE(directory, expected);
}

void DiagnosticFileSinkTest::startFileLoggingAttachesTheApplicationSink() {
    const QByteArray saved = qgetenv("XDG_STATE_HOME");
    qputenv("XDG_STATE_HOME", QFile::encodeName(m_dir->filePath(u"state"_s)));
    auto sink = DiagnosticLog::startFileLogging();
    qputenv("XDG_STATE_HOME", saved);
    QVERIFY(sink);
    QCOMPARE(DiagnosticLogger::shared().sink(), sink);
    QCOMPARE(DiagnosticLog::startFileLogging(), sink);
    QCOMPARE(sink->directory(), m_dir->filePath(u"state/tessary/logs"_s));

    DiagnosticLog::info(DiagnosticCategory::app, "launch", [] {
        return DiagnosticFields{{"verbose", DiagnosticValue::boolean(false)},
                                {"file", DiagnosticValue::boolean(true)}};
    });
    DiagnosticLog::flush();
    const QByteArray written = readFile(sink->currentFile());
    QVERIFY(written.endsWith(" app info launch verbose=no file=yes\n"));
    QCOMPARE(written.count('\n'), 1);
}

QTEST_GUILESS_MAIN(DiagnosticFileSinkTest)
#include "DiagnosticFileSinkTest.moc"
