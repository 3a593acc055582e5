#include "modules/sessions/AgentArguments.h"

namespace tessary {

namespace {

constexpr QLatin1StringView endOfOptions("--");

} // namespace

namespace HeadlessSession {

const QStringList& headlessFlags() {
    static const QStringList flags{QStringLiteral("-p"), QStringLiteral("--print"),
                                   QStringLiteral("--output-format")};
    return flags;
}

bool isHeadless(const std::optional<QStringList>& arguments, std::optional<bool> hasTerminal) {
    if (arguments) {
        for (qsizetype i = 1; i < arguments->size(); ++i) {
            const QString& argument = arguments->at(i);
            if (argument == endOfOptions) {
                break;
            }
            if (headlessFlags().contains(argument) ||
                argument.startsWith(QLatin1StringView("--output-format="))) {
                return true;
            }
        }
    }
    return hasTerminal.has_value() && !*hasTerminal;
}

bool isHeadless(qint32 agentPID, const AgentProcessReading& reading) {
    return isHeadless(reading.arguments(agentPID), reading.hasControllingTerminal(agentPID));
}

} // namespace HeadlessSession

namespace HostedSession {

bool isHosted(const QStringList& arguments) {
    constexpr QLatin1StringView flag("--permission-prompt-tool");
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments.at(i);
        if (argument == endOfOptions) {
            return false;
        }
        if (argument == flag || (argument.startsWith(flag) && argument.mid(flag.size()).startsWith(u'='))) {
            return true;
        }
    }
    return false;
}

bool skipsRequest(const QString& tool, std::optional<qint32> agentPID, const AgentProcessReading& reading) {
    if (tool != QLatin1StringView(planReviewTool) || !agentPID) {
        return false;
    }
    const auto arguments = reading.arguments(*agentPID);
    return arguments && isHosted(*arguments);
}

} // namespace HostedSession

} // namespace tessary
