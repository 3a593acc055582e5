#include "modules/agents/hooks/SessionHookEvent.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

using namespace tessary;
using namespace Qt::StringLiterals;

using Reading = std::optional<SessionHookEvent::Reading>;
Q_DECLARE_METATYPE(Reading)
Q_DECLARE_METATYPE(SessionHookEvent::ToolOutcome)

class SessionHookEventTest : public QObject {
    Q_OBJECT
private slots:
    void read_data();
    void read();
    void toolOutcome_data();
    void toolOutcome();
    void everyFailureKindHasACategoryAndText();
};

namespace {

Reading reading(SessionHookEvent::Case event, bool clearsBackgroundWait) {
    return SessionHookEvent::Reading{SessionHookEvent{std::move(event)}, clearsBackgroundWait};
}

} // namespace

void SessionHookEventTest::read_data() {
    using E = SessionHookEvent;
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<Reading>("expected");

    QTest::newRow("no event name") << QByteArray(R"({"session_id":"s"})") << Reading{};
    QTest::newRow("event name of the wrong type") << QByteArray(R"({"hook_event_name":7})") << Reading{};
    QTest::newRow("unknown event") << QByteArray(R"({"hook_event_name":"SomethingNew"})")
                                   << reading(E::Other{}, false);
    QTest::newRow("PreToolUse of the main agent")
        << QByteArray(R"({"hook_event_name":"PreToolUse","tool_name":"Bash"})") << reading(E::Other{}, true);
    QTest::newRow("PreToolUse inside a subagent")
        << QByteArray(R"({"hook_event_name":"PreToolUse","agent_id":"a1b2c3"})")
        << reading(E::Other{}, false);
    QTest::newRow("PreToolUse with an empty agent id")
        << QByteArray(R"({"hook_event_name":"PreToolUse","agent_id":""})") << reading(E::Other{}, true);
    QTest::newRow("Notification does not wake")
        << QByteArray(R"({"hook_event_name":"Notification","notification_type":"idle_prompt"})")
        << reading(E::Other{}, false);
    QTest::newRow("PermissionRequest wakes")
        << QByteArray(R"({"hook_event_name":"PermissionRequest"})") << reading(E::Other{}, true);
    QTest::newRow("SessionStart resumed with tokens")
        << QByteArray(R"({"hook_event_name":"SessionStart","source":"resume","context_tokens":12345})")
        << reading(E::SessionStart{u"resume"_s, 12345}, true);
    QTest::newRow("SessionStart tokens as a fraction")
        << QByteArray(R"({"hook_event_name":"SessionStart","context_tokens":99.9})")
        << reading(E::SessionStart{std::nullopt, 99}, true);
    QTest::newRow("SessionStart tokens as text")
        << QByteArray(R"({"hook_event_name":"SessionStart","source":"startup","context_tokens":"12"})")
        << reading(E::SessionStart{u"startup"_s, std::nullopt}, true);
    QTest::newRow("SessionEnd") << QByteArray(R"({"hook_event_name":"SessionEnd","reason":"exit"})")
                                << reading(E::SessionEnd{}, true);
    QTest::newRow("UserPromptSubmit") << QByteArray(R"({"hook_event_name":"UserPromptSubmit","prompt":"hi"})")
                                      << reading(E::UserPromptSubmit{}, true);
    QTest::newRow("Stop with everything")
        << QByteArray(R"({"hook_event_name":"Stop","last_assistant_message":"Done.","turn_id":"t7",
            "background_tasks":[{"id":"b1","type":"subagent","status":"running","description":"scan","agent_type":"Explore"},
                                 "not an object", {"id":3}],
            "session_crons":[{"id":"c1","schedule":"*/5 * * * *","recurring":"yes"},{"recurring":true}]})")
        << reading(E::Stop{u"Done."_s,
                           {E::BackgroundTask{u"b1"_s, u"subagent"_s, u"running"_s, u"scan"_s, u"Explore"_s},
                            E::BackgroundTask{}},
                           {E::SessionCron{u"c1"_s, u"*/5 * * * *"_s, std::nullopt},
                            E::SessionCron{std::nullopt, std::nullopt, true}},
                           u"t7"_s},
                   true);
    QTest::newRow("Stop whose background tasks are not an array")
        << QByteArray(
               R"({"hook_event_name":"Stop","last_assistant_message":"ok","background_tasks":{"id":"x"},"turn_id":""})")
        << reading(E::Stop{u"ok"_s, {}, {}, std::nullopt}, true);
    QTest::newRow("Interrupt") << QByteArray(R"({"hook_event_name":"Interrupt","turn_id":"turn-1"})")
                               << reading(E::Interrupt{u"turn-1"_s}, true);
    QTest::newRow("StopFailure of a known kind")
        << QByteArray(R"({"hook_event_name":"StopFailure","error":"rate_limit","error_details":"429"})")
        << reading(E::Failure{u"rate_limit"_s, StopFailureKind::rateLimit, u"429"_s}, true);
    QTest::newRow("StopFailure of an unknown text keeps it as code")
        << QByteArray(R"({"hook_event_name":"StopFailure","error":"teapot"})")
        << reading(E::Failure{u"teapot"_s, std::nullopt, std::nullopt}, true);
    QTest::newRow("StopFailure unknown only by its literal")
        << QByteArray(R"({"hook_event_name":"StopFailure","error":"unknown"})")
        << reading(E::Failure{u"unknown"_s, StopFailureKind::unknown, std::nullopt}, true);
    QTest::newRow("StopFailure without error")
        << QByteArray(R"({"hook_event_name":"StopFailure"})") << reading(E::Failure{}, true);
    QTest::newRow("SubagentStart")
        << QByteArray(R"({"hook_event_name":"SubagentStart","agent_id":"agent-1234","agent_type":"Explore"})")
        << reading(E::SubagentStart{u"agent-1234"_s, u"Explore"_s}, false);
    QTest::newRow("SubagentStart with an empty id")
        << QByteArray(R"({"hook_event_name":"SubagentStart","agent_id":""})") << reading(E::Other{}, false);
    QTest::newRow("SubagentStop with an empty type")
        << QByteArray(R"({"hook_event_name":"SubagentStop","agent_id":"agent-1234","agent_type":""})")
        << reading(E::SubagentStop{u"agent-1234"_s, std::nullopt}, false);
    QTest::newRow("TaskCreated")
        << QByteArray(R"({"hook_event_name":"TaskCreated","task_id":"1","task_subject":"Write tests"})")
        << reading(E::TaskCreated{u"1"_s, u"Write tests"_s}, false);
    QTest::newRow("TaskCompleted without id")
        << QByteArray(R"({"hook_event_name":"TaskCompleted","task_subject":"x"})")
        << reading(E::Other{}, false);
    QTest::newRow("PermissionDenied of an MCP tool")
        << QByteArray(
               R"({"hook_event_name":"PermissionDenied","tool_use_id":"toolu_1","tool_name":"mcp__github__create_issue",
                         "tool_input":{"url":"https://example.invalid/x"},"reason":"classifier"})")
        << reading(
               E::Denial{u"toolu_1"_s, u"create_issue"_s, u"https://example.invalid/x"_s, u"classifier"_s},
               false);
    QTest::newRow("PermissionDenied without tool has no summary")
        << QByteArray(R"({"hook_event_name":"PermissionDenied","tool_input":{"command":"ls"}})")
        << reading(E::Denial{}, false);
    QTest::newRow("PreCompact") << QByteArray(R"({"hook_event_name":"PreCompact","trigger":"auto"})")
                                << reading(E::PreCompact{u"auto"_s}, false);
    QTest::newRow("PostCompact") << QByteArray(R"({"hook_event_name":"PostCompact","trigger":"manual"})")
                                 << reading(E::PostCompact{u"manual"_s}, false);
    QTest::newRow("CwdChanged") << QByteArray(R"({"hook_event_name":"CwdChanged","new_cwd":"/tmp/x"})")
                                << reading(E::CwdChanged{u"/tmp/x"_s}, false);
    QTest::newRow("CwdChanged to nothing")
        << QByteArray(R"({"hook_event_name":"CwdChanged","new_cwd":""})") << reading(E::Other{}, false);
    QTest::newRow("PostModelSwitch wakes")
        << QByteArray(R"({"hook_event_name":"PostModelSwitch","to_model":"b"})") << reading(E::Other{}, true);
}

