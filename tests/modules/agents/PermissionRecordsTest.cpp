#include "modules/agents/permissions/AgentQuestion.h"
#include "modules/agents/permissions/PermissionCommand.h"
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
    void requestDetails_data();
    void requestDetails();
    void canonicalJson_data();
    void canonicalJson();
    void commandText_data();
    void commandText();
    void commandResponse_data();
    void commandResponse();
    void hostOfARequest();
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

void PermissionRecordsTest::requestDetails_data() {
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("networkTarget");
    QTest::addColumn<QString>("plan");
    QTest::newRow("patch") << u"apply_patch"_s
                           << QByteArray(
                                  R"({"command":"*** Add File: a\n*** Delete File: b\n*** Move to: c"})")
                           << QStringList{u"a"_s, u"b"_s} << QString() << QString();
    QTest::newRow("patch of the wrong type")
        << u"apply_patch"_s << QByteArray(R"({"command":["x"]})") << QStringList() << QString() << QString();
    QTest::newRow("files only for patches") << u"Bash"_s << QByteArray(R"({"command":"*** Add File: a"})")
                                            << QStringList() << QString() << QString();
    QTest::newRow("sandbox asks for a host")
        << u"Bash"_s << QByteArray(R"({"command":"curl x","description":"network-access  api.github.com "})")
        << QStringList() << u"api.github.com"_s << QString();
    QTest::newRow("no host named") << u"Bash"_s << QByteArray(R"({"description":"network-access   "})")
                                   << QStringList() << QString() << QString();
    QTest::newRow("host only for Bash")
        << u"WebFetch"_s << QByteArray(R"({"description":"network-access x"})") << QStringList() << QString()
        << QString();
    QTest::newRow("plan") << u"ExitPlanMode"_s << QByteArray(R"({"plan":"# Do it"})") << QStringList()
                          << QString() << u"# Do it"_s;
    QTest::newRow("plan only for plan mode")
        << u"Task"_s << QByteArray(R"({"plan":"# Do it"})") << QStringList() << QString() << QString();
}

void PermissionRecordsTest::requestDetails() {
    QFETCH(QString, tool);
    QFETCH(QByteArray, input);
    QFETCH(QStringList, files);
    QFETCH(QString, networkTarget);
    QFETCH(QString, plan);
    const QJsonObject parsed = object(input);
    QCOMPARE(permissionFiles(tool, parsed), files);
    QCOMPARE(permissionNetworkTarget(tool, parsed).value_or(QString()), networkTarget);
    QCOMPARE(permissionPlan(tool, parsed).value_or(QString()), plan);
}

void PermissionRecordsTest::canonicalJson_data() {
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("canonical");
    QTest::newRow("keys sorted at every depth")
        << QByteArray(R"({"b":[{"z":1,"a":2}],"a":{"d":null,"c":true}})")
        << QByteArray(R"({"a":{"c":true,"d":null},"b":[{"a":2,"z":1}]})");
    QTest::newRow("numbers")
        << QByteArray(R"({"i":3.0,"f":0.1,"n":-12,"big":1e300,"huge":12345678901234567})")
        << QByteArray(R"({"big":1e+300,"f":0.1,"huge":12345678901234567,"i":3,"n":-12})");
    QTest::newRow("escapes")
        << QByteArray(R"({"s":"quote \" back \\ tab\t bell\u0007 é 👋"})")
        << QByteArray("{\"s\":\"quote \\\" back \\\\ tab\\t bell\\u0007 \xc3\xa9 \xf0\x9f\x91\x8b\"}");
    QTest::newRow("upper case sorts before lower")
        << QByteArray(R"({"b":1,"B":2,"a":3})") << QByteArray(R"({"B":2,"a":3,"b":1})");
}

void PermissionRecordsTest::canonicalJson() {
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, canonical);
    QCOMPARE(ToolCallFingerprint::canonicalJson(object(input)), canonical);
}

void PermissionRecordsTest::commandText_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("parses");
    QTest::newRow("answer") << u"permission:answer:2:toolu_01"_s << true;
    QTest::newRow("decide") << u"permission:decide:dontAsk:toolu_01"_s << true;
    QTest::newRow("request id with colons") << u"permission:decide:deny:a:b:c"_s << true;
    QTest::newRow("no prefix") << u"answer:2:toolu_01"_s << false;
    QTest::newRow("another action") << u"session:jump:abc"_s << false;
    QTest::newRow("unknown decision") << u"permission:decide:maybe:toolu_01"_s << false;
    QTest::newRow("option not a number") << u"permission:answer:two:toolu_01"_s << false;
    QTest::newRow("negative option") << u"permission:answer:-1:toolu_01"_s << false;
    QTest::newRow("no request") << u"permission:answer:1:"_s << false;
    QTest::newRow("cut short") << u"permission:decide"_s << false;
}

