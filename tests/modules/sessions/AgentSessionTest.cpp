#include "modules/sessions/AgentSession.h"

#include "modules/sessions/SessionStore.h"

#include <QTest>

#include <atomic>
#include <thread>

using namespace tessary;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::optional<QString>)
Q_DECLARE_METATYPE(std::optional<qint64>)
Q_DECLARE_METATYPE(std::optional<bool>)
Q_DECLARE_METATYPE(AppLanguage)

namespace {

const QDateTime moment = QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);

AgentSession::Subagent subagent(const QString& id, double age, std::optional<bool> working) {
    AgentSession::Subagent agent;
    agent.id = id;
    agent.lastActivity = moment.addMSecs(static_cast<qint64>(-age * 1000));
    agent.isWorking = working;
    return agent;
}

} // namespace

class AgentSessionTest : public QObject {
    Q_OBJECT
private slots:
    void displayTitle_data();
    void displayTitle();
    void contextLabels_data();
    void contextLabels();
    void liveSubagents_data();
    void liveSubagents();
    void storeSwapsWhileReadersCopy();
};

void AgentSessionTest::displayTitle_data() {
    QTest::addColumn<std::optional<QString>>("role");
    QTest::addColumn<std::optional<QString>>("title");
    QTest::addColumn<QString>("expected");
    using Text = std::optional<QString>;
    QTest::newRow("role first") << Text(u"Reviewer"_s) << Text(u"x"_s) << u"Reviewer"_s;
    QTest::newRow("empty role") << Text(u""_s) << Text(u"x"_s) << u"x"_s;
    QTest::newRow("both empty") << Text(u""_s) << Text(u""_s) << u"tessary"_s;
    QTest::newRow("none") << Text() << Text() << u"tessary"_s;
    QTest::newRow("title only") << Text() << Text(u"Fix the build"_s) << u"Fix the build"_s;
}

void AgentSessionTest::displayTitle() {
    QFETCH(std::optional<QString>, role);
    QFETCH(std::optional<QString>, title);
    QFETCH(QString, expected);
    AgentSession session;
    session.project = u"tessary"_s;
    session.role = role;
    session.title = title;
    QCOMPARE(session.displayTitle(), expected);
}

void AgentSessionTest::contextLabels_data() {
    QTest::addColumn<AppLanguage>("language");
    QTest::addColumn<qint64>("tokens");
    QTest::addColumn<std::optional<qint64>>("window");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("detail");
    using Window = std::optional<qint64>;
    const auto en = AppLanguage::english;
    QTest::newRow("share") << en << qint64(126'000) << Window(200'000) << u"63%"_s << u"126K / 200K (63%)"_s;
    QTest::newRow("past the window") << en << qint64(250'000) << Window(200'000) << u"125%"_s
                                     << u"250K / 200K (125%)"_s;
    QTest::newRow("large window") << en << qint64(30'000) << Window(1'000'000) << u"3%"_s
                                  << u"30K / 1M (3%)"_s;
    QTest::newRow("fraction in the detail")
        << en << qint64(12'345) << Window(200'000) << u"6%"_s << u"12.3K / 200K (6%)"_s;
    QTest::newRow("no window") << en << qint64(12'345) << Window() << u"12K"_s << u"12.3K"_s;
    QTest::newRow("zero window") << en << qint64(1'234) << Window(0) << u"1.2K"_s << u"1.2K"_s;
    QTest::newRow("small count") << en << qint64(950) << Window() << u"950"_s << u"950"_s;
    QTest::newRow("rounds up to the next unit") << en << qint64(999'960) << Window() << u"1M"_s << u"1M"_s;
    QTest::newRow("millions") << en << qint64(1'250'000) << Window() << u"1.3M"_s << u"1.3M"_s;
    QTest::newRow("Spanish separators")
        << AppLanguage::spanish << qint64(12'345) << Window() << u"12K"_s << u"12,3K"_s;
}

void AgentSessionTest::contextLabels() {
    QFETCH(AppLanguage, language);
    QFETCH(qint64, tokens);
    QFETCH(std::optional<qint64>, window);
    QFETCH(QString, label);
    QFETCH(QString, detail);
    const Localization localization(language);
    AgentSession session;
    session.contextTokens = tokens;
    session.contextWindow = window;
    QCOMPARE(session.contextLabel(localization), label);
    QCOMPARE(session.contextDetail(localization), detail);
    AgentSession::Subagent agent;
    agent.contextTokens = tokens;
    agent.contextWindow = window;
    QCOMPARE(agent.contextDetail(localization), detail);
}

void AgentSessionTest::liveSubagents_data() {
    QTest::addColumn<double>("age");
    QTest::addColumn<std::optional<bool>>("working");
    QTest::addColumn<double>("window");
    QTest::addColumn<bool>("alive");
    using Working = std::optional<bool>;
    QTest::newRow("unknown, young") << 299.0 << Working() << 300.0 << true;
    QTest::newRow("unknown, at the window") << 300.0 << Working() << 300.0 << false;
    QTest::newRow("working outlives the window") << 1799.0 << Working(true) << 300.0 << true;
    QTest::newRow("working at half an hour") << 1800.0 << Working(true) << 300.0 << false;
    QTest::newRow("working, window longer than half an hour") << 1800.0 << Working(true) << 4000.0 << false;
    QTest::newRow("finished, just now") << 0.0 << Working(false) << 300.0 << false;
}

void AgentSessionTest::liveSubagents() {
    QFETCH(double, age);
    QFETCH(std::optional<bool>, working);
    QFETCH(double, window);
    QFETCH(bool, alive);
    AgentSession session;
    session.subagents = {subagent(u"before"_s, 1, std::nullopt), subagent(u"probe"_s, age, working),
                         subagent(u"after"_s, 2, true)};
    const QList<AgentSession::Subagent> live = session.liveSubagents(moment, window);
    QStringList ids;
    for (const auto& agent : live) {
        ids.append(agent.id);
    }
    const QStringList expected =
        alive ? QStringList{u"before"_s, u"probe"_s, u"after"_s} : QStringList{u"before"_s, u"after"_s};
    QCOMPARE(ids, expected);
}

void AgentSessionTest::storeSwapsWhileReadersCopy() {
    // Readers on other threads always see one whole list, never a mix of two.
    SessionStore store;
    QVERIFY(store.isEmpty());
    std::atomic_bool stop{false};
    std::atomic_int torn{0};
    std::thread reader([&] {
        while (!stop) {
            const QList<AgentSession> sessions = store.sessions();
            for (const AgentSession& session : sessions) {
                if (session.project != sessions.first().project) {
                    ++torn;
                }
            }
        }
    });
    for (int round = 0; round < 2000; ++round) {
        QList<AgentSession> sessions(round % 7 + 1);
        for (AgentSession& session : sessions) {
            session.project = QString::number(round);
        }
        store.update(sessions);
    }
    stop = true;
    reader.join();
    QCOMPARE(torn.load(), 0);
    QCOMPARE(store.sessions().first().project, u"1999"_s);
    store.update({});
    QVERIFY(store.isEmpty());
}

QTEST_GUILESS_MAIN(AgentSessionTest)
#include "AgentSessionTest.moc"
