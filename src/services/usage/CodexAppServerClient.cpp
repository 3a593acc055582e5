#include "services/usage/CodexAppServerClient.h"

#include "modules/usage/codex/CodexAppServerRateLimitParser.h"

#include <optional>

namespace tessary {

using namespace Qt::StringLiterals;

namespace {

// Cuts the complete lines off the front of `buffer` and gives the first that answers the
// rate-limits request; the rest of the buffer waits for its newline.
std::optional<QByteArray> answerIn(QByteArray& buffer) {
    qsizetype newline = 0;
    while ((newline = buffer.indexOf('\n')) >= 0) {
        const QByteArray line = buffer.first(newline);
        buffer.remove(0, newline + 1);
        if (CodexAppServerRateLimitParser::isRateLimitsAnswer(line)) {
            return line;
        }
    }
    return std::nullopt;
}

} // namespace

CodexAppServerClient::CodexAppServerClient(const ProcessRunner& runner, Configuration configuration)
    : m_runner(runner)
    , m_configuration(std::move(configuration)) {}

QByteArray CodexAppServerClient::requestLines() {
    return R"({"id":1,"method":"initialize","params":{"clientInfo":{"name":"tessary","version":"1"},"capabilities":{"experimentalApi":true}}}
{"method":"initialized","params":{}}
{"id":2,"method":"account/rateLimits/read","params":{"excludeResetCreditDetails":true,"supportsLunaReserve":false}}
)"_ba;
}

std::variant<QByteArray, CodexAppServerClient::Failure>
CodexAppServerClient::rateLimitsResponse(const CancellationToken& cancellation) const {
    ShellConversation conversation;
    conversation.executable = m_configuration.executable;
    conversation.arguments = {u"app-server"_s};
    conversation.workingDirectory = m_configuration.workingDirectory;
    conversation.input = requestLines();
    conversation.timeout = m_configuration.timeoutSeconds;

    QByteArray buffer;
    std::optional<QByteArray> answer;
    const ShellConversationResult result = m_runner.converse(conversation, [&](QByteArrayView output) {
        if (cancellation.isCancelled()) {
            return ShellListening::done;
        }
        buffer.append(output);
        answer = answerIn(buffer);
        return answer ? ShellListening::done : ShellListening::more;
    });
    if (answer) {
        return *answer;
    }
    if (cancellation.isCancelled()) {
        return Failure::cancelled;
    }
    if (const auto* failure = std::get_if<ShellFailure>(&result);
        failure && (failure->kind == ShellFailure::Kind::notFound ||
                    failure->kind == ShellFailure::Kind::failedToStart)) {
        return Failure::launchFailed;
    }
    // The last line may have no newline.
    if (CodexAppServerRateLimitParser::isRateLimitsAnswer(buffer)) {
        return buffer;
    }
    return Failure::noResponse;
}

} // namespace tessary