void SessionHookEventTest::read() {
    QFETCH(QByteArray, json);
    QFETCH(Reading, expected);
    QCOMPARE(SessionHookEvent::read(QJsonDocument::fromJson(json).object()), expected);
}

void SessionHookEventTest::toolOutcome_data() {
    QTest::addColumn<QString>("eventName");
    QTest::addColumn<QByteArray>("response");
    QTest::addColumn<QString>("legacyError");
    QTest::addColumn<SessionHookEvent::ToolOutcome>("expected");
    using O = SessionHookEvent::ToolOutcome;

    QTest::newRow("failure event with text")
        << u"PostToolUseFailure"_s << QByteArray() << u"Exit code 1"_s << O{true, u"Exit code 1"_s};
    QTest::newRow("failure event with empty text")
        << u"PostToolUseFailure"_s << QByteArray() << QString() << O{true, std::nullopt};
    QTest::newRow("no response") << u"PostToolUse"_s << QByteArray() << QString() << O{false, std::nullopt};
    QTest::newRow("response not an object")
        << u"PostToolUse"_s << QByteArray(R"(["x"])") << QString() << O{false, std::nullopt};
    QTest::newRow("isError") << u"PostToolUse"_s
                             << QByteArray(
                                    R"({"isError":true,"content":[{"text":"a"},{"text":""},{"text":"b"}]})")
                             << QString() << O{true, u"a\nb"_s};
    QTest::newRow("is_error with message")
        << u"PostToolUse"_s << QByteArray(R"({"is_error":true,"error":"","message":"boom"})") << QString()
        << O{true, u"boom"_s};
    QTest::newRow("success false") << u"PostToolUse"_s << QByteArray(R"({"success":false})") << QString()
                                   << O{true, std::nullopt};
    QTest::newRow("exit code zero") << u"PostToolUse"_s << QByteArray(R"({"exit_code":0,"stderr":"warn"})")
                                    << QString() << O{false, std::nullopt};
    QTest::newRow("exit code in metadata")
        << u"PostToolUse"_s << QByteArray(R"({"metadata":{"exitCode":2},"output":"no such file"})")
        << QString() << O{true, u"no such file"_s};
    QTest::newRow("stderr before output")
        << u"PostToolUse"_s << QByteArray(R"({"exitCode":1,"stderr":"err","output":"out"})") << QString()
        << O{true, u"err"_s};
    QTest::newRow("plain success") << u"PostToolUse"_s
                                   << QByteArray(R"({"stdout":"hello","interrupted":false})") << QString()
                                   << O{false, std::nullopt};
}