void PermissionRecordsTest::commandText() {
    QFETCH(QString, text);
    QFETCH(bool, parses);
    const auto command = PermissionCommand::fromText(text);
    QCOMPARE(command.has_value(), parses);
    if (command) {
        QCOMPARE(command->text(), text);
        QCOMPARE(PermissionCommand::fromText(command->text()), command);
    }
}

void PermissionRecordsTest::commandResponse_data() {
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("decision");
    QTest::addColumn<QString>("answer");

    QTest::newRow("allow a command") << u"permission:decide:allow:cmd"_s << u"allow"_s << QString();
    QTest::newRow("always allow where the agent keeps it")
        << u"permission:decide:dontAsk:cmd"_s << u"dontAsk"_s << QString();
    QTest::newRow("always allow where it cannot")
        << u"permission:decide:dontAsk:codex"_s << QString() << QString();
    QTest::newRow("deny a command") << u"permission:decide:deny:cmd"_s << u"deny"_s << QString();
    QTest::newRow("a gone request") << u"permission:decide:allow:gone"_s << QString() << QString();
    QTest::newRow("an expired request") << u"permission:decide:allow:expired"_s << QString() << QString();
    QTest::newRow("another application's request")
        << u"permission:decide:allow:hosted"_s << QString() << QString();
    QTest::newRow("a question is answered, not decided")
        << u"permission:decide:allow:question"_s << QString() << QString();
    QTest::newRow("a plan is reviewed, not decided")
        << u"permission:decide:allow:plan"_s << QString() << QString();
    QTest::newRow("an option of the question") << u"permission:answer:1:question"_s << u"allow"_s << u"dev"_s;
    QTest::newRow("an option that is not there")
        << u"permission:answer:5:question"_s << QString() << QString();
    QTest::newRow("a multiple choice needs the form")
        << u"permission:answer:0:multiple"_s << QString() << QString();
    QTest::newRow("several questions need the form")
        << u"permission:answer:0:several"_s << QString() << QString();
    QTest::newRow("no question to answer") << u"permission:answer:0:cmd"_s << QString() << QString();
}

void PermissionRecordsTest::commandResponse() {
    QFETCH(QString, command);
    QFETCH(QString, decision);
    QFETCH(QString, answer);

    const auto pending = [](const QString& id) {
        PendingPermission request;
        request.id = id;
        request.sessionID = u"s"_s;
        request.tool = u"Bash"_s;
        request.supportsAlwaysAllow = true;
        return request;
    };
    AgentQuestion question;
    question.text = u"Which branch?"_s;
    question.options = {{0, u"main"_s, std::nullopt}, {1, u"dev"_s, std::nullopt}};
    question.total = 1;
    QList<PendingPermission> queue{pending(u"cmd"_s)};
    queue.append(pending(u"codex"_s));
    queue.last().supportsAlwaysAllow = false;
    queue.append(pending(u"expired"_s).expired());
    queue.append(pending(u"hosted"_s));
    queue.last().host = PermissionHost::claudeDesktop;
    queue.append(pending(u"question"_s));
    queue.last().question = question;
    queue.append(pending(u"multiple"_s));
    queue.last().question = question;
    queue.last().question->allowsMultiple = true;
    queue.append(pending(u"several"_s));
    queue.last().question = question;
    queue.last().question->total = 2;
    queue.append(pending(u"plan"_s));
    queue.last().plan = u"# Plan"_s;

    const auto parsed = PermissionCommand::fromText(command);
    QVERIFY(parsed);
    const auto response = parsed->response(queue);
    QCOMPARE(response.has_value(), !decision.isEmpty());
    if (response) {
        QCOMPARE(response->requestID, parsed->request());
        QCOMPARE(rawValue(response->decision), decision);
        if (answer.isEmpty()) {
            QVERIFY(response->answers.isEmpty());
        } else {
            QCOMPARE(response->answers, (QHash<QString, QString>{{u"Which branch?"_s, answer}}));
        }
    }
}

void PermissionRecordsTest::hostOfARequest() {
    const QStringList plain{u"claude"_s, u"--resume"_s, u"x"_s};
    const QStringList hosted{u"claude"_s, u"--permission-prompt-tool=mcp__app__ask"_s};
    QCOMPARE(permissionHost(true, std::nullopt), PermissionHost::claudeDesktop);
    QCOMPARE(permissionHost(true, hosted), PermissionHost::claudeDesktop);
    QCOMPARE(permissionHost(false, hosted), PermissionHost::unknownApp);
    QCOMPARE(permissionHost(false, plain), std::nullopt);
    QCOMPARE(permissionHost(false, std::nullopt), std::nullopt);
}

QTEST_GUILESS_MAIN(PermissionRecordsTest)
#include "PermissionRecordsTest.moc"
