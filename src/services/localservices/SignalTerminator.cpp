#include "services/localservices/SignalTerminator.h"

#include <QtConcurrent/QtConcurrentRun>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <unistd.h>

namespace tessary {

using namespace Qt::StringLiterals;

SignalTerminator::SignalTerminator(const ProcessRunner& runner, std::optional<QString> docker)
    : m_runner(runner)
    , m_docker(std::move(docker)) {
    m_pool.setMaxThreadCount(1);
    m_pool.setObjectName(u"tessary-terminator"_s);
}

SignalTerminator::~SignalTerminator() {
    m_pool.waitForDone();
}

MaybeFailure SignalTerminator::terminate(std::int32_t pid, bool force) {
    if (pid < 2) {
        return Failure{u"refusing to signal pid "_s + QString::number(pid)};
    }
    if (pid == static_cast<std::int32_t>(::getpid())) {
        return Failure{u"refusing to signal this program"_s};
    }
    if (::kill(static_cast<pid_t>(pid), force ? SIGKILL : SIGTERM) != 0) {
        const int error = errno;
        return Failure{u"could not signal pid "_s + QString::number(pid) + u": "_s +
                       QString::fromLocal8Bit(std::strerror(error))};
    }
    return std::nullopt;
}

QFuture<MaybeFailure> SignalTerminator::stopContainer(const QString& name) {
    if (!m_docker) {
        return QtFuture::makeReadyFuture(MaybeFailure(Failure{u"docker not found"_s}));
    }
    if (name.isEmpty() || name.startsWith(u'-')) {
        return QtFuture::makeReadyFuture(MaybeFailure(Failure{u"not a container name"_s}));
    }
    return QtConcurrent::run(&m_pool, [&runner = m_runner, docker = *m_docker, name]() -> MaybeFailure {
        const ShellResult result =
            runner.run(docker, {u"stop"_s, name}, containerStopTimeoutSeconds, std::nullopt);
        if (const auto* failure = std::get_if<ShellFailure>(&result)) {
            return Failure{failure->message};
        }
        const auto& outcome = std::get<ShellOutcome>(result);
        if (outcome.status != 0) {
            const QString reason = outcome.errorOutput.trimmed();
            return Failure{reason.isEmpty() ? u"docker stop exited "_s + QString::number(outcome.status)
                                            : reason};
        }
        return std::nullopt;
    });
}

} // namespace tessary
