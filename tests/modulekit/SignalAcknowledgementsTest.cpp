#include "modulekit/SignalAcknowledgements.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

const QDateTime t0 = QDateTime::fromSecsSinceEpoch(1'790'000'000, Qt::UTC);
using Fact = ChangeSignal::Fact;

ModuleSnapshot withFacts(const QString& id, std::vector<Fact> facts) {
    ModuleSnapshot snapshot;
    snapshot.id = id;
    snapshot.generatedAt = t0;
    snapshot.variants.signal = ChangeSignal::make(std::move(facts));
    return snapshot;
}

QStringList factIDs(const ModuleSnapshot& snapshot) {
    QStringList ids;
    if (snapshot.variants.signal) {
        for (const Fact& fact : snapshot.variants.signal->facts()) {
            ids.append(fact.id);
        }
    }
    return ids;
}

} // namespace

class SignalAcknowledgementsTest : public QObject {
    Q_OBJECT
private slots:
    void lookHidesWhatHappenedUpToIt_data();
    void lookHidesWhatHappenedUpToIt();
    void aLookNeverMovesBack();
    void looksAreKeptPerModule();
};

void SignalAcknowledgementsTest::lookHidesWhatHappenedUpToIt_data() {
    QTest::addColumn<int>("lookAt"); // seconds after t0; negative: no look
    QTest::addColumn<int>("nowAt");  // seconds after t0
    QTest::addColumn<QString>("expected");
    // Facts: "old" critical at t0, "done" success at t0+10, "new" attention at t0+100.
    QTest::newRow("never looked") << -1 << 200 << u"old,new,done"_s;
    QTest::newRow("looked exactly when a fact happened") << 0 << 200 << u"new,done"_s;
    QTest::newRow("looked between") << 50 << 200 << u"new"_s;
    QTest::newRow("looked after everything: the signal goes") << 100 << 200 << u""_s;
    QTest::newRow("success expires on its own after fifteen minutes") << -1 << 910 << u"old,new"_s;
    QTest::newRow("a critical fact stays however old") << -1 << 100'000 << u"old,new"_s;
}

void SignalAcknowledgementsTest::lookHidesWhatHappenedUpToIt() {
    QFETCH(int, lookAt);
    QFETCH(int, nowAt);
    QFETCH(QString, expected);
    SignalAcknowledgements looks;
    if (lookAt >= 0) {
        looks.acknowledge(u"ports"_s, t0.addSecs(lookAt));
    }
    const ModuleSnapshot snapshot =
        withFacts(u"ports"_s, {{u"old"_s, Fact::Tone::critical, u"old"_s, t0},
                               {u"done"_s, Fact::Tone::success, u"done"_s, t0.addSecs(10)},
                               {u"new"_s, Fact::Tone::attention, u"new"_s, t0.addSecs(100)}});
    const ModuleSnapshot visible = looks.visible(snapshot, t0.addSecs(nowAt));
    QCOMPARE(factIDs(visible).join(u','), expected);
    QCOMPARE(visible.variants.signal.has_value(), !expected.isEmpty());
}

void SignalAcknowledgementsTest::aLookNeverMovesBack() {
    SignalAcknowledgements looks;
    looks.acknowledge(u"ports"_s, t0.addSecs(100));
    looks.acknowledge(u"ports"_s, t0.addSecs(20));
    looks.acknowledge(u"ports"_s, QDateTime());
    QCOMPARE(looks.acknowledgedAt(u"ports"_s), std::optional(t0.addSecs(100)));
}

void SignalAcknowledgementsTest::looksAreKeptPerModule() {
    SignalAcknowledgements looks;
    looks.acknowledge(u"cpu"_s, t0.addSecs(100));
    const std::vector<ModuleSnapshot> visible =
        looks.visible({withFacts(u"cpu"_s, {{u"hot"_s, Fact::Tone::critical, u"hot"_s, t0}}),
                       withFacts(u"memory"_s, {{u"full"_s, Fact::Tone::critical, u"full"_s, t0}})},
                      t0.addSecs(200));
    QCOMPARE(factIDs(visible[0]), QStringList{});
    QCOMPARE(factIDs(visible[1]), QStringList{u"full"_s});
    QVERIFY(!looks.acknowledgedAt(u"memory"_s));
}

QTEST_GUILESS_MAIN(SignalAcknowledgementsTest)
#include "SignalAcknowledgementsTest.moc"
