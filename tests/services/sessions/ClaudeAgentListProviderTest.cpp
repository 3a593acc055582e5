#include "services/sessions/ClaudeAgentListMonitor.h"
#include "services/shell/Shell.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;
using namespace tessary::testing;

namespace {

// `claude` as the tests play it: its arguments and PATH are logged, and the folder's files say what it
// does.
constexpr auto fakeClaude = R"sh(#!/bin/sh
folder=$(dirname "$0")
echo "$*" > "$folder/arguments"
echo "$PATH" > "$folder/path"
[ -f "$folder/hang" ] && exec sleep 30
[ -f "$folder/status" ] && exit "$(cat "$folder/status")"
cat "$folder/list.json"
)sh";

constexpr auto backgroundList =
    R"([{"id":"j1","cwd":"/w","kind":"background","sessionId":"s1","name":"Lint","state":"blocked"},)"
    R"({"pid":7,"cwd":"/w","kind":"interactive","sessionId":"s2","status":"waiting","waitingFor":"input needed"}])";

} // namespace

class ClaudeAgentListProviderTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void readsTheListAndTheNeeds();
    void badRunsGiveNothing_data();
    void badRunsGiveNothing();
    void candidatesInOrder();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_tool;
    Shell m_shell;
};

void ClaudeAgentListProviderTest::init() {
    m_dir = std::make_unique<QTemporaryDir>();
    m_tool = m_dir->filePath(u"bin/claude"_s);
    QVERIFY(QDir(m_dir->path()).mkpath(u"bin"_s));
    writeFile(m_tool, fakeClaude);
    QFile(m_tool).setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    writeFile(m_dir->filePath(u"bin/list.json"_s), backgroundList);
    writeFile(m_dir->filePath(u"jobs/j1/state.json"_s), R"({"state":"blocked","needs":"approve the push"})");
}

void ClaudeAgentListProviderTest::readsTheListAndTheNeeds() {
    const ClaudeAgentListProvider provider(m_shell, {m_dir->filePath(u"missing/claude"_s), m_tool},
                                           m_dir->filePath(u"jobs"_s));
    QCOMPARE(provider.executable(), m_tool);
    const std::optional<ClaudeAgentList> list = provider.read();
    QVERIFY(list);
    QCOMPARE(readFile(m_dir->filePath(u"bin/arguments"_s)).trimmed(), "agents --json --all"_ba);
    const QStringList path =
        QString::fromUtf8(readFile(m_dir->filePath(u"bin/path"_s)).trimmed()).split(u':');
    for (const QString& folder : {u"/opt/homebrew/bin"_s, u"/usr/local/bin"_s, u"/usr/bin"_s, u"/bin"_s}) {
        QVERIFY2(path.contains(folder), qPrintable(folder));
    }
    QCOMPARE(list->background.size(), 1);
    QCOMPARE(list->background.first().needs, u"approve the push"_s);
    QCOMPARE(list->sessions.size(), 1);
    QCOMPARE(list->sessions.first().waitingFor, ClaudeAgentList::WaitingFor::input);
}

void ClaudeAgentListProviderTest::badRunsGiveNothing_data() {
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("exits non-zero") << u"status"_s << "1"_ba;
    QTest::newRow("overruns its time") << u"hang"_s << QByteArray();
    QTest::newRow("damaged JSON") << u"list.json"_s << R"([{"kind":"interactive","sessionId":)"_ba;
    QTest::newRow("no tool") << QString() << QByteArray();
}

void ClaudeAgentListProviderTest::badRunsGiveNothing() {
    QFETCH(QString, file);
    QFETCH(QByteArray, content);
    if (!file.isEmpty()) {
        writeFile(m_dir->filePath(u"bin/"_s + file), content);
    }
    const ClaudeAgentListProvider provider(m_shell, {file.isEmpty() ? m_dir->filePath(u"none"_s) : m_tool},
                                           m_dir->filePath(u"jobs"_s));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(provider.read(), std::nullopt);
    // The time-out of 3 s, and the second of grace before the kill.
    QVERIFY(timer.elapsed() < 5000);
}

void ClaudeAgentListProviderTest::candidatesInOrder() {
    const QString home = m_dir->path();
    for (const QString& version : {u"v9.11.2"_s, u"v22.3.0"_s, u"v18.20.1"_s}) {
        QVERIFY(QDir(home).mkpath(u".nvm/versions/node/"_s + version + u"/bin"_s));
    }
    const QStringList candidates = ClaudeAgentListProvider::defaultCandidates(home);
    const QStringList expected{home + u"/.nvm/versions/node/v22.3.0/bin/claude"_s,
                               home + u"/.nvm/versions/node/v18.20.1/bin/claude"_s,
                               home + u"/.nvm/versions/node/v9.11.2/bin/claude"_s,
                               home + u"/.local/bin/claude"_s,
                               u"/opt/homebrew/bin/claude"_s,
                               u"/usr/local/bin/claude"_s,
                               home + u"/.claude/local/claude"_s,
                               home + u"/.volta/bin/claude"_s,
                               u"/usr/bin/claude"_s};
    QCOMPARE(candidates, expected);
}

QTEST_GUILESS_MAIN(ClaudeAgentListProviderTest)
#include "ClaudeAgentListProviderTest.moc"
