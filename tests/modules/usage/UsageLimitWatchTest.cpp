#include "modules/usage/UsageLimitWatch.h"

#include "modules/usage/UsageStore.h"

#include <QRegularExpression>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime start = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
constexpr qint64 hour = 3600;

UsageLimitKind kindNamed(const QString& key) {
    if (key == u"session"_s) {
        return usage_kind::Session{};
    }
    if (key == u"weekly"_s) {
        return usage_kind::WeeklyAll{};
    }
    return usage_kind::WeeklyScoped{key};
}

// "session=96@1800 weekly=40!" : kind=percent, "@" reset time in seconds after the start, "!" active.
// Report i is fetched i hours after the start.
UsageReport report(const QString& text, int index) {
    static const QRegularExpression item(u"^([A-Za-z]+)=(\\d+)(?:@(-?\\d+))?(!)?$"_s);
    UsageReport report;
    report.fetchedAt = start.addSecs(index * hour);
    for (const QString& part : text.split(u' ', Qt::SkipEmptyParts)) {
        const auto match = item.match(part);
        Q_ASSERT(match.hasMatch());
        UsageReport::Limit limit;
        limit.kind = kindNamed(match.captured(1));
        limit.percent = match.captured(2).toInt();
        if (match.hasCaptured(3)) {
            limit.resetsAt = start.addSecs(match.captured(3).toLongLong());
        }
        limit.isActive = match.hasCaptured(4);
        report.limits.push_back(limit);
    }
    return report;
}

QStringList notices(const UsageLimitWatch& watch) {
    QStringList result;
    for (const UsageLimitChange& change : watch.active) {
        result.append(UsageLimitKinds::watchKey(change.limit) + u'/' + rawValue(change.kind) + u'/' +
                      QString::number(change.percent));
    }
    return result;
}

} // namespace

class UsageLimitWatchTest : public QObject {
    Q_OBJECT

private slots:
    void notices_data() {
        QTest::addColumn<QStringList>("reports");
        QTest::addColumn<QString>("primary");
        QTest::addColumn<QStringList>("expected");

        const QString none;
        QTest::newRow("first report at 96 is a baseline")
            << QStringList{u"session=96@100000"_s} << none << QStringList{};
        QTest::newRow("96 twice says nothing")
            << QStringList{u"session=96@100000"_s, u"session=96@100000"_s} << none << QStringList{};
        QTest::newRow("armed limit falling past its reset time resets")
            << QStringList{u"session=96@1800"_s, u"session=20@20000"_s} << none
            << QStringList{u"session/reset/20"_s};
        QTest::newRow("a limit never armed makes no reset")
            << QStringList{u"session=70@1800"_s, u"session=20@20000"_s} << none << QStringList{};
        QTest::newRow("armed without a reset time resets on the fall")
            << QStringList{u"session=99"_s, u"session=3"_s} << none << QStringList{u"session/reset/3"_s};
        QTest::newRow("a fall under 50 before the armed reset time stays armed")
            << QStringList{u"session=97@100000"_s, u"session=10@100000"_s} << none << QStringList{};
        QTest::newRow("non-primary weekly rising to 55")
            << QStringList{u"session=90! weekly=40@500000"_s, u"session=90! weekly=55@500000"_s}
            << u"session"_s << QStringList{u"weekly/reached50/55"_s};
        QTest::newRow("the next threshold replaces the first")
            << QStringList{u"session=90! weekly=40@500000"_s, u"session=90! weekly=55@500000"_s,
                           u"session=90! weekly=85@500000"_s}
            << u"session"_s << QStringList{u"weekly/reached80/85"_s};
        QTest::newRow("a drop removes the notice")
            << QStringList{u"session=90! weekly=40@500000"_s, u"session=90! weekly=85@500000"_s,
                           u"session=90! weekly=55@500000"_s}
            << u"session"_s << QStringList{};
        QTest::newRow("the same rise on the primary limit is quiet")
            << QStringList{u"weekly=40@500000"_s, u"weekly=55@500000"_s, u"weekly=85@500000"_s} << u"weekly"_s
            << QStringList{};
        QTest::newRow("a jump from baseline straight to 95")
            << QStringList{u"session=10! Opus=30@500000"_s, u"session=10! Opus=96@500000"_s} << u"session"_s
            << QStringList{u"weekly:Opus/reached95/96"_s};
        QTest::newRow("a reading past its reset time has no level")
            << QStringList{u"session=10! weekly=10@1000"_s, u"session=10! weekly=99@1000"_s} << u"session"_s
            << QStringList{};
        QTest::newRow("a new reset time clears the notices and records only")
            << QStringList{u"session=10! weekly=10@500000"_s, u"session=10! weekly=60@500000"_s,
                           u"session=10! weekly=85@900000"_s}
            << u"session"_s << QStringList{};
        QTest::newRow("a limit that leaves the report loses its notices")
            << QStringList{u"session=10! weekly=10@500000"_s, u"session=10! weekly=60@500000"_s,
                           u"session=12!"_s}
            << u"session"_s << QStringList{};
        QTest::newRow("a key seen twice in one report counts once")
            << QStringList{u"session=10! weekly=10@500000"_s,
                           u"session=10! weekly=60@500000 weekly=90@500000"_s}
            << u"session"_s << QStringList{u"weekly/reached50/60"_s};
        QTest::newRow("reset then climbing again")
            << QStringList{u"session=50! weekly=97@3000"_s, u"session=50! weekly=5@900000"_s,
                           u"session=50! weekly=52@900000"_s}
            << u"session"_s << QStringList{u"weekly/reset/5"_s, u"weekly/reached50/52"_s};
    }

