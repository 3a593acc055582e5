#include "surfaces/form/SurfaceDescription.h"

#include "SampleSnapshots.h"
#include "surfaces/form/SymbolCatalog.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(tessary::ModuleSnapshot)

class SurfaceDescriptionTest : public QObject {
    Q_OBJECT
private slots:
    void module_data();
    void module();
    void surfaceJoinsItsModules();
    void symbols_data();
    void symbols();
    void catalogListsEachIconOnce();
};

void SurfaceDescriptionTest::module_data() {
    QTest::addColumn<ModuleSnapshot>("snapshot");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("description");

    QTest::newRow("gauges with caption and card")
        << samples::claudeUsage() << u"Claude, 42%"_s
        << u"5-hour limit: 42% (resets in 2 h 10 min); Weekly: 18%; Max plan"_s;
    QTest::newRow("a display overrides the percentage")
        << samples::pullRequest() << u"PR #482, Checks pass"_s << u"Checks: 12/12"_s;
    QTest::newRow("card lines and what changed")
        << samples::agentSessions() << u"Agents, 2 working"_s
        << u"api-server: running tests; web: waiting for you; web is waiting for you"_s;

    ModuleSnapshot bare = samples::snapshot(u"bare.id"_s, {}, {}, u"cpu"_s, {});
    QTest::newRow("nothing to say but the id") << bare << u"bare.id"_s << QString();

    ModuleSnapshot shortLabel = samples::cpu();
    shortLabel.variants.gauges.front().label.clear();
    shortLabel.variants.gauges.front().compactLabel = u"Ld"_s;
    shortLabel.variants.gauges.front().caption = u"   "_s;
    QTest::newRow("short label stands in, blank caption dropped")
        << shortLabel << u"CPU, 23%"_s << u"Ld: 23%"_s;

    ModuleSnapshot untitled = samples::memory();
    untitled.variants.compact.title = u"  "_s;
    QTest::newRow("untitled keeps its value") << untitled << u"61%"_s << u"Used: 61% (19.5 of 32 GB)"_s;
}

void SurfaceDescriptionTest::module() {
    QFETCH(ModuleSnapshot, snapshot);
    QFETCH(QString, name);
    QFETCH(QString, description);
    const ModuleDescription result = SurfaceDescription::module(snapshot, Localization());
    QCOMPARE(result.name, name);
    QCOMPARE(result.description, description);
}

void SurfaceDescriptionTest::surfaceJoinsItsModules() {
    const ModuleDescription joined =
        SurfaceDescription::surface({samples::cpu(), samples::localServers()}, Localization());
    QCOMPARE(joined.name, u"CPU, 23%; Servers, 3 running"_s);
    QCOMPARE(joined.description, u"CPU, 23%: Load: 23%\nServers, 3 running"_s);
    QCOMPARE(SurfaceDescription::surface({}, Localization()), ModuleDescription());
}

void SurfaceDescriptionTest::symbols_data() {
    QTest::addColumn<QString>("symbol");
    QTest::addColumn<QString>("icon");
    QTest::newRow("exact") << u"cpu"_s << u"cpu"_s;
    QTest::newRow("filled variant falls back to its base") << u"memorychip.fill"_s << u"memory-stick"_s;
    QTest::newRow("two levels of variant") << u"xmark.circle.fill"_s << u"circle-x"_s;
    QTest::newRow("a more specific entry wins") << u"checkmark.circle"_s << u"circle-check"_s;
    QTest::newRow("its base differs") << u"checkmark"_s << u"check"_s;
    QTest::newRow("case and spaces") << u"  SPARKLES "_s << u"sparkles"_s;
    QTest::newRow("unknown") << u"teapot.fill"_s << SymbolCatalog::fallbackIconName();
    QTest::newRow("empty") << QString() << SymbolCatalog::fallbackIconName();
    QTest::newRow("only dots") << u"..."_s << SymbolCatalog::fallbackIconName();
    QTest::newRow("a path is no symbol") << u"../../etc/passwd"_s << SymbolCatalog::fallbackIconName();
}

void SurfaceDescriptionTest::symbols() {
    QFETCH(QString, symbol);
    QFETCH(QString, icon);
    QCOMPARE(SymbolCatalog::iconName(symbol), icon);
}

void SurfaceDescriptionTest::catalogListsEachIconOnce() {
    const QStringList icons = SymbolCatalog::bundledIconNames();
    QVERIFY(icons.contains(SymbolCatalog::fallbackIconName()));
    QCOMPARE(QSet<QString>(icons.begin(), icons.end()).size(), icons.size());
}

QTEST_GUILESS_MAIN(SurfaceDescriptionTest)
#include "SurfaceDescriptionTest.moc"
