#pragma once

#include "modules/usage/UsageStore.h"
#include "services/monitoring/UsageMonitor.h"
#include "services/usage/ClaudeOAuthUsageProvider.h"

#include <memory>

namespace tessary {

using ClaudeUsageMonitor = UsageMonitor<UsageReport, UsageStore>;

namespace ClaudeUsage {

// The monitor of Claude's usage, "claudeUsage" in the log: every 120 seconds, 10 after a failure.
// `provider` and `store` must outlive it.
std::unique_ptr<ClaudeUsageMonitor> monitor(const ClaudeOAuthUsageProvider& provider, UsageStore& store,
                                            MonitorServices services, PolledMonitor::OnUpdate onUpdate);

} // namespace ClaudeUsage

} // namespace tessary
