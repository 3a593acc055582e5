#pragma once

#include "modules/localservices/LocalServicesStore.h"
#include "modules/vitals/SystemVitalsStore.h"
#include "platform/procfs/ProcFileSystem.h"
#include "services/localservices/LocalServicesMonitor.h"
#include "services/localservices/LsofPortScanner.h"
#include "services/localservices/SchemeProber.h"
#include "services/localservices/SignalTerminator.h"
#include "services/monitoring/ProviderRunner.h"
#include "services/shell/Shell.h"
#include "services/vitals/LiveSystemVitalsProvider.h"
#include "services/vitals/SystemVitalsMonitor.h"

#include <functional>
#include <memory>

namespace tessary {

class Clock;
class ModuleEventBus;
class Scheduler;

// The widgets of this machine: local servers, CPU and memory, with the stores, scanners and
// monitors behind them. Built once by the application; the monitors run between start and stop.
class SystemWidgets {
public:
    SystemWidgets(const Clock& clock, Scheduler& scheduler, std::function<void()> onUpdate);
    ~SystemWidgets();
    SystemWidgets(const SystemWidgets&) = delete;
    SystemWidgets& operator=(const SystemWidgets&) = delete;
    SystemWidgets(SystemWidgets&&) = delete;
    SystemWidgets& operator=(SystemWidgets&&) = delete;

    // Registers Local ports, CPU and Memory, in that order.
    void registerModules(ModuleEventBus& bus);
    void start();
    void stop();

private:
    const Clock& m_clock;
    ProcFileSystem m_proc;
    Shell m_shell;
    TLSProbe m_prober;
    SignalTerminator m_terminator;
    LocalServicesStore m_localServicesStore;
    SystemVitalsStore m_vitalsStore;
    LsofPortScanner m_scanner;
    LiveSystemVitalsProvider m_vitalsProvider;
    ProviderRunner m_runner;
    std::unique_ptr<LocalServicesMonitor> m_localServicesMonitor;
    std::unique_ptr<SystemVitalsMonitor> m_vitalsMonitor;
};

} // namespace tessary
