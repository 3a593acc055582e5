#include "modules/usage/UsageMeterModule.h"
#include "modules/usage/UsageWidgetPresenter.h"

#include <QTest>

#include <ctime>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime now = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

UsageReport::Limit limit(UsageLimitKind kind, int percent, std::optional<double> resetsIn = std::nullopt,
                         bool active = false, const QString& severity = u"normal"_s) {
    UsageReport::Limit limit;
    limit.kind = std::move(kind);
    limit.percent = percent;
    limit.severity = severity;
    limit.isActive = active;
    if (resetsIn) {
        limit.resetsAt = now.addMSecs(static_cast<qint64>(*resetsIn * 1000));
    }
    return limit;
}

UsageReport report(std::vector<UsageReport::Limit> limits) {
    UsageReport report;
    report.limits = std::move(limits);
    report.fetchedAt = now;
    return report;
}

ModuleContext context(const QString& choice = {}, AppLanguage language = AppLanguage::english) {
    ModuleContext context;
    if (!choice.isEmpty()) {
        context.configuration.values.insert(u"primary-limit"_s, choice);
    }
    context.localization = Localization(language);
    return context;
}

} // namespace

class UsageWidgetTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        // Reset dates are shown in local time.
        qputenv("TZ", "UTC");
        tzset();
    }

    void state_data() {
        QTest::addColumn<QList<int>>("percents");
        QTest::addColumn<QString>("severity");
        QTest::addColumn<ModuleState>("expected");
        QTest::newRow("exactly 95") << QList<int>{95} << u"normal"_s << ModuleState::critical;
        QTest::newRow("94") << QList<int>{94} << u"normal"_s << ModuleState::attention;
        QTest::newRow("80") << QList<int>{80} << u"normal"_s << ModuleState::attention;
        QTest::newRow("79") << QList<int>{79} << u"normal"_s << ModuleState::quiet;
        QTest::newRow("the fullest counts") << QList<int>{10, 96, 40} << u"normal"_s << ModuleState::critical;
        QTest::newRow("warning at 10") << QList<int>{10} << u"warning"_s << ModuleState::attention;
        QTest::newRow("warning at 95") << QList<int>{95} << u"warning"_s << ModuleState::critical;
        QTest::newRow("no limits") << QList<int>{} << u"normal"_s << ModuleState::quiet;
    }

    void state() {
        QFETCH(QList<int>, percents);
        QFETCH(QString, severity);
        QFETCH(ModuleState, expected);
        std::vector<UsageReport::Limit> limits;
        for (const int percent : percents) {
            limits.push_back(limit(usage_kind::Session{}, percent, std::nullopt, false, severity));
        }
        QCOMPARE(UsageWidgetPresenter::state(report(limits)), expected);
    }

    void resetText_data() {
        QTest::addColumn<double>("remaining");
        QTest::addColumn<QString>("expected");
        QTest::newRow("passed") << -30.0 << u"resets now"_s;
        QTest::newRow("exactly now") << 0.0 << u"resets now"_s;
        QTest::newRow("under a minute, rounded") << 30.0 << u"resets in 1m"_s;
        QTest::newRow("minutes only") << 125.0 << u"resets in 2m"_s;
        QTest::newRow("whole hours hide minutes") << 7200.0 << u"resets in 2h"_s;
        QTest::newRow("just under six hours, rounded") << 21599.0 << u"resets in 6h"_s;
        // 1'790'021'600 is a Monday, 20:13 in UTC.
        QTest::newRow("exactly six hours: the date form") << 21600.0 << u"resets Mon 8:13 PM"_s;
    }

    void resetText() {
        QFETCH(double, remaining);
        QFETCH(QString, expected);
        const auto text =
            UsageWidgetPresenter::resetText(limit(usage_kind::Session{}, 1, remaining), now, Localization());
        QVERIFY(text);
        QVERIFY2(text->startsWith(expected), qPrintable(*text));
        QVERIFY(!UsageWidgetPresenter::resetText(limit(usage_kind::Session{}, 1), now, Localization()));
    }

    void primaryChoice_data() {
        QTest::addColumn<QString>("choice");
        QTest::addColumn<QString>("expected");
        QTest::newRow("auto takes the active limit") << u"auto"_s << u"weekly"_s;
        QTest::newRow("session") << u"session"_s << u"session"_s;
        QTest::newRow("weekly") << u"weekly"_s << u"weekly"_s;
        QTest::newRow("model: the first per-model limit") << u"model"_s << u"weekly:Opus"_s;
        QTest::newRow("a short label") << u"Sonnet"_s << u"weekly:Sonnet"_s;
        QTest::newRow("an unknown choice falls back") << u"gone"_s << u"weekly"_s;
    }

    void primaryChoice() {
        QFETCH(QString, choice);
        QFETCH(QString, expected);
        const UsageReport r =
            report({limit(usage_kind::Session{}, 90), limit(usage_kind::WeeklyAll{}, 30, {}, true),
                    limit(usage_kind::WeeklyScoped{u"Opus"_s}, 20),
                    limit(usage_kind::WeeklyScoped{u"Sonnet"_s}, 25)});
        const auto chosen = UsageWidgetPresenter::primary(r, choice, Localization());
        QVERIFY(chosen);
        QCOMPARE(UsageLimitKinds::watchKey(chosen->kind), expected);
    }

    void primaryLimitWithoutActiveIsTheFullestFirstAmongEquals() {
        QVERIFY(!report({}).primaryLimit());
        const UsageReport r = report({limit(usage_kind::WeeklyAll{}, 40), limit(usage_kind::Session{}, 70),
                                      limit(usage_kind::WeeklyScoped{u"Opus"_s}, 70)});
        QCOMPARE(UsageLimitKinds::watchKey(r.primaryLimit()->kind), u"session"_s);
    }

    void snapshotLeadsWithTheChosenLimit() {
        UsageStore store;
        ManualClock clock(now);
        store.update(
            report({limit(usage_kind::Session{}, 42, 3000), limit(usage_kind::WeeklyAll{}, 81, 200000)}));
        UsageMeterModule module({store, clock, {}});

        const auto automatic = module.handle(HostEvent::moduleDataChanged, context());
        QVERIFY(automatic);
        QCOMPARE(automatic->id, u"tessary.usage-meter"_s);
        QCOMPARE(automatic->state, ModuleState::attention);
        QCOMPARE(automatic->priority, 81);
        QCOMPARE(automatic->variants.compact.value, u"week 81%"_s);
        QCOMPARE(automatic->variants.gauges.size(), 2U);
        QCOMPARE(automatic->variants.gauges[0].id, u"weekly"_s);
        QVERIFY(automatic->variants.gauges[0].isEmphasized);
        QVERIFY(!automatic->variants.gauges[1].isEmphasized);
        QCOMPARE(automatic->variants.primaryGauge()->id, u"weekly"_s);
        QCOMPARE(automatic->variants.gauges[1].caption, u"resets in 50m"_s);
        QCOMPARE(automatic->variants.card->detail->split(u'\n').first(), u"active limit: week 81%"_s);

        const auto session = module.handle(HostEvent::moduleDataChanged, context(u"session"_s));
        QCOMPARE(session->variants.compact.value, u"5h 42%"_s);
        QCOMPARE(session->variants.card->subtitle, u"5h: 42% · resets in 50m"_s);
        QCOMPARE(store.primaryChoice(), u"session"_s);
        const DetailSection& usage = session->variants.detail->sections.at(0);
        QCOMPARE(usage.id, u"usage"_s);
        QCOMPARE(usage.metrics.size(), 2U);
        QCOMPARE(usage.metrics[0].id, u"session"_s);
    }

    void withoutAReportTheWidgetSaysWhyInPlainWords() {
        UsageStore store;
        ManualClock clock(now);
        UsageMeterModule module({store, clock, {}});
        const auto waiting = module.handle(HostEvent::hostStarted, context());
        QCOMPARE(waiting->state, ModuleState::unavailable);
        QCOMPARE(waiting->variants.card->subtitle, u"waiting for the first reading"_s);

        store.updateErrorDescription(u"Claude Code credentials not found"_s);
        const auto missing = module.handle(HostEvent::moduleDataChanged, context());
        QCOMPARE(missing->state, ModuleState::unavailable);
        QCOMPARE(missing->variants.compact.value, u"no data"_s);
        QCOMPARE(missing->variants.card->subtitle, u"Claude Code credentials not found"_s);
        QVERIFY(missing->variants.detail->sections.at(0).isNote);

        // A later failure keeps the figures on show, with the reason beside them.
        store.update(report({limit(usage_kind::Session{}, 12)}));
        store.updateErrorDescription(u"the usage endpoint answered 500"_s);
        const auto stale = module.handle(HostEvent::moduleDataChanged, context());
        QCOMPARE(stale->state, ModuleState::quiet);
        QCOMPARE(stale->variants.detail->sections.at(0).footnote, u"the usage endpoint answered 500"_s);
    }

    void oldMeasurementsSayTheirAge() {
        UsageReport r = report({limit(usage_kind::Session{}, 12)});
        r.capturedAt = now.addSecs(-3600);
        QVERIFY(!UsageWidgetPresenter::ageText(r, now, Localization()));
        r.capturedAt = now.addSecs(-7300);
        QCOMPARE(UsageWidgetPresenter::ageText(r, now, Localization()), u"measured 2 hr ago"_s);
    }

    void sessionsJoinTheDetailAndMayRaiseTheState() {
        UsageStore store;
        ManualClock clock(now);
        store.update(report({limit(usage_kind::Session{}, 12)}));
        DetailSection row;
        row.id = u"claude/abc"_s;
        row.title = u"Fix the cart"_s;
        UsageMeterSessions::Reading reading{{row}, u"1 needs you"_s, ModuleState::attention};
        UsageMeterSessions sessions;
        sessions.read = [&](const QDateTime&, const Localization&) { return reading; };
        QStringList jumped;
        sessions.jump = [&](const QString& session) {
            jumped.append(session);
            return QtFuture::makeReadyFuture();
        };
        UsageMeterModule module({store, clock, sessions});
        const auto snapshot = module.handle(HostEvent::moduleDataChanged, context());
        QCOMPARE(snapshot->state, ModuleState::attention);
        QCOMPARE(snapshot->variants.detail->sections.size(), 2U);
        QCOMPARE(snapshot->variants.detail->sections[1].id, u"claude/abc"_s);
        QVERIFY(snapshot->variants.card->detail->endsWith(u"\n1 needs you"_s));

        // Urgent usage is not lowered by calm sessions.
        reading.state = ModuleState::active;
        store.update(report({limit(usage_kind::Session{}, 99)}));
        QCOMPARE(module.handle(HostEvent::moduleDataChanged, context())->state, ModuleState::critical);

        DetailCommand jump;
        jump.id = u"session.jump:abc"_s;
        jump.moduleID = module.id();
        module.perform(jump).waitForFinished();
        DetailCommand other = jump;
        other.id = u"something:else"_s;
        module.perform(other).waitForFinished();
        QCOMPARE(jumped, QStringList{u"abc"_s});
    }

    void textsFollowTheLanguage() {
        UsageStore store;
        ManualClock clock(now);
        store.update(report({limit(usage_kind::WeeklyAll{}, 30, 600)}));
        UsageMeterModule module({store, clock, {}});
        const auto spanish = module.handle(HostEvent::moduleDataChanged, context({}, AppLanguage::spanish));
        QCOMPARE(spanish->variants.card->title, u"Uso de Claude"_s);
        QCOMPARE(spanish->variants.card->subtitle, u"semana: 30% · se restablece en 10 min"_s);
    }
};

QTEST_GUILESS_MAIN(UsageWidgetTest)
#include "UsageWidgetTest.moc"
