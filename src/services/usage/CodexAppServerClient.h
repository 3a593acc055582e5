#pragma once

#include "core/records/EnumText.h"
#include "services/monitoring/CancellationToken.h"
#include "services/shell/ProcessRunner.h"

#include <QByteArray>
#include <QString>

#include <variant>

namespace tessary {

// One question to Codex's own `app-server` over its pipes: how much of the plan is used. A new
// child is started for every question and is gone when the answer, the time-out or a
// cancellation comes. Blocking: call it on a worker thread.
class CodexAppServerClient {
public:
    enum class Failure { launchFailed, noResponse, cancelled };

    static constexpr double defaultTimeoutSeconds = 12;

    struct Configuration {
        QString executable;
        double timeoutSeconds = defaultTimeoutSeconds;
        // The child's working folder: one that holds no project, so that none is loaded.
        QString workingDirectory;
    };

    CodexAppServerClient(const ProcessRunner& runner, Configuration configuration);

    // The initialize request, its acknowledgement and the rate-limits request, a line each.
    static QByteArray requestLines();

    // The line that answers the rate-limits request, without its newline.
    [[nodiscard]] std::variant<QByteArray, Failure>
    rateLimitsResponse(const CancellationToken& cancellation) const;

private:
    const ProcessRunner& m_runner;
    Configuration m_configuration;
};

template <>
struct EnumTable<CodexAppServerClient::Failure> {
    static constexpr std::array<std::pair<CodexAppServerClient::Failure, const char*>, 3> cases{{
        {CodexAppServerClient::Failure::launchFailed, "launchFailed"},
        {CodexAppServerClient::Failure::noResponse, "noResponse"},
        {CodexAppServerClient::Failure::cancelled, "cancelled"},
    }};
};

} // namespace tessary
