#pragma once

// What a monitor under test is given: a manual clock and scheduler, so that the test decides when the
// next reading is due, a real thread pool for the readings, and a logger that keeps its lines in
// memory. The pool is declared last so that it is joined before the logger and clock it uses go.

#include "core/diagnostics/DiagnosticLogger.h"
#include "core/time/Clock.h"
#include "services/monitoring/PolledMonitor.h"

#include <QTest>
#include <QTimeZone>

namespace tessary::testing {

struct MonitorHarness {
    explicit MonitorHarness(int threads = 2)
        : runner(threads) {}

    [[nodiscard]] MonitorServices services() { return {scheduler, runner, &logger}; }

    // Waits for the reading under way to come back to the main thread.
    template <typename Monitor>
    [[nodiscard]] static bool lands(const Monitor& monitor) {
        return QTest::qWaitFor([&] { return !monitor.isReading(); }, 5000);
    }

    ManualClock clock;
    ManualScheduler scheduler{clock};
    DiagnosticLogger logger{clock, QTimeZone::utc(), nullptr};
    ProviderRunner runner;
};

} // namespace tessary::testing
