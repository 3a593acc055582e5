#include "app/logviewer/LogEntryModel.h"

#include <QAbstractItemModelTester>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::optional<tessary::DiagnosticCategory>)

namespace {

LogEntry line(DiagnosticCategory category, DiagnosticLevel level, const QString& message) {
    LogEntry entry;
    entry.kind = LogEntry::Kind::line;
    entry.time = QDateTime(QDate(2026, 3, 14), QTime(9, 0), Qt::UTC);
    entry.timestamp = u"2026-03-14T09:00:00.000Z"_s;
    entry.category = category;
    entry.level = level;
    entry.message = message;
    return entry;
}

LogEntry other(LogEntry::Kind kind, const QString& text) {
    LogEntry entry;
    entry.kind = kind;
    entry.message = text;
    return entry;
}

// Six entries: lines of three categories and levels, a damaged line and a notice.
QList<LogEntry> sample() {
    return {
        line(DiagnosticCategory::hooks, DiagnosticLevel::debug, u"request.read bytes=12"_s),
        line(DiagnosticCategory::hooks, DiagnosticLevel::info, u"listener.start port=4123"_s),
        line(DiagnosticCategory::hooks, DiagnosticLevel::error, u"listener.failed kind=bind"_s),
        line(DiagnosticCategory::settings, DiagnosticLevel::info, u"verboseLogging enabled=yes"_s),
        other(LogEntry::Kind::damaged, u"\u2400\u2400 garbage"_s),
        other(LogEntry::Kind::notice, u"--- 2 diagnostic lines dropped: the file queue was full ---"_s),
    };
}

QStringList shown(const LogFilterModel& filter) {
    QStringList result;
    for (int row = 0; row < filter.rowCount(); ++row) {
        result.append(filter.index(row, LogEntryModel::messageColumn).data().toString());
    }
    return result;
}

} // namespace

class LogFilterModelTest : public QObject {
    Q_OBJECT
private slots:
    void filters_data();
    void filters();
    void capacityDropsTheOldest();
};

void LogFilterModelTest::filters_data() {
    QTest::addColumn<std::optional<DiagnosticCategory>>("category");
    QTest::addColumn<int>("minimumLevel");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QList<int>>("rows");
    const std::optional<DiagnosticCategory> all;
    const int debug = int(DiagnosticLevel::debug);
    const int info = int(DiagnosticLevel::info);
    const int error = int(DiagnosticLevel::error);
    QTest::newRow("everything") << all << debug << QString() << QList<int>{0, 1, 2, 3, 4, 5};
    QTest::newRow("one category hides damaged lines, keeps the notice")
        << std::optional(DiagnosticCategory::hooks) << debug << QString() << QList<int>{0, 1, 2, 5};
    QTest::newRow("info and errors") << all << info << QString() << QList<int>{1, 2, 3, 5};
    QTest::newRow("errors only") << all << error << QString() << QList<int>{2, 5};
    QTest::newRow("category and level")
        << std::optional(DiagnosticCategory::settings) << error << QString() << QList<int>{5};
    QTest::newRow("text, any case") << all << debug << u"LISTENER"_s << QList<int>{1, 2};
    QTest::newRow("text matches a category name") << all << debug << u"settings"_s << QList<int>{3};
    QTest::newRow("text finds a damaged line") << all << debug << u"garbage"_s << QList<int>{4};
    QTest::newRow("blank text is no filter") << all << error << u"  "_s << QList<int>{2, 5};
    QTest::newRow("nothing matches") << all << debug << u"absent"_s << QList<int>{};
}

void LogFilterModelTest::filters() {
    QFETCH(std::optional<DiagnosticCategory>, category);
    QFETCH(int, minimumLevel);
    QFETCH(QString, text);
    QFETCH(QList<int>, rows);
    LogEntryModel entries;
    LogFilterModel filter;
    filter.setSourceModel(&entries);
    const QAbstractItemModelTester tester(&filter, QAbstractItemModelTester::FailureReportingMode::QtTest);
    entries.append(sample());
    filter.setCategory(category);
    filter.setMinimumLevel(static_cast<DiagnosticLevel>(minimumLevel));
    filter.setText(text);
    QStringList expected;
    for (int row : rows) {
        expected.append(sample().at(row).message);
    }
    QCOMPARE(shown(filter), expected);
    // Lines that arrive later go through the same filter.
    entries.append(sample());
    QCOMPARE(shown(filter), expected + expected);
}

void LogFilterModelTest::capacityDropsTheOldest() {
    LogEntryModel entries(4);
    const QAbstractItemModelTester tester(&entries, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QList<LogEntry> batch;
    for (int i = 0; i < 3; ++i) {
        batch.append(line(DiagnosticCategory::app, DiagnosticLevel::info, u"n=%1"_s.arg(i)));
    }
    entries.append(batch);
    entries.append(batch);
    QCOMPARE(entries.rowCount(), 4);
    QCOMPARE(entries.entry(0).message, u"n=2"_s);
    QCOMPARE(entries.entry(3).message, u"n=2"_s);
    // A batch larger than the whole capacity keeps its newest entries only.
    QList<LogEntry> large;
    for (int i = 0; i < 10; ++i) {
        large.append(line(DiagnosticCategory::app, DiagnosticLevel::info, u"m=%1"_s.arg(i)));
    }
    entries.append(large);
    QCOMPARE(entries.rowCount(), 4);
    QCOMPARE(entries.entry(0).message, u"m=6"_s);
    QCOMPARE(entries.entry(3).message, u"m=9"_s);
}

QTEST_GUILESS_MAIN(LogFilterModelTest)
#include "LogFilterModelTest.moc"
