#include "modules/vitals/ProcessGrouping.h"

#include "modules/vitals/ProcessIdentity.h"

#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class ProcessGroupingTest : public QObject {
    Q_OBJECT
private slots:
    void identity_data();
    void identity();
    void groupsSumTheUsersProcesses();
    void labelsNameAgentsServersAndCounts();
};

void ProcessGroupingTest::identity_data() {
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("display");

    QTest::newRow("chrome") << u"/opt/google/chrome/chrome"_s << u"chrome"_s << QString() << QString()
                            << u"app:/opt/google/chrome"_s << u"Chrome"_s;
    QTest::newRow("chrome's crash handler folds into chrome")
        << u"/opt/google/chrome/chrome_crashpad_handler"_s << u"chrome_crashpad"_s << QString() << QString()
        << u"app:/opt/google/chrome"_s << u"Chrome"_s;
    QTest::newRow("helper inside a bundle")
        << u"/Applications/X.app/Contents/Frameworks/X Helper.app/Contents/MacOS/X Helper"_s << u"X Helper"_s
        << QString() << QString() << u"app:/Applications/X.app"_s << u"X"_s;
    QTest::newRow("code's binary in a bin folder")
        << u"/usr/share/code/bin/code-tunnel"_s << u"code-tunnel"_s << QString() << QString()
        << u"app:/usr/share/code"_s << u"Visual Studio Code"_s;
    QTest::newRow("a snap") << u"/snap/firefox/4848/usr/lib/firefox/firefox"_s << u"firefox"_s << QString()
                            << QString() << u"app:/snap/firefox"_s << u"Firefox"_s;
    QTest::newRow("an application in the user's data")
        << u"/home/u/.local/share/Toolbox/bin/toolbox"_s << u"toolbox"_s << QString() << QString()
        << u"app:/home/u/.local/share/Toolbox"_s << u"Toolbox"_s;
    QTest::newRow("a command is its own row")
        << u"/usr/bin/bash"_s << u"bash"_s << QString() << QString() << u"exe:/usr/bin/bash"_s << u"bash"_s;
    QTest::newRow("claude installed natively")
        << u"/home/u/.local/share/claude/versions/2.1.3"_s << u"claude"_s << QString() << u"/home/u/p"_s
        << u"claude:"_s << u"Claude Code"_s;
    QTest::newRow("claude from npm") << u"/usr/lib/node_modules/@anthropic-ai/claude-code/bin/claude.exe"_s
                                     << u"claude"_s << QString() << QString() << u"claude:"_s
                                     << u"Claude Code"_s;
    QTest::newRow("claude run by node")
        << u"/usr/bin/node"_s << u"node"_s << u"/usr/lib/node_modules/@anthropic-ai/claude-code/cli.js"_s
        << u"/home/u/p"_s << u"claude:"_s << u"Claude Code"_s;
    QTest::newRow("node under a project")
        << u"/usr/bin/node"_s << u"node"_s << u"server.js"_s << u"/home/u/shop/"_s
        << u"run:node:/home/u/shop"_s << u"shop (node)"_s;
    QTest::newRow("python without a folder") << u"/usr/bin/python3.11"_s << u"python3"_s << u"-c"_s << u"/"_s
                                             << u"exe:/usr/bin/python3.11"_s << u"python3.11"_s;
    QTest::newRow("kernel's short name alone") << QString() << u"kworker/0:1"_s << QString() << QString()
                                               << u"exe:kworker/0:1"_s << u"kworker/0:1"_s;
    QTest::newRow("an executable directly in /opt")
        << u"/opt/tool"_s << u"tool"_s << QString() << QString() << u"exe:/opt/tool"_s << u"tool"_s;
}

void ProcessGroupingTest::identity() {
    QFETCH(QString, path);
    QFETCH(QString, name);
    QFETCH(QString, script);
    QFETCH(QString, directory);
    const ProcessIdentity identity = ProcessIdentity::group(path, name, script, directory);
    QTEST(identity.key, "key");
    QTEST(identity.name, "display");
}

void ProcessGroupingTest::groupsSumTheUsersProcesses() {
    const std::vector<ProcessSample> samples{
        {30, u"app:/opt/google/chrome"_s, u"Chrome"_s, 5.0, 300, u"/opt/google/chrome"_s, 1000},
        {10, u"app:/opt/google/chrome"_s, u"Chrome"_s, std::nullopt, 100, u"/opt/google/chrome"_s, 1000},
        {20, u"app:/opt/google/chrome"_s, u"Chrome"_s, 2.5, 200, u"/opt/google/chrome"_s, 1000},
        {40, u"exe:/usr/bin/bash"_s, u"bash"_s, std::nullopt, 10, std::nullopt, std::nullopt},
        {50, u"exe:/usr/sbin/sshd"_s, u"sshd"_s, 1.0, 10, std::nullopt, 0},
    };
    const std::vector<ProcessUsage> rows = ProcessGrouping::groups(samples, 1000);
    QCOMPARE(rows.size(), std::size_t(2)); // root's sshd is not the user's
    const ProcessUsage& chrome = rows[0];
    QCOMPARE(chrome.id, u"app:/opt/google/chrome"_s);
    QCOMPARE(chrome.pids, (std::vector<std::int32_t>{10, 20, 30}));
    QCOMPARE(chrome.cpuPercent, std::optional<double>(7.5));
    QCOMPARE(chrome.footprint, std::uint64_t(600));
    // Unknown owner counts as the user's; no percentage known stays unknown.
    QCOMPARE(rows[1].name, u"bash"_s);
    QCOMPARE(rows[1].cpuPercent, std::nullopt);
}

void ProcessGroupingTest::labelsNameAgentsServersAndCounts() {
    std::vector<ProcessUsage> rows{
        {u"claude:"_s, u"Claude Code"_s, std::nullopt, {100, 101}, 1.0, 10},
        {u"run:node:/p"_s, u"p (node)"_s, std::nullopt, {200}, 1.0, 10},
        {u"exe:/usr/bin/vim"_s, u"vim"_s, std::nullopt, {300}, 1.0, 10},
    };
    ProcessLabels labels;
    labels.agentPIDs = {101};
    labels.services = {{200, u"Vite :5173"_s}, {200, u"Vite :5173"_s}};
    const auto labeled = ProcessGrouping::labeled(rows, labels, Localization());
    QCOMPARE(labeled[0].detail, std::optional<QString>(u"pid 101 · session · 2 processes"_s));
    QCOMPARE(labeled[1].detail, std::optional<QString>(u"Vite :5173"_s));
    QCOMPARE(labeled[2].detail, std::nullopt);
    QVERIFY(ProcessGrouping::holdsAgent(labeled[0], labels));
    QVERIFY(!ProcessGrouping::holdsAgent(labeled[1], labels));

    const auto spanish = ProcessGrouping::labeled(rows, labels, Localization(AppLanguage::spanish));
    QCOMPARE(spanish[0].detail, std::optional<QString>(u"pid 101 · sesión · 2 procesos"_s));
}

QTEST_GUILESS_MAIN(ProcessGroupingTest)
#include "ProcessGroupingTest.moc"
