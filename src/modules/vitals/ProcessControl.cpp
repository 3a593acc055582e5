#include "modules/vitals/ProcessControl.h"

#include <QCoreApplication>
#include <QPromise>
#include <QTimer>

#include <cmath>
#include <memory>

namespace tessary {

QFuture<void> timerDelay(double seconds) {
    auto promise = std::make_shared<QPromise<void>>();
    QFuture<void> future = promise->future();
    promise->start();
    QCoreApplication* application = QCoreApplication::instance();
    const int milliseconds =
        std::isfinite(seconds) ? static_cast<int>(std::clamp(seconds * 1000.0, 0.0, 3'600'000.0)) : 0;
    if (application == nullptr) {
        promise->finish();
        return future;
    }
    // The timer starts on the main thread, which has an event loop whatever thread asked.
    QMetaObject::invokeMethod(
        application,
        [promise, milliseconds] {
            QTimer::singleShot(milliseconds, Qt::PreciseTimer, [promise] { promise->finish(); });
        },
        Qt::QueuedConnection);
    return future;
}

QFuture<StopResult> stopProcesses(ProcessTerminator& terminator, StopRequest request, Delay delay,
                                  IsAlive isAlive) {
    QFuture<MaybeFailure> signalled;
    bool anySignalled = false;
    if (request.container) {
        signalled = terminator.stopContainer(*request.container);
    } else {
        MaybeFailure first;
        for (const std::int32_t pid : request.pids) {
            MaybeFailure failure = terminator.terminate(pid, request.force);
            if (failure && !first) {
                first = std::move(failure);
            } else if (!failure) {
                anySignalled = true;
            }
        }
        signalled = QtFuture::makeReadyFuture(first);
    }
    const bool waitsForContainer = request.container.has_value();
    return signalled
        .then([request = std::move(request), delay = std::move(delay), isAlive = std::move(isAlive),
               anySignalled, waitsForContainer](MaybeFailure failure) -> QFuture<StopResult> {
            const bool stopped = waitsForContainer ? !failure : anySignalled;
            if (!stopped) {
                return QtFuture::makeReadyFuture(StopResult{std::move(failure), {}, false});
            }
            QFuture<void> waited = delay ? delay(request.gracePeriod) : QtFuture::makeReadyFuture();
            return waited.then([pids = request.pids, isAlive, failure = std::move(failure)]() {
                StopResult result{failure, {}, true};
                for (const std::int32_t pid : pids) {
                    if (isAlive && isAlive(pid)) {
                        result.survivors.push_back(pid);
                    }
                }
                return result;
            });
        })
        .unwrap();
}

} // namespace tessary