void SessionHookEventTest::toolOutcome() {
    QFETCH(QString, eventName);
    QFETCH(QByteArray, response);
    QFETCH(QString, legacyError);
    QFETCH(SessionHookEvent::ToolOutcome, expected);
    QJsonValue value(QJsonValue::Undefined);
    if (!response.isEmpty()) {
        const QJsonDocument document = QJsonDocument::fromJson(response);
        value = document.isObject() ? QJsonValue(document.object()) : QJsonValue(document.array());
    }
    QCOMPARE(SessionHookEvent::toolOutcome(eventName, value,
                                           legacyError.isNull() ? std::nullopt : std::optional(legacyError)),
             expected);
}

void SessionHookEventTest::everyFailureKindHasACategoryAndText() {
    QCOMPARE(category(StopFailureKind::oauthOrgNotAllowed), StopFailureCategory::authentication);
    QCOMPARE(category(StopFailureKind::verificationRequired), StopFailureCategory::authentication);
    QCOMPARE(category(StopFailureKind::maxOutputTokens), StopFailureCategory::outputLimit);
    QCOMPARE(category(StopFailureKind::cloudCredentialError), StopFailureCategory::cloudCredential);
    QCOMPARE(AgentFailure::englishText(category(StopFailureKind::unknown)), u"error"_s);
    QCOMPARE(AgentFailure::englishText(StopFailureCategory::authentication), u"authentication failed"_s);
    for (const auto& [kind, raw] : EnumTable<StopFailureKind>::cases) {
        QCOMPARE(enumFromRaw<StopFailureKind>(QString::fromLatin1(raw)), std::optional(kind));
        QVERIFY(!AgentFailure::englishText(category(kind)).isEmpty());
    }
}

QTEST_GUILESS_MAIN(SessionHookEventTest)
#include "SessionHookEventTest.moc"
