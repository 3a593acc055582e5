// A permission request's body comes from the agent, and its tool input from the model: any shape,
// any size. Everything the listener derives from one is built here: the card's record, the
// fingerprint, the release rules, the shell words of a command and the reply bodies. The input is
// a hook body; when it is not JSON, its text stands for a command and for a surface action id.
#include "modules/agents/permissions/AgentQuestion.h"
#include "modules/agents/permissions/HeldRequestRelease.h"
#include "modules/agents/permissions/PermissionCommand.h"
#include "modules/agents/permissions/PermissionDecision.h"
#include "modules/agents/permissions/PermissionSummary.h"
#include "modules/agents/permissions/PlanReview.h"
#include "modules/agents/permissions/TerminalApproval.h"
#include "modules/agents/permissions/ToolCallFingerprint.h"
#include "support/FuzzCheck.h"

#include <QJsonDocument>

#include <cstdint>

namespace {

using namespace tessary;

// Compact JSON must read back as the same object.
void checkBody(const QJsonObject& body) {
    const QByteArray bytes = QJsonDocument(body).toJson(QJsonDocument::Compact);
    check(QJsonDocument::fromJson(bytes).object() == body);
    check(body.value(QLatin1StringView("hookSpecificOutput"))
              .toObject()
              .value(QLatin1StringView("hookEventName"))
              .toString() == QLatin1StringView(permissionRequestEvent));
}

void exerciseCommandText(const QString& text) {
    const auto words = TerminalApproval::words(text);
    if (words && !words->isEmpty() && TerminalApproval::words(text.trimmed()) == words) {
        // A process started with the command's own words runs that command.
        check(TerminalApproval::matches(text, *words));
    }
    TerminalApproval::evaluated({QStringLiteral("/bin/sh"), QStringLiteral("-c"), text});
    (void)TerminalApproval::containsBounded(text, QStringLiteral("ls"));
    if (const auto command = PermissionCommand::fromText(text)) {
        // An action id parses back to the same command.
        check(PermissionCommand::fromText(command->text()) == command);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QJsonObject body = QJsonDocument::fromJson(bytes).object();
    const QString tool = body.value(QLatin1StringView("tool_name")).toString();
    const QJsonObject input = body.value(QLatin1StringView("tool_input")).toObject();

    const QString display = readableTool(tool).value_or(QStringLiteral("?"));
    (void)summarizePermission(display, input);
    (void)summarizePermission(tool, input);
    (void)permissionFiles(tool, input);
    (void)permissionNetworkTarget(tool, input);
    (void)permissionPlan(tool, input);
    if (const auto question = AgentQuestion::read(tool, input)) {
        check(question->total >= 1);
        for (qsizetype i = 0; i < question->options.size(); ++i) {
            check(question->options[i].id == i);
        }
        (void)question->answer({0, 1, 2}, QStringLiteral(" free "));
    }

    const ToolCallFingerprint fingerprint = ToolCallFingerprint::of(tool, input);
    check(fingerprint.inputDigest.size() == 32);
    // The canonical text is JSON, and the same input in another key order gives the same digest.
    const QByteArray canonical = ToolCallFingerprint::canonicalJson(input);
    check(QJsonDocument::fromJson(canonical).isObject());
    check(ToolCallFingerprint::of(tool, QJsonDocument::fromJson(canonical).object()) == fingerprint);

    const auto held = HeldRequestRelease::Held::of(QStringLiteral("held"), QStringLiteral("s"), tool, input,
                                                   QDateTime::fromSecsSinceEpoch(1), 100);
    const auto event = HeldRequestRelease::Event::fromHookBody(body);
    const QStringList released = HeldRequestRelease::requestsToRelease({held, held}, event);
    check(released.size() <= 1);
    if (held.command) {
        exerciseCommandText(*held.command);
        (void)TerminalApproval::matches(*held.command, input.keys());
    }

    DecisionReader reader;
    reader.tool = tool;
    reader.suggestions = body.value(QLatin1StringView("permission_suggestions")).toArray();
    reader.supportsAlwaysAllow = true;
    reader.acceptsUpdatedInput = true;
    for (const auto decision :
         {PermissionDecision::allow, PermissionDecision::deny, PermissionDecision::dontAsk}) {
        checkBody(decisionPayload(decision, QString::fromLatin1(deniedByUserReason), input, reader));
    }
    checkBody(PlanReview::approveAcceptingEdits().payload(input));
    checkBody(PlanReview::requestingChanges(QString::fromUtf8(bytes.left(200))).payload(input));

    if (body.isEmpty()) {
        exerciseCommandText(QString::fromUtf8(bytes));
    }
    return 0;
}
