#include "services/monitoring/PolledMonitor.h"

namespace tessary {

PolledMonitor::PolledMonitor(QString name, MonitorPeriods periods, MonitorServices services,
                             OnUpdate onUpdate)
    : m_name(std::move(name))
    , m_periods(periods)
    , m_runner(services.runner)
    , m_log(std::move(services.log))
    , m_onUpdate(std::move(onUpdate))
    , m_loop(
          services.scheduler, [this] { return currentInterval(); },
          [this](const CancellationToken& cancellation, PollingLoop::Finish finish) {
              read(cancellation, std::move(finish));
          }) {}

PolledMonitor::~PolledMonitor() = default;

void PolledMonitor::start() {
    log(MonitorLogEvent::start);
    m_loop.start();
}

void PolledMonitor::stop() {
    if (!m_loop.isRunning()) {
        return;
    }
    log(MonitorLogEvent::stop);
    m_loop.stop();
}

void PolledMonitor::noteFailure(const ProviderFailure& failure) {
    m_retrying = true;
    if (m_failureInForce != failure.kind) {
        m_failureInForce = failure.kind;
        log(MonitorLogEvent::failed, failure.kind);
    }
}

void PolledMonitor::noteSuccess() {
    m_retrying = false;
    if (std::exchange(m_failureInForce, std::nullopt)) {
        log(MonitorLogEvent::recovered);
    }
}

void PolledMonitor::log(MonitorLogEvent event, const QString& errorKind) const {
    if (m_log) {
        m_log(MonitorLogEntry{m_name, event, errorKind});
    }
}

void PolledMonitor::notifyUpdate() const {
    if (m_onUpdate) {
        m_onUpdate();
    }
}

ProviderFailure PolledMonitor::unexpectedFailure() {
    return {QStringLiteral("unexpected"), QStringLiteral("The reading failed unexpectedly."), false};
}

} // namespace tessary
