#include "modules/agents/permissions/AgentQuestion.h"
#include "modules/agents/permissions/PermissionSummary.h"
#include "modules/agents/permissions/ToolCallFingerprint.h"

#include <QFile>
#include <QJsonDocument>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

class PermissionRecordsTest : public QObject {
    Q_OBJECT
private slots:
    void readableTool_data();
    void readableTool();
    void summary_data();
    void summary();
    void keystrokesAreShownNotSent();
    void fingerprintIgnoresWhatAgentsRewrite();
    void questionFromRealPayloads();
};

namespace {

QJsonObject object(const QByteArray& json) {
    return QJsonDocument::fromJson(json).object();
}

// Three PermissionRequest bodies of Claude Code published by a third party (see the NOTICE beside them).
QList<QJsonObject> thirdPartyRequests() {
    QFile file(qEnvironmentVariable("TESSARY_SOURCE_DIR") +
               u"/tests/data/claude-hooks/third-party-permission-requests.jsonl"_s);
    QList<QJsonObject> bodies;
    if (!file.open(QIODevice::ReadOnly)) {
        return bodies;
    }
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (!line.trimmed().isEmpty()) {
            bodies.append(object(line));
        }
    }
    return bodies;
}

} // namespace

void PermissionRecordsTest::readableTool_data() {
    QTest::addColumn<QString>("raw");
    QTest::addColumn<QString>("shown");
    QTest::newRow("plain") << u"Bash"_s << u"Bash"_s;
    QTest::newRow("mcp") << u"mcp__github__create_issue"_s << u"create_issue"_s;
    QTest::newRow("trailing separator") << u"mcp__server__"_s << u"server"_s;
    QTest::newRow("only separators") << u"____"_s << QString();
    QTest::newRow("empty") << QString() << QString();
}

void PermissionRecordsTest::readableTool() {
    QFETCH(QString, raw);
    QFETCH(QString, shown);
    const auto result = tessary::readableTool(raw.isNull() ? std::nullopt : std::optional(raw));
    QCOMPARE(result.value_or(QString()), shown);
}

