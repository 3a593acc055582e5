#include "services/usage/CodexUsageMonitor.h"

namespace tessary {

std::unique_ptr<CodexUsageMonitor> CodexUsage::monitor(const CodexUsageProvider& provider, UsageStore& store,
                                                       MonitorServices services,
                                                       PolledMonitor::OnUpdate onUpdate) {
    return std::make_unique<CodexUsageMonitor>(DiagnosticLiteral("codexUsage"), MonitorPeriod::codexUsage,
                                               provider.provider(), store, services, std::move(onUpdate));
}

} // namespace tessary
