#include "services/monitoring/CadencedFolderWatcher.h"

#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace tessary;
using namespace Qt::StringLiterals;
using tessary::testing::appendFile;
using tessary::testing::writeFile;

// Real files and real inotify under a temporary folder; the cadence itself runs on a manual clock,
// so the only real-time waits are for the kernel's file events to arrive.
class CadencedFolderWatcherTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void firstReadingAtOnceThenTheSlowPoll();
    void burstOfEventsGivesOneSettledReading();
    void changeRightAfterAReadingWaitsForTheGap();
    void subfolderCreatedAfterStartIsWatched();
    void removedFolderIsDropped();
    void rootThatAppearsLaterIsPickedUpAfterAReading();
    void deletedRootIsWatchedAgainOnceBack();
    void stopCancelsTheReadingAndTheWatches();
    void wallClockSetBackDoesNotHoldReadingsOff();
    void fileLimitKeepsTheMostRecentlyModified();
    void folderLimitStopsTheWalk();

private:
    QString path(const QString& relative) const { return m_dir->filePath(relative); }
    void writeAged(const QString& relative, int secondsAgo);
    // Waits (in real time) until file events have come in and their flush is scheduled, then runs it.
    bool eventsArrive();
    double now() const { return secondsBetween(m_start, m_clock->now()); }
    std::unique_ptr<CadencedFolderWatcher> makeWatcher();

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ManualClock> m_clock;
    std::unique_ptr<ManualScheduler> m_scheduler;
    QDateTime m_start;
    QStringList m_roots;
    QList<double> m_readings;
    bool m_holdReadings = false;
    QList<CadencedFolderWatcher::Finish> m_held;
    QList<CancellationToken> m_tokens;
};

void CadencedFolderWatcherTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QVERIFY(QDir().mkpath(path(u"tree"_s)));
    m_clock = std::make_unique<ManualClock>();
    m_scheduler = std::make_unique<ManualScheduler>(*m_clock);
    m_start = m_clock->now();
    m_roots = {path(u"tree"_s)};
    m_readings.clear();
    m_holdReadings = false;
    m_held.clear();
    m_tokens.clear();
}

void CadencedFolderWatcherTest::cleanup() {
    m_dir.reset();
}

void CadencedFolderWatcherTest::writeAged(const QString& relative, int secondsAgo) {
    QFile file(path(relative));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.setFileTime(QDateTime::currentDateTimeUtc().addSecs(-secondsAgo),
                             QFileDevice::FileModificationTime));
}

bool CadencedFolderWatcherTest::eventsArrive() {
    const bool arrived = QTest::qWaitFor(
        [this] {
            const auto next = m_scheduler->secondsUntilNext();
            return next && *next <= FolderTreeWatcher::latency + 0.0001;
        },
        5000);
    // Whatever else the kernel has queued for the same writes comes in with the same read.
    QTest::qWait(20);
    m_scheduler->advance(FolderTreeWatcher::latency);
    return arrived;
}

std::unique_ptr<CadencedFolderWatcher> CadencedFolderWatcherTest::makeWatcher() {
    return std::make_unique<CadencedFolderWatcher>(
        *m_clock, *m_scheduler, [this] { return m_roots; },
        [this](const QDateTime& at, const CancellationToken& cancellation,
               CadencedFolderWatcher::Finish finish) {
            m_readings.append(secondsBetween(m_start, at));
            m_tokens.append(cancellation);
            if (m_holdReadings) {
                m_held.append(std::move(finish));
            } else {
                finish();
            }
        });
}

void CadencedFolderWatcherTest::firstReadingAtOnceThenTheSlowPoll() {
    auto watcher = makeWatcher();
    watcher->start();
    QVERIFY(m_readings.isEmpty()); // never inside start
    m_scheduler->runDue();
    QCOMPARE(m_readings, QList<double>{0});
    QCOMPARE(watcher->watchedFolders(), QStringList{path(u"tree"_s)});
    m_scheduler->advance(95);
    QCOMPARE(m_readings, (QList<double>{0, 30, 60, 90}));
    watcher->start(); // already active: nothing changes
    QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(25));
}

void CadencedFolderWatcherTest::burstOfEventsGivesOneSettledReading() {
    QVERIFY(QDir().mkpath(path(u"tree/project"_s)));
    writeFile(path(u"tree/project/session.jsonl"_s), "{}\n");
    auto watcher = makeWatcher();
    watcher->start();
    m_scheduler->runDue();
    m_scheduler->advance(5);

    // New files, a new folder, and a write into a file that already existed.
    for (int i = 0; i < 10; ++i) {
        writeFile(path(u"tree/file-%1.json"_s.arg(i)), "x");
    }
    QVERIFY(QDir().mkpath(path(u"tree/project/subagents"_s)));
    appendFile(path(u"tree/project/session.jsonl"_s), "{\"more\":1}\n");
    QVERIFY(eventsArrive());
    QCOMPARE(now(), 5.1);
    QCOMPARE(watcher->cadence().pendingChange, std::optional<QDateTime>(m_clock->now()));
    QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(AgentListCadence::settle));

    m_scheduler->advance(10);
    QCOMPARE(m_readings, (QList<double>{0, 5.6}));
    QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(5.6 + 30 - now()));
}