void PermissionRecordsTest::summary_data() {
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("summary");
    QTest::newRow("bash command") << u"Bash"_s
                                  << QByteArray(R"({"command":"npm test","description":"Run tests"})")
                                  << u"npm test"_s;
    QTest::newRow("file path before path")
        << u"Edit"_s << QByteArray(R"({"path":"b","file_path":"/src/a.cpp"})") << u"/src/a.cpp"_s;
    QTest::newRow("empty strings are skipped")
        << u"Grep"_s << QByteArray(R"({"command":"","pattern":"TODO"})") << u"TODO"_s;
    QTest::newRow("nothing known") << u"Other"_s << QByteArray(R"({"x":1,"command":5})") << QString();
    QTest::newRow("patch lists its files")
        << u"apply_patch"_s
        << QByteArray(
               R"({"command":"*** Begin Patch\n*** Add File: a.txt\n+x\n*** Update File:  src/b.cpp \n@@\n*** Delete File: c\n*** End Patch"})")
        << u"a.txt\nsrc/b.cpp\nc"_s;
    QTest::newRow("patch without files falls back to command")
        << u"apply_patch"_s << QByteArray(R"({"command":"echo hi"})") << u"echo hi"_s;
    QTest::newRow("permissions reason")
        << u"request_permissions"_s << QByteArray(R"({"reason":"needs network","command":"x"})")
        << u"needs network"_s;
    QTest::newRow("plan title") << u"ExitPlanMode"_s
                                << QByteArray(R"({"plan":"\n\n  ## Refactor the reader\n\nSteps"})")
                                << u"Refactor the reader"_s;
    QTest::newRow("plan of only marks")
        << u"ExitPlanMode"_s << QByteArray(R"({"plan":"###\n  #  "})") << QString();
    QTest::newRow("keystrokes") << u"write_stdin"_s << QByteArray(R"({"chars":"y\r"})") << u"y⏎"_s;
}

void PermissionRecordsTest::summary() {
    QFETCH(QString, tool);
    QFETCH(QByteArray, input);
    QFETCH(QString, summary);
    QCOMPARE(summarizePermission(tool, object(input)), summary);
}

void PermissionRecordsTest::keystrokesAreShownNotSent() {
    QCOMPARE(visibleKeystrokes(u"\u0003"_s), u"^C"_s);
    QCOMPARE(visibleKeystrokes(u"\u001b[A\t"_s), u"⎋[A⇥"_s);
    QCOMPARE(visibleKeystrokes(u"\u001c\u007f"_s), u"<0x1C>⌫"_s);
    QCOMPARE(visibleKeystrokes(u"a\u202eb"_s), u"a<0x202E>b"_s);
    QCOMPARE(visibleKeystrokes(u"héllo 👋"_s), u"héllo 👋"_s);
}

void PermissionRecordsTest::fingerprintIgnoresWhatAgentsRewrite() {
    const auto asked =
        ToolCallFingerprint::of(u"Bash"_s, object(R"({"command":"rm -rf x","description":"Remove x"})"));
    const auto ran = ToolCallFingerprint::of(
        u"Bash"_s, object(R"({"description":"Delete the x folder","command":"rm -rf x"})"));
    QCOMPARE(asked, ran);
    QCOMPARE(asked.inputDigest.size(), 32);
    QVERIFY(asked != ToolCallFingerprint::of(u"Bash"_s, object(R"({"command":"rm -rf y"})")));
    // Only Bash loses its description; answers are never part of the call.
    QVERIFY(ToolCallFingerprint::of(u"Task"_s, object(R"({"description":"a"})")) !=
            ToolCallFingerprint::of(u"Task"_s, object(R"({"description":"b"})")));
    QCOMPARE(
        ToolCallFingerprint::of(u"AskUserQuestion"_s, object(R"({"questions":[1],"answers":{"q":"a"}})")),
        ToolCallFingerprint::of(u"AskUserQuestion"_s, object(R"({"questions":[1]})")));
    // Key order of the input does not matter.
    QCOMPARE(ToolCallFingerprint::of(u"Edit"_s, object(R"({"a":{"x":1,"y":2},"b":2})")),
             ToolCallFingerprint::of(u"Edit"_s, object(R"({"b":2,"a":{"y":2,"x":1}})")));
}

void PermissionRecordsTest::questionFromRealPayloads() {
    const QList<QJsonObject> bodies = thirdPartyRequests();
    QCOMPARE(bodies.size(), 3);
    QCOMPARE(AgentQuestion::read(u"Bash"_s, bodies[0].value(u"tool_input"_s).toObject()), std::nullopt);
    const auto single =
        AgentQuestion::read(u"AskUserQuestion"_s, bodies[1].value(u"tool_input"_s).toObject());
    QVERIFY(single);
    QCOMPARE(single->total, 1);
    QVERIFY(single->allowsMultiple);
    QCOMPARE(single->options.size(), 4);
    QCOMPARE(single->options[2].id, 2);
    QCOMPARE(single->options[2].label, u"src/interfaces/"_s);
    QVERIFY(single->options[2].detail);
    QCOMPARE(single->answer({3, 0}, u"  and docs "_s),
             single->options[0].label + u", "_s + single->options[3].label + u", and docs"_s);
    QCOMPARE(single->answer({}, u"  "_s), std::nullopt);
    const auto two = AgentQuestion::read(u"AskUserQuestion"_s, bodies[2].value(u"tool_input"_s).toObject());
    QCOMPARE(two->total, 2);

    QCOMPARE(AgentQuestion::read(u"request_user_input"_s, object(R"({"questions":[]})")), std::nullopt);
    QCOMPARE(AgentQuestion::read(u"request_user_input"_s, object(R"({"questions":[{"header":"h"}]})")),
             std::nullopt);
    const auto codex = AgentQuestion::read(
        u"request_user_input"_s,
        object(
            R"({"questions":[{"question":"Which?","options":[{"label":"A","description":""},{"nolabel":1},{"label":"B"}]}]})"));
    QCOMPARE(codex->options.size(), 2);
    QCOMPARE(codex->options[1].id, 1);
    QCOMPARE(codex->options[0].detail, std::nullopt);
    QCOMPARE(codex->header, QString());
}

QTEST_GUILESS_MAIN(PermissionRecordsTest)
#include "PermissionRecordsTest.moc"
