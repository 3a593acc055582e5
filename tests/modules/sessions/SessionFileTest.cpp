#include "modules/sessions/SessionFile.h"

#include "core/time/Clock.h"
#include "support/TestFiles.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#include <utime.h>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

void touch(const QString& path, qint64 secondsSinceEpoch) {
    const utimbuf times{secondsSinceEpoch, secondsSinceEpoch};
    QCOMPARE(::utime(QFile::encodeName(path).constData(), &times), 0);
}

std::optional<QJsonObject> object(const QString& line) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return document.object();
}

// The value of `key` on the newest line of that type.
std::optional<QString> latestOfType(const QString& path, const QString& type, const QString& key,
                                    qint64 budget = 1 << 20) {
    return SessionFile::latestValue(
        path, u'"' + type + u'"', budget, 1 << 20, [&](const QString& line) -> std::optional<QString> {
            const auto json = object(line);
            if (!json || json->value("type"_L1).toString() != type) {
                return std::nullopt;
            }
            const QJsonValue value = json->value(key);
            return value.isString() ? std::optional(value.toString()) : std::nullopt;
        });
}

// Peak resident memory of this process since the last reset, in bytes.
qint64 peakResidentBytes() {
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:")) {
            return line.mid(6).trimmed().split(' ').first().toLongLong() * 1024;
        }
    }
    return -1;
}

bool resetPeakResident() {
    QFile refs(u"/proc/self/clear_refs"_s);
    return refs.open(QIODevice::WriteOnly) && refs.write("5") == 1;
}

} // namespace

class SessionFileTest : public QObject {
    Q_OBJECT
private slots:
    void init();

    void date_data();
    void date();

    void tailLines_data();
    void tailLines();
    void tailOfMissingFileIsEmpty();
    void headIsBoundedAndRepaired();

    void latestValueNewestFirst();
    void latestValueBounds_data();
    void latestValueBounds();
    void latestValueAcrossChunks();

    void newestListsTranscriptsOnly();

    void projectFolder_data();
    void projectFolder();
    void projectNameFallsBackToTheFileFolder();

    void readingWhileAWriterAppends();
    void hugeSparseFileReadsInBoundedMemory();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString path(const QString& name) const { return m_dir->filePath(name); }
};

void SessionFileTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void SessionFileTest::date_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDateTime>("expected");
    const auto utc = [](int h, int m, int s, int ms) {
        return QDateTime(QDate(2026, 2, 10), QTime(h, m, s, ms), Qt::UTC);
    };
    QTest::newRow("fraction") << u"2026-02-10T21:11:56.906Z"_s << utc(21, 11, 56, 906);
    QTest::newRow("no fraction") << u"2026-02-10T21:11:56Z"_s << utc(21, 11, 56, 0);
    QTest::newRow("one digit") << u"2026-02-10T21:11:56.9Z"_s << utc(21, 11, 56, 900);
    QTest::newRow("microseconds cut") << u"2026-02-10T21:11:56.123456Z"_s << utc(21, 11, 56, 123);
    QTest::newRow("offset") << u"2026-02-10T22:11:56+01:00"_s << utc(21, 11, 56, 0);
    QTest::newRow("negative offset") << u"2026-02-10T18:41:56.5-02:30"_s << utc(21, 11, 56, 500);
    QTest::newRow("no zone") << u"2026-02-10T21:11:56"_s << QDateTime();
    QTest::newRow("date only") << u"2026-02-10"_s << QDateTime();
    QTest::newRow("blank separator") << u"2026-02-10 21:11:56Z"_s << QDateTime();
    QTest::newRow("empty fraction") << u"2026-02-10T21:11:56.Z"_s << QDateTime();
    QTest::newRow("month 13") << u"2026-13-10T21:11:56Z"_s << QDateTime();
    QTest::newRow("hour 24") << u"2026-02-10T24:00:00Z"_s << QDateTime();
    QTest::newRow("trailing text") << u"2026-02-10T21:11:56Zx"_s << QDateTime();
    QTest::newRow("cut offset") << u"2026-02-10T21:11:56+01"_s << QDateTime();
    QTest::newRow("empty") << QString() << QDateTime();
    QTest::newRow("milliseconds number") << u"1770757916906"_s << QDateTime();
}

void SessionFileTest::date() {
    QFETCH(QString, text);
    QFETCH(QDateTime, expected);
    const auto parsed = SessionFile::date(text);
    QCOMPARE(parsed.has_value(), expected.isValid());
    if (parsed) {
        QCOMPARE(*parsed, expected);
    }
}

