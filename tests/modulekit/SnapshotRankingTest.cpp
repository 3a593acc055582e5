#include "modulekit/SnapshotPrioritizer.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {
const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);

ModuleSnapshot make(const QString& id, ModuleState state, int priority, qint64 ageSeconds = 0) {
    ModuleSnapshot s;
    s.id = id;
    s.state = state;
    s.priority = priority;
    s.generatedAt = t0.addSecs(-ageSeconds);
    return s;
}

using Fact = ChangeSignal::Fact;
Fact fact(const QString& id, Fact::Tone tone, qint64 secondsAgo) {
    return Fact{id, tone, id, t0.addSecs(-secondsAgo)};
}

QStringList ids(const std::vector<ModuleSnapshot>& snapshots) {
    QStringList result;
    for (const auto& s : snapshots) {
        result.append(s.id);
    }
    return result;
}
} // namespace

class SnapshotRankingTest : public QObject {
    Q_OBJECT
private slots:
    void rankIsATotalOrderIndependentOfInput();
    void rankDropsExpired();
    void primaryGauge_data();
    void primaryGauge();
    void readoutUsesDisplayOrLocalePercent();
    void factsAreSortedByToneThenNewestThenId();
    void successFactsExpireAtFifteenMinutes_data();
    void successFactsExpireAtFifteenMinutes();
    void acknowledgedFactsStayHidden();
    void pulseOnlyForCriticalAndAttention();
};

void SnapshotRankingTest::rankIsATotalOrderIndependentOfInput() {
    std::vector<ModuleSnapshot> input{
        make(u"attention-100"_s, ModuleState::attention, 100),
        make(u"critical-0"_s, ModuleState::critical, 0),
        make(u"b-tie"_s, ModuleState::active, 50, 5),
        make(u"a-tie"_s, ModuleState::active, 50, 5),
        make(u"newer"_s, ModuleState::active, 50, 1),
        // A priority past 100 counts as 100: it never lifts a widget past a more urgent state.
        make(u"clamped"_s, ModuleState::active, 1500, 100),
        make(u"unavailable"_s, ModuleState::unavailable, 100),
        make(u"quiet"_s, ModuleState::quiet, -5),
    };
    const QStringList expected{u"critical-0"_s, u"attention-100"_s, u"clamped"_s, u"newer"_s,
                               u"a-tie"_s,      u"b-tie"_s,         u"quiet"_s,   u"unavailable"_s};
    QCOMPARE(ids(SnapshotPrioritizer::rank(input, t0)), expected);
    std::reverse(input.begin(), input.end());
    QCOMPARE(ids(SnapshotPrioritizer::rank(input, t0)), expected);
    std::rotate(input.begin(), input.begin() + 2, input.end());
    QCOMPARE(ids(SnapshotPrioritizer::rank(input, t0)), expected);
}

void SnapshotRankingTest::rankDropsExpired() {
    ModuleSnapshot zero = make(u"zero-ttl"_s, ModuleState::critical, 0);
    zero.ttl = 0;
    ModuleSnapshot live = make(u"live"_s, ModuleState::quiet, 0);
    QCOMPARE(ids(SnapshotPrioritizer::rank({zero, live}, t0)), (QStringList{u"zero-ttl"_s, u"live"_s}));
    QCOMPARE(ids(SnapshotPrioritizer::rank({zero, live}, t0.addMSecs(1))), QStringList{u"live"_s});
}

void SnapshotRankingTest::primaryGauge_data() {
    QTest::addColumn<QList<double>>("fractions");
    QTest::addColumn<int>("emphasized"); // index, -1 for none
    QTest::addColumn<QString>("expected");
    QTest::newRow("none") << QList<double>{} << -1 << QString();
    QTest::newRow("equal, first wins") << QList<double>{0.5, 0.5} << -1 << u"g0"_s;
    QTest::newRow("fullest") << QList<double>{0.2, 0.9, 0.4} << -1 << u"g1"_s;
    QTest::newRow("emphasis beats fullness") << QList<double>{0.2, 0.9, 0.4} << 2 << u"g2"_s;
}

