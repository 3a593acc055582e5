#include "modules/agents/card/PermissionCardLayout.h"
#include "modules/agents/card/PermissionCardModel.h"
#include "modules/agents/card/PermissionCardVisibility.h"
#include "modules/agents/card/PermissionHintTracker.h"
#include "support/TestFiles.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

Q_DECLARE_METATYPE(std::optional<double>)

class PermissionCardRulesTest : public QObject {
    Q_OBJECT
private slots:
    void queueDropsWhatNoAgentWaitsFor();
    void frontRequestLastsItsUnpausedTime();
    void onlyTheFrontClockRuns();
    void hostRequestsStandAsideWhileTheirAppIsInFront();
    void stateIsPrunedWithTheRequests();
    void height_data();
    void height();
    void shortcuts_data();
    void shortcuts();
    void questionAnswers();
    void planAnswers();
    void newFrontClearsChoices();
    void hintAskedOnceAndDroppedWhenStale();
};

namespace {

const QDateTime start = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

PendingPermission request(const QString& id) {
    PendingPermission p;
    p.id = id;
    p.sessionID = u"s-"_s + id;
    p.tool = u"Bash"_s;
    p.summary = u"npm test"_s;
    p.askedAt = start;
    p.agentLabel = u"Claude Code"_s;
    p.supportsAlwaysAllow = true;
    return p;
}

PendingPermission question(const QString& id, bool multiple) {
    PendingPermission p = request(id);
    p.tool = u"AskUserQuestion"_s;
    AgentQuestion q;
    q.text = u"Which database?"_s;
    q.options = {
        {0, u"SQLite"_s, std::nullopt}, {1, u"Postgres"_s, u"server"_s}, {2, u"None"_s, std::nullopt}};
    q.allowsMultiple = multiple;
    q.total = 1;
    p.question = q;
    return p;
}

PendingPermission plan(const QString& id) {
    PendingPermission p = request(id);
    p.tool = u"ExitPlanMode"_s;
    p.plan = u"# Plan\n1. do it"_s;
    return p;
}

const auto noHostInFront = [](const PendingPermission&) { return false; };

} // namespace

void PermissionCardRulesTest::queueDropsWhatNoAgentWaitsFor() {
    PermissionCardVisibility visibility(45);
    PendingPermission hosted = request(u"h"_s).expired();
    hosted.host = PermissionHost::claudeDesktop;
    const QList<PendingPermission> requests{request(u"gone"_s).expired(), request(u"a"_s), hosted,
                                            request(u"a"_s)};
    QCOMPARE(idsOf(visibility.queue(requests, start, noHostInFront)), (QStringList{u"a"_s, u"h"_s}));
}

void PermissionCardRulesTest::frontRequestLastsItsUnpausedTime() {
    PermissionCardVisibility visibility(45);
    const QList<PendingPermission> requests{request(u"a"_s), request(u"b"_s)};
    QCOMPARE(idsOf(visibility.queue(requests, start, noHostInFront)).first(), u"a"_s);

    // 20 s shown, 100 s paused under the pointer, 24 s more: still 1 s left.
    visibility.pause(u"a"_s, start.addSecs(20));
    visibility.pause(u"a"_s, start.addSecs(60)); // a second pause does not move the mark
    QCOMPARE(visibility.shownFor(u"a"_s, start.addSecs(120)), 20.0);
    visibility.resume(u"a"_s, start.addSecs(120));
    visibility.resume(u"a"_s, start.addSecs(121)); // nothing to resume
    QCOMPARE(idsOf(visibility.queue(requests, start.addSecs(144), noHostInFront)).first(), u"a"_s);
    QCOMPARE(visibility.elapsedFraction(u"a"_s, start.addSecs(144)), 44.0 / 45.0);

    // Its time is over: it collapses and the next one comes to the front, with its own full time.
    QCOMPARE(idsOf(visibility.queue(requests, start.addSecs(145), noHostInFront)), QStringList{u"b"_s});
    QVERIFY(visibility.isCollapsed(u"a"_s));
    QCOMPARE(visibility.elapsedFraction(u"b"_s, start.addSecs(145)), 0.0);
    QCOMPARE(idsOf(visibility.queue(requests, start.addSecs(189), noHostInFront)), QStringList{u"b"_s});
    QVERIFY(visibility.queue(requests, start.addSecs(190), noHostInFront).isEmpty());
}

