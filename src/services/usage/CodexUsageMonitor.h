#pragma once

#include "modules/usage/UsageStore.h"
#include "services/monitoring/UsageMonitor.h"
#include "services/usage/CodexUsageProvider.h"

#include <memory>

namespace tessary {

using CodexUsageMonitor = UsageMonitor<UsageReport, UsageStore>;

namespace CodexUsage {

// The monitor of Codex's usage, "codexUsage" in the log: every 90 seconds, 10 after a failure.
// `provider` and `store` must outlive it.
std::unique_ptr<CodexUsageMonitor> monitor(const CodexUsageProvider& provider, UsageStore& store,
                                           MonitorServices services, PolledMonitor::OnUpdate onUpdate);

} // namespace CodexUsage

} // namespace tessary