void SessionFileTest::tailLines_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QStringList>("expected");
    const QByteArray three = "first\nsecond\nthird\n"; // 19 bytes
    QTest::newRow("whole file for 0")
        << three << qint64(0) << QStringList{u"first"_s, u"second"_s, u"third"_s};
    QTest::newRow("bytes equal to the length keep the first line")
        << three << qint64(19) << QStringList{u"first"_s, u"second"_s, u"third"_s};
    QTest::newRow("one byte less drops it") << three << qint64(18) << QStringList{u"second"_s, u"third"_s};
    QTest::newRow("more than the file")
        << three << qint64(500) << QStringList{u"first"_s, u"second"_s, u"third"_s};
    QTest::newRow("start on a line boundary still drops the first")
        << three << qint64(13) << QStringList{u"third"_s};
    QTest::newRow("cut first line") << three << qint64(9) << QStringList{u"third"_s};
    QTest::newRow("empty lines skipped")
        << QByteArray("a\n\n\nb\n\n") << qint64(0) << QStringList{u"a"_s, u"b"_s};
    QTest::newRow("unfinished last line kept")
        << QByteArray("a\nb\n{\"half") << qint64(0) << QStringList{u"a"_s, u"b"_s, u"{\"half"_s};
    QTest::newRow("invalid UTF-8 repaired") << QByteArray("ok\nbad \xff\xfe end\n") << qint64(0)
                                            << QStringList{u"ok"_s, u"bad \uFFFD\uFFFD end"_s};
    QTest::newRow("multibyte character cut at the start")
        << QByteArray("\xc3\xa9t\xc3\xa9\nnext\n") << qint64(9) << QStringList{u"next"_s};
    QTest::newRow("empty file") << QByteArray() << qint64(10) << QStringList{};
    QTest::newRow("only newlines") << QByteArray("\n\n\n") << qint64(2) << QStringList{};
}

void SessionFileTest::tailLines() {
    QFETCH(QByteArray, content);
    QFETCH(qint64, bytes);
    QFETCH(QStringList, expected);
    writeFile(path(u"t.jsonl"_s), content);
    QCOMPARE(SessionFile::tailLines(path(u"t.jsonl"_s), bytes), expected);
}

void SessionFileTest::tailOfMissingFileIsEmpty() {
    QVERIFY(SessionFile::tailLines(path(u"absent.jsonl"_s), 100).isEmpty());
    // A folder opens but can't be read as a file.
    QVERIFY(SessionFile::tailLines(m_dir->path(), 100).isEmpty());
    QCOMPARE(SessionFile::modified(path(u"absent.jsonl"_s)), distantPast());
    QVERIFY(!SessionFile::head(path(u"absent.jsonl"_s), 10));
}

void SessionFileTest::headIsBoundedAndRepaired() {
    writeFile(path(u"h.jsonl"_s), QByteArray("{\"a\":1}\n\xe2\x82") + QByteArray(100, 'x'));
    QCOMPARE(SessionFile::head(path(u"h.jsonl"_s), 8), u"{\"a\":1}\n"_s);
    const auto cut = SessionFile::head(path(u"h.jsonl"_s), 10);
    QVERIFY(cut && cut->startsWith(u"{\"a\":1}\n\uFFFD"_s) && !cut->contains(u'x'));
    QCOMPARE(SessionFile::head(path(u"h.jsonl"_s), 0), QString());
    const auto whole = SessionFile::head(path(u"h.jsonl"_s), 1'000'000);
    QVERIFY(whole && whole->endsWith(QString(100, u'x')) && whole->contains(u'\uFFFD'));
}

void SessionFileTest::latestValueNewestFirst() {
    const QString file = path(u"v.jsonl"_s);
    writeFile(file, "{\"type\":\"assistant\",\"model\":\"old\"}\n"
                    "{\"type\":\"user\",\"model\":\"not an assistant\"}\n"
                    "not json at all \"assistant\"\n"
                    "{\"type\":\"assistant\",\"model\":\"new\"}\n"
                    "{\"type\":\"assistant\",\"effort\":\"high\"}\n"
                    "{\"type\":\"assistant\",\"model\":\"half");
    // The unfinished line and the one without a model are passed over.
    QCOMPARE(latestOfType(file, u"assistant"_s, u"model"_s), u"new"_s);
    // The needle filters before the transform sees anything.
    int offered = 0;
    SessionFile::scanBackward(file, u"user"_s, 1 << 20, 1 << 20, [&](const QString& line) {
        ++offered;
        return line.contains(u"nothing"_s);
    });
    QCOMPARE(offered, 1);
    // The first line of the file is a line like any other.
    QCOMPARE(SessionFile::latestValue(file, u"old"_s, 1 << 20, 1 << 20,
                                      [](const QString& line) { return std::optional(line.size()); }),
             std::optional<qsizetype>(34));
}