void PermissionCardRulesTest::onlyTheFrontClockRuns() {
    PermissionCardVisibility visibility(10);
    visibility.queue({request(u"a"_s), request(u"b"_s)}, start, noHostInFront);
    // "a" is answered after 8 s: "b" starts its clock only now.
    visibility.queue({request(u"b"_s)}, start.addSecs(8), noHostInFront);
    QCOMPARE(visibility.shownFor(u"b"_s, start.addSecs(17)), 9.0);
    QCOMPARE(idsOf(visibility.queue({request(u"b"_s)}, start.addSecs(17), noHostInFront)),
             QStringList{u"b"_s});
    // A request never in front can't be paused.
    visibility.pause(u"z"_s, start);
    QVERIFY(!visibility.isPaused(u"z"_s));
}

void PermissionCardRulesTest::hostRequestsStandAsideWhileTheirAppIsInFront() {
    PermissionCardVisibility visibility(45);
    PendingPermission hosted = request(u"h"_s);
    hosted.host = PermissionHost::claudeDesktop;
    const QList<PendingPermission> requests{hosted, request(u"a"_s)};
    const auto inFront = [](const PendingPermission&) { return true; };
    QCOMPARE(idsOf(visibility.queue(requests, start, inFront)), QStringList{u"a"_s});
    QCOMPARE(idsOf(visibility.queue(requests, start, noHostInFront)), (QStringList{u"h"_s, u"a"_s}));
}

void PermissionCardRulesTest::stateIsPrunedWithTheRequests() {
    PermissionCardVisibility visibility(1);
    visibility.queue({request(u"a"_s)}, start, noHostInFront);
    visibility.queue({request(u"a"_s)}, start.addSecs(2), noHostInFront); // collapses
    visibility.pause(u"b"_s, start);
    QVERIFY(visibility.trackedCount() > 0);
    QVERIFY(visibility.queue({}, start.addSecs(3), noHostInFront).isEmpty());
    QCOMPARE(visibility.trackedCount(), 0);
}

void PermissionCardRulesTest::height_data() {
    QTest::addColumn<double>("natural");
    QTest::addColumn<std::optional<double>>("maxHeight");
    QTest::addColumn<bool>("hasPlan");
    QTest::addColumn<double>("cardHeight");
    QTest::addColumn<bool>("scrolls");

    QTest::newRow("fits, rounded up") << 180.2 << std::optional<double>(800) << false << 181.0 << false;
    QTest::newRow("no room known") << 900.0 << std::optional<double>() << false << 900.0 << false;
    QTest::newRow("tall command in small room")
        << 500.0 << std::optional<double>(300.7) << false << 300.0 << true;
    QTest::newRow("tall plan on a tall display")
        << 1400.0 << std::optional<double>(1000) << true << 560.0 << true;
    QTest::newRow("tall plan in small room") << 1400.0 << std::optional<double>(420) << true << 420.0 << true;
    QTest::newRow("short plan on a tall display")
        << 300.0 << std::optional<double>(1000) << true << 300.0 << false;
    QTest::newRow("command may exceed the plan cap")
        << 700.0 << std::optional<double>(1000) << false << 700.0 << false;
    QTest::newRow("negative room") << 100.0 << std::optional<double>(-5) << false << 0.0 << true;
    QTest::newRow("not a number") << qQNaN() << std::optional<double>(300) << false << 0.0 << false;
}

void PermissionCardRulesTest::height() {
    QFETCH(double, natural);
    QFETCH(std::optional<double>, maxHeight);
    QFETCH(bool, hasPlan);
    QFETCH(double, cardHeight);
    QFETCH(bool, scrolls);
    const auto decision = PermissionCardLayout::decide(natural, maxHeight, hasPlan);
    QCOMPARE(decision.cardHeight, cardHeight);
    QCOMPARE(decision.scrolls, scrolls);
}

