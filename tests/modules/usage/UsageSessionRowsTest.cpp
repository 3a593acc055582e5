#include "modules/usage/UsageSessionRows.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

AgentSession session(const QString& id, double lastActivityAgo) {
    AgentSession session;
    session.id = id;
    session.title = u"Session "_s + id;
    session.project = u"shop"_s;
    session.lastActivity = now.addSecs(static_cast<qint64>(-lastActivityAgo));
    return session;
}

} // namespace

// The Claude sessions in the usage widget, from real stores through the session panel.
class UsageSessionRowsTest : public QObject {
    Q_OBJECT

private slots:
    void summary_data() {
        QTest::addColumn<int>("working");
        QTest::addColumn<int>("needing");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("spanish");
        QTest::newRow("nothing going on") << 0 << 0 << QString() << QString();
        QTest::newRow("working") << 3 << 0 << u"3 working"_s << u"3 trabajando"_s;
        QTest::newRow("one needs you") << 0 << 1 << u"1 needs you"_s << u"1 te necesita"_s;
        QTest::newRow("both") << 1 << 2 << u"1 working · 2 need you"_s << u"1 trabajando · 2 te necesitan"_s;
    }

    void summary() {
        QFETCH(int, working);
        QFETCH(int, needing);
        QFETCH(QString, expected);
        QFETCH(QString, spanish);
        const UsageSessionRows::Counts counts{working, needing};
        QCOMPARE(UsageSessionRows::summary(counts, Localization()).value_or(QString()), expected);
        QCOMPARE(UsageSessionRows::summary(counts, Localization(AppLanguage::spanish)).value_or(QString()),
                 spanish);
        const auto state = UsageSessionRows::state(counts);
        QCOMPARE(state, needing > 0   ? std::optional(ModuleState::attention)
                        : working > 0 ? std::optional(ModuleState::active)
                                      : std::nullopt);
    }

    void rowsCountsAndStateFromTheStores() {
        SessionStore sessions;
        sessions.update({session(u"working"_s, 60), session(u"blocked"_s, 60), session(u"asking"_s, 60),
                         session(u"idle"_s, 600), session(u"stale"_s, 60)});
        AgentEventStore events;
        events.update(u"working"_s, AgentActivity::working, u"Bash"_s, std::nullopt, now.addSecs(-30));
        events.update(u"blocked"_s, AgentActivity::blocked, std::nullopt, std::nullopt, now.addSecs(-20));
        events.update(u"asking"_s, AgentActivity::waiting, std::nullopt, std::nullopt, now.addSecs(-20));
        // The transcript has moved on well past this state: it is no longer believed.
        events.update(u"stale"_s, AgentActivity::working, std::nullopt, std::nullopt, now.addSecs(-600));
        PendingPermission request;
        request.id = u"toolu_1"_s;
        request.sessionID = u"asking"_s;
        request.tool = u"Bash"_s;
        request.summary = u"npm test"_s;
        request.askedAt = now.addSecs(-5);
        events.request(request);

        const SessionPanel::Inputs inputs = UsageSessionRows::inputs(sessions, events, u"claude"_s);
        QCOMPARE(UsageSessionRows::counts(inputs), (UsageSessionRows::Counts{1, 2}));

        UsageStore usage;
        ManualClock clock(now);
        UsageMeterModule module(
            {usage, clock,
             UsageSessionRows::sessions(sessions, events, u"claude"_s,
                                        QLatin1StringView(UsageMeterModule::moduleID), u"claude/"_s)});
        ModuleContext context;
        const auto snapshot = module.handle(HostEvent::moduleDataChanged, context);
        QVERIFY(snapshot);
        // No usage yet, but sessions waiting on the user lift the widget out of "unavailable".
        QCOMPARE(snapshot->state, ModuleState::attention);
        const auto& sections = snapshot->variants.detail->sections;
        QCOMPARE(sections.size(), 6U);
        QCOMPARE(sections[0].id, u"usage"_s);
        // A session with a request waiting comes first.
        QVERIFY2(sections[1].id.startsWith(u"claude/"_s), qPrintable(sections[1].id));
        QVERIFY(sections[1].id.contains(u"asking"_s));
        QCOMPARE(snapshot->variants.card->detail, u"1 working · 2 need you"_s);
    }

    void backgroundAgentsAndTheirNotices() {
        SessionStore sessions;
        AgentEventStore events;
        const auto listWith = [](ClaudeAgentList::BackgroundAgent::State state) {
            ClaudeAgentList::BackgroundAgent agent;
            agent.id = u"j1"_s;
            agent.sessionID = u"bg1"_s;
            agent.name = u"Nightly lint"_s;
            agent.state = state;
            agent.needs = u"approve git push"_s;
            return ClaudeAgentList{{}, {agent}};
        };
        AgentChangeStore changes;
        UsageStore usage;
        ManualClock clock(now);
        UsageMeterModule module(
            {usage, clock,
             UsageSessionRows::sessions(sessions, events, u"claude"_s,
                                        QLatin1StringView(UsageMeterModule::moduleID), u"claude/"_s, {},
                                        UsageSessionRows::AgentListExtras{&changes, {}})});
        const auto read = [&](ClaudeAgentList::BackgroundAgent::State state, const QDateTime& at) {
            clock.set(at);
            events.noteAgentList(ClaudeAgentList::Reading{listWith(state), at}, at);
            return module.handle(HostEvent::moduleDataChanged, ModuleContext{});
        };
        // Working at launch: shown and counted, but no news.
        auto snapshot = read(ClaudeAgentList::BackgroundAgent::State::working, now);
        QVERIFY(snapshot);
        QCOMPARE(snapshot->variants.card->detail, u"1 working"_s);
        QVERIFY(!snapshot->variants.signal);
        // Then it waits for the user: its row says for what, and the widget raises a notice.
        snapshot = read(ClaudeAgentList::BackgroundAgent::State::blocked, now.addSecs(30));
        QCOMPARE(snapshot->variants.card->detail, u"1 needs you"_s);
        QCOMPARE(snapshot->state, ModuleState::attention);
        const auto& sections = snapshot->variants.detail->sections;
        const auto row = std::find_if(sections.cbegin(), sections.cend(), [](const DetailSection& each) {
            return each.id == u"claude/background/j1"_s;
        });
        QVERIFY(row != sections.cend());
        QVERIFY2(row->subtitle.value_or(QString()).contains(u"approve git push"_s),
                 qPrintable(row->subtitle.value_or(QString())));
        QVERIFY(snapshot->variants.signal);
        QCOMPARE(snapshot->variants.signal->facts().size(), 1U);
        QCOMPARE(snapshot->variants.signal->facts().front().text,
                 u"Background agent needs you · Nightly lint"_s);
    }
};

QTEST_GUILESS_MAIN(UsageSessionRowsTest)
#include "UsageSessionRowsTest.moc"