    void notices() {
        QFETCH(QStringList, reports);
        QFETCH(QString, primary);
        QFETCH(QStringList, expected);
        UsageLimitWatch watch;
        for (int i = 0; i < reports.size(); ++i) {
            const std::optional<UsageLimitKind> shown =
                primary.isEmpty() ? std::nullopt : std::optional(kindNamed(primary));
            watch.advance(report(reports[i], i), shown);
        }
        QCOMPARE(::notices(watch), expected);
    }

    void noticeIdentifiersCarryKeyLevelAndResetTag() {
        UsageLimitWatch watch;
        watch.advance(report(u"session=10! weekly=10@7200"_s, 0), usage_kind::Session{});
        watch.advance(report(u"session=10! weekly=81@7200"_s, 1), usage_kind::Session{});
        QCOMPARE(watch.active.size(), 1U);
        QCOMPARE(watch.active[0].id, u"limit:weekly:reached80:%1"_s.arg(start.toSecsSinceEpoch() + 7200));
        QCOMPARE(watch.active[0].since, start.addSecs(hour));

        UsageLimitWatch unarmed;
        unarmed.advance(report(u"session=99"_s, 0), std::nullopt);
        unarmed.advance(report(u"session=1"_s, 1), std::nullopt);
        QCOMPARE(unarmed.active.at(0).id, u"limit:session:reset:none"_s);
    }

    void texts_data() {
        QTest::addColumn<QString>("limit");
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("english");
        QTest::addColumn<QString>("spanish");
        const auto reset = static_cast<int>(UsageLimitChange::Kind::reset);
        const auto at80 = static_cast<int>(UsageLimitChange::Kind::reached80);
        QTest::newRow("session reset")
            << u"session"_s << reset << u"5h limit reset"_s << u"Límite de 5 h restablecido"_s;
        QTest::newRow("weekly reset")
            << u"weekly"_s << reset << u"Weekly limit reset"_s << u"Límite semanal restablecido"_s;
        QTest::newRow("model reset") << u"Opus"_s << reset << u"Weekly Opus limit reset"_s
                                     << u"Límite semanal de Opus restablecido"_s;
        QTest::newRow("threshold, not percent")
            << u"session"_s << at80 << u"5h limit at 80%"_s << u"Límite de 5 h al 80 %"_s;
        QTest::newRow("weekly at") << u"weekly"_s << at80 << u"Weekly limit at 80%"_s
                                   << u"Límite semanal al 80 %"_s;
        QTest::newRow("model at") << u"Sonnet"_s << at80 << u"Weekly Sonnet limit at 80%"_s
                                  << u"Límite semanal de Sonnet al 80 %"_s;
    }

    void texts() {
        QFETCH(QString, limit);
        QFETCH(int, kind);
        QFETCH(QString, english);
        QFETCH(QString, spanish);
        const UsageLimitChange change{u"id"_s, static_cast<UsageLimitChange::Kind>(kind), kindNamed(limit),
                                      87, start};
        QCOMPARE(change.text(Localization(AppLanguage::english)), english);
        QCOMPARE(change.text(Localization(AppLanguage::spanish)), spanish);
    }

    void signalHidesThresholdsOfTheShownLimitButNotResets() {
        UsageStore store;
        store.update(report(u"session=97@1000! weekly=10@900000"_s, 0));
        store.update(report(u"session=5@30000! weekly=60@900000"_s, 1));
        const Localization english;
        const auto all = store.limitChangeSignal(english);
        QVERIFY(all);
        QCOMPARE(all->facts().size(), 2U);
        // The reset of the session succeeds; the weekly notice is information.
        QCOMPARE(all->facts()[0].tone, ChangeSignal::Fact::Tone::success);
        QCOMPARE(all->facts()[0].text, u"5h limit reset"_s);
        QCOMPARE(all->facts()[1].tone, ChangeSignal::Fact::Tone::info);

        const auto hidingWeekly = store.limitChangeSignal(english, usage_kind::WeeklyAll{});
        QVERIFY(hidingWeekly);
        QCOMPARE(hidingWeekly->facts().size(), 1U);
        const auto hidingSession = store.limitChangeSignal(english, usage_kind::Session{});
        QCOMPARE(hidingSession->facts().size(), 2U);

        UsageStore empty;
        QVERIFY(!empty.limitChangeSignal(english));
    }

    void changingThePrimaryChoiceMovesTheQuietLimitFromTheNextReport() {
        UsageStore store;
        store.updatePrimaryChoice(u"weekly"_s);
        store.update(report(u"session=10 weekly=10@900000"_s, 0));
        store.update(report(u"session=10 weekly=60@900000"_s, 1));
        QVERIFY(store.limitWatch().active.empty());

        store.updatePrimaryChoice(u"session"_s);
        store.update(report(u"session=10 weekly=85@900000"_s, 2));
        QCOMPARE(::notices(store.limitWatch()), QStringList{u"weekly/reached80/85"_s});
    }
};

QTEST_GUILESS_MAIN(UsageLimitWatchTest)
#include "UsageLimitWatchTest.moc"
