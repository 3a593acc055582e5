#include "services/monitoring/PolledMonitor.h"

namespace tessary {

PolledMonitor::PolledMonitor(DiagnosticLiteral name, MonitorPeriods periods, MonitorServices services,
                             OnUpdate onUpdate)
    : m_name(name)
    , m_periods(periods)
    , m_runner(services.runner)
    , m_logger(services.logger != nullptr ? *services.logger : DiagnosticLogger::shared())
    , m_onUpdate(std::move(onUpdate))
    , m_loop(
          services.scheduler, [this] { return currentInterval(); },
          [this](const CancellationToken& cancellation, PollingLoop::Finish finish) {
              read(cancellation, std::move(finish));
          }) {}

PolledMonitor::~PolledMonitor() = default;

void PolledMonitor::start() {
    log(DiagnosticLevel::info, "start");
    m_loop.start();
}

void PolledMonitor::stop() {
    if (!m_loop.isRunning()) {
        return;
    }
    log(DiagnosticLevel::info, "stop");
    m_loop.stop();
}

void PolledMonitor::noteFailure(const ProviderFailure& failure) {
    m_retrying = true;
    if (m_failures.failed(failure.kind)) {
        m_logger.log(DiagnosticLevel::error, DiagnosticCategory::monitor, "failed", [&] {
            return DiagnosticFields{{"monitor", DiagnosticValue::name(QString(m_name.text()))},
                                    {"error", failure.kind}};
        });
    }
}

void PolledMonitor::noteSuccess() {
    m_retrying = false;
    if (m_failures.succeeded()) {
        logRecovered();
    }
}

void PolledMonitor::logEmptyReading() const {
    log(DiagnosticLevel::info, "empty.retrying");
}

void PolledMonitor::logRecovered() const {
    log(DiagnosticLevel::info, "recovered");
}

void PolledMonitor::log(DiagnosticLevel level, DiagnosticLiteral event) const {
    m_logger.log(level, DiagnosticCategory::monitor, event, [this] {
        return DiagnosticFields{{"monitor", DiagnosticValue::name(QString(m_name.text()))}};
    });
}

void PolledMonitor::notifyUpdate() const {
    if (m_onUpdate) {
        m_onUpdate();
    }
}

ProviderFailure PolledMonitor::unexpectedFailure() {
    return {"unexpected", QStringLiteral("The reading failed unexpectedly."), false};
}

} // namespace tessary