void PermissionCardRulesTest::shortcuts_data() {
    QTest::addColumn<PendingPermission>("permission");
    QTest::addColumn<QChar>("key");
    QTest::addColumn<QString>("outcome"); // "" when the key does nothing

    PendingPermission codex = request(u"c"_s);
    codex.agentLabel = u"Codex"_s;
    codex.supportsAlwaysAllow = false;
    PendingPermission hosted = request(u"h"_s);
    hosted.host = PermissionHost::unknownApp;
    PendingPermission codexQuestion = question(u"cq"_s, false);
    codexQuestion.agentLabel = u"Codex"_s;

    QTest::newRow("y allows") << request(u"a"_s) << QChar(u'y') << u"decide:allow"_s;
    QTest::newRow("Y allows") << request(u"a"_s) << QChar(u'Y') << u"decide:allow"_s;
    QTest::newRow("a always allows") << request(u"a"_s) << QChar(u'a') << u"decide:dontAsk"_s;
    QTest::newRow("n denies") << request(u"a"_s) << QChar(u'n') << u"decide:deny"_s;
    QTest::newRow("other letter") << request(u"a"_s) << QChar(u'x') << QString();
    QTest::newRow("a without always allow") << codex << QChar(u'a') << QString();
    QTest::newRow("n without always allow") << codex << QChar(u'n') << u"decide:deny"_s;
    QTest::newRow("request of another app") << hosted << QChar(u'y') << QString();
    QTest::newRow("expired") << request(u"a"_s).expired() << QChar(u'y') << QString();
    QTest::newRow("y on a question with nothing chosen")
        << question(u"q"_s, false) << QChar(u'y') << QString();
    QTest::newRow("n on a question") << question(u"q"_s, false) << QChar(u'n') << QString();
    QTest::newRow("digit answers a single choice")
        << question(u"q"_s, false) << QChar(u'2') << u"answer:Postgres"_s;
    QTest::newRow("digit toggles a multiple choice") << question(u"q"_s, true) << QChar(u'2') << u"toggled"_s;
    QTest::newRow("digit past the options") << question(u"q"_s, false) << QChar(u'4') << QString();
    QTest::newRow("question taken at the prompt") << codexQuestion << QChar(u'1') << QString();
    QTest::newRow("plan y approves") << plan(u"p"_s) << QChar(u'y') << u"review:approve"_s;
    QTest::newRow("plan a accepts edits") << plan(u"p"_s) << QChar(u'a') << u"review:approveAcceptingEdits"_s;
    QTest::newRow("plan n asks for words") << plan(u"p"_s) << QChar(u'n') << u"edit"_s;
    QTest::newRow("plan digit") << plan(u"p"_s) << QChar(u'1') << QString();
}

void PermissionCardRulesTest::shortcuts() {
    QFETCH(PendingPermission, permission);
    QFETCH(QChar, key);
    QFETCH(QString, outcome);

    PermissionCardModel model;
    model.setFront(permission, 0);
    const auto result = model.handleKey(key);
    QString text;
    if (result) {
        text = std::visit(
            [](const auto& value) -> QString {
                using T = std::decay_t<decltype(value)>;
                if constexpr (std::is_same_v<T, CardOutcome::Decide>) {
                    return u"decide:"_s + rawValue(value.decision);
                } else if constexpr (std::is_same_v<T, CardOutcome::Answer>) {
                    return u"answer:"_s + value.answers.value(u"Which database?"_s);
                } else if constexpr (std::is_same_v<T, CardOutcome::Review>) {
                    return u"review:"_s + QString::fromLatin1(value.review.caseName());
                } else if constexpr (std::is_same_v<T, CardOutcome::EditDraft>) {
                    return u"edit"_s;
                } else {
                    return u"toggled"_s;
                }
            },
            *result);
    }
    QCOMPARE(text, outcome);
    // Every key that does something is among those grabbed while the card shows.
    if (!outcome.isEmpty()) {
        QVERIFY(PermissionCardRules::shortcutKeys(permission).contains(key.toLower()));
    }
}

