#include "core/settings/PreferencesMigration.h"

#include "core/settings/SettingsStore.h"
#include "support/TestFiles.h"

#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class PreferencesMigrationTest : public QObject {
    Q_OBJECT
private slots:
    void copiesMissingKeysAndKeepsExistingOnes();
    void runsOnlyOnce();
    void suiteThatCannotBeOpenedLeavesNoMarker();
    void realFormerSuiteFileIsRead();
};

namespace {
struct Fixture {
    QTemporaryDir dir;
    QSettings standard{dir.filePath(u"Tessary.conf"_s), QSettings::IniFormat};
    QString suitePath = dir.filePath(u"CorvaneApp.conf"_s);
    PreferencesMigration::FormerSuiteOpener opener() const {
        return [path = suitePath] { return std::make_unique<QSettings>(path, QSettings::IniFormat); };
    }
};
} // namespace

void PreferencesMigrationTest::copiesMissingKeysAndKeepsExistingOnes() {
    Fixture f;
    {
        QSettings suite(f.suitePath, QSettings::IniFormat);
        suite.setValue(u"corvane.settings.v1"_s, QByteArray(R"({"bubbleSize":"small"})"));
        suite.setValue(u"corvane.hooks.declined"_s, true);
        suite.setValue(u"corvane.surface-positions.v2"_s, QByteArray(R"({"old":{}})"));
        suite.setValue(u"unrelated.key"_s, 1);
    }
    f.standard.setValue(u"corvane.surface-positions.v2"_s, QByteArray(R"({"new":{}})"));

    QVERIFY(PreferencesMigration::run(f.standard, f.opener()));
    QCOMPARE(f.standard.value(u"corvane.settings.v1"_s).toByteArray(),
             QByteArray(R"({"bubbleSize":"small"})"));
    QCOMPARE(f.standard.value(u"corvane.hooks.declined"_s).toBool(), true);
    QCOMPARE(f.standard.value(u"corvane.surface-positions.v2"_s).toByteArray(), QByteArray(R"({"new":{}})"));
    QVERIFY(!f.standard.contains(u"unrelated.key"_s));
    QVERIFY(f.standard.value(u"tessary.migrated-from-corvane"_s).toBool());
}

void PreferencesMigrationTest::runsOnlyOnce() {
    Fixture f;
    QVERIFY(PreferencesMigration::run(f.standard, f.opener()));
    {
        QSettings suite(f.suitePath, QSettings::IniFormat);
        suite.setValue(u"corvane.settings.v1"_s, QByteArray("{}"));
    }
    QVERIFY(!PreferencesMigration::run(f.standard, f.opener()));
    QVERIFY(!f.standard.contains(u"corvane.settings.v1"_s));
}

void PreferencesMigrationTest::suiteThatCannotBeOpenedLeavesNoMarker() {
    Fixture f;
    QVERIFY(!PreferencesMigration::run(f.standard, [] { return std::unique_ptr<QSettings>(); }));
    QVERIFY(!f.standard.contains(u"tessary.migrated-from-corvane"_s));
}

void PreferencesMigrationTest::realFormerSuiteFileIsRead() {
    // The former program's own file under the test's private XDG_CONFIG_HOME.
    const QString folder = qEnvironmentVariable("XDG_CONFIG_HOME") + u"/CorvaneApp"_s;
    testing::writeFile(folder + u"/CorvaneApp.conf"_s, "[General]\ncorvane.shows-diagnostics.v1=true\n");
    Fixture f;
    QVERIFY(PreferencesMigration::run(f.standard));
    QCOMPARE(f.standard.value(u"corvane.shows-diagnostics.v1"_s).toBool(), true);
}

QTEST_GUILESS_MAIN(PreferencesMigrationTest)
#include "PreferencesMigrationTest.moc"