void SessionFileTest::latestValueBounds_data() {
    QTest::addColumn<qint64>("maximumBytes");
    QTest::addColumn<qint64>("maximumLineBytes");
    QTest::addColumn<QString>("expected");
    // The file: a small line with "a", a 1000-byte line with "b", a small line with "c" (see below).
    QTest::newRow("all") << qint64(1 << 20) << qint64(1 << 20) << u"b"_s;
    QTest::newRow("long line over the limit is passed over") << qint64(1 << 20) << qint64(999) << u"a"_s;
    QTest::newRow("long line exactly at the limit") << qint64(1 << 20) << qint64(1024) << u"b"_s;
    QTest::newRow("budget ends inside the long line") << qint64(600) << qint64(1 << 20) << QString();
    QTest::newRow("budget ends inside the first line") << qint64(1045) << qint64(999) << QString();
    QTest::newRow("budget reaches the start") << qint64(1051) << qint64(999) << u"a"_s;
    QTest::newRow("no budget") << qint64(0) << qint64(1 << 20) << QString();
    QTest::newRow("no line length") << qint64(1 << 20) << qint64(0) << QString();
}

void SessionFileTest::latestValueBounds() {
    QFETCH(qint64, maximumBytes);
    QFETCH(qint64, maximumLineBytes);
    QFETCH(QString, expected);
    const QString file = path(u"bounds.jsonl"_s);
    // 13 + 1 bytes, 1024 + 1 bytes, then a line without the needle.
    const QByteArray longLine = "{\"k\":\"b\",\"x\":\"" + QByteArray(1024 - 16, 'x') + "\"}";
    QCOMPARE(longLine.size(), 1024);
    writeFile(file, "{\"k\":\"a\",\"n\"}\n" + longLine + "\n{\"other\":1}\n");
    const auto found = SessionFile::latestValue(
        file, u"\"k\""_s, maximumBytes, maximumLineBytes,
        [](const QString& line) -> std::optional<QString> { return line.mid(6, 1); });
    QCOMPARE(found.value_or(QString()), expected);
}

void SessionFileTest::latestValueAcrossChunks() {
    // A match in a line that spans the boundary between the last two chunks, behind more than half a
    // megabyte of other lines.
    const QString file = path(u"chunks.jsonl"_s);
    const QByteArray filler = "{\"type\":\"progress\",\"data\":\"" + QByteArray(200, 'p') + "\"}\n";
    const QByteArray wanted = "{\"type\":\"custom-title\",\"customTitle\":\"Spanning\"}\n";
    QByteArray prefix = "{\"type\":\"custom-title\",\"customTitle\":\"Early\"}\n";
    while (prefix.size() < 2 * SessionFile::chunkBytes) {
        prefix += filler;
    }
    const qint64 suffixSize = SessionFile::chunkBytes - wanted.size() / 2;
    QByteArray suffix;
    while (suffix.size() + 2 * filler.size() < suffixSize) {
        suffix += filler;
    }
    const QByteArray padStart = "{\"type\":\"progress\",\"data\":\"";
    suffix += padStart + QByteArray(suffixSize - suffix.size() - padStart.size() - 3, 'q') + "\"}\n";
    QCOMPARE(suffix.size(), suffixSize);
    writeFile(file, prefix + wanted + suffix);
    QCOMPARE(latestOfType(file, u"custom-title"_s, u"customTitle"_s, 4 * SessionFile::chunkBytes),
             u"Spanning"_s);

    // Without that line, the search reaches the first line of the file, given the budget.
    const qint64 size = prefix.size() + suffix.size();
    writeFile(file, prefix + suffix);
    QCOMPARE(latestOfType(file, u"custom-title"_s, u"customTitle"_s, size), u"Early"_s);
    QVERIFY(!latestOfType(file, u"custom-title"_s, u"customTitle"_s, size - 10));
}

