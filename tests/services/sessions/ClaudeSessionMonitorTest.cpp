#include "services/sessions/ClaudeSessionMonitor.h"

#include "core/diagnostics/DiagnosticLogger.h"
#include "support/MonitorHarness.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

class ClaudeSessionMonitorTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void transcriptsReachTheStore();
    void configFolderFromTheEnvironment();

private:
    void copyTranscript(const QString& folder, const char* name, const QString& as) {
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(
            QFile::copy(testData(u"claude-transcripts/"_s + QLatin1StringView(name)), folder + u'/' + as));
    }

    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<MonitorHarness> m_monitoring;
    int m_updates = 0;
};

void ClaudeSessionMonitorTest::init() {
    m_home = std::make_unique<QTemporaryDir>();
    m_monitoring = std::make_unique<MonitorHarness>();
    m_monitoring->clock.set(QDateTime::currentDateTimeUtc());
    m_updates = 0;
    qunsetenv("CLAUDE_CONFIG_DIR");
}

void ClaudeSessionMonitorTest::cleanup() {
    m_monitoring.reset();
    qunsetenv("CLAUDE_CONFIG_DIR");
}

void ClaudeSessionMonitorTest::transcriptsReachTheStore() {
    const QString projects = m_home->path() + u"/.claude/projects/-home-marco-projects-spotter"_s;
    copyTranscript(projects, "short.jsonl", u"55604662-cf2a-4331-851a-ec234028f8ca.jsonl"_s);
    SessionStore store;
    const auto monitor =
        ClaudeSessionMonitoring::monitor(ClaudeSessionMonitoring::source(m_home->path(), m_monitoring->clock),
                                         store, m_monitoring->services(), [this] { ++m_updates; });
    monitor->start();
    QVERIFY(MonitorHarness::lands(*monitor));
    QCOMPARE(store.sessions().size(), 1);
    QCOMPARE(store.sessions().first().project, u"spotter"_s);
    QCOMPARE(m_updates, 1);
    QCOMPARE(m_monitoring->scheduler.secondsUntilNext(), std::optional<double>(45));

    // The folder emptied: set aside twice, as a folder being rewritten looks, and gone at the third reading.
    QVERIFY(QDir(projects).removeRecursively());
    for (int reading = 1; reading <= 3; ++reading) {
        QVERIFY(m_monitoring->scheduler.advanceToNext());
        QVERIFY(MonitorHarness::lands(*monitor));
        QCOMPARE(store.isEmpty(), reading == 3);
    }
    monitor->stop();
}

void ClaudeSessionMonitorTest::configFolderFromTheEnvironment() {
    const QString elsewhere = m_home->path() + u"/claude-config"_s;
    copyTranscript(elsewhere + u"/projects/p"_s, "tool_heavy.jsonl", u"t.jsonl"_s);
    qputenv("CLAUDE_CONFIG_DIR", QFile::encodeName(elsewhere));
    const auto source = ClaudeSessionMonitoring::source(m_home->path(), m_monitoring->clock);
    const SessionFetchResult result = source->fetchSessions(5);
    QVERIFY(std::holds_alternative<QList<AgentSession>>(result));
    QCOMPARE(std::get<QList<AgentSession>>(result).size(), 1);
}

QTEST_GUILESS_MAIN(ClaudeSessionMonitorTest)
#include "ClaudeSessionMonitorTest.moc"