void CadencedFolderWatcherTest::changeRightAfterAReadingWaitsForTheGap() {
    writeFile(path(u"tree/list.json"_s), "[]");
    auto watcher = makeWatcher();
    watcher->start();
    m_scheduler->runDue();
    m_scheduler->advance(0.2);
    writeFile(path(u"tree/list.json"_s), "[1]");
    QVERIFY(eventsArrive());
    m_scheduler->advance(1.6);
    QCOMPARE(m_readings, QList<double>{0});
    m_scheduler->advance(0.1);
    QCOMPARE(m_readings, (QList<double>{0, 2}));
}

void CadencedFolderWatcherTest::subfolderCreatedAfterStartIsWatched() {
    auto watcher = makeWatcher();
    watcher->start();
    m_scheduler->runDue();
    QVERIFY(QDir().mkpath(path(u"tree/new/deeper"_s)));
    QVERIFY(eventsArrive());
    QVERIFY(watcher->tree().isWatchingFolder(path(u"tree/new"_s)));
    QVERIFY(watcher->tree().isWatchingFolder(path(u"tree/new/deeper"_s)));
    m_scheduler->advance(5);
    QCOMPARE(m_readings, (QList<double>{0, 2}));

    // Events from inside the new folder count like any other.
    writeFile(path(u"tree/new/deeper/state.json"_s), "{}");
    QVERIFY(eventsArrive());
    m_scheduler->advance(1);
    QCOMPARE(m_readings.size(), 3);
    QCOMPARE(m_readings.last(), now() - 0.5);
    QCOMPARE(watcher->tree().watchedFileCount(), 1);
}

void CadencedFolderWatcherTest::removedFolderIsDropped() {
    QVERIFY(QDir().mkpath(path(u"tree/gone/inner"_s)));
    QVERIFY(QDir().mkpath(path(u"tree/stays"_s)));
    writeFile(path(u"tree/gone/inner/a.json"_s), "{}");
    writeFile(path(u"tree/stays/b.json"_s), "{}");
    auto watcher = makeWatcher();
    watcher->start();
    m_scheduler->runDue();
    QCOMPARE(watcher->tree().watchedFolders(),
             (QStringList{path(u"tree"_s), path(u"tree/gone"_s), path(u"tree/gone/inner"_s),
                          path(u"tree/stays"_s)}));
    QCOMPARE(watcher->tree().watchedFileCount(), 2);

    QVERIFY(QDir(path(u"tree/gone"_s)).removeRecursively());
    QVERIFY(eventsArrive());
    QCOMPARE(watcher->tree().watchedFolders(), (QStringList{path(u"tree"_s), path(u"tree/stays"_s)}));
    QCOMPARE(watcher->tree().watchedFileCount(), 1);
    m_scheduler->advance(3);
    QCOMPARE(m_readings, (QList<double>{0, 2}));

    // A folder made again under the same name is watched anew.
    QVERIFY(QDir().mkpath(path(u"tree/gone"_s)));
    QVERIFY(eventsArrive());
    QVERIFY(watcher->tree().isWatchingFolder(path(u"tree/gone"_s)));
}

void CadencedFolderWatcherTest::rootThatAppearsLaterIsPickedUpAfterAReading() {
    m_roots = {path(u"later"_s), path(u"tree"_s), path(u"tree/"_s)};
    auto watcher = makeWatcher();
    watcher->start();
    m_scheduler->runDue();
    QCOMPARE(watcher->watchedFolders(), QStringList{path(u"tree"_s)}); // the same folder once
    QVERIFY(QDir().mkpath(path(u"later"_s)));
    m_scheduler->advance(30);
    QCOMPARE(watcher->watchedFolders(), (QStringList{path(u"later"_s), path(u"tree"_s)}));
    writeFile(path(u"later/x.json"_s), "{}");
    QVERIFY(eventsArrive());
    m_scheduler->advance(2);
    QCOMPARE(m_readings.size(), 3);
}

