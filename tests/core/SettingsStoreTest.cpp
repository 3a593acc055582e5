#include "core/settings/SettingsStore.h"

#include "core/records/WorkspaceSnapshot.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class SettingsStoreTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void persistsAndPublishesAChange();
    void equalValueWritesNothingAndLeavesLoginItemAlone();
    void refusedLoginItemKeepsTheUsersChoice();
    void mutatorsChangeOneThing();
    void rememberDisplaysRenamesOnlyWhatChanged();
    void moduleConfigurationsKeepStaleOptions();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QSettings> m_defaults;
    QList<bool> m_loginRequests;
    bool m_loginRefuses = false;
    std::unique_ptr<SettingsStore> makeStore();
};

void SettingsStoreTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    m_defaults = std::make_unique<QSettings>(m_dir->filePath(u"Tessary.conf"_s), QSettings::IniFormat);
    m_loginRequests.clear();
    m_loginRefuses = false;
}

std::unique_ptr<SettingsStore> SettingsStoreTest::makeStore() {
    return std::make_unique<SettingsStore>(*m_defaults, [this](bool launches) {
        m_loginRequests.append(launches);
        return !m_loginRefuses;
    });
}

void SettingsStoreTest::persistsAndPublishesAChange() {
    auto store = makeStore();
    QSignalSpy published(store.get(), &SettingsStore::settingsChanged);
    TessarySettings next = store->settings();
    next.bubbleSize = BubbleSize::small;
    next.launchesAtLogin = true;
    store->setSettings(next);
    QCOMPARE(published.size(), 1);
    QCOMPARE(m_loginRequests, QList<bool>{true});

    // A new store on the same file reads what was written.
    QSettings reread(m_dir->filePath(u"Tessary.conf"_s), QSettings::IniFormat);
    SettingsStore second(reread, {});
    QCOMPARE(second.settings(), next);
}

void SettingsStoreTest::equalValueWritesNothingAndLeavesLoginItemAlone() {
    auto store = makeStore();
    QSignalSpy published(store.get(), &SettingsStore::settingsChanged);
    store->setSettings(store->settings());
    QCOMPARE(published.size(), 0);
    QVERIFY(m_loginRequests.isEmpty());
    QVERIFY(!m_defaults->contains(QLatin1StringView(PreferenceKeys::settings)));
}

void SettingsStoreTest::refusedLoginItemKeepsTheUsersChoice() {
    m_loginRefuses = true;
    auto store = makeStore();
    QSignalSpy failed(store.get(), &SettingsStore::loginItemFailed);
    TessarySettings next = store->settings();
    next.launchesAtLogin = true;
    store->setSettings(next);
    QCOMPARE(failed.size(), 1);
    QCOMPARE(store->settings().launchesAtLogin, true);
}

void SettingsStoreTest::mutatorsChangeOneThing() {
    auto store = makeStore();
    QSignalSpy published(store.get(), &SettingsStore::settingsChanged);
    store->setWidgetEnabled(u"cpu"_s, false, u"DP-1"_s);
    store->setWidgetEnabled(u"cpu"_s, false, u"DP-1"_s); // no change, no publication
    store->setVisibility(DisplaySettings::Visibility::always, u"DP-1"_s);
    store->setWidgetOption(u"github"_s, u"scope"_s, u"mine"_s);
    store->setWidgetEnabled(u"github"_s, false);
    QCOMPARE(published.size(), 4);

    const TessarySettings& s = store->settings();
    QCOMPARE(s.displaySettings(u"DP-1"_s).disabledWidgetIDs, QStringList{u"cpu"_s});
    QCOMPARE(s.visibilityOn(u"DP-1"_s), DisplaySettings::Visibility::always);
    QCOMPARE(s.widgetSettings(u"github"_s).options.value(u"scope"_s), u"mine"_s);
    QVERIFY(!s.isWidgetEnabled(u"github"_s, u"HDMI-1"_s));
    QVERIFY(!s.isWidgetEnabled(u"cpu"_s, u"DP-1"_s));
    QVERIFY(s.isWidgetEnabled(u"cpu"_s, u"HDMI-1"_s));

    store->setWidgetEnabled(u"cpu"_s, true, u"DP-1"_s);
    QVERIFY(store->settings().displaySettings(u"DP-1"_s).disabledWidgetIDs.isEmpty());
}

void SettingsStoreTest::rememberDisplaysRenamesOnlyWhatChanged() {
    auto store = makeStore();
    store->setWidgetEnabled(u"cpu"_s, false, u"DP-1"_s);
    QSignalSpy published(store.get(), &SettingsStore::settingsChanged);

    DisplaySnapshot dp1;
    dp1.id = u"DP-1"_s;
    dp1.name = u"Dell"_s;
    DisplaySnapshot hdmi;
    hdmi.id = u"HDMI-1"_s;
    hdmi.name = u"LG"_s;
    store->rememberDisplays({dp1, hdmi});
    QCOMPARE(published.size(), 1); // several displays, one write
    QCOMPARE(store->settings().displaySettings(u"DP-1"_s).lastKnownName, u"Dell"_s);
    QCOMPARE(store->settings().displaySettings(u"DP-1"_s).disabledWidgetIDs, QStringList{u"cpu"_s});

    store->rememberDisplays({dp1, hdmi});
    QCOMPARE(published.size(), 1);
}

void SettingsStoreTest::moduleConfigurationsKeepStaleOptions() {
    auto store = makeStore();
    store->setWidgetOption(u"github"_s, u"scope"_s, u"an option that no longer exists"_s);
    const auto configurations = store->moduleConfigurations();
    QCOMPARE(configurations.value(u"github"_s).value(u"scope"_s, u"all"_s),
             u"an option that no longer exists"_s);
    QCOMPARE(configurations.value(u"cpu"_s).value(u"scope"_s, u"all"_s), u"all"_s);
}

QTEST_GUILESS_MAIN(SettingsStoreTest)
#include "SettingsStoreTest.moc"
