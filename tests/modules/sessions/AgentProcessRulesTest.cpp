#include "modules/sessions/AgentArguments.h"
#include "modules/sessions/AgentProcess.h"
#include "modules/sessions/AgentProcessLocator.h"

#include <QSet>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::optional<QString>)
Q_DECLARE_METATYPE(std::optional<bool>)
Q_DECLARE_METATYPE(std::optional<QStringList>)

namespace {

const QDateTime base = QDateTime(QDate(2026, 3, 1), QTime(10, 0), Qt::UTC);

AgentProcess process(qint32 pid, const std::optional<QString>& directory, int startMinute = 0,
                     const QString& agent = u"claude"_s) {
    return {pid, directory, base.addSecs(qint64{startMinute} * 60), agent};
}

AgentSession session(const QString& id, const std::optional<QString>& directory, int lastMinute = 60,
                     const std::optional<QString>& agent = std::nullopt) {
    AgentSession made;
    made.id = id;
    made.directory = directory;
    made.lastActivity = base.addSecs(qint64{lastMinute} * 60);
    made.agentName = agent;
    return made;
}

class FakeReading final : public AgentProcessReading {
public:
    QList<ProcessLink> descendants(qint32) const override { return {}; }
    std::optional<QStringList> arguments(qint32 pid) const override {
        return m_arguments.contains(pid) ? std::optional(m_arguments.value(pid)) : std::nullopt;
    }
    std::optional<bool> hasControllingTerminal(qint32 pid) const override {
        return m_terminals.contains(pid) ? std::optional(m_terminals.value(pid)) : std::nullopt;
    }
    QHash<qint32, QStringList> m_arguments;
    QHash<qint32, bool> m_terminals;
};

} // namespace

class AgentProcessRulesTest : public QObject {
    Q_OBJECT
private slots:
    void agentName_data();
    void agentName();
    void matching_data();
    void matching();
    void locate();
    void isHeadless_data();
    void isHeadless();
    void isHosted_data();
    void isHosted();
    void skipsOnlyHostedPlanReviews();
};

void AgentProcessRulesTest::agentName_data() {
    QTest::addColumn<QString>("executable");
    QTest::addColumn<std::optional<QString>>("firstArgument");
    QTest::addColumn<std::optional<QString>>("expected");
    using Text = std::optional<QString>;
    QTest::newRow("native installer")
        << u"/home/u/.local/share/claude/versions/2.1.39"_s << Text() << Text(u"claude"_s);
    QTest::newRow("npm package") << u"/usr/lib/node_modules/@anthropic-ai/claude-code/bin/claude.exe"_s
                                 << Text(u"claude"_s) << Text(u"claude"_s);
    QTest::newRow("codex vendored binary")
        << u"/usr/lib/node_modules/@openai/codex/vendor/x86_64-unknown-linux-musl/codex/codex"_s << Text()
        << Text(u"codex"_s);
    QTest::newRow("last component wins") << u"/opt/codex/tools/agy"_s << Text() << Text(u"agy"_s);
    QTest::newRow("runtime inside an agent folder")
        << u"/home/u/claude/node/bin/node"_s << Text() << Text(u"claude"_s);
    QTest::newRow("started by its name")
        << u"/usr/bin/node"_s << Text(u"/home/u/.local/bin/claude"_s) << Text(u"claude"_s);
    QTest::newRow("name in the middle of an argument")
        << u"/usr/bin/node"_s << Text(u"claude-helper"_s) << Text();
    QTest::newRow("similar names") << u"/usr/bin/claudette"_s << Text(u"codexer"_s) << Text();
    QTest::newRow("other program") << u"/usr/bin/vim"_s << Text(u"vim"_s) << Text();
    QTest::newRow("first argument ends in a slash") << u"/usr/bin/sh"_s << Text(u"claude/"_s) << Text();
    QTest::newRow("nothing readable") << QString() << Text() << Text();
}

void AgentProcessRulesTest::agentName() {
    QFETCH(QString, executable);
    QFETCH(std::optional<QString>, firstArgument);
    QFETCH(std::optional<QString>, expected);
    QCOMPARE(AgentProcessNames::agentName(executable, firstArgument, AgentProcessNames::agentNames()),
             expected);
}

