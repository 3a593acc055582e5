#include "services/usage/ClaudeUsageMonitor.h"

namespace tessary {

std::unique_ptr<ClaudeUsageMonitor> ClaudeUsage::monitor(const ClaudeOAuthUsageProvider& provider,
                                                         UsageStore& store, MonitorServices services,
                                                         PolledMonitor::OnUpdate onUpdate) {
    return std::make_unique<ClaudeUsageMonitor>(DiagnosticLiteral("claudeUsage"), MonitorPeriod::claudeUsage,
                                                provider.provider(), store, services, std::move(onUpdate));
}

} // namespace tessary
