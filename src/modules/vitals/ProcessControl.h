#pragma once

#include "core/records/Failure.h"

#include <QFuture>
#include <QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace tessary {

// Ends processes and containers on the user's behalf. The real one sends signals and runs docker;
// tests give fakes.
class ProcessTerminator {
public:
    ProcessTerminator() = default;
    ProcessTerminator(const ProcessTerminator&) = delete;
    ProcessTerminator& operator=(const ProcessTerminator&) = delete;
    ProcessTerminator(ProcessTerminator&&) = delete;
    ProcessTerminator& operator=(ProcessTerminator&&) = delete;
    virtual ~ProcessTerminator() = default;

    // SIGTERM, or SIGKILL when forced. Immediate.
    [[nodiscard]] virtual MaybeFailure terminate(std::int32_t pid, bool force) = 0;
    // Asks the container engine to stop a container; finishes when the engine has answered.
    [[nodiscard]] virtual QFuture<MaybeFailure> stopContainer(const QString& name) = 0;
};

// Waits `seconds`, then finishes. The application's waits on the main event loop; tests finish at
// once or when they choose.
using Delay = std::function<QFuture<void>(double seconds)>;
// Whether a process still runs.
using IsAlive = std::function<bool(std::int32_t pid)>;

// A Delay on a timer of the application's main thread, whatever thread asks for it.
QFuture<void> timerDelay(double seconds);

// What a stop asks for: signals to processes, or one container to stop.
struct StopRequest {
    std::vector<std::int32_t> pids;
    std::optional<QString> container;
    bool force = false;
    double gracePeriod = 0;
    bool operator==(const StopRequest&) const = default;
};

struct StopResult {
    // The first refusal or error; with it and no process signalled, nothing was waited for.
    MaybeFailure failure;
    // The processes that still ran when the grace period was over.
    std::vector<std::int32_t> survivors;
    // Whether anything was signalled or stopped at all.
    bool stopped = false;
    bool operator==(const StopResult&) const = default;
};

// Sends the signals (or stops the container), waits the grace period and asks which processes live on.
// The terminator must outlive the future.
QFuture<StopResult> stopProcesses(ProcessTerminator& terminator, StopRequest request, Delay delay,
                                  IsAlive isAlive);

} // namespace tessary
