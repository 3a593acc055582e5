#include "app/SystemWidgets.h"

#include "modulekit/ModuleEventBus.h"
#include "modules/localservices/LocalServicesModule.h"
#include "modules/vitals/ProcessControl.h"
#include "modules/vitals/VitalsModules.h"
#include "services/localservices/DockerClient.h"

#include <QDir>

#include <unistd.h>

namespace tessary {

SystemWidgets::SystemWidgets(const Clock& clock, Scheduler& scheduler, std::function<void()> onUpdate)
    : m_clock(clock)
    , m_terminator(m_shell, DockerClient::find())
    , m_scanner(m_proc, m_shell, m_prober, LsofPortScanner::systemConfiguration(getuid()))
    , m_vitalsProvider(m_proc, getuid()) {
    const MonitorServices services{scheduler, m_runner, nullptr};
    // Sessions tie servers to the agents that opened them once session sources are wired in.
    m_localServicesMonitor = std::make_unique<LocalServicesMonitor>(
        m_scanner, m_localServicesStore, m_proc, clock, [] { return LocalServicesMonitor::SessionContext{}; },
        services, onUpdate);
    m_vitalsMonitor = std::make_unique<SystemVitalsMonitor>(
        m_vitalsProvider, m_vitalsStore, clock,
        [this] { return processLabels(m_localServicesStore.services(), {}); }, services, onUpdate);
}

SystemWidgets::~SystemWidgets() {
    stop();
}

void SystemWidgets::registerModules(ModuleEventBus& bus) {
    const auto isAlive = [this](qint32 pid) { return m_proc.isAlive(pid); };
    bus.registerModule(std::make_shared<LocalServicesModule>(LocalServicesModuleServices{m_localServicesStore,
                                                                                         m_clock,
                                                                                         &m_terminator,
                                                                                         timerDelay,
                                                                                         isAlive,
                                                                                         {},
                                                                                         3,
                                                                                         1,
                                                                                         60,
                                                                                         getuid(),
                                                                                         QDir::homePath()}));
    const VitalsModuleServices vitals{m_vitalsStore,
                                      m_clock,
                                      &m_terminator,
                                      timerDelay,
                                      isAlive,
                                      3,
                                      1,
                                      30,
                                      getuid(),
                                      static_cast<std::int32_t>(getpid())};
    bus.registerModule(std::make_shared<CPUModule>(vitals));
    bus.registerModule(std::make_shared<MemoryModule>(vitals));
}

void SystemWidgets::start() {
    m_localServicesMonitor->start();
    m_vitalsMonitor->start();
}

void SystemWidgets::stop() {
    m_localServicesMonitor->stop();
    m_vitalsMonitor->stop();
}

} // namespace tessary
