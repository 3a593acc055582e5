#include "spatial/notch/NotchArrangement.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

// "id:group:state" separated by spaces; group and state by their raw names.
std::vector<ModuleSnapshot> modules(const QString& text) {
    std::vector<ModuleSnapshot> result;
    for (const QString& entry : text.split(u' ', Qt::SkipEmptyParts)) {
        const QStringList parts = entry.split(u':');
        ModuleSnapshot snapshot;
        snapshot.id = parts.value(0);
        snapshot.group = enumFromRaw<ModuleGroup>(parts.value(1)).value_or(ModuleGroup::none);
        snapshot.state = enumFromRaw<ModuleState>(parts.value(2)).value_or(ModuleState::quiet);
        result.push_back(snapshot);
    }
    return result;
}

// "a,b | c ; strip: d" : the tabs' ids, then the strip.
QString describe(const NotchTabs& tabs, const std::vector<ModuleSnapshot>& snapshots) {
    QStringList tabTexts;
    for (const auto& tab : tabs.members) {
        QStringList ids;
        for (const int index : tab) {
            ids.append(snapshots[static_cast<std::size_t>(index)].id);
        }
        tabTexts.append(ids.join(u','));
    }
    QStringList strip;
    for (const int index : tabs.strip) {
        strip.append(snapshots[static_cast<std::size_t>(index)].id);
    }
    return tabTexts.join(u" | "_s) + u" ; strip: "_s + strip.join(u',');
}

QStringList list(const QString& text) {
    return text.split(u',', Qt::SkipEmptyParts);
}

} // namespace

class NotchArrangementTest : public QObject {
    Q_OBJECT
private slots:
    void arrange_data();
    void arrange();
    void gatheringAnArrangedListGivesTheSameTabs();
    void editingTabsListHiddenModules_data();
    void editingTabsListHiddenModules();
    void arrivalOrder_data();
    void arrivalOrder();
    void reorderedKeepsHiddenIdsInTheirPlace();
    void featuringAndMovingTabs();
    void turningSmartOrderingOffKeepsWhatIsShown();
    void togglingHiddenTwiceRestores();
    void restingSignalMembersFoldTheTabsThatDoNotRest();
    void restingForm_data();
    void restingForm();
};

void NotchArrangementTest::arrange_data() {
    QTest::addColumn<QString>("modules");
    QTest::addColumn<bool>("smart");
    QTest::addColumn<bool>("strip");
    QTest::addColumn<QStringList>("hidden");
    QTest::addColumn<QStringList>("tabOrder");
    QTest::addColumn<QString>("memberOrder"); // "tab=a,b"
    QTest::addColumn<QString>("expected");

    QTest::newRow("nothing") << u""_s << true << true << QStringList{} << QStringList{} << u""_s
                             << u" ; strip: "_s;
    QTest::newRow("tabs by group, system to the strip")
        << u"claude:agents codex:agents gh:code cpu:system"_s << true << true << QStringList{}
        << QStringList{} << u""_s << u"claude,codex | gh ; strip: cpu"_s;
    QTest::newRow("ungrouped modules have a tab each")
        << u"ports:none:active claude:agents notes:none:active"_s << false << true << QStringList{}
        << QStringList{} << u""_s << u"ports | claude | notes ; strip: "_s;
    QTest::newRow("system modules with the strip off appear nowhere")
        << u"cpu:system memory:system gh:code"_s << true << false << QStringList{} << QStringList{} << u""_s
        << u"gh ; strip: "_s;
    QTest::newRow("a hidden module is left out")
        << u"claude:agents codex:agents gh:code"_s << true << true << QStringList{u"codex"_s} << QStringList{}
        << u""_s << u"claude | gh ; strip: "_s;
    QTest::newRow("a module turning critical leads its tab")
        << u"claude:agents:active codex:agents:critical gemini:agents:active"_s << true << true
        << QStringList{} << QStringList{} << u""_s << u"codex,claude,gemini ; strip: "_s;
    QTest::newRow("without smart ordering weights do not matter, a new module is last")
        << u"claude:agents:quiet codex:agents:critical gemini:agents:active"_s << false << true
        << QStringList{} << QStringList{} << u"agents=gemini,claude"_s << u"gemini,claude,codex ; strip: "_s;
    QTest::newRow("saved member order, a gone module ignored")
        << u"claude:agents codex:agents"_s << false << true << QStringList{} << QStringList{}
        << u"agents=gone,codex,claude"_s << u"codex,claude ; strip: "_s;
    QTest::newRow("smart ordering is stable on the saved order")
        << u"a:agents:active b:agents:critical c:agents:active d:agents:critical"_s << true << true
        << QStringList{} << QStringList{} << u"agents=d,c,b,a"_s << u"d,b,c,a ; strip: "_s;
    QTest::newRow("tab order: saved keys first, others after")
        << u"claude:agents gh:code ports:none"_s << false << true << QStringList{}
        << QStringList{u"ports"_s, u"code"_s} << u""_s << u"ports | gh | claude ; strip: "_s;
    QTest::newRow("unsaved tabs by urgency with smart ordering")
        << u"claude:agents:quiet gh:code:critical ports:none:active"_s << true << true << QStringList{}
        << QStringList{} << u""_s << u"gh | ports | claude ; strip: "_s;
    QTest::newRow("a hidden system module leaves the strip")
        << u"cpu:system memory:system"_s << true << true << QStringList{u"memory"_s} << QStringList{} << u""_s
        << u" ; strip: cpu"_s;
}