void SnapshotRankingTest::primaryGauge() {
    QFETCH(QList<double>, fractions);
    QFETCH(int, emphasized);
    QFETCH(QString, expected);
    SnapshotVariants variants;
    for (int i = 0; i < fractions.size(); ++i) {
        GaugeMetric gauge;
        gauge.id = u"g"_s + QString::number(i);
        gauge.fraction = fractions[i];
        gauge.isEmphasized = i == emphasized;
        variants.gauges.push_back(gauge);
    }
    const auto primary = variants.primaryGauge();
    QCOMPARE(primary ? primary->id : QString(), expected);
}

void SnapshotRankingTest::readoutUsesDisplayOrLocalePercent() {
    GaugeMetric gauge;
    gauge.fraction = 0.873;
    QCOMPARE(gauge.readout(Localization(AppLanguage::english)), u"87%"_s);
    gauge.display = u"3 of 5"_s;
    QCOMPARE(gauge.readout(Localization(AppLanguage::spanish)), u"3 of 5"_s);
}

void SnapshotRankingTest::factsAreSortedByToneThenNewestThenId() {
    const auto signal = ChangeSignal::make({
        fact(u"info"_s, Fact::Tone::info, 0),
        fact(u"old-critical"_s, Fact::Tone::critical, 50),
        fact(u"b"_s, Fact::Tone::critical, 10),
        fact(u"a"_s, Fact::Tone::critical, 10),
        fact(u"success"_s, Fact::Tone::success, 1),
    });
    QVERIFY(signal);
    QStringList order;
    for (const auto& f : signal->facts()) {
        order.append(f.id);
    }
    QCOMPARE(order, (QStringList{u"a"_s, u"b"_s, u"old-critical"_s, u"success"_s, u"info"_s}));
    QCOMPARE(signal->since(), t0);
    QVERIFY(!ChangeSignal::make({}).has_value());
}

void SnapshotRankingTest::successFactsExpireAtFifteenMinutes_data() {
    QTest::addColumn<int>("tone");
    QTest::addColumn<int>("age");
    QTest::addColumn<bool>("visible");
    QTest::newRow("success at 899 s") << int(Fact::Tone::success) << 899 << true;
    QTest::newRow("success at 900 s") << int(Fact::Tone::success) << 900 << false;
    QTest::newRow("critical after a week") << int(Fact::Tone::critical) << 7 * 86400 << true;
    QTest::newRow("info after a day") << int(Fact::Tone::info) << 86400 << true;
}

void SnapshotRankingTest::successFactsExpireAtFifteenMinutes() {
    QFETCH(int, tone);
    QFETCH(int, age);
    QFETCH(bool, visible);
    const auto signal = ChangeSignal::make({fact(u"f"_s, static_cast<Fact::Tone>(tone), age)});
    QCOMPARE(signal->visible(std::nullopt, t0).has_value(), visible);
}

void SnapshotRankingTest::acknowledgedFactsStayHidden() {
    const auto signal = ChangeSignal::make(
        {fact(u"seen"_s, Fact::Tone::attention, 60), fact(u"new"_s, Fact::Tone::attention, 10)});
    const auto visible = signal->visible(t0.addSecs(-60), t0); // equal to acknowledgedAt: seen
    QVERIFY(visible);
    QCOMPARE(visible->facts().size(), size_t(1));
    QCOMPARE(visible->facts().front().id, u"new"_s);
    QVERIFY(!signal->visible(t0, t0).has_value());
}

void SnapshotRankingTest::pulseOnlyForCriticalAndAttention() {
    QVERIFY(!ChangeSignal::make({fact(u"s"_s, Fact::Tone::success, 1), fact(u"i"_s, Fact::Tone::info, 0)})
                 ->pulseSince());
    const auto signal =
        ChangeSignal::make({fact(u"c"_s, Fact::Tone::critical, 30), fact(u"a"_s, Fact::Tone::attention, 20),
                            fact(u"i"_s, Fact::Tone::info, 0)});
    QCOMPARE(signal->pulseSince(), std::optional(t0.addSecs(-20)));
}

QTEST_GUILESS_MAIN(SnapshotRankingTest)
#include "SnapshotRankingTest.moc"