void PermissionCardRulesTest::questionAnswers() {
    PermissionCardModel model;
    model.setFront(question(u"q"_s, true), 2);
    QVERIFY(!model.answer());
    QVERIFY(!model.sendDraft());
    QVERIFY(model.toggle(2));
    QVERIFY(model.toggle(0));
    QVERIFY(!model.toggle(7));
    model.setDraft(u"  and a cache \n"_s);
    const auto answered = model.handleKey(u'y');
    QVERIFY(answered);
    QCOMPARE(std::get<CardOutcome::Answer>(*answered).answers,
             (QHash<QString, QString>{{u"Which database?"_s, u"SQLite, None, and a cache"_s}}));
    QVERIFY(model.toggle(0)); // off again
    QCOMPARE(model.selection(), QSet<int>{2});

    // Free text alone answers too.
    model.setFront(question(u"r"_s, false), 0);
    model.setDraft(u"Whatever is fastest"_s);
    QCOMPARE(std::get<CardOutcome::Answer>(*model.sendDraft()).answers.value(u"Which database?"_s),
             u"Whatever is fastest"_s);
    // A click on a single choice answers with that option alone, whatever is written.
    QCOMPARE(std::get<CardOutcome::Answer>(*model.pick(0)).answers.value(u"Which database?"_s), u"SQLite"_s);
}

void PermissionCardRulesTest::planAnswers() {
    PermissionCardModel model;
    model.setFront(plan(u"p"_s), 0);
    model.setDraft(u"   "_s);
    QVERIFY(!model.sendDraft()); // a blank note asks for nothing
    QVERIFY(
        std::holds_alternative<CardOutcome::EditDraft>(*model.planAnswer(PlanCardAction::requestChanges)));
    model.setDraft(u" Keep the old API \n"_s);
    const auto sent = model.handleKey(u'n');
    QCOMPARE(std::get<CardOutcome::Review>(*sent).review, PlanReview::requestChanges(u"Keep the old API"_s));
    QVERIFY(!model.pick(0));
}

void PermissionCardRulesTest::newFrontClearsChoices() {
    PermissionCardModel model;
    model.setFront(question(u"q"_s, true), 1);
    model.toggle(1);
    model.setDraft(u"text"_s);
    model.hint = PermissionHint{PermissionHint::Risk::low, u"reads"_s, std::nullopt, {}};
    model.setFront(question(u"q"_s, true), 0); // the same request again keeps them
    QCOMPARE(model.selection(), QSet<int>{1});
    QVERIFY(model.hint);
    model.setFront(question(u"other"_s, true), 0);
    QVERIFY(model.selection().isEmpty());
    QVERIFY(!model.draft());
    QVERIFY(!model.hint);
    model.setFront(std::nullopt, -3);
    QCOMPARE(model.queued(), 0);
    QVERIFY(!model.handleKey(u'y'));
}

void PermissionCardRulesTest::hintAskedOnceAndDroppedWhenStale() {
    PermissionHintTracker hints;
    const PermissionHint risky{PermissionHint::Risk::high, u"deletes files"_s, std::nullopt, {}};
    QVERIFY(hints.front(u"a"_s));
    QVERIFY(!hints.front(u"a"_s));
    hints.deliver(u"a"_s, risky);
    QCOMPARE(hints.release(u"a"_s), std::optional<PermissionHint>(risky));
    hints.deliver(u"a"_s, PermissionHint{}); // settled: a second answer changes nothing
    QCOMPARE(hints.release(u"a"_s), std::optional<PermissionHint>(risky));

    QVERIFY(hints.front(u"b"_s));
    QVERIFY(!hints.release(u"a"_s));
    hints.deliver(u"a"_s, risky); // late answer for a request that left the front
    QVERIFY(!hints.release(u"b"_s));
    hints.deliver(u"b"_s, std::nullopt);
    QCOMPARE(hints.state()->phase, PermissionHintTracker::Phase::settled);
    QVERIFY(!hints.release(u"b"_s));
}

QTEST_GUILESS_MAIN(PermissionCardRulesTest)
#include "PermissionCardRulesTest.moc"
