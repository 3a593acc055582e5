#include "modules/sessions/CombinedSessionProvider.h"

#include "core/time/Clock.h"
#include "modules/sessions/OrcaSessionHosting.h"
#include "support/ScriptedSessionProvider.h"
#include "support/TestFiles.h"

#include <QTest>

#include <atomic>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

const QDateTime base = QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);

AgentSession session(const QString& id, int minute, const QString& project = u"p"_s) {
    AgentSession made;
    made.id = id;
    made.project = project;
    made.lastActivity = base.addSecs(qint64{minute} * 60);
    return made;
}

AgentSession transcript(const QString& id, int minute, const QString& directory,
                        const QString& agent = u"claude"_s) {
    AgentSession made = session(id, minute);
    made.directory = directory;
    made.agentName = agent;
    return made;
}

AgentSession terminal(const QString& handle, int minute, const QString& directory,
                      const QString& agent = u"claude"_s) {
    AgentSession made = transcript(u"orca:"_s + handle, minute, directory, agent);
    made.origin = u"Orca"_s;
    made.hostOrigin = u"Orca"_s;
    made.hostItemID = handle;
    made.hostProject = u"Project " + handle;
    return made;
}

QStringList ids(const SessionFetchResult& result) {
    return idsOf(std::get<QList<AgentSession>>(result));
}

} // namespace

class CombinedSessionProviderTest : public QObject {
    Q_OBJECT
private slots:
    void init();

    void newerOfTwoWithOneIdStays();
    void equalTimesKeepTheEarlierProvider();
    void limitCutsBeforeAndAfterTheMerge();
    void failingProviderIsLoggedAndPassedOver();
    void orcaReadingsOnlyMarkTranscriptSessions();
    void orcaTerminalsServeOneSessionEach();
    void emptyAndZeroLimit();

private:
    std::unique_ptr<ManualClock> m_clock;
    std::unique_ptr<DiagnosticLogger> m_logger;
    CombinedSessionProvider
    combined(std::initializer_list<std::shared_ptr<const SessionProvider>> providers) {
        return CombinedSessionProvider(QList<std::shared_ptr<const SessionProvider>>(providers),
                                       m_logger.get());
    }
};

void CombinedSessionProviderTest::init() {
    m_clock = std::make_unique<ManualClock>();
    m_logger = std::make_unique<DiagnosticLogger>(*m_clock, QTimeZone::utc(), nullptr);
}

void CombinedSessionProviderTest::newerOfTwoWithOneIdStays() {
    auto first =
        std::make_shared<ScriptedSessionProvider>(QList{session(u"a"_s, 1, u"old"_s), session(u"b"_s, 5)});
    auto second = std::make_shared<ScriptedSessionProvider>(QList{session(u"a"_s, 9, u"new"_s)});
    const SessionFetchResult result = combined({first, second}).fetchSessions(10);
    QCOMPARE(ids(result), (QStringList{u"a"_s, u"b"_s}));
    QCOMPARE(std::get<QList<AgentSession>>(result).first().project, u"new"_s);
}

void CombinedSessionProviderTest::equalTimesKeepTheEarlierProvider() {
    auto first =
        std::make_shared<ScriptedSessionProvider>(QList{session(u"a"_s, 3, u"first"_s), session(u"c"_s, 3)});
    auto second =
        std::make_shared<ScriptedSessionProvider>(QList{session(u"b"_s, 3), session(u"a"_s, 3, u"second"_s)});
    const SessionFetchResult result = combined({first, second}).fetchSessions(10);
    QCOMPARE(ids(result), (QStringList{u"a"_s, u"c"_s, u"b"_s}));
    QCOMPARE(std::get<QList<AgentSession>>(result).first().project, u"first"_s);
}

void CombinedSessionProviderTest::limitCutsBeforeAndAfterTheMerge() {
    // Seven distinct sessions; each provider gives its 4 newest of what it has, and the merge
    // gives the 5 newest of those.
    auto first = std::make_shared<ScriptedSessionProvider>(
        QList{session(u"a7"_s, 70), session(u"a5"_s, 50), session(u"a3"_s, 30), session(u"a1"_s, 10)});
    auto second = std::make_shared<ScriptedSessionProvider>(
        QList{session(u"b6"_s, 60), session(u"b4"_s, 40), session(u"b2"_s, 20)});
    const SessionFetchResult result = combined({first, second}).fetchSessions(5);
    QCOMPARE(ids(result), (QStringList{u"a7"_s, u"b6"_s, u"a5"_s, u"b4"_s, u"a3"_s}));
    QCOMPARE(first->limits(), QList<int>{5});
    QCOMPARE(second->limits(), QList<int>{5});

    // A limit also cuts what each provider gives: with 2, the first gives a7, a5 only.
    const SessionFetchResult two = combined({first, second}).fetchSessions(2);
    QCOMPARE(ids(two), (QStringList{u"a7"_s, u"b6"_s}));
}