void NotchArrangementTest::arrange() {
    QFETCH(QString, modules);
    QFETCH(bool, smart);
    QFETCH(bool, strip);
    QFETCH(QStringList, hidden);
    QFETCH(QStringList, tabOrder);
    QFETCH(QString, memberOrder);
    QFETCH(QString, expected);
    NotchPreferences preferences;
    preferences.smartOrdering = smart;
    preferences.showsSystemStrip = strip;
    preferences.hiddenInNotch = QSet<QString>(hidden.cbegin(), hidden.cend());
    preferences.tabOrder = tabOrder;
    if (!memberOrder.isEmpty()) {
        const QStringList parts = memberOrder.split(u'=');
        preferences.memberOrder.insert(parts[0], list(parts[1]));
    }
    const auto snapshots = ::modules(modules);
    QCOMPARE(describe(NotchArrangement::arrange(snapshots, preferences), snapshots), expected);
}

void NotchArrangementTest::gatheringAnArrangedListGivesTheSameTabs() {
    // The loop hands the surface an arranged list; the surface finds the tabs again by gathering.
    NotchPreferences preferences;
    preferences.tabOrder = {u"code"_s};
    const auto snapshots = modules(u"claude:agents:quiet cpu:system gh:code codex:agents:critical"_s);
    const auto ordered = NotchArrangement::arranged(snapshots, preferences);
    QCOMPARE(describe(NotchTabs::gather(ordered), ordered), u"gh | codex,claude ; strip: cpu"_s);
}

void NotchArrangementTest::editingTabsListHiddenModules_data() {
    QTest::addColumn<bool>("hiddenLast");
    QTest::addColumn<QString>("expected");
    QTest::newRow("in place") << false << u"agents=claude,codex,gemini code=gh"_s;
    QTest::newRow("hidden last") << true << u"agents=claude,gemini,codex code=gh"_s;
}

void NotchArrangementTest::editingTabsListHiddenModules() {
    QFETCH(bool, hiddenLast);
    QFETCH(QString, expected);
    NotchPreferences preferences;
    preferences.hiddenInNotch = {u"codex"_s};
    const auto snapshots =
        modules(u"claude:agents:quiet codex:agents:critical gemini:agents gh:code cpu:system"_s);
    QStringList tabs;
    for (const NotchEditingTab& tab : NotchArrangement::editingTabs(snapshots, preferences, hiddenLast)) {
        tabs.append(tab.key + u'=' + tab.ids.join(u','));
    }
    QCOMPARE(tabs.join(u' '), expected);
}

void NotchArrangementTest::arrivalOrder_data() {
    QTest::addColumn<QString>("of");
    QTest::addColumn<QString>("following");
    QTest::addColumn<QString>("expected");
    QTest::newRow("first time") << u"b,a"_s << u""_s << u"b,a"_s;
    QTest::newRow("known ones keep their place, new ones after") << u"c,a,b"_s << u"a,b"_s << u"a,b,c"_s;
    QTest::newRow("a gone id is dropped") << u"b"_s << u"a,b"_s << u"b"_s;
    QTest::newRow("repeated ids count per occurrence") << u"a,b,a"_s << u"a,c"_s << u"a,b,a"_s;
    QTest::newRow("twice before, once now") << u"a"_s << u"a,a"_s << u"a"_s;
}

void NotchArrangementTest::arrivalOrder() {
    QFETCH(QString, of);
    QFETCH(QString, following);
    QFETCH(QString, expected);
    QCOMPARE(NotchArrangement::arrivalOrder(list(of), list(following)).join(u','), expected);
}

void NotchArrangementTest::reorderedKeepsHiddenIdsInTheirPlace() {
    NotchPreferences preferences;
    preferences.memberOrder.insert(u"agents"_s, {u"a"_s, u"hidden"_s, u"b"_s, u"c"_s});
    const NotchPreferences edited =
        NotchArrangement::reordered(preferences, u"agents"_s, {u"c"_s, u"b"_s, u"a"_s, u"new"_s});
    QCOMPARE(edited.memberOrder.value(u"agents"_s),
             (QStringList{u"c"_s, u"hidden"_s, u"b"_s, u"a"_s, u"new"_s}));
}