void CadencedFolderWatcherTest::deletedRootIsWatchedAgainOnceBack() {
    auto watcher = makeWatcher();
    watcher->start();
    m_scheduler->runDue();
    QVERIFY(QDir(path(u"tree"_s)).removeRecursively());
    QVERIFY(eventsArrive());
    QVERIFY(watcher->tree().watchedRoots().isEmpty());
    QVERIFY(QDir().mkpath(path(u"tree"_s)));
    m_scheduler->advance(2); // the deletion brings a reading, after which the roots are looked at again
    QCOMPARE(m_readings.size(), 2);
    QCOMPARE(watcher->tree().watchedRoots(), QStringList{path(u"tree"_s)});
    writeFile(path(u"tree/back.json"_s), "{}");
    QVERIFY(eventsArrive());
}

void CadencedFolderWatcherTest::stopCancelsTheReadingAndTheWatches() {
    m_holdReadings = true;
    auto watcher = makeWatcher();
    watcher->start();
    m_scheduler->runDue();
    QVERIFY(watcher->isReading());
    // Events during a reading wait for it to end rather than schedule another beside it.
    writeFile(path(u"tree/during.json"_s), "{}");
    QVERIFY(eventsArrive());
    QCOMPARE(m_scheduler->pendingCount(), 0);
    m_held.takeFirst()();
    QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(2 - now()));
    m_scheduler->advance(2);
    QCOMPARE(m_readings.size(), 2);

    watcher->stop();
    QVERIFY(m_tokens.last().isCancelled());
    QVERIFY(!watcher->isActive());
    QVERIFY(watcher->tree().watchedFolders().isEmpty());
    QCOMPARE(m_scheduler->pendingCount(), 0);
    m_held.takeFirst()(); // the cancelled reading ends late
    QVERIFY(!watcher->isReading());
    QCOMPARE(m_scheduler->pendingCount(), 0);
    writeFile(path(u"tree/after.json"_s), "{}");
    QTest::qWait(50);
    QCOMPARE(m_scheduler->pendingCount(), 0);

    watcher->start();
    QVERIFY(watcher->tree().isWatchingFolder(path(u"tree"_s)));
    m_scheduler->advance(2);
    QCOMPARE(m_readings.size(), 3);
}

void CadencedFolderWatcherTest::wallClockSetBackDoesNotHoldReadingsOff() {
    auto watcher = makeWatcher();
    watcher->start();
    m_scheduler->runDue();
    m_clock->set(m_clock->now().addSecs(-3600));
    writeFile(path(u"tree/x.json"_s), "{}");
    QVERIFY(eventsArrive());
    QCOMPARE(m_scheduler->secondsUntilNext(), std::optional<double>(AgentListCadence::interval));
}

void CadencedFolderWatcherTest::fileLimitKeepsTheMostRecentlyModified() {
    writeAged(u"tree/old-300.json"_s, 300);
    writeAged(u"tree/old-200.json"_s, 200);
    writeAged(u"tree/old-100.json"_s, 100);
    int changes = 0;
    FolderTreeWatcher tree(
        *m_scheduler, [&] { ++changes; }, FolderWatchLimits{16, 2});
    tree.watch({path(u"tree"_s)});
    QVERIFY(tree.isTruncated());
    QVERIFY(tree.isWatchingFile(path(u"tree/old-100.json"_s)));
    QVERIFY(tree.isWatchingFile(path(u"tree/old-200.json"_s)));
    QVERIFY(!tree.isWatchingFile(path(u"tree/old-300.json"_s)));

    // A new file is the most recent: it takes the watch of the oldest one watched.
    writeFile(path(u"tree/new.jsonl"_s), "{}\n");
    QVERIFY(eventsArrive());
    QCOMPARE(changes, 1);
    QCOMPARE(tree.watchedFileCount(), 2);
    QVERIFY(tree.isWatchingFile(path(u"tree/new.jsonl"_s)));
    QVERIFY(tree.isWatchingFile(path(u"tree/old-100.json"_s)));
    // So that writes into it are seen.
    appendFile(path(u"tree/new.jsonl"_s), "{}\n");
    QVERIFY(eventsArrive());
    QCOMPARE(changes, 2);
}

void CadencedFolderWatcherTest::folderLimitStopsTheWalk() {
    for (const auto& name : {u"tree/a"_s, u"tree/b"_s, u"tree/c/d"_s}) {
        QVERIFY(QDir().mkpath(path(name)));
    }
    FolderTreeWatcher tree(*m_scheduler, {}, FolderWatchLimits{3, 16});
    tree.watch({path(u"tree"_s)});
    QVERIFY(tree.isTruncated());
    QCOMPARE(tree.watchedFolders(), (QStringList{path(u"tree"_s), path(u"tree/a"_s), path(u"tree/b"_s)}));
    tree.clear();
    QVERIFY(tree.watchedFolders().isEmpty());
    QVERIFY(!tree.isTruncated());
}

QTEST_GUILESS_MAIN(CadencedFolderWatcherTest)
#include "CadencedFolderWatcherTest.moc"