void AgentProcessRulesTest::matching_data() {
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QList<qint32>>("expected");
    // The processes: 30 in /a, 20 in /a/b, 10 and 11 in /a/b/c/d, 40 in /a/bc, 50 with no directory.
    QTest::newRow("exact, ascending") << u"/a/b/c/d"_s << QList<qint32>{10, 11};
    QTest::newRow("nearest above: only the longest") << u"/a/b/x"_s << QList<qint32>{20};
    QTest::newRow("a folder below is longer than those above") << u"/a/b/c"_s << QList<qint32>{10, 11};
    QTest::newRow("exact beats nearer relatives") << u"/a/b"_s << QList<qint32>{20};
    QTest::newRow("a sibling with a common prefix is no relative") << u"/a/bc/e"_s << QList<qint32>{40};
    QTest::newRow("below, the longest") << u"/"_s << QList<qint32>{10, 11};
    QTest::newRow("unrelated") << u"/x"_s << QList<qint32>{};
}

void AgentProcessRulesTest::matching() {
    QFETCH(QString, directory);
    QFETCH(QList<qint32>, expected);
    const QList<AgentProcess> among{process(30, u"/a"_s),    process(11, u"/a/b/c/d"_s),
                                    process(20, u"/a/b"_s),  process(10, u"/a/b/c/d"_s),
                                    process(40, u"/a/bc"_s), process(50, std::nullopt)};
    QCOMPARE(AgentProcessLocator::matching(directory, among), expected);
}

void AgentProcessRulesTest::locate() {
    const QSet<qint32> running{100, 200, 300, 400, 450, 500, 600};
    const auto exists = [&](qint32 pid) { return running.contains(pid); };
    const QList<AgentProcess> scanned{
        process(100, u"/w/one"_s),
        process(200, u"/w/two"_s),
        process(201, u"/w/two"_s),
        process(300, u"/w/three"_s),
        process(400, u"/w/late"_s, 120),
        process(450, u"/w/late"_s, 120),
        process(500, u"/w/codex"_s, 0, u"codex"_s),
        process(600, u"/w/one"_s),
        process(700, u"/w/reported"_s, 0, u"codex"_s),
    };
    const QList<AgentSession> sessions{
        session(u"official"_s, u"/w/one"_s),
        session(u"gone-official"_s, u"/w/three"_s),
        session(u"reported"_s, std::nullopt),
        session(u"wrong-agent-report"_s, u"/w/none"_s),
        session(u"two-in-one-folder"_s, u"/w/two"_s),
        session(u"started-after"_s, u"/w/late"_s),
        session(u"started-before"_s, u"/w/late"_s, 130),
        session(u"codex"_s, u"/w/codex"_s, 60, u"codex"_s),
        session(u"codex-official-ignored"_s, std::nullopt, 60, u"codex"_s),
        session(u"no-directory"_s, std::nullopt),
    };
    const QHash<QString, qint32> reported{{u"reported"_s, 400}, {u"wrong-agent-report"_s, 700}};
    const QHash<QString, qint32> official{
        {u"official"_s, 100}, {u"gone-official"_s, 999}, {u"codex-official-ignored"_s, 300}};
    const QHash<QString, qint32> located =
        AgentProcessLocator::locate(sessions, scanned, reported, official, exists);

    // The list's pid of a Claude session while it runs; a reported pid, with or without a folder;
    // otherwise the one unclaimed process of the session's agent in its folder that started before
    // its last activity. "gone-official" finds only processes claimed by others (300) or elsewhere;
    // "wrong-agent-report" was given a codex process; "two-in-one-folder" has a choice of two; the
    // list's pid speaks only for Claude sessions.
    const QHash<QString, qint32> expected{
        {u"official"_s, 100},
        {u"reported"_s, 400},
        {u"started-before"_s, 450},
        {u"codex"_s, 500},
    };
    QCOMPARE(located, expected);
}

