#include "modules/agents/hooks/HookEvent.h"

#include <QJsonDocument>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

namespace {

QJsonObject body(const QByteArray& json) {
    return QJsonDocument::fromJson(json).object();
}

} // namespace

Q_DECLARE_METATYPE(HookEvent::Kind)

// Where each hook goes is decided by the kind its body reads as: the routing rules as a table.
class HookEventTest : public QObject {
    Q_OBJECT
private slots:
    void kinds_data();
    void kinds();
    void commonFieldsAreReadOnce();
    void aBodyWithoutASessionIsNoEvent();
};

void HookEventTest::kinds_data() {
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<HookEvent::Kind>("expected");
    const auto row = [](const char* name, const char* json, const HookEvent::Kind& kind) {
        QTest::newRow(name) << QByteArray(json) << kind;
    };
    row("permission request keeps only object suggestions",
        R"({"session_id":"s","hook_event_name":"PermissionRequest","permission_suggestions":[{"type":"addRules"},"x",3]})",
        hook::PermissionRequest{QJsonArray{QJsonObject{{u"type"_s, u"addRules"_s}}}});
    row("session start with its model",
        R"({"session_id":"s","hook_event_name":"SessionStart","source":"resume","model":"claude-x"})",
        hook::SessionStarted{u"resume"_s, u"claude-x"_s});
    row("model switch",
        R"({"session_id":"s","hook_event_name":"PostModelSwitch","to_model":"b","from_model":"a"})",
        hook::ModelSwitched{u"b"_s, u"a"_s});
    row("model switch without its new model says nothing",
        R"({"session_id":"s","hook_event_name":"PostModelSwitch","from_model":"a"})", hook::Other{});
    row("prompt", R"({"session_id":"s","hook_event_name":"UserPromptSubmit","prompt":"hi"})",
        hook::PromptSubmitted{});
    row("tool starting", R"({"session_id":"s","hook_event_name":"PreToolUse","tool_name":"Bash"})",
        hook::ToolStarting{});
    row("tool finished",
        R"({"session_id":"s","hook_event_name":"PostToolUse","tool_use_id":"t1","tool_response":{"stdout":"ok"}})",
        hook::ToolFinished{u"t1"_s, false, std::nullopt});
    row("tool failed with its error",
        R"({"session_id":"s","hook_event_name":"PostToolUseFailure","tool_use_id":"t1","error":"exit 1"})",
        hook::ToolFinished{u"t1"_s, true, u"exit 1"_s});
    row("a tool's end without its call id says nothing",
        R"({"session_id":"s","hook_event_name":"PostToolUse"})", hook::Other{});
    row("stop", R"({"session_id":"s","hook_event_name":"Stop","turn_id":"u7"})",
        hook::TurnEnded{AgentTurnResult::Kind::completed, u"u7"_s});
    row("interrupt with an empty turn id", R"({"session_id":"s","hook_event_name":"Interrupt","turn_id":""})",
        hook::TurnEnded{AgentTurnResult::Kind::interrupted, std::nullopt});
    row("stop failure", R"({"session_id":"s","hook_event_name":"StopFailure","error":"rate_limit"})",
        hook::TurnFailed{u"rate_limit"_s});
    row("a permission prompt blocks",
        R"({"session_id":"s","hook_event_name":"Notification","notification_type":"permission_prompt"})",
        hook::Notified{AgentActivity::blocked});
    row("an idle prompt waits",
        R"({"session_id":"s","hook_event_name":"Notification","notification_type":"idle_prompt"})",
        hook::Notified{AgentActivity::waiting});
    row("another notification tells nothing of the activity",
        R"({"session_id":"s","hook_event_name":"Notification","notification_type":"auth_success"})",
        hook::Notified{std::nullopt});
    row("directory change", R"({"session_id":"s","hook_event_name":"CwdChanged","new_cwd":"/w/b"})",
        hook::DirectoryChanged{u"/w/b"_s});
    row("session end", R"({"session_id":"s","hook_event_name":"SessionEnd"})", hook::SessionEnded{});
    row("subagent start is session state", R"({"session_id":"s","hook_event_name":"SubagentStart"})",
        hook::SessionStateChanged{});
    row("compaction is session state", R"({"session_id":"s","hook_event_name":"PreCompact"})",
        hook::SessionStateChanged{});
    row("an unknown event", R"({"session_id":"s","hook_event_name":"SomethingNew"})", hook::Other{});
    row("a name of the wrong type", R"({"session_id":"s","hook_event_name":42})", hook::Other{});
}

void HookEventTest::kinds() {
    QFETCH(QByteArray, json);
    QFETCH(HookEvent::Kind, expected);
    const std::optional<HookEvent> event = HookEvent::read(body(json));
    QVERIFY(event);
    QCOMPARE(event->kind.index(), expected.index());
    QVERIFY(event->kind == expected);
}

void HookEventTest::commonFieldsAreReadOnce() {
    const auto event = HookEvent::read(body(
        R"({"session_id":"s","hook_event_name":"PermissionRequest","cwd":"/w","tool_name":"Bash","tool_use_id":"t",
            "tool_input":{"command":"ls"}})"));
    QVERIFY(event);
    QCOMPARE(event->directory, std::optional(u"/w"_s));
    QCOMPARE(event->tool, std::optional(u"Bash"_s));
    QCOMPARE(event->toolUseID, std::optional(u"t"_s));
    QCOMPARE(event->toolInput.value(u"command"_s).toString(), u"ls"_s);
    // What the held requests and the session's hook state take from the same body.
    QCOMPARE(event->release.tool, std::optional(u"Bash"_s));
    QCOMPARE(event->release.sessionID, std::optional(u"s"_s));
    QVERIFY(event->hookState);

    const auto damaged = HookEvent::read(body(R"({"session_id":"s","cwd":"","tool_input":"ls"})"));
    QVERIFY(damaged);
    QCOMPARE(damaged->directory, std::nullopt); // empty counts as absent
    QVERIFY(damaged->toolInput.isEmpty());      // a string is no input
    QVERIFY(!damaged->name);
}

void HookEventTest::aBodyWithoutASessionIsNoEvent() {
    QVERIFY(!HookEvent::read(body(R"({"hook_event_name":"Stop"})")));
    QVERIFY(!HookEvent::read(body(R"({"session_id":7,"hook_event_name":"Stop"})")));
    QVERIFY(!HookEvent::read(QJsonObject()));
}

QTEST_GUILESS_MAIN(HookEventTest)
#include "HookEventTest.moc"