void CombinedSessionProviderTest::failingProviderIsLoggedAndPassedOver() {
    auto failing = std::make_shared<ScriptedSessionProvider>(
        SessionProviderError{DiagnosticValue::errorKind("OrcaParseError", qint64(1)), u"no list"_s});
    auto working = std::make_shared<ScriptedSessionProvider>(QList{session(u"x"_s, 1)});
    const SessionFetchResult result = combined({failing, working}).fetchSessions(5);
    QCOMPARE(ids(result), QStringList{u"x"_s});
    const QStringList lines = m_logger->recentLines();
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().contains(u"monitor"_s) && lines.first().contains(u"session.provider.failed"_s) &&
                 lines.first().contains(u"provider=ScriptedSessionProvider"_s) &&
                 lines.first().contains(u"error=OrcaParseError#1"_s),
             qPrintable(lines.first()));
    // The user text of the failure never reaches the log.
    QVERIFY(!lines.first().contains(u"no list"_s));

    // Every provider failing is an empty list, not a failure.
    const SessionFetchResult none = combined({failing}).fetchSessions(5);
    QVERIFY(std::get<QList<AgentSession>>(none).isEmpty());
}

void CombinedSessionProviderTest::orcaReadingsOnlyMarkTranscriptSessions() {
    auto transcripts = std::make_shared<ScriptedSessionProvider>(
        QList{transcript(u"s1"_s, 10, u"/w/app"_s), transcript(u"s2"_s, 5, u"/w/lib"_s),
              transcript(u"s3"_s, 4, u"/w/app"_s, u"codex"_s)});
    auto orca = std::make_shared<ScriptedSessionProvider>(
        QList{terminal(u"t1"_s, 20, u"/w/app"_s), terminal(u"t9"_s, 30, u"/w/elsewhere"_s)});
    const SessionFetchResult result = combined({transcripts, orca}).fetchSessions(10);
    // The terminal with no transcript session leaves no row, and neither does the hosted one.
    QCOMPARE(ids(result), (QStringList{u"s1"_s, u"s2"_s, u"s3"_s}));
    const auto& sessions = std::get<QList<AgentSession>>(result);
    QCOMPARE(sessions.at(0).hostOrigin, u"Orca"_s);
    QCOMPARE(sessions.at(0).hostItemID, u"t1"_s);
    QCOMPARE(sessions.at(0).hostProject, u"Project t1"_s);
    // Another agent in the same folder isn't the terminal's.
    QVERIFY(!sessions.at(2).hostItemID);
    QVERIFY(!sessions.at(1).hostItemID);
}

void CombinedSessionProviderTest::orcaTerminalsServeOneSessionEach() {
    QList<AgentSession> rest{transcript(u"older"_s, 1, u"/w"_s), transcript(u"newer"_s, 9, u"/w"_s),
                             transcript(u"newest"_s, 10, u"/w"_s), session(u"no-directory"_s, 11)};
    const QList<AgentSession> hosted{terminal(u"old-term"_s, 2, u"/w"_s),
                                     terminal(u"new-term"_s, 8, u"/w"_s)};
    OrcaSessionHosting::attach(hosted, rest);
    QCOMPARE(rest.at(2).hostItemID, u"new-term"_s);
    QCOMPARE(rest.at(1).hostItemID, u"old-term"_s);
    QVERIFY(!rest.at(0).hostItemID);
    QVERIFY(!rest.at(3).hostItemID);

    // A reading without a handle uses up its terminal but marks nothing.
    QList<AgentSession> again{transcript(u"s"_s, 1, u"/w"_s)};
    AgentSession handleless = terminal(u"x"_s, 2, u"/w"_s);
    handleless.hostItemID.reset();
    OrcaSessionHosting::attach({handleless}, again);
    QVERIFY(!again.first().hostOrigin);
}

void CombinedSessionProviderTest::emptyAndZeroLimit() {
    auto some = std::make_shared<ScriptedSessionProvider>(QList{session(u"a"_s, 1)});
    QVERIFY(ids(combined({}).fetchSessions(5)).isEmpty());
    QVERIFY(ids(combined({some}).fetchSessions(0)).isEmpty());
    QVERIFY(some->limits().isEmpty());
    QCOMPARE(combined({some, nullptr}).providers().size(), 1);
}

QTEST_GUILESS_MAIN(CombinedSessionProviderTest)
#include "CombinedSessionProviderTest.moc"