void AgentProcessRulesTest::isHeadless_data() {
    QTest::addColumn<std::optional<QStringList>>("arguments");
    QTest::addColumn<std::optional<bool>>("terminal");
    QTest::addColumn<bool>("headless");
    using Arguments = std::optional<QStringList>;
    using Terminal = std::optional<bool>;
    QTest::newRow("print flag") << Arguments(QStringList{u"claude"_s, u"-p"_s, u"hi"_s}) << Terminal(true)
                                << true;
    QTest::newRow("long print flag") << Arguments(QStringList{u"claude"_s, u"--print"_s}) << Terminal(true)
                                     << true;
    QTest::newRow("output format with value")
        << Arguments(QStringList{u"claude"_s, u"--output-format=json"_s}) << Terminal() << true;
    QTest::newRow("output format separate")
        << Arguments({u"claude"_s, u"--output-format"_s, u"json"_s}) << Terminal(true) << true;
    QTest::newRow("after -- with a terminal")
        << Arguments(QStringList{u"claude"_s, u"--"_s, u"-p"_s}) << Terminal(true) << false;
    QTest::newRow("after -- unknown terminal")
        << Arguments(QStringList{u"claude"_s, u"--"_s, u"-p"_s}) << Terminal() << false;
    QTest::newRow("after -- no terminal")
        << Arguments(QStringList{u"claude"_s, u"--"_s, u"-p"_s}) << Terminal(false) << true;
    QTest::newRow("program name is never tested")
        << Arguments(QStringList{u"-p"_s}) << Terminal(true) << false;
    QTest::newRow("interactive") << Arguments(QStringList{u"claude"_s, u"--resume"_s}) << Terminal(true)
                                 << false;
    QTest::newRow("unreadable, no terminal") << Arguments() << Terminal(false) << true;
    QTest::newRow("unreadable, unknown") << Arguments() << Terminal() << false;
    QTest::newRow("a prompt that mentions a flag")
        << Arguments(QStringList{u"claude"_s, u"use -p"_s}) << Terminal(true) << false;
}

void AgentProcessRulesTest::isHeadless() {
    QFETCH(std::optional<QStringList>, arguments);
    QFETCH(std::optional<bool>, terminal);
    QFETCH(bool, headless);
    QCOMPARE(HeadlessSession::isHeadless(arguments, terminal), headless);
    FakeReading reading;
    if (arguments) {
        reading.m_arguments.insert(7, *arguments);
    }
    if (terminal) {
        reading.m_terminals.insert(7, *terminal);
    }
    QCOMPARE(HeadlessSession::isHeadless(7, reading), headless);
}

void AgentProcessRulesTest::isHosted_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("hosted");
    QTest::newRow("with value") << QStringList{u"claude"_s, u"--permission-prompt-tool=x"_s} << true;
    QTest::newRow("separate value") << QStringList{u"claude"_s, u"--permission-prompt-tool"_s, u"mcp"_s}
                                    << true;
    QTest::newRow("program name only") << QStringList{u"--permission-prompt-tool"_s} << false;
    QTest::newRow("after --") << QStringList{u"claude"_s, u"--"_s, u"--permission-prompt-tool"_s} << false;
    QTest::newRow("longer flag") << QStringList{u"claude"_s, u"--permission-prompt-toolbox"_s} << false;
    QTest::newRow("none") << QStringList{u"claude"_s} << false;
    QTest::newRow("empty") << QStringList{} << false;
}

void AgentProcessRulesTest::isHosted() {
    QFETCH(QStringList, arguments);
    QFETCH(bool, hosted);
    QCOMPARE(HostedSession::isHosted(arguments), hosted);
}

void AgentProcessRulesTest::skipsOnlyHostedPlanReviews() {
    FakeReading reading;
    reading.m_arguments.insert(1, {u"claude"_s, u"--permission-prompt-tool=stdio"_s});
    reading.m_arguments.insert(2, {u"claude"_s});
    const QString plan = QString::fromLatin1(HostedSession::planReviewTool);
    QVERIFY(HostedSession::skipsRequest(plan, 1, reading));
    QVERIFY(!HostedSession::skipsRequest(plan, 2, reading));
    QVERIFY(!HostedSession::skipsRequest(plan, 3, reading));
    QVERIFY(!HostedSession::skipsRequest(plan, std::nullopt, reading));
    QVERIFY(!HostedSession::skipsRequest(u"Bash"_s, 1, reading));
}

QTEST_GUILESS_MAIN(AgentProcessRulesTest)
#include "AgentProcessRulesTest.moc"
