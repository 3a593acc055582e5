#include "modules/agents/installers/OnboardingAgents.h"

#include "modules/agents/installers/OnboardingGate.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

class OnboardingAgentsTest : public QObject {
    Q_OBJECT
private slots:
    void offersOnlyAgentsOnThisMachine_data();
    void offersOnlyAgentsOnThisMachine();
    void offersTellConnectedAndDeclined();
    void applyConnectsDisconnectsAndReports();
    void detailsFollowTheLanguage();
    void gateShowsUntilCompleted();
};

namespace {

struct Machine {
    QTemporaryDir dir;
    QString home = dir.filePath(u"home"_s);
    QSettings defaults{dir.filePath(u"Tessary.conf"_s), QSettings::IniFormat};

    void install(const QString& folder) const { QVERIFY(QDir().mkpath(home + u'/' + folder)); }
    QList<AgentOffer> offers() {
        return OnboardingAgents::offers(OnboardingAgents::defaultCandidates(home, &defaults, Localization()));
    }
};

} // namespace

void OnboardingAgentsTest::offersOnlyAgentsOnThisMachine_data() {
    QTest::addColumn<QStringList>("folders");
    QTest::addColumn<QStringList>("offered");
    QTest::newRow("nothing") << QStringList{} << QStringList{};
    QTest::newRow("Codex") << QStringList{u".codex"_s} << QStringList{u"codex"_s};
    QTest::newRow("all, in order") << QStringList{u".gemini/antigravity-cli"_s, u".codex"_s, u".claude"_s}
                                   << QStringList{u"claude"_s, u"codex"_s, u"antigravity"_s};
    QTest::newRow("Antigravity's tool") << QStringList{u".local/bin/agy"_s} << QStringList{};
}

void OnboardingAgentsTest::offersOnlyAgentsOnThisMachine() {
    QFETCH(QStringList, folders);
    QFETCH(QStringList, offered);
    Machine machine;
    for (const QString& folder : folders) {
        machine.install(folder);
    }
    QCOMPARE(idsOf(machine.offers()), offered);

    // The tool counts when it is an executable file, not a folder of that name.
    if (folders.contains(u".local/bin/agy"_s)) {
        QVERIFY(QDir().rmdir(machine.home + u"/.local/bin/agy"_s));
        QFile tool(machine.home + u"/.local/bin/agy"_s);
        QVERIFY(tool.open(QIODevice::WriteOnly));
        tool.write("#!/bin/sh\n");
        tool.close();
        QVERIFY(tool.setPermissions(tool.permissions() | QFileDevice::ExeOwner));
        QCOMPARE(idsOf(machine.offers()), QStringList{u"antigravity"_s});
    }
}

void OnboardingAgentsTest::offersTellConnectedAndDeclined() {
    Machine machine;
    machine.install(u".claude"_s);
    machine.install(u".codex"_s);
    machine.install(u".gemini/antigravity-cli"_s);
    AgentHookInstaller::claude(machine.home, &machine.defaults).install();
    AgentHookInstaller::codex(machine.home, &machine.defaults).disconnect();

    const QList<AgentOffer> offers = machine.offers();
    QCOMPARE(offers.size(), 3);
    QVERIFY(offers[0].isConnected && !offers[0].isDeclined && offers[0].canConnect());
    QVERIFY(!offers[1].isConnected && offers[1].isDeclined && offers[1].canConnect());
    QVERIFY(!offers[2].isConnected && !offers[2].isDeclined && !offers[2].canConnect());
    QCOMPARE(offers[0].name, u"Claude Code"_s);
    QCOMPARE(offers[2].detail, u"Usage and sessions. Nothing to connect: it has no hooks."_s);
}

void OnboardingAgentsTest::applyConnectsDisconnectsAndReports() {
    Machine machine;
    machine.install(u".claude"_s);
    machine.install(u".codex"_s);
    machine.install(u".gemini/antigravity-cli"_s);
    const AgentHookInstaller claude = AgentHookInstaller::claude(machine.home, &machine.defaults);
    const AgentHookInstaller codex = AgentHookInstaller::codex(machine.home, &machine.defaults);
    QVERIFY(codex.install());
    claude.disconnect();

    // Claude Code is not mentioned (connected, its decline forgotten); Codex is turned off.
    QMap<QString, bool> result =
        OnboardingAgents::apply({{u"codex"_s, false}, {u"antigravity"_s, false}}, machine.offers());
    QCOMPARE(result, (QMap<QString, bool>{{u"claude"_s, true}, {u"codex"_s, false}}));
    QVERIFY(claude.isFullyInstalled() && !claude.isDeclined());
    QVERIFY(!codex.isInstalled() && codex.isDeclined());

    result = OnboardingAgents::apply({{u"claude"_s, true}, {u"codex"_s, true}}, machine.offers());
    QCOMPARE(result, (QMap<QString, bool>{{u"claude"_s, true}, {u"codex"_s, true}}));
    QVERIFY(!codex.isDeclined());

    // A file that cannot be written shows as not connected.
    QVERIFY(QFile::remove(codex.settingsFile));
    QVERIFY(QDir().mkpath(codex.settingsFile));
    result = OnboardingAgents::apply({}, machine.offers());
    QCOMPARE(result.value(u"codex"_s, true), false);
}

void OnboardingAgentsTest::detailsFollowTheLanguage() {
    Machine machine;
    const auto english = OnboardingAgents::defaultCandidates(machine.home, &machine.defaults, Localization());
    const auto spanish = OnboardingAgents::defaultCandidates(machine.home, &machine.defaults,
                                                             Localization(AppLanguage::spanish));
    const auto portuguese = OnboardingAgents::defaultCandidates(machine.home, &machine.defaults,
                                                                Localization(AppLanguage::portuguese));
    QCOMPARE(english.size(), 3);
    for (int i = 0; i < english.size(); ++i) {
        QCOMPARE(spanish[i].name, english[i].name);
        QVERIFY2(spanish[i].detail != english[i].detail, qPrintable(english[i].detail));
        QVERIFY2(portuguese[i].detail != english[i].detail, qPrintable(english[i].detail));
    }
}

void OnboardingAgentsTest::gateShowsUntilCompleted() {
    Machine machine;
    QVERIFY(OnboardingGate::shouldShow(machine.defaults));
    OnboardingGate::markCompleted(machine.defaults);
    QVERIFY(!OnboardingGate::shouldShow(machine.defaults));
    QSettings reread(machine.dir.filePath(u"Tessary.conf"_s), QSettings::IniFormat);
    QVERIFY(reread.value(u"tessary.onboarding.completed"_s).toBool());
}

QTEST_GUILESS_MAIN(OnboardingAgentsTest)
#include "OnboardingAgentsTest.moc"