void NotchArrangementTest::featuringAndMovingTabs() {
    NotchPreferences preferences;
    const NotchPreferences featured =
        NotchArrangement::featuring(preferences, u"b"_s, u"agents"_s, {u"a"_s, u"b"_s, u"c"_s});
    QCOMPARE(featured.memberOrder.value(u"agents"_s), (QStringList{u"b"_s, u"a"_s, u"c"_s}));

    const QStringList shown{u"agents"_s, u"code"_s, u"ports"_s};
    QCOMPARE(NotchArrangement::movingTab(preferences, u"ports"_s, -1, shown).tabOrder,
             (QStringList{u"agents"_s, u"ports"_s, u"code"_s}));
    // No neighbour there: nothing changes.
    QCOMPARE(NotchArrangement::movingTab(preferences, u"ports"_s, 1, shown), preferences);
    QCOMPARE(NotchArrangement::movingTab(preferences, u"unknown"_s, 1, shown), preferences);
}

void NotchArrangementTest::turningSmartOrderingOffKeepsWhatIsShown() {
    NotchPreferences preferences;
    const auto snapshots = modules(u"claude:agents:quiet gh:code:active codex:agents:critical"_s);
    const auto shownBefore = NotchArrangement::arrange(snapshots, preferences);
    // What the editor shows is what the notch shows now.
    std::vector<NotchEditingTab> shown;
    for (const auto& tab : shownBefore.members) {
        NotchEditingTab editing;
        editing.key = NotchArrangement::tabKey(snapshots[static_cast<std::size_t>(tab.front())].group,
                                               snapshots[static_cast<std::size_t>(tab.front())].id);
        for (const int index : tab) {
            editing.ids.append(snapshots[static_cast<std::size_t>(index)].id);
        }
        shown.push_back(editing);
    }
    const NotchPreferences off = NotchArrangement::settingSmartOrdering(preferences, false, shown);
    QVERIFY(!off.smartOrdering);
    QCOMPARE(describe(NotchArrangement::arrange(snapshots, off), snapshots),
             describe(shownBefore, snapshots));
}

void NotchArrangementTest::togglingHiddenTwiceRestores() {
    NotchPreferences preferences;
    const auto snapshots = modules(u"a:agents b:agents c:agents"_s);
    const NotchPreferences hidden = NotchArrangement::togglingHidden(preferences, u"b"_s);
    QCOMPARE(describe(NotchArrangement::arrange(snapshots, hidden), snapshots), u"a,c ; strip: "_s);
    const NotchPreferences shown = NotchArrangement::togglingHidden(hidden, u"b"_s);
    QCOMPARE(shown, preferences);
    QCOMPARE(describe(NotchArrangement::arrange(snapshots, shown), snapshots), u"a,b,c ; strip: "_s);
}

void NotchArrangementTest::restingSignalMembersFoldTheTabsThatDoNotRest() {
    NotchTabs tabs{{{0, 1}, {2}, {3, 4}}, {5}};
    const std::vector<bool> signal{false, true, false, true, false, true};
    QCOMPARE(tabs.signalMembers(0, 2, signal), std::vector<int>{1});
    QCOMPARE(tabs.signalMembers(1, 2, signal), std::vector<int>{3}); // tab 2 folds into the last wing
    QCOMPARE(tabs.signalMembers(2, 2, signal), std::vector<int>{});
    QCOMPARE(tabs.restingSignalMembers(1, signal), (std::vector<int>{1, 3}));
    QCOMPARE(tabs.groups({ModuleGroup::agents, ModuleGroup::agents, ModuleGroup::code, ModuleGroup::none,
                          ModuleGroup::none, ModuleGroup::system}),
             (std::vector<ModuleGroup>{ModuleGroup::agents, ModuleGroup::code, ModuleGroup::none}));
}

void NotchArrangementTest::restingForm_data() {
    QTest::addColumn<int>("style");
    QTest::addColumn<bool>("realNotch");
    QTest::addColumn<double>("notchTop");
    QTest::addColumn<int>("expected");
    // The visible frame starts at 32 (a top panel).
    QTest::newRow("strip always") << int(RestingStyle::strip) << true << 100.0
                                  << int(NotchRestingForm::strip);
    QTest::newRow("stand-in area at the top")
        << int(RestingStyle::automatic) << false << 0.0 << int(NotchRestingForm::strip);
    QTest::newRow("real notch at the top")
        << int(RestingStyle::automatic) << true << 0.0 << int(NotchRestingForm::strip);
    QTest::newRow("notch below the top")
        << int(RestingStyle::automatic) << true << 40.0 << int(NotchRestingForm::hiddenUntilSignal);
}

void NotchArrangementTest::restingForm() {
    QFETCH(int, style);
    QFETCH(bool, realNotch);
    QFETCH(double, notchTop);
    QFETCH(int, expected);
    DisplaySnapshot display;
    display.frame = QRectF(0, 0, 1920, 1080);
    display.visibleFrame = QRectF(0, 32, 1920, 1048);
    if (realNotch) {
        display.notchFrame = QRectF(860, notchTop, 200, 32);
    }
    QCOMPARE(int(NotchArrangement::restingForm(static_cast<RestingStyle>(style), display)), expected);
}

QTEST_GUILESS_MAIN(NotchArrangementTest)
#include "NotchArrangementTest.moc"