void SessionFileTest::newestListsTranscriptsOnly() {
    const QString root = path(u"projects"_s);
    writeFile(root + u"/p1/a.jsonl"_s, "{}\n");
    writeFile(root + u"/p1/b.jsonl"_s, "{}\n");
    writeFile(root + u"/p2/s/subagents/agent-1.jsonl"_s, "{}\n");
    writeFile(root + u"/p2/c.JSONL"_s, "{}\n");
    writeFile(root + u"/p2/c.jsonl.bak"_s, "{}\n");
    writeFile(root + u"/p2/.hidden.jsonl"_s, "{}\n");
    writeFile(root + u"/.cache/d.jsonl"_s, "{}\n");
    writeFile(root + u"/p3/e.jsonl"_s, "{}\n");
    touch(root + u"/p1/a.jsonl"_s, 1'700'000'300);
    touch(root + u"/p1/b.jsonl"_s, 1'700'000'100);
    touch(root + u"/p2/s/subagents/agent-1.jsonl"_s, 1'700'000'200);
    touch(root + u"/p3/e.jsonl"_s, 1'700'000'100);
    // A link back to the root must not make the walk go round.
    QVERIFY(QFile::link(root, root + u"/p3/loop"_s));

    const QList<SessionFile::Listed> listed = SessionFile::newest(root);
    QStringList names;
    for (const auto& entry : listed) {
        names.append(QDir(root).relativeFilePath(entry.path));
    }
    QCOMPARE(names.size(), 4);
    QCOMPARE(names.at(0), u"p1/a.jsonl"_s);
    QCOMPARE(names.at(1), u"p2/s/subagents/agent-1.jsonl"_s);
    QVERIFY(names.mid(2).contains(u"p1/b.jsonl"_s) && names.mid(2).contains(u"p3/e.jsonl"_s));
    QCOMPARE(listed.at(0).modified, QDateTime::fromSecsSinceEpoch(1'700'000'300, Qt::UTC));

    QVERIFY(SessionFile::newest(path(u"absent"_s)).isEmpty());
    QVERIFY(SessionFile::newest(root + u"/p1/a.jsonl"_s).isEmpty());
}

void SessionFileTest::projectFolder_data() {
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("expected");
    QTest::newRow("last folder") << u"/home/u/projects/tessary"_s << u"tessary"_s;
    QTest::newRow("trailing slash") << u"/home/u/projects/tessary/"_s << u"tessary"_s;
    QTest::newRow("inside a dot-folder") << u"/home/u/tessary/.claude/worktrees/x"_s << u"tessary"_s;
    QTest::newRow("first dot-folder counts") << u"/home/u/app/.git/.x/y"_s << u"app"_s;
    QTest::newRow("dot-folder as first component is not tested") << u"/.hidden/app"_s << u"app"_s;
    QTest::newRow("UUID takes the parent")
        << u"/work/jobs/3F2504E0-4F89-11D3-9A0C-0305E82C3301"_s << u"jobs"_s;
    QTest::newRow("UUID alone") << u"/3f2504e0-4f89-11d3-9a0c-0305e82c3301"_s
                                << u"3f2504e0-4f89-11d3-9a0c-0305e82c3301"_s;
    QTest::newRow("almost a UUID") << u"/work/3f2504e0-4f89-11d3-9a0c-0305e82c330"_s
                                   << u"3f2504e0-4f89-11d3-9a0c-0305e82c330"_s;
    QTest::newRow("macOS scratch workspace")
        << u"/Users/u/Library/Application Support/Claude/scratch-workspaces/abc"_s << u"Claude Desktop"_s;
    QTest::newRow("Linux scratch workspace")
        << u"/home/u/.config/Claude/scratch-workspaces/abc"_s << u"Claude Desktop"_s;
    QTest::newRow("root") << u"/"_s << QString();
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("relative") << u"projects/tessary"_s << u"tessary"_s;
}

void SessionFileTest::projectFolder() {
    QFETCH(QString, directory);
    QFETCH(QString, expected);
    QCOMPARE(SessionFile::projectFolder(directory).value_or(QString()), expected);
}

void SessionFileTest::projectNameFallsBackToTheFileFolder() {
    const QString transcript = u"/home/u/.claude/projects/-home-u-app/1234.jsonl"_s;
    QCOMPARE(SessionFile::projectName(u"/home/u/app"_s, transcript), u"app"_s);
    QCOMPARE(SessionFile::projectName(u"/"_s, transcript), u"/"_s);
    QCOMPARE(SessionFile::projectName(u""_s, transcript), u"-home-u-app"_s);
    QCOMPARE(SessionFile::projectName(std::nullopt, transcript), u"-home-u-app"_s);
}

void SessionFileTest::readingWhileAWriterAppends() {
    // A writer appends numbered lines, each in two writes, while the readers look at the tail: no
    // whole line is ever garbled, the numbers only go up, and a half-written last line is
    // passed over by the search.
    const QString file = path(u"live.jsonl"_s);
    writeFile(file, {});
    std::atomic_bool stop{false};
    std::atomic_int written{0};
    std::thread writer([&] {
        const int descriptor = ::open(QFile::encodeName(file).constData(), O_WRONLY | O_APPEND);
        for (int n = 1; !stop.load() && n < 200'000; ++n) {
            const QByteArray line = "{\"type\":\"assistant\",\"n\":" + QByteArray::number(n) + ",\"pad\":\"" +
                                    QByteArray(n % 300, 'z') + "\"}\n";
            const qsizetype half = line.size() / 2;
            if (::write(descriptor, line.constData(), half) != half ||
                ::write(descriptor, line.constData() + half, line.size() - half) != line.size() - half) {
                break;
            }
            written = n;
        }
        ::close(descriptor);
    });

    int lastSeen = 0;
    int readings = 0;
    QDeadlineTimer deadline(1500);
    while (!deadline.hasExpired() || readings < 20) {
        const QStringList lines = SessionFile::tailLines(file, 4096);
        int previous = -1;
        for (qsizetype i = 0; i < lines.size(); ++i) {
            const auto json = object(lines.at(i));
            if (!json) {
                // Only the line still being written may be unfinished.
                QCOMPARE(i, lines.size() - 1);
                continue;
            }
            const int n = json->value("n"_L1).toInt();
            QVERIFY(previous < 0 || n == previous + 1);
            previous = n;
        }
        const auto newest = SessionFile::latestValue(
            file, u"\"n\""_s, 1 << 20, 1 << 16, [](const QString& line) -> std::optional<int> {
                const auto json = object(line);
                return json ? std::optional(json->value("n"_L1).toInt()) : std::nullopt;
            });
        if (newest) {
            QVERIFY(*newest >= lastSeen);
            lastSeen = *newest;
        }
        ++readings;
    }
    stop = true;
    writer.join();
    QVERIFY(lastSeen > 0);
    QVERIFY(lastSeen <= written.load());
}

void SessionFileTest::hugeSparseFileReadsInBoundedMemory() {
    // 2 GB of holes with a few lines of JSON at each end: the tail and the search read only what
    // they must, and memory stays near what it was.
    const QString file = path(u"huge.jsonl"_s);
    constexpr qint64 size = qint64(2) << 30;
    {
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly));
        QVERIFY(out.write("{\"type\":\"custom-title\",\"customTitle\":\"At the start\"}\n") > 0);
        QVERIFY(out.resize(size));
        QVERIFY(out.seek(size));
        for (int n = 0; n < 100; ++n) {
            QVERIFY(out.write("{\"type\":\"assistant\",\"n\":" + QByteArray::number(n) + "}\n") > 0);
        }
    }
    if (!resetPeakResident()) {
        QSKIP("peak resident memory can't be reset here");
    }
    const qint64 before = peakResidentBytes();

    // The first line after the holes begins with them, and is dropped as cut.
    const QStringList tail = SessionFile::tailLines(file, SessionFile::chunkBytes);
    QCOMPARE(tail.size(), 99);
    QCOMPARE(tail.last(), u"{\"type\":\"assistant\",\"n\":99}"_s);
    const QStringList shortTail = SessionFile::tailLines(file, 200);
    QVERIFY(shortTail.size() < 10);

    // A search through the holes, 64 MB deep, finds nothing and keeps no line of them.
    QVERIFY(!latestOfType(file, u"custom-title"_s, u"customTitle"_s, qint64(64) << 20));
    QCOMPARE(latestOfType(file, u"assistant"_s, u"type"_s, qint64(64) << 20), u"assistant"_s);
    const auto head = SessionFile::head(file, 8192);
    QVERIFY(head && head->startsWith(u"{\"type\":\"custom-title\""_s));

    const qint64 grown = peakResidentBytes() - before;
    QVERIFY2(grown < qint64(16) << 20, qPrintable(u"peak grew by %1 bytes"_s.arg(grown)));
}

QTEST_GUILESS_MAIN(SessionFileTest)
#include "SessionFileTest.moc"
