#pragma once

#include "modules/vitals/ProcessControl.h"
#include "services/shell/ProcessRunner.h"

#include <QThreadPool>

#include <optional>

namespace tessary {

// Ends processes with signals and containers with "docker stop". Never signals a process id below 2,
// nor this program itself.
class SignalTerminator final : public ProcessTerminator {
public:
    static constexpr double containerStopTimeoutSeconds = 30;

    SignalTerminator(const ProcessRunner& runner, std::optional<QString> docker);
    ~SignalTerminator() override;
    SignalTerminator(const SignalTerminator&) = delete;
    SignalTerminator& operator=(const SignalTerminator&) = delete;
    SignalTerminator(SignalTerminator&&) = delete;
    SignalTerminator& operator=(SignalTerminator&&) = delete;

    [[nodiscard]] MaybeFailure terminate(std::int32_t pid, bool force) override;
    // Runs on the terminator's own thread; the future finishes there.
    [[nodiscard]] QFuture<MaybeFailure> stopContainer(const QString& name) override;

private:
    const ProcessRunner& m_runner;
    std::optional<QString> m_docker;
    QThreadPool m_pool;
};

} // namespace tessary
